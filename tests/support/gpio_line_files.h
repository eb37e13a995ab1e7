#pragma once

#include <array>
#include <string>

#include "support/file_access.h"

/// The files of GPIO lines, of which drivers know these.
inline constexpr std::array kGpioNames{"active_low", "direction", "edge", "uevent", "value"};

inline std::string gpio_line(int light_id, int line) {
  return "/sys/class/gpio/ir_led_" + std::to_string(light_id) + "_" + std::to_string(line);
}

inline std::string gpio_file(int light_id, int line, const std::string &name) {
  return gpio_line(light_id, line) + "/" + name;
}

/// Makes line @p line of light @p light_id, with files that nobody has been given yet.
inline void make_gpio_line(int light_id, int line, const std::string &active_low = "0\n") {
  for (const char *name : kGpioNames)
    write_fresh_file(gpio_file(light_id, line, name));
  write_file(gpio_file(light_id, line, "active_low"), active_low);
}
