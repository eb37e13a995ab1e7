#include "drivers/led_2_uart.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <string>
#include <utility>
#include <vector>

#include "daemon/debug.h"
#include "led/led_setup.h"
#include "support/class_slots.h"
#include "support/light_files.h"
#include "support/ptz_coordinator.h"
#include "support/syslog_capture.h"
#include "support/test_light.h"

namespace {

/// What the driver makes and asks of GDBus's proxies.
struct Proxies {
  struct Made {
    GBusType bus;
    GDBusProxyFlags flags;
  };

  bool are_refused = false;
  std::vector<Made> made;
  int dropped = 0;
  std::vector<gint> timeouts;  ///< of the calls, in milliseconds
};

Proxies &proxies() {
  static Proxies proxies;
  return proxies;
}

template <typename Function>
Function *real(const char *name) {
  return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// These come before GDBus's.
extern "C" {

GDBusProxy *g_dbus_proxy_new_for_bus_sync(GBusType bus, GDBusProxyFlags flags, GDBusInterfaceInfo *info,
                                          const gchar *name, const gchar *path, const gchar *interface,
                                          GCancellable *cancellable, GError **error) {
  if (proxies().are_refused) {
    g_set_error(error, G_IO_ERROR, G_IO_ERROR_FAILED, "the test says so");
    return nullptr;
  }
  proxies().made.push_back({bus, flags});
  auto *proxy = real<decltype(g_dbus_proxy_new_for_bus_sync)>(__func__)(bus, flags, info, name, path,
                                                                        interface, cancellable, error);
  g_object_weak_ref(
      G_OBJECT(proxy), [](gpointer, GObject *) { ++proxies().dropped; }, nullptr);
  return proxy;
}

GVariant *g_dbus_proxy_call_sync(GDBusProxy *proxy, const gchar *method, GVariant *arguments,
                                 GDBusCallFlags flags, gint timeout, GCancellable *cancellable,
                                 GError **error) {
  proxies().timeouts.push_back(timeout);
  return real<decltype(g_dbus_proxy_call_sync)>(__func__)(proxy, method, arguments, flags, timeout,
                                                          cancellable, error);
}

}  // extern "C"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Line = SyslogCapture::Line;

const Line kNotSent{LOG_ERR, "Failed to send aux command to ptz"};
const std::string kCall = "/com/velk/PTZ/Coordinator/1 com.velk.PTZ.Coordinator.Auxiliary ";
const std::string kInfraredOn = kCall + "('Administrator', 0, 'tt:LightIR|On')";
const std::string kInfraredOff = kCall + "('Administrator', 0, 'tt:LightIR|Off')";
const std::string kWhiteOn = kCall + "('Administrator', 0, 'tt:LightWL|On')";
const std::string kWhiteOff = kCall + "('Administrator', 0, 'tt:LightWL|Off')";
const std::string kNoCommand = kCall + "()";

/// A light on a unit whose coordinator is on the bus only in the tests that have one.
class Uart : public testing::Test {
 protected:
  static void SetUpTestSuite() { g_setenv("DBUS_SYSTEM_BUS_ADDRESS", private_bus_address(), TRUE); }

  Uart() {
    proxies() = {};
    has_type("IR");
  }
  ~Uart() override { BEAMD_DEBUG_FLAG = 0; }

  void has_type(const char *type) {
    g_free(light_->ledtype);
    light_->ledtype = g_strdup(type);
  }

  /// The driver never knows a reason.
  bool activate(gboolean on) {
    g_autoptr(GError) error = nullptr;
    const bool result = led_base_activate_light(light_.get(), on, &error);
    EXPECT_EQ(error, nullptr);
    return result;
  }

  SyslogCapture log_;
  LightPointer light_ = make_light(LED_TYPE_2_UART);
};

class ServedUart : public Uart {
 protected:
  PtzCoordinator coordinator_;
};

TEST_F(Uart, IsOfAClassOfItsOwn) {
  EXPECT_STREQ(g_type_name(LED_TYPE_2_UART), "Led2Uart");
  EXPECT_EQ(g_type_parent(LED_TYPE_2_UART), LED_TYPE_BASE);
}

TEST_F(Uart, AddsNoFields) {
  GTypeQuery own{};
  GTypeQuery base{};
  g_type_query(LED_TYPE_2_UART, &own);
  g_type_query(LED_TYPE_BASE, &base);
  EXPECT_EQ(own.class_size, base.class_size);
  EXPECT_EQ(own.instance_size, base.instance_size);
}

// Switching, the angle (three slots, emptied) and setup.
TEST_F(Uart, HasOperationsOfItsOwn) {
  EXPECT_THAT(overridden_slots(LED_TYPE_2_UART), ElementsAre(3, 4, 7, 8, 9));
  const auto *slots = LED_BASE_GET_CLASS(light_.get());
  EXPECT_EQ(slots->get_current_angle_of_illumination, nullptr);
  EXPECT_EQ(slots->set_angle_of_illumination, nullptr);
  EXPECT_EQ(slots->recalculate_angle_of_illumination, nullptr);
}

TEST_F(Uart, HasNoAngle) {
  light_->angle_of_illumination = 30;
  led_base_set_angle_of_illumination(light_.get(), 70);
  led_base_recalculate_angle_of_illumination(light_.get(), 70);
  EXPECT_EQ(light_->angle_of_illumination, 30);
  EXPECT_EQ(led_base_get_current_angle_of_illumination(light_.get()), -1);
}

// Setup.

TEST_F(Uart, SetupAlwaysSucceeds) {
  const auto setup = LED_BASE_GET_CLASS(light_.get())->setup;
  g_autoptr(GError) error = nullptr;
  EXPECT_TRUE(setup(light_.get(), &error));
  EXPECT_EQ(error, nullptr);
  EXPECT_TRUE(setup(light_.get(), nullptr));
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_THAT(proxies().made, IsEmpty());
}

TEST_F(Uart, SetupClearsAnErrorOfItsCaller) {
  g_autoptr(GError) error = g_error_new_literal(G_IO_ERROR, G_IO_ERROR_FAILED, "an earlier one");
  EXPECT_TRUE(LED_BASE_GET_CLASS(light_.get())->setup(light_.get(), &error));
  EXPECT_EQ(error, nullptr);
}

TEST_F(Uart, IsDetectedWithoutItsCoordinator) {
  const LightFiles files;
  files.write_state(state_text({{{"common", "ledtype"}, "WhiteLight"}}));
  files.write_defaults("[common]\nbasepath=/none\n");
  const LightPointer light{LED_BASE(g_object_new(LED_TYPE_2_UART, nullptr)), &g_object_unref};
  EXPECT_TRUE(led_base_setup(light.get(), nullptr));
  EXPECT_TRUE(light->card_detected);
  EXPECT_STREQ(light->ledtype, "WhiteLight");
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_THAT(proxies().made, IsEmpty());
}

// The commands.

TEST_F(ServedUart, SwitchesInfraredLight) {
  EXPECT_TRUE(activate(TRUE));
  EXPECT_THAT(coordinator_.calls(), ElementsAre(kInfraredOn));
  EXPECT_TRUE(activate(FALSE));
  EXPECT_THAT(coordinator_.calls(), ElementsAre(kInfraredOn, kInfraredOff));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ServedUart, SwitchesWhiteLight) {
  has_type("WhiteLight");
  EXPECT_TRUE(activate(TRUE));
  EXPECT_TRUE(activate(FALSE));
  EXPECT_THAT(coordinator_.calls(), ElementsAre(kWhiteOn, kWhiteOff));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ServedUart, TakesWhateverIsNotZeroAsOn) {
  for (const gboolean on : {2, -1, 256, G_MININT})
    EXPECT_TRUE(activate(on)) << on;
  EXPECT_THAT(coordinator_.calls(), ElementsAre(kInfraredOn, kInfraredOn, kInfraredOn, kInfraredOn));
}

TEST_F(ServedUart, SendsWhatItHasSentBefore) {
  EXPECT_TRUE(activate(TRUE));
  EXPECT_TRUE(activate(TRUE));
  EXPECT_THAT(coordinator_.calls(), ElementsAre(kInfraredOn, kInfraredOn));
}

TEST_F(ServedUart, IsTheSameUnitWhateverTheLightsNumber) {
  led_base_set_light_id(light_.get(), 5);
  EXPECT_TRUE(activate(TRUE));
  EXPECT_THAT(coordinator_.calls(), ElementsAre(kInfraredOn));
}

TEST_F(ServedUart, HasNoCommandForAnotherType) {
  const std::vector<const char *> types = {"",  "ir",         "IR ",   " IR",     "IRx",
                                           "I", "whitelight", "White", "Visible", nullptr};
  for (const char *type : types) {
    has_type(type);
    for (const bool on : {true, false}) {
      log_.clear();
      EXPECT_FALSE(activate(on)) << (type ? type : "none");
      EXPECT_THAT(log_.lines(), ElementsAre(kNotSent)) << (type ? type : "none");
    }
  }
  EXPECT_EQ(coordinator_.calls(), std::vector<std::string>(2 * types.size(), kNoCommand));
}

TEST_F(ServedUart, DoesNotMindWhatTheReplyHolds) {
  for (const char *values : {"(5,)", "(false,)", "('done', -1)"}) {
    coordinator_.replies(values);
    EXPECT_TRUE(activate(TRUE)) << values;
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ServedUart, FailsWhenTheCoordinatorRefuses) {
  for (const char *error : {"org.freedesktop.DBus.Error.Failed", "org.freedesktop.DBus.Error.UnknownMethod",
                            "com.velk.PTZ.Coordinator.Error.NoUnit"}) {
    coordinator_.refuse_calls(error);
    for (const bool on : {true, false}) {
      log_.clear();
      EXPECT_FALSE(activate(on)) << error;
      EXPECT_THAT(log_.lines(), ElementsAre(kNotSent)) << error;
    }
  }
  EXPECT_THAT(coordinator_.calls(), SizeIs(6)) << "each is tried once";
}

TEST_F(Uart, FailsWithoutCoordinator) {
  EXPECT_FALSE(activate(TRUE));
  EXPECT_THAT(log_.lines(), ElementsAre(kNotSent));
  EXPECT_FALSE(activate(FALSE));
  EXPECT_THAT(log_.lines(), ElementsAre(kNotSent, kNotSent));
  EXPECT_EQ(proxies().dropped, 2);
}

TEST_F(ServedUart, FailsWithoutProxy) {
  proxies().are_refused = true;
  EXPECT_FALSE(activate(TRUE));
  EXPECT_THAT(log_.lines(), ElementsAre(kNotSent));
  EXPECT_THAT(proxies().timeouts, IsEmpty());
  EXPECT_THAT(coordinator_.calls(), IsEmpty());
}

TEST_F(Uart, LeavesAnErrorOfItsCallerAlone) {
  GError *const earlier = g_error_new_literal(G_IO_ERROR, G_IO_ERROR_FAILED, "an earlier one");
  g_autoptr(GError) error = earlier;
  EXPECT_FALSE(led_base_activate_light(light_.get(), TRUE, &error));
  EXPECT_EQ(error, earlier);
  EXPECT_STREQ(error->message, "an earlier one");
  EXPECT_FALSE(led_base_activate_light(light_.get(), TRUE, nullptr));
}

// How it calls.

TEST_F(ServedUart, MakesAProxyForEachCallAndDropsIt) {
  activate(TRUE);
  EXPECT_THAT(proxies().made, SizeIs(1));
  EXPECT_EQ(proxies().dropped, 1);
  coordinator_.refuse_calls("org.freedesktop.DBus.Error.Failed");
  activate(FALSE);
  EXPECT_THAT(proxies().made, SizeIs(2));
  EXPECT_EQ(proxies().dropped, 2);
}

TEST_F(ServedUart, ProxiesAreOfTheSystemBusAndLoadNoProperties) {
  activate(TRUE);
  ASSERT_THAT(proxies().made, SizeIs(1));
  EXPECT_EQ(proxies().made[0].bus, G_BUS_TYPE_SYSTEM);
  EXPECT_EQ(proxies().made[0].flags, G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES);
}

TEST_F(ServedUart, WaitsForHalfAMinuteAtMost) {
  activate(TRUE);
  has_type("Visible");
  activate(TRUE);
  EXPECT_THAT(proxies().timeouts, ElementsAre(30000, 30000));
}

TEST_F(ServedUart, LetsNothingElseHappenMeanwhile) {
  bool happened = false;
  const guint source = g_idle_add(
      [](gpointer happened) -> gboolean {
        *static_cast<bool *>(happened) = true;
        return G_SOURCE_CONTINUE;
      },
      &happened);
  EXPECT_TRUE(activate(TRUE));
  EXPECT_FALSE(happened);
  g_source_remove(source);
}

// Nothing of one call is left for the next one: the main loop has not run in between.
TEST_F(Uart, FindsACoordinatorThatTookOver) {
  {
    PtzCoordinator first;
    EXPECT_TRUE(activate(TRUE));
    EXPECT_THAT(first.calls(), ElementsAre(kInfraredOn));
  }
  EXPECT_FALSE(activate(FALSE));
  PtzCoordinator second;
  EXPECT_TRUE(activate(FALSE));
  EXPECT_THAT(second.calls(), ElementsAre(kInfraredOff));
}

// Messages.

TEST_F(ServedUart, TellsInDebugModeWhatItSwitches) {
  BEAMD_DEBUG_FLAG = 1;
  EXPECT_TRUE(activate(TRUE));
  has_type("WhiteLight");
  EXPECT_TRUE(activate(FALSE));
  EXPECT_TRUE(activate(7));
  has_type("Visible");
  EXPECT_FALSE(activate(TRUE));
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "self->ledtype: IR, activate 1"},
                                        Line{LOG_INFO, "self->ledtype: WhiteLight, activate 0"},
                                        Line{LOG_INFO, "self->ledtype: WhiteLight, activate 7"},
                                        Line{LOG_INFO, "self->ledtype: Visible, activate 1"}, kNotSent));
}

