#include "drivers/temperature.h"

#include <syslog.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "drivers/regulator_step.h"
#include "platform/status_cache.h"

namespace {

constexpr int kFloatType = 2;

using AllocatedText = std::unique_ptr<char, decltype(&free)>;

AllocatedText temperature_group(gint32 id) {
  char *text = nullptr;
  return {asprintf(&text, "TEMPERATURE_%d", id) < 0 ? nullptr : text, &free};
}

/// FALSE when the filter has nothing to start with.
bool filter_one_of_four(gint32 id, double *filtered, const char *complaint) {
  if (*filtered == kNoReading)
    *filtered = read_temperature(id, kTemperatureTextsWithId);
  if (*filtered == kNoReading) {
    syslog(LOG_WARNING, complaint, id);
    return false;
  }
  *filtered = low_pass_in_fifths(*filtered, read_temperature(id, kTemperatureTextsWithId));
  return true;
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
  // The filters would never forget a reading that is no number.
  if (sc_get_group(group.get(), items, 0) == 1 && std::isfinite(celsius))
    return celsius;
  syslog(LOG_WARNING, "%s", texts.no_reading);
  return kNoReading;
}

gint32 sensor_id(const LedBase *light, gint index) {
  return index < light->nbr_of_temp_sensors ? light->temp_sensor_ids[index] : -1;
}

double filter_temperature(gint32 id, double *filtered) {
  if (*filtered == kUnseeded)
    *filtered = read_temperature(id);
  *filtered = low_pass(*filtered, read_temperature(id));
  return *filtered;
}

double filter_higher_of_two(const LedBase *light, TwoFilters *filters) {
  const double first = filter_temperature(sensor_id(light, 0), &filters->first);
  const gint32 second = sensor_id(light, 1);
  return second < 0 ? first : std::max(first, filter_temperature(second, &filters->second));
}

std::optional<double> filter_highest_of_four(const LedBase *light, FourFilters *filters,
                                             const char *complaint) {
  double highest = kNoReading;
  for (gsize i = 0; i < filters->size(); ++i) {
    const gint32 id = sensor_id(light, static_cast<gint>(i));
    if (id >= 0 && filter_one_of_four(id, &(*filters)[i], complaint))
      highest = std::max(highest, (*filters)[i]);
  }
  return highest == kNoReading ? std::nullopt : std::optional{highest};
}
