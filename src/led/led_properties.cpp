#include <syslog.h>

#include <span>
#include <string_view>

#include "daemon/debug.h"
#include "led/led_interface.h"
#include "led/led_service.h"
#include "led/light_checks.h"
#include "led/light_error.h"

namespace {

struct Property {
  std::string_view name;
  /// Returns the value (floating), or nullptr with the error set.
  GVariant *(*get)(const LedBase *light, GError **error);
  /// Stores the value in the light and its key; false with the error set. nullptr for a property that is only
  /// read.
  bool (*set)(LedBase *light, GVariant *value, GError **error);
};

bool check_supported(gboolean supported, const char *message, GError **error) {
  if (!supported)
    light_error_set(error, LIGHT_CONTROL_ERROR_NOT_SUPPORTED, "%s", message);
  return supported;
}

bool check_sync_day_night(const LedBase *light, GError **error) {
  return check_supported(light->has_sync_day_night, "Day Night Synchronize is not supported", error);
}

bool check_automatic_intensity(const LedBase *light, GError **error) {
  return check_supported(light->has_automatic_intensity, "Automatic Intensity is not supported", error);
}

bool check_manual_intensity(const LedBase *light, GError **error) {
  return check_supported(light->has_manual_intensity, "Manual Intensity is not supported", error);
}

bool check_automatic_angle(const LedBase *light, GError **error) {
  return check_supported(light->has_automatic_aoi, "Automatic Angle of illumination is not supported", error);
}

bool check_manual_angle(const LedBase *light, GError **error) {
  return check_supported(light->has_manual_aoi, "Manual Angle of illumination is not supported", error);
}

GVariant *get_sync_day_night(const LedBase *light, GError **error) {
  return check_sync_day_night(light, error) ? g_variant_new_boolean(light->sync_day_night) : nullptr;
}

bool set_sync_day_night(LedBase *light, GVariant *value, GError **error) {
  if (!check_sync_day_night(light, error))
    return false;
  light->sync_day_night = g_variant_get_boolean(value);
  g_key_file_set_boolean(light->state, "common", "syncdaynight", light->sync_day_night);
  return true;
}

GVariant *get_automatic_intensity(const LedBase *light, GError **error) {
  return check_automatic_intensity(light, error) ? g_variant_new_boolean(light->automatic_intensity)
                                                 : nullptr;
}

bool set_automatic_intensity(LedBase *light, GVariant *value, GError **error) {
  if (!check_automatic_intensity(light, error))
    return false;
  const gboolean old = light->automatic_intensity;
  light->automatic_intensity = g_variant_get_boolean(value);
  g_key_file_set_boolean(light->state, "common", "automaticintensity", light->automatic_intensity);
  if (light->automatic_intensity != old)
    led_base_set_automatic_intensity(light);
  return true;
}

GVariant *get_manual_intensity(const LedBase *light, GError **error) {
  return check_manual_intensity(light, error) ? g_variant_new_int32(light->manual_intensity) : nullptr;
}

bool set_manual_intensity(LedBase *light, GVariant *value, GError **error) {
  if (!check_manual_intensity(light, error))
    return false;
  const gint old = light->manual_intensity;
  light->manual_intensity = g_variant_get_int32(value);
  g_key_file_set_integer(light->state, "common", "manualintensity", light->manual_intensity);
  if (!light->automatic_intensity && light->manual_intensity != old)
    led_base_set_automatic_intensity(light);
  return true;
}

GVariant *get_use_day_night(const LedBase *light, GError **) {
  return g_variant_new_boolean(!light->use_manual_override);
}

GVariant *get_automatic_angle(const LedBase *light, GError **error) {
  return check_automatic_angle(light, error) ? g_variant_new_boolean(light->automatic_aoi) : nullptr;
}

bool set_automatic_angle(LedBase *light, GVariant *value, GError **error) {
  light_check_angle_supported(light, error);  // the setting is taken nevertheless, if nothing else is missing
  if (!check_automatic_angle(light, error) ||
      !check_supported(
          light->has_manual_aoi,
          "Automatic Angle of illumination can not be disabled, no manual angle of illumination support.",
          error))
    return false;
  light->automatic_aoi = g_variant_get_boolean(value);
  g_key_file_set_boolean(light->state, "zoom", "automaticangleofillumination", light->automatic_aoi);
  if (!light->automatic_aoi)
    led_base_set_angle_of_illumination(light, light->manual_aoi);
  return true;
}

GVariant *get_manual_angle(const LedBase *light, GError **error) {
  return check_manual_angle(light, error) ? g_variant_new_int32(light->manual_aoi) : nullptr;
}

// The angle takes effect when automatic angle is switched off the next time.
bool set_manual_angle(LedBase *light, GVariant *value, GError **error) {
  light_check_angle_supported(light, error);  // as above
  const gint angle = g_variant_get_int32(value);
  if (!check_manual_angle(light, error) || !light_check_angle(light, angle, error))
    return false;
  light->manual_aoi = angle;
  g_key_file_set_integer(light->state, "common", "manualangleofillumination", angle);
  return true;
}

constexpr Property kCommonProperties[] = {
    {"SyncDayNight", get_sync_day_night, set_sync_day_night},
    {"AutomaticIntensity", get_automatic_intensity, set_automatic_intensity},
    {"ManualSetIntensity", get_manual_intensity, set_manual_intensity},
    {"UseDayNight", get_use_day_night, nullptr},
};

constexpr Property kZoomProperties[] = {
    {"AutomaticAngleOfIllumination", get_automatic_angle, set_automatic_angle},
    {"ManualSetAngleOfIllumination", get_manual_angle, set_manual_angle},
};

/// Logs an unknown interface.
const Property *find_property(const char *interface, std::string_view name) {
  const std::string_view interface_name{interface};
  std::span<const Property> properties;
  if (interface_name == LED_INTERFACE_COMMON)
    properties = kCommonProperties;
  else if (interface_name == LED_INTERFACE_ZOOM)
    properties = kZoomProperties;
  else
    syslog(LOG_ERR, "No such interface: %s", interface);

  for (const auto &property : properties)
    if (property.name == name)
      return &property;
  return nullptr;
}

}  // namespace

