#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "beamctl/check/finding.h"
#include "daemon/led_types.h"

namespace check {

/// What a light uses illumination.conf for.
enum class TableForm {
  kNone,     ///< not read
  kCount,    ///< the number of LEDs alone
  kAngles,   ///< rows of angles from 0 to 100
  kDegrees,  ///< rows of degrees of the lens
  kCells,    ///< rows and columns in equal steps
};

/// What the defaults file's "basepath" is to a light.
enum class Basepath {
  kUnused,
  kFolder,
  kPerLed,  ///< a format that takes the LED's number
};

/// What the checks have to know of a value of "Type".
struct LightType {
  std::string_view name;
  std::string_view table_variants = {};  ///< what chooses a variant of illumination.conf; or empty
  TableForm table = TableForm::kNone;
  Reason without_table = Reason::kUnused;
  Reason without_leds = Reason::kUnused;       ///< no usable number of LEDs in it
  Reason without_dimming = Reason::kUnused;    ///< no usable dimming.conf
  Reason without_gain = Reason::kUnregulated;  ///< a broken number in it
  Reason without_register = Reason::kUnused;   ///< a missing number in "i2c_info" of camblock.conf
  Reason without_basepath = Reason::kUnused;
  Basepath basepath = Basepath::kUnused;
  int channels = 0;               ///< as many LEDs are driven; 0 for any number
  int most_leds = 0;              ///< more are not driven; 0 for any number
  int sensors = 0;                ///< as many temperatures are of use; 0 for any number
  bool dimming_variants = false;  ///< HWID chooses a variant of dimming.conf
  bool heeds_enabled = false;     ///< the regulator can be switched off
  bool has_angle = false;
  bool uses_levels = false;        ///< the levels in the table reach the hardware
  bool uses_usage_factor = false;  ///< "powerusagefactor" tells what the light needs
  bool uses_brightness = false;    ///< "max_brightness_level" is of use
};

/// Every Type that the daemon knows.
std::span<const LightType> light_types();

/// NULL for a Type that the daemon does not know.
const LightType *find_light_type(std::string_view name);

/// A set of Types; bit n stands for light_types()[n].
using TypeSet = std::uint32_t;

TypeSet set_of(const LightType &type);

/// The set of the Types for which @p is_member is true.
template <typename Predicate>
TypeSet types_where(Predicate is_member) {
  TypeSet set = 0;
  for (const LightType &type : light_types())
    if (is_member(type))
      set |= set_of(type);
  return set;
}

}  // namespace check
