#pragma once

#include <cmath>
#include <filesystem>
#include <string>

#include "support/light_files.h"

/// The sensors that the generic platform library reads: the kernel's thermal zones.
namespace thermal_zones {

inline std::string path(int sensor) {
  return "/sys/class/thermal/thermal_zone" + std::to_string(sensor) + "/temp";
}

inline void heat(int sensor, double celsius) {
  write_file(path(sensor), std::to_string(std::lround(celsius * 1000)) + "\n");
}

/// From now on sensor @p sensor cannot be read.
inline void take_away(int sensor) { std::filesystem::remove_all(path(sensor)); }

inline void take_all_away() { std::filesystem::remove_all("/sys/class/thermal"); }

}  // namespace thermal_zones
