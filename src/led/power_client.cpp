#include "led/power_client.h"

#include <syslog.h>

#include <string_view>

#include "daemon/bus_names.h"
#include "daemon/debug.h"

namespace {

constexpr const char *kConsumer = "com.velk.PowerControl.Consumer";
constexpr const char *kConsumerPath = "/com/velk/PowerControl/Consumer";
constexpr const char *kStatus = "com.velk.PowerControl.Status";
constexpr const char *kStatusPath = "/com/velk/PowerControl/Status";

constexpr const char *kReceivedPower = "PowerReceived";
// The power daemon's changes spell it in this way.
constexpr std::string_view kReceivedPowerInChanges = "PowerRecieved";
constexpr const char *kPsePoeClass = "PsePoeClass";
constexpr const char *kLldpPoeClass = "LldpPoeClass";

/// The name under which the power daemon knows the light; to be freed.
gchar *consumer_name(const LedBase *light) { return g_strdup_printf("led%d", light->light_id); }

bool is_wattd_up(const LedBase *light) {
  if (light->consumer_proxy == nullptr)
    return false;
  g_autofree gchar *owner = g_dbus_proxy_get_name_owner(light->consumer_proxy);
  return owner != nullptr;
}

/// Takes over @p arguments. Neither reply nor error is of interest: grants come on their own.
void call_wattd(const LedBase *light, const char *method, GVariant *arguments) {
  g_dbus_proxy_call(light->consumer_proxy, method, arguments, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr,
                    nullptr);
}

bool has_type(GVariant *value, const char *property, const GVariantType *type) {
  if (g_variant_is_of_type(value, type))
    return true;
  syslog(LOG_WARNING, "Power daemon: %s has the unexpected type %s", property,
         g_variant_get_type_string(value));
  return false;
}

bool is_class_enough(const LedBase *light, GVariant *poe_class) {
  return light->minimum_poe_class <= g_variant_get_int32(poe_class);
}

void check_received_power(LedBase *light) {
  g_autoptr(GVariant) received = g_dbus_proxy_get_cached_property(light->status_proxy, kReceivedPower);
  if (!(light->required_total_power > 0.0) || received == nullptr ||
      !has_type(received, kReceivedPower, G_VARIANT_TYPE_DOUBLE))
    return;
  const gdouble watts = g_variant_get_double(received);
  light->correct_poe = light->required_total_power <= watts;
  if (!light->correct_poe)
    syslog(LOG_ERR, "Too little power for IR leds, received power: %f, required power: %f", watts,
           light->required_total_power);
}

void check_poe_class(LedBase *light, const char *property) {
  g_autoptr(GVariant) poe_class = g_dbus_proxy_get_cached_property(light->status_proxy, property);
  if (poe_class != nullptr && has_type(poe_class, property, G_VARIANT_TYPE_INT32) &&
      is_class_enough(light, poe_class))
    light->correct_poe = TRUE;
}

void check_supply(LedBase *light) {
  check_received_power(light);
  if (light->minimum_poe_class < 1)
    return;
  check_poe_class(light, kPsePoeClass);
  check_poe_class(light, kLldpPoeClass);
}

// A change of a property that the light has no requirement for makes the supply a wrong one.
void apply_change(LedBase *light, const gchar *property, GVariant *value) {
  if (std::string_view{property} == kLldpPoeClass) {
    if (has_type(value, property, G_VARIANT_TYPE_INT32))
      light->correct_poe = light->minimum_poe_class > 0 && is_class_enough(light, value);
  } else if (property == kReceivedPowerInChanges) {
    if (has_type(value, property, G_VARIANT_TYPE_DOUBLE))
      light->correct_poe =
          light->required_total_power > 0.0 && light->required_total_power <= g_variant_get_double(value);
  }
}

void on_status_changed(GDBusProxy *, GVariant *changed, const gchar *const *, gpointer user_data) {
  GVariantIter iter;
  const gchar *property = nullptr;
  GVariant *value = nullptr;
  g_variant_iter_init(&iter, changed);
  while (g_variant_iter_loop(&iter, "{&sv}", &property, &value))
    apply_change(LED_BASE(user_data), property, value);
}

void on_owner_changed(GDBusProxy *, GParamSpec *, gpointer user_data) {
  auto *light = LED_BASE(user_data);
  if (!is_wattd_up(light))
    return;
  power_client_register(light);
  led_base_request_power(light);
}

GDBusProxy *new_proxy(const char *name, const char *path, const char *complaint) {
  g_autoptr(GError) error = nullptr;
  GDBusProxy *proxy = g_dbus_proxy_new_for_bus_sync(G_BUS_TYPE_SYSTEM, G_DBUS_PROXY_FLAGS_NONE, nullptr, name,
                                                    path, name, nullptr, &error);
  if (proxy == nullptr)
    syslog(LOG_CRIT, complaint, error->message);
  return proxy;
}

guint follow(GDBusProxy *proxy, const char *signal, const char *complaint, GCallback handler,
             LedBase *light) {
  const gulong id = g_signal_connect(proxy, signal, handler, light);
  if (id == 0)
    syslog(LOG_CRIT, "%s", complaint);
  return static_cast<guint>(id);
}

void drop_proxy(GDBusProxy **proxy, guint *handler) {
  if (*proxy != nullptr && *handler != 0)
    g_signal_handler_disconnect(*proxy, *handler);
  *handler = 0;
  g_clear_object(proxy);
}

}  // namespace

