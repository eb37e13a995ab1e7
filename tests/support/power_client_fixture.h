#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <functional>
#include <string>

#include "daemon/debug.h"
#include "led/power_client.h"
#include "support/power_daemon.h"
#include "support/syslog_capture.h"
#include "support/test_light.h"

/// The call of Register that light @p id makes, as PowerDaemon tells of it.
inline std::string registration(int id) {
  const std::string number = std::to_string(id);
  return "/com/velk/PowerControl/Consumer com.velk.PowerControl.Consumer.Register ('led" + number +
         "', false, 'com.velk.LightController', '/com/velk/LightController/led/" + number +
         "', 'com.velk.LightController.Power')";
}

/// Likewise the call of RequestPower.
inline std::string request(int id, const char *mode, double watts) {
  g_autoptr(GVariant) number = g_variant_ref_sink(g_variant_new_double(watts));
  g_autofree gchar *text = g_variant_print(number, TRUE);
  return "/com/velk/PowerControl/Consumer com.velk.PowerControl.Consumer.RequestPower ('led" +
         std::to_string(id) + "', '" + mode + "', " + text + ")";
}

/// Runs the default main context until @p is_done; the running test fails when that takes too long.
inline void wait_until(const std::function<bool()> &is_done) {
  const gint64 deadline = g_get_monotonic_time() + 20 * G_TIME_SPAN_SECOND;
  while (!is_done()) {
    ASSERT_LT(g_get_monotonic_time(), deadline) << "waited in vain";
    if (!g_main_context_iteration(nullptr, FALSE))
      g_usleep(1000);
  }
}

/// A light with the base's own behaviour, and a power daemon that is down.
class PowerClient : public testing::Test {
 protected:
  static void SetUpTestSuite() { g_setenv("DBUS_SYSTEM_BUS_ADDRESS", private_bus_address(), TRUE); }

  ~PowerClient() override { BEAMD_DEBUG_FLAG = 0; }

  /// Whether the light knows that the daemon is on the bus.
  bool sees_daemon() const {
    g_autofree gchar *consumer = g_dbus_proxy_get_name_owner(light_->consumer_proxy);
    g_autofree gchar *status = g_dbus_proxy_get_name_owner(light_->status_proxy);
    return consumer != nullptr && status != nullptr;
  }

  void let_daemon_come_up() {
    wattd_.come_up();
    wait_until([this] { return sees_daemon(); });
    wattd_.settle();
  }

  void let_daemon_go_down() {
    wattd_.go_down();
    wattd_.settle();
  }

  SyslogCapture log_;
  PowerDaemon wattd_;
  LightPointer light_ = make_light(LED_TYPE_BASE);
};
