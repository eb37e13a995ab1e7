#include "drivers/led_2_uart.h"

#include <syslog.h>

#include <string_view>

#include "daemon/debug.h"

struct _Led2Uart {
  LedBase parent;
};

G_DEFINE_FINAL_TYPE(Led2Uart, led_2_uart, LED_TYPE_BASE)

namespace {

constexpr const char *kCoordinator = "com.velk.PTZ.Coordinator";
constexpr const char *kUnit = "/com/velk/PTZ/Coordinator/1";
constexpr gint kTimeoutMs = 30000;

/// The unit's command; NULL for a type of light that it does not know.
const char *command_for(std::string_view type, bool on) {
  if (type == "IR")
    return on ? "tt:LightIR|On" : "tt:LightIR|Off";
  if (type == "WhiteLight")
    return on ? "tt:LightWL|On" : "tt:LightWL|Off";
  return nullptr;
}

// Without a command the unit is called without arguments, and refuses.
bool send_command(const char *command) {
  g_autoptr(GDBusProxy) unit =
      g_dbus_proxy_new_for_bus_sync(G_BUS_TYPE_SYSTEM, G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES, nullptr,
                                    kCoordinator, kUnit, kCoordinator, nullptr, nullptr);
  if (unit == nullptr)
    return false;
  GVariant *arguments = command != nullptr ? g_variant_new("(sis)", "Administrator", 0, command) : nullptr;
  g_autoptr(GVariant) reply = g_dbus_proxy_call_sync(unit, "Auxiliary", arguments, G_DBUS_CALL_FLAGS_NONE,
                                                     kTimeoutMs, nullptr, nullptr);
  return reply != nullptr;
}

gboolean led_2_uart_setup(LedBase *, GError **error) {
  g_clear_error(error);
  return TRUE;
}

gboolean led_2_uart_activate_light(LedBase *light, gboolean on, GError **) {
  const char *type = light->ledtype != nullptr ? light->ledtype : "";
  debug_log("self->ledtype: %s, activate %i", type, on);
  if (send_command(command_for(type, on)))
    return TRUE;
  syslog(LOG_ERR, "Failed to send aux command to ptz");
  return FALSE;
}

}  // namespace

static void led_2_uart_class_init(Led2UartClass *klass) {
  auto *base = LED_BASE_CLASS(klass);
  led_base_class_remove_angle(base);
  base->activate_light = led_2_uart_activate_light;
  base->setup = led_2_uart_setup;
}

static void led_2_uart_init(Led2Uart *) {}
