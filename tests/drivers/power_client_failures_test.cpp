// A light that reaches only one of the two services of the power daemon, or cannot follow what they tell.

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <filesystem>
#include <memory>
#include <string>

#include "led/power_client.h"
#include "support/criticals_capture.h"
#include "support/light_files.h"
#include "support/private_bus.h"
#include "support/syslog_capture.h"
#include "support/test_light.h"

namespace {

std::string &refused_signal() {
  static std::string name;
  return name;
}

}  // namespace

// Takes the place of GLib's: no handler can be connected to refused_signal().
gulong g_signal_connect_data(gpointer instance, const gchar *signal, GCallback handler, gpointer data,
                             GClosureNotify destroy_data, GConnectFlags flags) {
  static const auto connect =
      reinterpret_cast<decltype(&g_signal_connect_data)>(dlsym(RTLD_NEXT, "g_signal_connect_data"));
  return signal == refused_signal() ? 0 : connect(instance, signal, handler, data, destroy_data, flags);
}

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using Line = SyslogCapture::Line;

constexpr const char *kServices = "/run/services";
constexpr const char *kStatusService = "/run/services/com.velk.PowerControl.Status.service";

/// A bus that knows how to start the status service, in vain.
class PowerFailures : public testing::Test {
 protected:
  void SetUp() override {
    refused_signal().clear();
    g_test_dbus_add_service_dir(bus_.get(), kServices);
  }

  void TearDown() override {
    light_.reset();
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
    g_test_dbus_down(bus_.get());
    std::filesystem::remove_all(kServices);
  }

  void bring_bus_up() {
    g_test_dbus_up(bus_.get());
    g_setenv("DBUS_SYSTEM_BUS_ADDRESS", g_test_dbus_get_bus_address(bus_.get()), TRUE);
  }

  SyslogCapture log_;
  CriticalsCapture criticals_;
  LightPointer light_ = make_light(LED_TYPE_BASE);

 private:
  std::unique_ptr<GTestDBus, ObjectUnref> bus_{g_test_dbus_new(G_TEST_DBUS_NONE)};
};

TEST_F(PowerFailures, StatusProxy) {
  write_file(kStatusService, "[D-BUS Service]\nName=com.velk.PowerControl.Status\nExec=/bin/false\n");
  bring_bus_up();
  power_client_connect(light_.get());

  EXPECT_NE(light_->consumer_proxy, nullptr);
  EXPECT_EQ(light_->status_proxy, nullptr);
  ASSERT_EQ(log_.lines().size(), 1U);
  EXPECT_EQ(log_.lines()[0].priority, LOG_CRIT);
  EXPECT_THAT(log_.lines()[0].text, StartsWith("Failed to setup status proxy "));
  EXPECT_THAT(log_.lines()[0].text, HasSubstr("com.velk.PowerControl.Status"));
  EXPECT_THAT(criticals_.texts(), ElementsAre(EndsWith("should not be reached")));
}

TEST_F(PowerFailures, OwnerHandler) {
  refused_signal() = "notify::g-name-owner";
  bring_bus_up();
  power_client_connect(light_.get());

  EXPECT_EQ(light_->owner_handler, 0U);
  EXPECT_NE(light_->props_handler, 0U);
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_CRIT, "Failed to connect to g-name-owner"}));
  EXPECT_THAT(criticals_.texts(), IsEmpty());
}

TEST_F(PowerFailures, StatusHandler) {
  refused_signal() = "g-properties-changed";
  bring_bus_up();
  power_client_connect(light_.get());

  EXPECT_NE(light_->owner_handler, 0U);
  EXPECT_NE(light_->status_proxy, nullptr);
  EXPECT_EQ(light_->props_handler, 0U);
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_CRIT, "Failed to connect to g-properties-changed"}));
  EXPECT_THAT(criticals_.texts(), IsEmpty());
}

}  // namespace
