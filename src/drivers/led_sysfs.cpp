#include "drivers/led_sysfs.h"

#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "daemon/debug.h"
#include "daemon/numbers.h"
#include "daemon/util.h"
#include "drivers/attribute_file.h"
#include "drivers/data_cache.h"
#include "drivers/hardware_config.h"
#include "drivers/led_path.h"
#include "drivers/led_sysfs_rules.h"
#include "drivers/level_share.h"
#include "drivers/regulator.h"
#include "drivers/temperature.h"
#include "led/light_error.h"
#include "led/power_client.h"
#include "led/temperature_sensors.h"

struct _Led_SYSFS {
  LedBase parent;
  gint led_power[kSysfsLeds];  // milliwatts
  FieldOfView *field_of_view;
  gboolean is_dimming;
  RegulatorConfig regulator;
};

G_DEFINE_FINAL_TYPE(Led_SYSFS, led_sysfs, LED_TYPE_BASE)

namespace {

constexpr SensorLimit kSensors = {G_MAXINT, "sensors"};

// Of the class, not of the light.
RegulatorState regulator_state;

SysfsPowers powers_of(const Led_SYSFS *self) { return std::to_array(self->led_power); }

gint driven_leds(const LedBase *light) { return std::min(light->nbr_of_leds, gint{kSysfsLeds}); }

// A file that is there and broken enables a regulator that does nothing.
void configure_dimming(Led_SYSFS *self) {
  const std::string file_name = hardware_config(kDimmingFile, "Using dimming config file %s");
  if (access(file_name.c_str(), F_OK) != 0) {
    syslog(LOG_INFO, "%s could not be found. Dimming of leds is disabled", kDimmingFile);
    return;
  }
  g_autoptr(GKeyFile) dimming = g_key_file_new();
  util_load_key_file(file_name.c_str(), dimming);
  configure_regulator(&self->parent, dimming, kSensors, &self->regulator);
  self->is_dimming = TRUE;
}

void log_point(gint angle, gsize index, const ListedRow::Point &point) {
  for (gsize led = 0; led < point.levels.size(); ++led)
    debug_log("Angle: %d, intensity[%d]:%d led[%d] intensity:%d", angle, static_cast<int>(index),
              parse_int(point.intensity.c_str()), static_cast<int>(led), point.levels[led]);
}

bool check_row(const ListedRow &row, gint leds) {
  for (gsize index = 0; index < row.points.size(); ++index) {
    const auto &levels = row.points[index].levels;
    log_point(row.angle, index, row.points[index]);
    if (levels.size() != static_cast<gsize>(leds)) {
      syslog(LOG_ERR, "Wrong number of leds found in %s. Found %zu leds, should be %d", kIlluminationFile,
             levels.size(), leds);
      return false;
    }
  }
  return true;
}

bool load_table(LedBase *light, GError **error) {
  const std::string file_name = hardware_config(kIlluminationFile, "Using illumination config file %s");
  g_autoptr(GKeyFile) key_file = g_key_file_new();
  if (!util_load_key_file(file_name.c_str(), key_file))
    return light_error_no_board(error, "Unable to load illumination configuration");
  g_autoptr(GError) reason = nullptr;
  light->nbr_of_leds = illumination_table_led_count(key_file, &reason);
  if (reason != nullptr) {
    syslog(LOG_ERR, "Could not get number of leds: %s", reason->message);
    return false;
  }
  const auto rows = illumination_table_list(key_file);
  if (!illumination_table_is_affordable(point_count(rows), light->nbr_of_leds))
    return false;
  if (!std::all_of(rows.begin(), rows.end(),
                   [&](const auto &row) { return check_row(row, light->nbr_of_leds); }))
    return false;
  light->illumination_table = illumination_table_new(rows, light->nbr_of_leds);
  return true;
}

bool set_led_intensity(const LedBase *light, gint led, gint milliwatts) {
  const auto path = expand_led_path(light->basepath, {led, milliwatts});
  if (!path) {
    syslog(LOG_ERR, "Failed to create path");
    return false;
  }
  const UniqueFd file = open_attribute(*path);
  if (!file) {
    syslog(LOG_ERR, "Failed to open file %s", path->c_str());
    return false;
  }
  const std::string text = std::to_string(milliwatts);
  if (write(file.get(), text.data(), text.size()) < 0) {
    syslog(LOG_ERR, "Write failure to led %d - %dmW", led, milliwatts);
    return false;
  }
  return true;
}

/// Returns whether the field of view was read.
bool follow_field_of_view(Led_SYSFS *self) {
  LedBase *light = &self->parent;
  bool is_read = false;
  if (light->has_automatic_aoi) {
    const auto degrees = self->field_of_view->read();
    if (!degrees)
      return false;
    is_read = true;
    const gint angle = to_int(gdouble{*degrees});
    if (angle != light->angle_of_illumination) {
      light->angle_of_illumination = angle;
      if (light->automatic_aoi)
        led_base_recalculate_angle_of_illumination(light, angle);
    }
  }
  rewrite_if_lit(light);
  return is_read;
}

gboolean led_sysfs_setup(LedBase *light, GError **error) {
  auto *self = LED_SYSFS(light);
  if (!probe_first_led(light, error))
    return FALSE;
  configure_dimming(self);
  if (!load_table(light, error) ||
      !give_led_files_to_light(light, driven_leds(light), "Failed to set r/w for owner and group to fd: %s"))
    return FALSE;
  self->field_of_view->subscribe([self] { return follow_field_of_view(self); });
  for (gint led = 0; led < driven_leds(light); ++led)
    set_led_intensity(light, led, 0);
  return TRUE;
}

gint lookup_configured_power(const Led_SYSFS *self, gint led) {
  const LedBase *light = &self->parent;
  const auto *row = row_for_angle(light->illumination_table, light->angle_of_illumination);
  if (led >= light->nbr_of_leds || row == nullptr || row->points[0].levels == nullptr)
    return 0;
  if (row->points[1].levels == nullptr)
    return row->points[0].levels[led];

  const auto segment = segment_for_intensity(*row, light->intensity);
  const gfloat quota = quota_in_segment(segment, light->intensity);
  const gint power = power_in_segment(segment, quota, led);
  if (power != self->led_power[led] && light->light_on == 1)
    debug_log(
        "Angle:%d (group %ddeg), led:%d, from power: %dmw, to power:%dmW (low:%dmW - high:%dmW) (quota:%.2f)",
        light->angle_of_illumination, row->angle, led, self->led_power[led], power, segment.low->levels[led],
        segment.high->levels[led], static_cast<double>(quota));
  return power;
}

// The angle is the light's own: what the lens says, not what a client asks for.
void led_sysfs_recalculate_angle_of_illumination(LedBase *light, gint) {
  auto *self = LED_SYSFS(light);
  for (gint led = 0; led < gint{kSysfsLeds}; ++led)
    self->led_power[led] = lookup_configured_power(self, led);
}

void led_sysfs_request_power(LedBase *light) {
  if (!light->use_power_request)
    return;
  led_base_recalculate_angle_of_illumination(light, light->angle_of_illumination);
  gdouble watts = 0.0;
  if (light->light_on != 0) {
    light->requested_power =
        static_cast<gfloat>(sum_of(powers_of(LED_SYSFS(light)))) * light->power_usage_factor;
    watts = light->requested_power;
  }
  led_base_send_power_request(light, watts);
}

void use_wattd_allocated_power(Led_SYSFS *self) {
  const LedBase *light = &self->parent;
  if (!light->use_power_request)
    return;
  const gint allowed =
      std::max(to_int(light->power_intensity / static_cast<gdouble>(light->power_usage_factor)), 0);
  const SysfsPowers powers = within_allowance(powers_of(self), allowed);
  if (powers == powers_of(self))
    return;
  std::copy(powers.begin(), powers.end(), self->led_power);
  for (gint led = 0; light->light_on == 1 && led < driven_leds(light); ++led)
    debug_log("Wattd lowered led:%d to %dmW", led, self->led_power[led]);
}

SysfsPowers powers_to_write(const Led_SYSFS *self, gboolean on) {
  SysfsPowers powers = powers_of(self);
  const auto sum = static_cast<gdouble>(sum_of(powers));
  const gdouble reduction = self->parent.power_reduce;
  if (!on || sum == 0.0)
    return {};
  if (!(sum > 0) || reduction == 0.0)
    return powers;
  for (gint led = 0; led < driven_leds(&self->parent); ++led) {
    gint &power = powers[static_cast<gsize>(led)];
    const gint reduced = after_reduction(power, sum, reduction);
    debug_log("Led to warm. Lowering power for led%d from %dmW to %dmW", led, power, reduced);
    power = std::max(reduced, 0);
  }
  return powers;
}

// An LED that fails leaves the ones after it as they are.
gboolean led_sysfs_activate_light(LedBase *light, gboolean on, GError **) {
  auto *self = LED_SYSFS(light);
  use_wattd_allocated_power(self);
  const SysfsPowers powers = powers_to_write(self, on);
  for (gint led = 0; led < driven_leds(light); ++led)
    if (!set_led_intensity(light, led, powers[static_cast<gsize>(led)]))
      return FALSE;
  return TRUE;
}

void forget_temperatures(LedBase *light) {
  for (gint sensor = 0; sensor < light->nbr_of_temp_sensors; ++sensor)
    led_base_set_temp_senor_temp(light, sensor, kUnseeded);
  light->power_reduce = 0.0;
}

/// The sensor's temperature after one more reading: the first one is taken as it is.
double filtered_reading(LedBase *light, gint sensor) {
  const double previous = led_base_get_temp_senor_temp(light, sensor);
  const gint32 id = light->temp_sensor_ids[sensor];
  if (previous != kUnseeded)
    return low_pass_rounded_twice(previous, read_temperature(id));
  return id >= 0 ? read_temperature(id) : kUnseeded;
}

double highest_temperature(LedBase *light) {
  double highest = kUnseeded;
  for (gint sensor = 0; sensor < light->nbr_of_temp_sensors; ++sensor) {
    const double filtered = filtered_reading(light, sensor);
    led_base_set_temp_senor_temp(light, sensor, filtered);
    highest = std::max(highest, filtered);
  }
  return highest;
}

void led_sysfs_update_temperature(LedBase *light) {
  const auto *self = LED_SYSFS(light);
  if (!self->is_dimming || light->nbr_of_temp_sensors < 1)
    return;
  const gint64 sum = sum_of(powers_of(self));
  if (sum == 0) {
    forget_temperatures(light);
    return;
  }

  const double temperature = highest_temperature(light);
  const double reduction = advance_regulator(light, &regulator_state, self->regulator.gains, temperature,
                                             static_cast<double>(sum));
  if (reduction == light->power_reduce)
    return;
  light->power_reduce = reduction;
  if (light->light_on == 1)
    debug_log("Reduce power with %.2fmW due to high IR-Led temperature = %.2fdeg", reduction, temperature);
  rewrite_if_lit(light);
}

}  // namespace

static void led_sysfs_finalize(GObject *object) {
  delete LED_SYSFS(object)->field_of_view;
  G_OBJECT_CLASS(led_sysfs_parent_class)->finalize(object);
}

static void led_sysfs_class_init(Led_SYSFSClass *klass) {
  auto *base = LED_BASE_CLASS(klass);
  base->activate_light = led_sysfs_activate_light;
  base->setup = led_sysfs_setup;
  base->recalculate_angle_of_illumination = led_sysfs_recalculate_angle_of_illumination;
  base->request_power = led_sysfs_request_power;
  base->update_temperature = led_sysfs_update_temperature;
  G_OBJECT_CLASS(klass)->finalize = led_sysfs_finalize;
}

static void led_sysfs_init(Led_SYSFS *self) { self->field_of_view = new FieldOfView; }
