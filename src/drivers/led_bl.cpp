#include "drivers/led_bl.h"

#include <syslog.h>

#include <optional>
#include <string>

#include "daemon/debug.h"
#include "daemon/numbers.h"
#include "daemon/util.h"
#include "drivers/attribute_file.h"
#include "drivers/brightness.h"
#include "drivers/device_access.h"
#include "drivers/gpio_lines.h"
#include "drivers/led_bl_rules.h"
#include "drivers/led_path.h"
#include "drivers/milliwatts.h"
#include "drivers/regulator.h"
#include "drivers/temperature.h"
#include "led/light_control_switch.h"
#include "led/light_error.h"

struct _Led_BL {
  LedBase parent;
  RegulatorConfig regulator;
  gint gpio_lines;
};

G_DEFINE_FINAL_TYPE(Led_BL, led_bl, LED_TYPE_BASE)

namespace {

constexpr SensorLimit kSensors = {4, "sensor"};
// The run of blanks belongs to the text.
constexpr const char *kUnreadableSensor =
    "update_temperature: unable to read temperature from             sensor %d";

// Of the class, not of the light.
RegulatorState regulator_state;
FourFilters filters = kFourUnseeded;

std::optional<std::string> led_file(const LedBase *light, gint led, const char *name) {
  const auto folder = expand_led_path(light->basepath, {led});
  return folder ? std::optional{*folder + name} : std::nullopt;
}

bool give_file_to_light(const LedBase *light, gint led, const char *name, gid_t group,
                        const char *complaint) {
  const auto path = led_file(light, led, name);
  if (open_to_group(path, group))
    return true;
  syslog(LOG_ERR, complaint, path.value_or(name).c_str(), static_cast<int>(group));
  return false;
}

bool give_leds_to_light(const LedBase *light) {
  const auto group = light_group();
  if (!group)
    return false;
  for (gint led = 0; led < light->nbr_of_leds; ++led)
    if (!give_file_to_light(light, led, "/bl_power", *group, "Failed to set permissions to %s [gid %d]") ||
        !give_file_to_light(light, led, "/brightness", *group, "Failed to set permissions to %s to [gid %d]"))
      return false;
  return true;
}

gboolean led_bl_setup(LedBase *light, GError **error) {
  auto *self = LED_BL(light);
  if (is_light_control_disabled())
    return light_error_no_board(error, "IR light not enabled");
  if (!load_led_count(light, kIlluminationFile, error) || !give_leds_to_light(light))
    return FALSE;
  const auto lines = set_up_gpio_lines(light->light_id);
  if (!lines)
    return FALSE;
  self->gpio_lines = *lines;
  return set_up_regulator(light, kSensors, &self->regulator);
}

bool write_brightness(const LedBase *light, gint led, gint brightness) {
  const auto path = led_file(light, led, "/brightness");
  const UniqueFd file = open_attribute(path);
  if (!file) {
    syslog(LOG_WARNING, "Failed to open fd for led %d (%s)", led, path.value_or("").c_str());
    return false;
  }
  if (!write_attribute(file, std::to_string(brightness))) {
    syslog(LOG_ERR, "Write failure to led %d (brightness)", led);
    return false;
  }
  return true;
}

// LEDs beyond the lines are always switched on.
bool switch_led(const Led_BL *self, gint led, bool on) {
  return led >= self->gpio_lines || switch_gpio_line(self->parent.light_id, led, on);
}

bool light_led(const Led_BL *self, gint led, gint level) {
  const LedBase *light = &self->parent;
  debug_log("led%d %d", led, level);
  const gint brightness =
      brightness_of(level, light->intensity_low, light->intensity_high, light->max_brightness_level);
  return write_brightness(light, led, brightness) && switch_led(self, led, brightness != 0);
}

// Switched off before the level changes, switched on after it: no LED flashes at a level it had before.
bool darken_led(const Led_BL *self, gint led) {
  return switch_led(self, led, false) && write_brightness(&self->parent, led, 0);
}

// An LED that fails leaves the ones after it as they are.
gboolean led_bl_activate_light(LedBase *light, gboolean on, GError **) {
  const auto *self = LED_BL(light);
  const gint budget = on ? to_int(granted_milliwatts(light)) : 0;
  const auto levels = shared_levels(requested_milliwatts(light), budget, light->power_reduce,
                                    light->intensity_low, light->intensity_high);
  for (gint led = 0; led < light->nbr_of_leds; ++led) {
    const bool is_done =
        levels.empty() ? darken_led(self, led) : light_led(self, led, levels[static_cast<gsize>(led)]);
    if (!is_done)
      return FALSE;
  }
  return TRUE;
}

void led_bl_request_power(LedBase *light) { request_milliwatts(light, light->light_on == 1); }

void led_bl_update_temperature(LedBase *light) {
  const auto *self = LED_BL(light);
  if (!begin_tick(light, self->regulator.enabled, light->intensity))
    return;
  const auto temperature = filter_highest_of_four(light, &filters, kUnreadableSensor);
  if (temperature)
    regulate(light, &regulator_state, self->regulator.gains, *temperature, light->intensity);
}

}  // namespace

static void led_bl_class_init(Led_BLClass *klass) {
  auto *base = LED_BASE_CLASS(klass);
  led_base_class_remove_angle(base);
  base->activate_light = led_bl_activate_light;
  base->setup = led_bl_setup;
  base->request_power = led_bl_request_power;
  base->update_temperature = led_bl_update_temperature;
}

static void led_bl_init(Led_BL *) {}
