#pragma once

#include <initializer_list>
#include <optional>
#include <string>

#include "led/led_base.h"

/// Lights with a file or folder per LED: `basepath` is a format that takes the LED's number.

/// The path that @p format describes for @p arguments: %d, %i and %u, with flags and width, take one argument
/// each, and %% stands for a percent sign. None for anything else that begins with a percent sign, for more
/// conversions than arguments, for a path longer than the system's limit, and without a format (NULL).
std::optional<std::string> expand_led_path(const char *format, std::initializer_list<int> arguments);

/// Gives the files of the first @p leds LEDs to user light's group, which may then write them. FALSE at the
/// first failure, logged at LOG_ERR; @p mode_complaint is said, with the path, of a mode that cannot be
/// changed.
bool give_led_files_to_light(const LedBase *light, gint leds, const char *mode_complaint);

/// Whether the file of LED 0 can be read. FALSE, logged at LOG_INFO, with error
/// #LIGHT_CONTROL_ERROR_NO_BOARD.
bool probe_first_led(const LedBase *light, GError **error);
