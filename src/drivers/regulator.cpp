#include "drivers/regulator.h"

#include <syslog.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "daemon/util.h"
#include "led/temperature_sensors.h"
#include "platform/status_cache.h"

namespace {

constexpr const char *kDimmingFile = "/etc/beamd/dimming.conf";
constexpr const char *kGroup = "regulator";
constexpr int kFloatType = 2;

using AllocatedText = std::unique_ptr<char, decltype(&free)>;

AllocatedText temperature_group(gint32 id) {
  char *text = nullptr;
  return {asprintf(&text, "TEMPERATURE_%d", id) < 0 ? nullptr : text, &free};
}

}  // namespace

double read_temperature(gint32 id, const TemperatureTexts &texts) {
  if (id < 0) {
    syslog(LOG_ERR, texts.invalid_sensor, id);
    return kNoReading;
  }
  const AllocatedText group = temperature_group(id);
  if (!group) {
    syslog(LOG_ERR, "%s", texts.no_group);
    return kNoReading;
  }

  float celsius = 0.0F;
  ScItem items[] = {{"CELSIUS", sizeof celsius, &celsius, kFloatType}, {}};
  if (sc_get_group(group.get(), items, 0) == 1)
    return celsius;
  syslog(LOG_WARNING, "%s", texts.no_reading);
  return kNoReading;
}

double filter_temperature(gint32 id, double *filtered) {
  if (*filtered == kUnseeded)
    *filtered = read_temperature(id);
  *filtered = low_pass(*filtered, read_temperature(id));
  return *filtered;
}

bool load_dimming_config(GKeyFile *dimming) {
  return load_key_file_logging(
      kDimmingFile, dimming,
      {LOG_ERR, "could not open %s: %s", "Failed reading file", "Could not load data to GKeyFile"});
}

void configure_regulator(LedBase *light, GKeyFile *dimming, const SensorLimit &limit, RegulatorGains *gains) {
  light->temp_sample_time = g_key_file_get_integer(dimming, kGroup, "sample_time", nullptr);
  const gint sensors = led_base_conf_temp_sensor_ids(light, dimming, nullptr);
  if (sensors > limit.most)
    syslog(LOG_WARNING, "Expected at most %d temperature %s, but found %d.", limit.most, limit.noun, sensors);
  gains->k_p = g_key_file_get_double(dimming, kGroup, "k_p", nullptr);
  gains->k_i = g_key_file_get_double(dimming, kGroup, "k_i", nullptr);
  gains->k_d = g_key_file_get_double(dimming, kGroup, "k_d", nullptr);
  gains->ref_temp = g_key_file_get_double(dimming, kGroup, "ref_temp", nullptr);
}

void regulate(LedBase *light, RegulatorState *state, const RegulatorGains &gains, double temperature,
              double reference) {
  const RegulatorStep step = regulator_step(*state, gains, light->temp_sample_time, temperature, reference);
  *state = step.next;
  light->power_reduce = step.reduction;
}
