#pragma once

#include <optional>

/// The GPIO lines that switch a light's LEDs: folders /sys/class/gpio/ir_led_<light>_<line>, numbered from 0.

/// Gives the files of all lines of light @p light_id to group gpio. Returns how many lines there are; none
/// when one could not be given, which is logged at LOG_ERR.
std::optional<int> set_up_gpio_lines(int light_id);

/// Switches line @p line of light @p light_id, which may be active low. FALSE when that failed, which is
/// logged.
bool switch_gpio_line(int light_id, int line, bool on);
