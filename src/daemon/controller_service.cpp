#include "daemon/controller_service.h"

#include <syslog.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <string_view>

#include "controller_introspection.h"
#include "daemon/bus_names.h"
#include "led/led_interface.h"
#include "led/led_service.h"
#include "led/light_checks.h"
#include "led/light_error.h"
#include "led/temperature_sensors.h"

namespace {

constexpr std::string_view kCommonInterface = LED_INTERFACE_COMMON;
constexpr std::string_view kLegacyInterface = LEGACY_INTERFACE;
constexpr guint kShutdownPollSeconds = 1;

// Parsed once and kept for the life of the process.
GDBusNodeInfo *introspection() {
  static GDBusNodeInfo *node = g_dbus_node_info_new_for_xml(kControllerIntrospection, nullptr);
  return node;
}

void append_led(GVariantBuilder *list, const LedBase *led) {
  char name[8];
  g_snprintf(name, sizeof name, "led%d", led->light_id);
  g_variant_builder_add(list, "(ssibbbbb)", name, led->ledtype, led->nbr_of_leds, led->enabled,
                        led->sync_day_night, led->light_on == 1,
                        led->has_automatic_intensity && led->automatic_intensity,
                        led->has_automatic_aoi && led->automatic_aoi);
}

GVariant *get_all_led(const LightController *self, GError **error) {
  g_auto(GVariantBuilder) list = G_VARIANT_BUILDER_INIT(G_VARIANT_TYPE("a(ssibbbbb)"));
  for (gint32 i = 0; i < self->nbr_of_leds; ++i) {
    const LedBase *led = self->leds[i];
    if (!light_check_usable(led, error))
      return nullptr;
    append_led(&list, led);
  }

  GVariant *reply = g_variant_new("(a(ssibbbbb))", &list);
  if (reply == nullptr)
    light_error_set(error, LIGHT_CONTROL_ERROR_VARIANT, "Failed to create variant");
  return reply;
}

bool is_light_control_available(const LightController *self) {
  return std::any_of(self->leds, self->leds + self->nbr_of_leds,
                     [](const LedBase *led) { return light_check_usable(led, nullptr); });
}

void handle_method_call(GDBusConnection *, const gchar *, const gchar *, const gchar *interface_name,
                        const gchar *method_name, GVariant *, GDBusMethodInvocation *invocation,
                        gpointer user_data) {
  const auto *self = LIGHT_CONTROLLER(user_data);
  const std::string_view method{method_name};
  g_autoptr(GError) error = nullptr;
  GVariant *reply = nullptr;

  if (interface_name != kCommonInterface) {
    syslog(LOG_WARNING, "No such interface: '%s'", interface_name);
  } else if (method == "GetNbrOfLEDs") {
    reply = g_variant_new("(i)", self->nbr_of_leds);
  } else if (method == "GetAllLED") {
    reply = get_all_led(self, &error);
  } else {
    syslog(LOG_WARNING, "No such method: '%s'", method_name);
  }

  if (error != nullptr)
    g_dbus_method_invocation_return_gerror(invocation, error);
  else if (reply != nullptr)
    g_dbus_method_invocation_return_value(invocation, reply);
  else
    g_object_unref(invocation);  // no reply: the caller runs into its timeout
}

GVariant *handle_get_property(GDBusConnection *, const gchar *, const gchar *, const gchar *interface_name,
                              const gchar *property_name, GError **, gpointer user_data) {
  const auto *self = LIGHT_CONTROLLER(user_data);
  const std::string_view property{property_name};
  if (interface_name == kCommonInterface && property == "Day")
    return g_variant_new_boolean(self->day);
  if (interface_name == kCommonInterface && property == "IRCutFilterAvailable")
    return g_variant_new_boolean(self->ir_cut_filter_available);
  if (interface_name == kLegacyInterface && property == "LightControlAvailable")
    return g_variant_new_boolean(is_light_control_available(self));
  return nullptr;
}

gboolean handle_set_property(GDBusConnection *, const gchar *, const gchar *, const gchar *,
                             const gchar *property_name, GVariant *, GError **, gpointer) {
  syslog(LOG_ERR, "No such property (%s)", property_name);
  return FALSE;
}

constexpr GDBusInterfaceVTable kControllerHandlers = {
    handle_method_call, handle_get_property, handle_set_property, {}};
constexpr GDBusInterfaceVTable kLedHandlers = {led_base_handle_dbus_method_call,
                                               led_base_handle_dbus_get_property,
                                               led_base_handle_dbus_set_property,
                                               {}};

void register_object(GDBusConnection *connection, const char *path, GDBusInterfaceInfo *interface,
                     const GDBusInterfaceVTable *handlers, gpointer object) {
  const guint registration_id =
      g_dbus_connection_register_object(connection, path, interface, handlers, object, nullptr, nullptr);
  g_assert(registration_id > 0);
}

// A light may offer fewer interfaces than there are, never more.
void register_led(GDBusConnection *connection, gint32 index, LedBase *led) {
  const std::string path = BEAMD_LIGHT_PATH_PREFIX + std::to_string(index);
  const GDBusNodeInfo *node = led_base_get_introspect(led);
  const gint offered = node != nullptr ? led_base_get_nbr_of_interfaces(led) : 0;
  for (gint i = 0; i < offered && node->interfaces[i] != nullptr; ++i)
    register_object(connection, path.c_str(), node->interfaces[i], &kLedHandlers, led);
}

void on_bus_acquired(GDBusConnection *connection, const gchar *, gpointer user_data) {
  auto *self = LIGHT_CONTROLLER(user_data);
  for (GDBusInterfaceInfo **interface = introspection()->interfaces; *interface != nullptr; ++interface)
    register_object(connection, BEAMD_CONTROLLER_PATH, *interface, &kControllerHandlers, self);
  for (gint32 i = 0; i < self->nbr_of_leds; ++i)
    register_led(connection, i, self->leds[i]);
}

bool init_dbus(LightController *self) {
  if (introspection() == nullptr) {
    syslog(LOG_ERR, "Failed to parse dbus introspection xml");
    return false;
  }
  return g_bus_own_name(G_BUS_TYPE_SYSTEM, BEAMD_BUS_NAME, G_BUS_NAME_OWNER_FLAGS_NONE, on_bus_acquired,
                        nullptr, nullptr, self, nullptr) != 0;
}

gboolean update_temperatures(gpointer user_data) {
  auto *self = LIGHT_CONTROLLER(user_data);
  for (gint32 i = 0; i < self->nbr_of_leds; ++i)
    led_base_update_temperature(self->leds[i]);
  return G_SOURCE_CONTINUE;
}

gboolean poll_shutdown(gpointer user_data) {
  auto *self = LIGHT_CONTROLLER(user_data);
  if (std::atomic_ref{light_controller_shutdown}.load(std::memory_order_relaxed) == 0 ||
      self->main_loop == nullptr)
    return G_SOURCE_CONTINUE;
  g_main_loop_quit(self->main_loop);
  return G_SOURCE_REMOVE;
}

// The first light alone decides whether and how often temperatures are read, for all lights.
void add_temperature_timer(LightController *self) {
  LedBase *first = self->nbr_of_leds > 0 ? self->leds[0] : nullptr;
  if (first == nullptr || !led_base_get_temp_card_detected(first))
    return;
  // A period of 0 would spin, a negative one wait for a century.
  const auto seconds = static_cast<guint>(std::max(led_base_get_temp_sample_time(first), 1));
  g_timeout_add_seconds(seconds, update_temperatures, self);
}

}  // namespace

void light_controller_run_loop(LightController *self) {
  g_return_if_fail(IS_LIGHT_CONTROLLER(self));

  if (!init_dbus(self)) {
    syslog(LOG_ERR, "init_dbus failed");
    return;
  }
  self->main_loop = g_main_loop_new(nullptr, FALSE);
  add_temperature_timer(self);
  g_timeout_add_seconds(kShutdownPollSeconds, poll_shutdown, self);
  g_main_loop_run(self->main_loop);
  g_clear_pointer(&self->main_loop, g_main_loop_unref);
}
