#include "led/temperature_sensors.h"

#include <syslog.h>

#include <algorithm>
#include <string>
#include <vector>

#include "daemon/debug.h"
#include "led/light_control_switch.h"

namespace {

constexpr gint kNotFound = -1;
constexpr gdouble kNoReadingYet = -1000.0;
constexpr gdouble kNoSuchSensor = -999.0;
constexpr gint kUnavailableSensor = 1;  // the temperature service's error code

constexpr const char *kService = "com.velk.TemperatureController";
constexpr const char *kServicePath = "/com/velk/TemperatureController";

std::string key_of_sensor(gsize index) {
  return index == 0 ? "temp_sensor_id" : "temp_sensor_id" + std::to_string(index + 1);
}

std::vector<std::string> read_sensor_names(GKeyFile *key_file) {
  std::vector<std::string> names;
  for (;;) {
    g_autofree gchar *name =
        g_key_file_get_string(key_file, "regulator", key_of_sensor(names.size()).c_str(), nullptr);
    if (name == nullptr)
      return names;
    names.emplace_back(name);
  }
}

gint id_in_reply(GVariant *reply, const char *name) {
  if (!g_variant_is_of_type(reply, G_VARIANT_TYPE("(i)"))) {
    syslog(LOG_WARNING, "Unexpected reply of type %s for temperature sensor name '%s'",
           g_variant_get_type_string(reply), name);
    return kNotFound;
  }
  gint id = kNotFound;
  g_variant_get(reply, "(i)", &id);
  return id;
}

// Only one method is called: the service's properties and signals are of no interest.
constexpr auto kProxyFlags = static_cast<GDBusProxyFlags>(G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES |
                                                          G_DBUS_PROXY_FLAGS_DO_NOT_CONNECT_SIGNALS);

gint ask_temperature_service(const char *name) {
  g_autoptr(GError) error = nullptr;
  g_autoptr(GDBusProxy) proxy = g_dbus_proxy_new_for_bus_sync(
      G_BUS_TYPE_SYSTEM, kProxyFlags, nullptr, kService, kServicePath, kService, nullptr, &error);
  if (!proxy) {
    syslog(LOG_WARNING, "Failed to connect to TemperatureController: %s", error->message);
    return kNotFound;
  }

  debug_log("Trying to get temperature sensor name %s", name);
  g_autoptr(GVariant) reply =
      g_dbus_proxy_call_sync(proxy, "GetTemperatureIdFromName", g_variant_new("(s)", name),
                             G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
  if (reply)
    return id_in_reply(reply, name);

  // Whatever its domain: the service's own does not survive the bus.
  if (error->code == kUnavailableSensor)
    syslog(LOG_INFO, "Unavailable Temperature sensor name '%s'", name);
  else
    syslog(LOG_WARNING, "Failed to look up temperature sensor name '%s': %s", name, error->message);
  return kNotFound;
}

gint look_up_sensor(const std::string &name, const std::string &key) {
  const gint id = is_light_control_disabled() ? kNotFound : ask_temperature_service(name.c_str());
  if (id >= 0) {
    debug_log("Found matching sensor_id %d", id);
    return id;
  }
  debug_log("Cannot find sensor id for: '%s' (%s)", name.c_str(), key.c_str());
  return kNotFound;
}

bool is_sensor(const LedBase *self, gint index) {
  return index >= 0 && index < self->nbr_of_temp_sensors && self->temp_sensor_temps != nullptr;
}

}  // namespace

gint led_base_conf_temp_sensor_ids(LedBase *self, GKeyFile *key_file, GError **) {
  g_return_val_if_fail(LED_IS_BASE(self) && key_file != nullptr, 0);

  const auto names = read_sensor_names(key_file);
  g_clear_pointer(&self->temp_sensor_ids, g_free);
  g_clear_pointer(&self->temp_sensor_temps, g_free);
  self->nbr_of_temp_sensors = static_cast<gint>(names.size());
  if (names.empty())
    return 0;

  self->temp_sensor_ids = g_new(gint, names.size());
  self->temp_sensor_temps = g_new(gdouble, names.size());
  for (gsize i = 0; i < names.size(); ++i) {
    self->temp_sensor_ids[i] = look_up_sensor(names[i], key_of_sensor(i));
    self->temp_sensor_temps[i] = kNoReadingYet;
  }
  return self->nbr_of_temp_sensors;
}

gdouble led_base_get_temp_senor_temp(LedBase *self, gint index) {
  g_return_val_if_fail(LED_IS_BASE(self), kNoSuchSensor);
  return is_sensor(self, index) ? self->temp_sensor_temps[index] : kNoSuchSensor;
}

void led_base_set_temp_senor_temp(LedBase *self, gint index, gdouble celsius) {
  g_return_if_fail(LED_IS_BASE(self));
  if (is_sensor(self, index))
    self->temp_sensor_temps[index] = celsius;
}

gint led_base_get_temp_sample_time(LedBase *self) {
  g_return_val_if_fail(LED_IS_BASE(self), 0);
  return self->temp_sample_time;
}

gboolean led_base_get_temp_card_detected(LedBase *self) {
  g_return_val_if_fail(LED_IS_BASE(self), FALSE);
  if (!self->card_detected || self->temp_sensor_ids == nullptr)
    return FALSE;
  return std::any_of(self->temp_sensor_ids, self->temp_sensor_ids + self->nbr_of_temp_sensors,
                     [](gint id) { return id >= 0; });
}
