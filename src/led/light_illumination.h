#pragma once

#include <span>

#include "led/illumination_table.h"
#include "led/led_base.h"

/// What lights say when /etc/beamd/illumination.conf is not as it should be, each class in its own words.
struct IlluminationTexts {
  const char *read;  ///< the file could be opened and not be read
  const char *leds;  ///< the number of LEDs; may take the reason
  /// Whether a lone row always lacks the last angle; else only one of angle 0 does, since any other is
  /// already complained about as the first.
  bool lone_row_lacks_last_angle;
  /// How many LEDs there should be, and what is said when there are not; nothing without such a text.
  gint expected_leds = 0;
  const char *mismatch = nullptr;
};

/// Loads /etc/beamd/illumination.conf into `nbr_of_leds`, `illumination_table` and `led_intensities`. A table
/// that is not as it should be is logged at LOG_ERR and loaded nevertheless. FALSE when the file cannot be
/// opened, read or parsed, or asks for too much memory, which is logged at LOG_ERR; the light then has no
/// table.
bool light_illumination_load(LedBase *light, const IlluminationTexts &texts);

/// What the last calculation gave LED @p led; 0 for one that is not there.
gint led_level(const LedBase *light, gint led);

/// What the last calculation gave the first two LEDs together.
gdouble two_led_level(const LedBase *light);

/// A light's own `setup`: looks for the illumination board, loads the table and, when the light uses power
/// requests, connects to the power daemon. Whatever fails, the rest is done. FALSE with error
/// #LIGHT_CONTROL_ERROR_NO_BOARD when there is no board, without an error when the table cannot be loaded.
gboolean light_illumination_setup(LedBase *light, GError **error);

/// A light's own `recalculate_angle_of_illumination`: `led_intensities` for @p angle from the table and the
/// requested intensities, within the grant when the light uses power requests.
void light_illumination_recalculate(LedBase *light, gint angle);

/// A light's own `request_power`: asks for what the table may need at the current angle; for `intensity`
/// milliwatts without a table; for nothing while the light is off.
void light_illumination_request_power(LedBase *light);
