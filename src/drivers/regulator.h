#pragma once

#include "drivers/regulator_step.h"
#include "led/led_base.h"

/// What the drivers' thermal regulators share: settings and the tick. The regulator's state belongs to a
/// driver class: all its lights advance the same one.

inline constexpr const char *kDimmingFile = "/etc/beamd/dimming.conf";

/// What dimming.conf says of a light's regulator; all 0 when it says nothing.
struct RegulatorConfig {
  gboolean enabled;  ///< only LED1I2C and LEDBL heed it
  RegulatorGains gains;
};

/// How many sensors a driver has a use for, and what it calls them when there are more.
struct SensorLimit {
  gint most;
  const char *noun;
  bool is_exact = false;  ///< fewer are warned about as well
};

/// Loads /etc/beamd/dimming.conf into @p dimming (the caller's); FALSE when that failed, logged at LOG_ERR.
bool load_dimming_config(GKeyFile *dimming);

/// Takes over group "regulator" of @p dimming: `temp_sample_time`, the sensors and @p config; what is missing
/// is 0. More sensors than @p limit allows are warned about and kept.
void configure_regulator(LedBase *light, GKeyFile *dimming, const SensorLimit &limit,
                         RegulatorConfig *config);

/// Loads dimming.conf and configures the regulator with it. FALSE when the file could not be loaded.
bool set_up_regulator(LedBase *light, const SensorLimit &limit, RegulatorConfig *config);

/// Advances @p state by one step and returns the reduction, in the unit of @p reference.
double advance_regulator(const LedBase *light, RegulatorState *state, const RegulatorGains &gains,
                         double temperature, double reference);

/// The tick of most drivers: the reduction is stored in `power_reduce`, and a lit light is written anew.
void regulate(LedBase *light, RegulatorState *state, const RegulatorGains &gains, double temperature,
              double reference);

/// Begins the tick of a light that gives @p reference intensity steps when cool: whether it goes on. A light
/// that gives none stays as it is. With the regulator disabled nothing is taken off, and a lit light is
/// written anew.
bool begin_tick(LedBase *light, gboolean is_enabled, gdouble reference);

/// Writes the hardware of a lit light, which has a new reduction.
void rewrite_if_lit(LedBase *light);