GVariant *led_base_handle_dbus_get_property(GDBusConnection *, const gchar *, const gchar *,
                                            const gchar *interface_name, const gchar *property_name,
                                            GError **error, gpointer user_data) {
  g_return_val_if_fail(LED_IS_BASE(user_data), nullptr);
  const auto *light = LED_BASE(user_data);
  const std::string_view name{property_name};
  debug_log("Handle get property: %s", property_name);

  if (name == "CardDetected")
    return g_variant_new_boolean(light->card_detected);
  if (name == "CorrectPoe")
    return g_variant_new_boolean(light->correct_poe);
  if (!light_check_usable(light, error))
    return nullptr;

  if (std::string_view{interface_name} == LED_INTERFACE_ZOOM) {
    if (name == "AutomaticAngleOfIlluminationSupp")
      return g_variant_new_boolean(light->has_automatic_aoi);
    if (!light_check_angle_supported(light, error))
      return nullptr;
  }
  const auto *property = find_property(interface_name, name);
  return property != nullptr ? property->get(light, error) : nullptr;
}

gboolean led_base_handle_dbus_set_property(GDBusConnection *, const gchar *, const gchar *,
                                           const gchar *interface_name, const gchar *property_name,
                                           GVariant *value, GError **error, gpointer user_data) {
  g_return_val_if_fail(LED_IS_BASE(user_data), FALSE);
  auto *light = LED_BASE(user_data);
  debug_log("Handle set property: %s", property_name);

  if (!light_check_usable(light, error))
    return FALSE;
  const auto *property = find_property(interface_name, property_name);
  if (property == nullptr || property->set == nullptr || !property->set(light, value, error))
    return FALSE;
  led_base_store_state(light);
  return TRUE;
}
