// The controller's handlers and start on the bus, for what GDBus keeps from them: the functions of GDBus that
// the run loop calls are this program's own.

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <map>
#include <memory>
#include <string>

#include "daemon/controller_service.h"
#include "support/syslog_capture.h"

namespace {

using testing::ElementsAre;
using Line = SyslogCapture::Line;

struct FakeBus {
  bool parses = true;
  guint owner_id = 1;
  guint registration_id = 1;
  std::map<std::string, const GDBusInterfaceVTable *> handlers;  ///< by interface
};

FakeBus &bus() {
  static FakeBus bus;
  return bus;
}

}  // namespace

GDBusNodeInfo *g_dbus_node_info_new_for_xml(const gchar *, GError **) {
  static GDBusInterfaceInfo common = {1, const_cast<gchar *>("common"), nullptr, nullptr, nullptr, nullptr};
  static GDBusInterfaceInfo *interfaces[] = {&common, nullptr};
  static GDBusNodeInfo node = {1, nullptr, interfaces, nullptr, nullptr};
  return bus().parses ? &node : nullptr;
}

guint g_bus_own_name(GBusType, const gchar *, GBusNameOwnerFlags, GBusAcquiredCallback bus_acquired,
                     GBusNameAcquiredCallback, GBusNameLostCallback, gpointer user_data, GDestroyNotify) {
  if (bus().owner_id != 0)
    bus_acquired(nullptr, nullptr, user_data);
  return bus().owner_id;
}

guint g_dbus_connection_register_object(GDBusConnection *, const gchar *, GDBusInterfaceInfo *interface,
                                        const GDBusInterfaceVTable *handlers, gpointer, GDestroyNotify,
                                        GError **) {
  bus().handlers[interface->name] = handlers;
  return bus().registration_id;
}

namespace {

using ControllerPointer = std::unique_ptr<LightController, decltype(&g_object_unref)>;

ControllerPointer new_controller() {
  return {LIGHT_CONTROLLER(g_object_new(TYPE_LIGHT_CONTROLLER, nullptr)), &g_object_unref};
}

/// Runs the loop of a controller without lights, as briefly as it goes.
void run(LightController *controller) {
  light_controller_shutdown = 1;
  light_controller_run_loop(controller);
}

/// The controller's handlers, with an invocation that nobody answers.
class ControllerHandlers : public testing::Test {
 protected:
  ControllerHandlers() { run(controller_.get()); }

  const GDBusInterfaceVTable *handlers() const { return bus().handlers.at("common"); }

  /// Returns whether the call was let go without a reply: its last reference is given up.
  bool leaves_unanswered(const char *interface, const char *method) const {
    auto *invocation = G_OBJECT(g_object_new(G_TYPE_OBJECT, nullptr));
    bool gone = false;
    g_object_weak_ref(
        invocation, [](gpointer seen, GObject *) { *static_cast<bool *>(seen) = true; }, &gone);
    handlers()->method_call(nullptr, ":1.1", "/com/velk/LightController", interface, method, nullptr,
                            reinterpret_cast<GDBusMethodInvocation *>(invocation), controller_.get());
    return gone;
  }

  ControllerPointer controller_ = new_controller();
  SyslogCapture log_;
};

TEST_F(ControllerHandlers, LeaveACallOnAnotherInterfaceUnanswered) {
  EXPECT_TRUE(leaves_unanswered("com.velk.Other", "GetNbrOfLEDs"));
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_WARNING, "No such interface: 'com.velk.Other'"}));
}

TEST_F(ControllerHandlers, LeaveACallOfAnUnknownMethodUnanswered) {
  EXPECT_TRUE(leaves_unanswered("com.velk.LightController.Common", "GetNothing"));
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_WARNING, "No such method: 'GetNothing'"}));
}

TEST_F(ControllerHandlers, HaveNoValueForAnUnknownProperty) {
  EXPECT_EQ(handlers()->get_property(nullptr, nullptr, nullptr, "com.velk.LightController.Common", "Night",
                                     nullptr, controller_.get()),
            nullptr);
  EXPECT_THAT(log_.lines(), testing::IsEmpty());
}

TEST_F(ControllerHandlers, RefuseToSetAProperty) {
  g_autoptr(GVariant) value = g_variant_ref_sink(g_variant_new_boolean(TRUE));
  EXPECT_FALSE(handlers()->set_property(nullptr, nullptr, nullptr, "com.velk.LightController.Common", "Day",
                                        value, nullptr, controller_.get()));
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "No such property (Day)"}));
}

TEST(ControllerStart, ReturnsWhenTheNameCannotBeAskedFor) {
  const auto controller = new_controller();
  const SyslogCapture log;
  bus().owner_id = 0;
  run(controller.get());
  bus().owner_id = 1;
  EXPECT_THAT(log.lines(), ElementsAre(Line{LOG_ERR, "init_dbus failed"}));
}

// The introspection data is parsed once in a process: this comes first, in a process of its own.
TEST(ControllerStartDeathTest, ReturnsWhenTheIntrospectionDataCannotBeParsed) {
  const auto parse_nothing = [] {
    bus().parses = false;
    const auto controller = new_controller();
    const SyslogCapture log;
    run(controller.get());
    const std::vector<Line> expected = {{LOG_ERR, "Failed to parse dbus introspection xml"},
                                        {LOG_ERR, "init_dbus failed"}};
    exit(log.lines() == expected ? EXIT_SUCCESS : EXIT_FAILURE);
  };
  EXPECT_EXIT(parse_nothing(), testing::ExitedWithCode(EXIT_SUCCESS), "");
}

TEST(ControllerStartDeathTest, AbortsWhenAnObjectCannotBeRegistered) {
  const auto register_nothing = [] {
    bus().registration_id = 0;
    run(new_controller().get());
  };
  EXPECT_DEATH(register_nothing(), R"(assertion failed: \(registration_id > 0\))");
}

}  // namespace