TEST_F(Uart, TellsInDebugModeWhatItCouldNotSwitch) {
  BEAMD_DEBUG_FLAG = 1;
  EXPECT_FALSE(activate(TRUE));
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "self->ledtype: IR, activate 1"}, kNotSent));
}

// As part of the daemon.

TEST_F(ServedUart, FollowsWhatIsAskedOfTheLight) {
  light_->use_power_request = FALSE;
  light_->enabled = TRUE;
  light_->activate = TRUE;
  led_base_update_light_state(light_.get(), nullptr);
  EXPECT_EQ(light_->light_on, 1);

  coordinator_.refuse_calls("org.freedesktop.DBus.Error.Failed");
  light_->activate = FALSE;
  led_base_update_light_state(light_.get(), nullptr);
  EXPECT_EQ(light_->light_on, 1) << "it was not switched off";
  EXPECT_THAT(coordinator_.calls(), ElementsAre(kInfraredOn, kInfraredOff));
  EXPECT_THAT(log_.lines(), ElementsAre(kNotSent, Line{LOG_ERR, "Unable to deactivate light"}));
}

TEST_F(ServedUart, IsSwitchedOnAnewByEachGrantWhileItIsLit) {
  light_->use_power_request = FALSE;
  led_base_set_power_intensity(light_.get(), 2.0);
  EXPECT_THAT(coordinator_.calls(), IsEmpty());
  light_->light_on = 1;
  led_base_set_power_intensity(light_.get(), 3.0);
  EXPECT_THAT(coordinator_.calls(), ElementsAre(kInfraredOn));
}

TEST_F(ServedUart, TakesNoAngle) {
  light_->light_on = 1;
  led_base_set_angle_of_illumination(light_.get(), 50);
  led_base_recalculate_angle_of_illumination(light_.get(), 50);
  EXPECT_EQ(light_->angle_of_illumination, 0);
  EXPECT_THAT(coordinator_.calls(), IsEmpty());
}

}  // namespace
