#pragma once

#include "drivers/regulator_step.h"
#include "led/led_base.h"

/// What the drivers' thermal regulators share: settings, temperatures, and the tick. The regulator's state
/// belongs to a driver class: all its lights advance the same one.

/// The temperature (°C) of a sensor that could not be read.
inline constexpr double kNoReading = -9999.0;
/// A filtered temperature that has seen no reading.
inline constexpr double kUnseeded = -1000.0;

/// What is said of a sensor that cannot be read; drivers differ in it.
struct TemperatureTexts {
  const char *invalid_sensor;  ///< may take the sensor's id
  const char *no_group;
  const char *no_reading;
};
inline constexpr TemperatureTexts kTemperatureTexts = {"Could not read invalid temperature sensor",
                                                       "Could not allocate for temperature",
                                                       "Could not read temperature"};

/// The temperature of sensor @p id in °C, kNoReading when there is none; that is logged in the words of @p
/// texts.
double read_temperature(gint32 id, const TemperatureTexts &texts = kTemperatureTexts);

/// The filtered temperature (°C) after one more reading of sensor @p id, stored in @p filtered, too. One that
/// is unseeded takes a reading to start with. A failed reading counts as kNoReading degrees.
double filter_temperature(gint32 id, double *filtered);

/// Loads /etc/beamd/dimming.conf into @p dimming (the caller's); FALSE when that failed, logged at LOG_ERR.
bool load_dimming_config(GKeyFile *dimming);

/// How many sensors a driver has a use for, and what it calls them when there are more.
struct SensorLimit {
  gint most;
  const char *noun;
};

/// Takes over group "regulator" of @p dimming: `temp_sample_time`, the sensors and @p gains; what is missing
/// is 0. More sensors than @p limit are warned about and kept.
void configure_regulator(LedBase *light, GKeyFile *dimming, const SensorLimit &limit, RegulatorGains *gains);

/// Advances @p state by one step and stores the reduction in `power_reduce`.
void regulate(LedBase *light, RegulatorState *state, const RegulatorGains &gains, double temperature,
              double reference);