void power_client_connect(LedBase *light) {
  g_return_if_fail(LED_IS_BASE(light));

  light->consumer_proxy = new_proxy(kConsumer, kConsumerPath, "Failed to setup proxy %s");
  if (light->consumer_proxy == nullptr)
    g_return_if_reached();
  light->owner_handler = follow(light->consumer_proxy, "notify::g-name-owner",
                                "Failed to connect to g-name-owner", G_CALLBACK(on_owner_changed), light);

  light->status_proxy = new_proxy(kStatus, kStatusPath, "Failed to setup status proxy %s");
  if (light->status_proxy == nullptr)
    g_return_if_reached();
  light->props_handler =
      follow(light->status_proxy, "g-properties-changed", "Failed to connect to g-properties-changed",
             G_CALLBACK(on_status_changed), light);
  check_supply(light);
}

void power_client_register(LedBase *light) {
  g_return_if_fail(LED_IS_BASE(light));

  if (light->consumer_proxy == nullptr)
    power_client_connect(light);
  if (!is_wattd_up(light)) {
    syslog(LOG_INFO, "Can not register at wattd: wattd is down");
    return;
  }
  g_autofree gchar *name = consumer_name(light);
  g_autofree gchar *path = g_strdup_printf(BEAMD_LIGHT_PATH_PREFIX "%d", light->light_id);
  call_wattd(light, "Register",
             g_variant_new("(sbsss)", name, FALSE, BEAMD_BUS_NAME, path, LED_INTERFACE_POWER));
}

void power_client_disconnect(LedBase *light) {
  g_return_if_fail(LED_IS_BASE(light));
  drop_proxy(&light->consumer_proxy, &light->owner_handler);
  drop_proxy(&light->status_proxy, &light->props_handler);
}

void led_base_send_power_request(LedBase *self, gdouble watts) {
  g_return_if_fail(LED_IS_BASE(self));

  if (!is_wattd_up(self)) {
    syslog(LOG_INFO, "Can not request at wattd: wattd is down");
    return;
  }
  debug_log("Requesting power %.2f", watts);
  g_autofree gchar *name = consumer_name(self);
  call_wattd(self, "RequestPower", g_variant_new("(ssd)", name, watts > 0.0 ? "normal" : "off", watts));
}
