#include "led/led_service.h"

#include <syslog.h>

#include <algorithm>
#include <optional>
#include <string_view>
#include <vector>

#include "daemon/debug.h"
#include "led/led_interface.h"
#include "led/light_checks.h"
#include "led/light_error.h"

namespace {

/// Carries out one method: returns the reply (floating, nullptr = an empty one) or sets the error.
using Method = GVariant *(*)(LedBase *light, GVariant *parameters, GError **error);

struct MethodEntry {
  std::string_view name;
  Method call;
};

gboolean boolean_argument(GVariant *parameters) {
  gboolean value = FALSE;
  g_variant_get(parameters, "(b)", &value);
  return value;
}

gint integer_argument(GVariant *parameters) {
  gint value = 0;
  g_variant_get(parameters, "(i)", &value);
  return value;
}

GVariant *range_reply(gint low, gint high) { return g_variant_new("(v)", g_variant_new("(ii)", low, high)); }

GVariant *individual_not_supported(GError **error) {
  light_error_set(error, LIGHT_CONTROL_ERROR_NOT_SUPPORTED, "Individual intensity not supported.");
  return nullptr;
}

std::optional<gint> intensity_type(const char *text, GError **error) {
  if (std::string_view{text} == "manual")
    return LED_INTENSITY_TYPE_MANUAL;
  if (std::string_view{text} == "automatic")
    return LED_INTENSITY_TYPE_AUTOMATIC;
  light_error_set(error, LIGHT_CONTROL_ERROR_NOT_SUPPORTED, "Intensity type '%s' not supported.", text);
  return std::nullopt;
}

std::optional<gint> individual_intensity(LedBase *light, gint led, gint type, GError **error) {
  const gint level = led_base_get_individual_led_intensity(light, led, type);
  if (level >= 0)
    return level;
  // A light without individual intensities says so, even for an LED that is not there.
  if (level == LED_INTENSITY_NOT_SUPPORTED || !light->individual_intensity_support)
    individual_not_supported(error);
  else
    light_refuse_intensity(error);
  return std::nullopt;
}

GVariant *activate_light(LedBase *light, GVariant *parameters, GError **error) {
  light->activate = boolean_argument(parameters);
  if (light->activate && !light->enabled)
    syslog(LOG_INFO, "Light is disabled, will not activate light.");
  led_base_update_light_state(light, error);
  return nullptr;
}

GVariant *set_manual_on(LedBase *light, GVariant *parameters, GError **) {
  light->manual_on = boolean_argument(parameters);
  return nullptr;
}

GVariant *set_intensity(LedBase *light, GVariant *parameters, GError **error) {
  const gint value = integer_argument(parameters);
  if (light_check_intensity(light, value, error))
    led_base_set_intensity(light, value);
  return nullptr;
}

GVariant *get_intensity(LedBase *light, GVariant *, GError **) {
  return g_variant_new("(i)", led_base_get_intensity(light));
}

GVariant *get_light_status(LedBase *light, GVariant *, GError **) {
  return g_variant_new("(b)", light->light_on == 1);
}

GVariant *set_enabled(LedBase *light, GVariant *parameters, GError **) {
  light->enabled = boolean_argument(parameters);
  led_base_update_light_state(light, nullptr);
  g_key_file_set_boolean(light->state, "common", "enable", light->enabled);
  led_base_store_state(light);
  return nullptr;
}

GVariant *get_enabled(LedBase *light, GVariant *, GError **) { return g_variant_new("(b)", light->enabled); }

GVariant *set_enable_sync_day_night(LedBase *light, GVariant *parameters, GError **) {
  const bool enable = boolean_argument(parameters);
  if (enable && light->sync_disable_count > 0)
    light->sync_disable_count--;
  else if (!enable && light->sync_disable_count < G_MAXINT)
    light->sync_disable_count++;
  return nullptr;
}

GVariant *get_enable_sync_day_night(LedBase *light, GVariant *, GError **) {
  const bool overridden = light->use_manual_override && light->manual_on;
  return g_variant_new("(b)", light->sync_disable_count < 1 && !overridden);
}

GVariant *get_led_type(LedBase *light, GVariant *, GError **) { return g_variant_new("(s)", light->ledtype); }

GVariant *get_individual_led_intensity(LedBase *light, GVariant *parameters, GError **error) {
  gint led = 0;
  const char *type_text = nullptr;
  g_variant_get(parameters, "(i&s)", &led, &type_text);

  const auto type = intensity_type(type_text, error);
  const auto level = type ? individual_intensity(light, led, *type, error) : std::nullopt;
  return level ? g_variant_new("(i)", *level) : nullptr;
}

GVariant *get_individual_led_intensities(LedBase *light, GVariant *parameters, GError **error) {
  const char *type_text = nullptr;
  g_variant_get(parameters, "(&s)", &type_text);
  const auto type = intensity_type(type_text, error);
  if (!type)
    return nullptr;

  g_auto(GVariantBuilder) levels = G_VARIANT_BUILDER_INIT(G_VARIANT_TYPE("ai"));
  for (gint led = 0; led < light->nbr_of_leds; ++led) {
    const auto level = individual_intensity(light, led, *type, error);
    if (!level)
      return nullptr;
    g_variant_builder_add(&levels, "i", *level);
  }
  return g_variant_new("(ai)", &levels);
}

GVariant *set_individual_led_intensity(LedBase *light, GVariant *parameters, GError **error) {
  gint led = 0;
  gint value = 0;
  const char *type_text = nullptr;
  g_variant_get(parameters, "(ii&s)", &led, &value, &type_text);

  const auto type = intensity_type(type_text, error);
  if (!type || !light_check_intensity(light, value, error))
    return nullptr;
  if (!led_base_set_individual_led_intensity(light, led, value, *type))
    return individual_not_supported(error);
  return nullptr;
}

std::nullopt_t wrong_count(GError **error) {
  light_error_set(error, LIGHT_CONTROL_ERROR_INVALID_INTENSITY, "Invalid intensity count.");
  return std::nullopt;
}

std::optional<std::vector<gint>> one_value_per_led(const LedBase *light, GVariantIter *given,
                                                   GError **error) {
  const auto expected = static_cast<size_t>(std::max(light->nbr_of_leds, 0));
  std::vector<gint> values;
  gint value = 0;
  while (g_variant_iter_next(given, "i", &value)) {
    if (values.size() == expected)
      return wrong_count(error);
    if (!light_check_intensity(light, value, error))
      return std::nullopt;
    values.push_back(value);
  }
  if (values.size() < expected)
    return wrong_count(error);
  return values;
}

GVariant *set_individual_led_intensities(LedBase *light, GVariant *parameters, GError **error) {
  g_autoptr(GVariantIter) given = nullptr;
  const char *type_text = nullptr;
  g_variant_get(parameters, "(ai&s)", &given, &type_text);

  const auto type = intensity_type(type_text, error);
  const auto values = type ? one_value_per_led(light, given, error) : std::nullopt;
  if (!values)
    return nullptr;
  for (gint led = 0; led < light->nbr_of_leds; ++led)
    if (!led_base_set_individual_led_intensity(light, led, (*values)[static_cast<size_t>(led)], *type))
      return individual_not_supported(error);
  return nullptr;
}

GVariant *get_number_of_leds(LedBase *light, GVariant *, GError **) {
  return g_variant_new("(i)", light->nbr_of_leds);
}

GVariant *get_valid_intensities(LedBase *light, GVariant *, GError **) {
  return range_reply(light->intensity_low, light->intensity_high);
}

GVariant *set_power(LedBase *light, GVariant *parameters, GError **) {
  gdouble watts = 0.0;
  g_variant_get(parameters, "(d)", &watts);
  led_base_set_power_intensity(light, watts);
  return nullptr;
}

GVariant *change_angle_of_illumination(LedBase *light, GVariant *parameters, GError **error) {
  const gint angle = integer_argument(parameters);
  if (light_check_angle(light, angle, error))
    led_base_set_angle_of_illumination(light, angle);
  return nullptr;
}

GVariant *get_current_angle_of_illumination(LedBase *light, GVariant *, GError **) {
  return g_variant_new("(i)", led_base_get_current_angle_of_illumination(light));
}

GVariant *get_valid_angle_of_views(LedBase *light, GVariant *, GError **) {
  return range_reply(light->aoi_low, light->aoi_high);
}

constexpr MethodEntry kCommonMethods[] = {
    {"ActivateLight", activate_light},
    {"SetManualOn", set_manual_on},
    {"SetIntensity", set_intensity},
    {"GetIntensity", get_intensity},
    {"GetLightStatus", get_light_status},
    {"SetEnabled", set_enabled},
    {"GetEnabled", get_enabled},
    {"SetEnableSyncDayNight", set_enable_sync_day_night},
    {"GetEnableSyncDayNight", get_enable_sync_day_night},
    {"GetLEDType", get_led_type},
    {"GetIndividualLEDIntensity", get_individual_led_intensity},
    {"GetIndividualLEDIntensities", get_individual_led_intensities},
    {"SetIndividualLEDIntensity", set_individual_led_intensity},
    {"SetIndividualLEDIntensities", set_individual_led_intensities},
    {"GetNumberOfLEDs", get_number_of_leds},
    {"GetValidIntensities", get_valid_intensities},
};

constexpr MethodEntry kPowerMethods[] = {{"SetPower", set_power}};

constexpr MethodEntry kZoomMethods[] = {
    {"ChangeAngleOfIllumination", change_angle_of_illumination},
    {"GetCurrentAngleOfIllumination", get_current_angle_of_illumination},
    {"GetValidAngleOfViews", get_valid_angle_of_views},
};

template <size_t Count>
Method find_method(const MethodEntry (&table)[Count], std::string_view name) {
  for (const auto &entry : table)
    if (entry.name == name)
      return entry.call;
  return nullptr;
}

/// Logs an unknown interface and an unknown method of the common one.
Method find_method(const char *interface, const char *name) {
  const std::string_view interface_name{interface};
  if (interface_name == LED_INTERFACE_POWER)
    return find_method(kPowerMethods, name);
  if (interface_name == LED_INTERFACE_ZOOM)
    return find_method(kZoomMethods, name);
  if (interface_name != LED_INTERFACE_COMMON) {
    syslog(LOG_WARNING, "No such interface: %s", interface);
    return nullptr;
  }
  const auto method = find_method(kCommonMethods, name);
  if (method == nullptr)
    syslog(LOG_WARNING, "No such method: %s", name);
  return method;
}

}  // namespace

void led_base_handle_dbus_method_call(GDBusConnection *, const gchar *, const gchar *,
                                      const gchar *interface_name, const gchar *method_name,
                                      GVariant *parameters, GDBusMethodInvocation *invocation,
                                      gpointer user_data) {
  g_return_if_fail(LED_IS_BASE(user_data));
  auto *light = LED_BASE(user_data);
  debug_log("Handle dbus method call: %s", method_name);

  g_autoptr(GError) error = nullptr;
  const bool needs_angle = std::string_view{interface_name} == LED_INTERFACE_ZOOM;
  if (!light_check_usable(light, &error) || (needs_angle && !light_check_angle_supported(light, &error))) {
    g_dbus_method_invocation_return_gerror(invocation, error);
    return;
  }

  const auto method = find_method(interface_name, method_name);
  if (method == nullptr) {
    g_object_unref(invocation);  // no reply: the caller runs into its timeout
    return;
  }

  GVariant *reply = method(light, parameters, &error);
  if (error != nullptr)
    g_dbus_method_invocation_return_gerror(invocation, error);
  else
    g_dbus_method_invocation_return_value(invocation, reply);
}
