#include "drivers/regulator.h"

#include <syslog.h>

#include <algorithm>

#include "daemon/debug.h"
#include "daemon/util.h"
#include "led/temperature_sensors.h"

namespace {

constexpr const char *kGroup = "regulator";

}  // namespace

bool load_dimming_config(GKeyFile *dimming) {
  return load_key_file_logging(
      kDimmingFile, dimming,
      {LOG_ERR, "could not open %s: %s", "Failed reading file", "Could not load data to GKeyFile"});
}

void configure_regulator(LedBase *light, GKeyFile *dimming, const SensorLimit &limit,
                         RegulatorConfig *config) {
  config->enabled = g_key_file_get_boolean(dimming, kGroup, "enabled", nullptr);
  light->temp_sample_time = g_key_file_get_integer(dimming, kGroup, "sample_time", nullptr);
  const gint sensors = led_base_conf_temp_sensor_ids(light, dimming, nullptr);
  if (limit.is_exact ? sensors != limit.most : sensors > limit.most)
    syslog(LOG_WARNING, "Expected at most %d temperature %s, but found %d.", limit.most, limit.noun, sensors);
  config->gains.k_p = g_key_file_get_double(dimming, kGroup, "k_p", nullptr);
  config->gains.k_i = g_key_file_get_double(dimming, kGroup, "k_i", nullptr);
  config->gains.k_d = g_key_file_get_double(dimming, kGroup, "k_d", nullptr);
  config->gains.ref_temp = g_key_file_get_double(dimming, kGroup, "ref_temp", nullptr);
}

bool set_up_regulator(LedBase *light, const SensorLimit &limit, RegulatorConfig *config) {
  g_autoptr(GKeyFile) dimming = g_key_file_new();
  if (!load_dimming_config(dimming))
    return false;
  configure_regulator(light, dimming, limit, config);
  return true;
}

double advance_regulator(const LedBase *light, RegulatorState *state, const RegulatorGains &gains,
                         double temperature, double reference) {
  const RegulatorStep step = regulator_step(*state, gains, light->temp_sample_time, temperature, reference);
  *state = step.next;
  return std::max(step.reduction, 0.0);  // a light that gives less than nothing gets nothing on top
}

void regulate(LedBase *light, RegulatorState *state, const RegulatorGains &gains, double temperature,
              double reference) {
  light->power_reduce = advance_regulator(light, state, gains, temperature, reference);
  debug_log("power_reduce = %.2f, temp = %.2f", light->power_reduce, temperature);
  rewrite_if_lit(light);
}

bool begin_tick(LedBase *light, gboolean is_enabled, gdouble reference) {
  if (reference == 0.0)
    return false;
  if (is_enabled) {
    debug_log("Regulator enabled");
    return true;
  }
  light->power_reduce = 0.0;
  debug_log("No power reduction. Regulator is disabled.");
  rewrite_if_lit(light);
  return false;
}

void rewrite_if_lit(LedBase *light) {
  if (light->light_on == 1)
    led_base_activate_light(light, TRUE, nullptr);
}
