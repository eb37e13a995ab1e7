#include "beamctl/check/light_type.h"

#include <algorithm>

#include "drivers/led_sysfs_rules.h"
#include "drivers/output_table.h"

namespace check {

namespace {

constexpr LightType kLightTypes[] = {
    {.name = led_type::kDummy,
     .table = TableForm::kAngles,
     .without_table = Reason::kRefusesToStart,
     .without_leds = Reason::kDark,
     .without_basepath = Reason::kUndetected,
     .basepath = Basepath::kFolder,
     .has_angle = true,
     .uses_levels = true,
     .uses_usage_factor = true},
    {.name = led_type::kTarsil,
     .table_variants = "OPTICS",
     .table = TableForm::kCells,
     .without_table = Reason::kRefusesToStart,
     .without_dimming = Reason::kRefusesToStart,
     .without_basepath = Reason::kRefusesToStart,
     .basepath = Basepath::kFolder,
     .channels = OutputTable::kLeds,
     .sensors = 2,
     .has_angle = true,
     .uses_levels = true},
    {.name = led_type::kLed1I2c,
     .table = TableForm::kAngles,
     .without_table = Reason::kRefusesToStart,
     .without_leds = Reason::kMisread,
     .without_dimming = Reason::kRefusesToStart,
     .without_basepath = Reason::kRefusesToStart,
     .basepath = Basepath::kFolder,
     .channels = 1,
     .sensors = 1,
     .heeds_enabled = true,
     .uses_usage_factor = true},
    {.name = led_type::kLed2I2c,
     .table = TableForm::kAngles,
     .without_table = Reason::kRefusesToStart,
     .without_leds = Reason::kDark,
     .without_dimming = Reason::kRefusesToStart,
     .without_basepath = Reason::kRefusesToStart,
     .basepath = Basepath::kFolder,
     .channels = 2,
     .sensors = 2,
     .has_angle = true,
     .uses_levels = true,
     .uses_usage_factor = true},
    {.name = led_type::kLed2Uart},
    {.name = led_type::kLed2CamblockI2c,
     .table = TableForm::kAngles,
     .without_table = Reason::kRefusesToStart,
     .without_leds = Reason::kDark,
     .without_dimming = Reason::kRefusesToStart,
     .without_register = Reason::kDark,
     .channels = 2,
     .sensors = 1,
     .has_angle = true,
     .uses_levels = true,
     .uses_usage_factor = true},
    {.name = led_type::kLedCamblockI2c,
     .table = TableForm::kAngles,
     .without_table = Reason::kRefusesToStart,
     .without_leds = Reason::kDark,
     .without_dimming = Reason::kRefusesToStart,
     .without_register = Reason::kRefusesToStart,
     .has_angle = true,
     .uses_levels = true,
     .uses_usage_factor = true},
    {.name = led_type::kLedBl,
     .table = TableForm::kCount,
     .without_table = Reason::kUndetected,
     .without_leds = Reason::kRefusesToStart,
     .without_dimming = Reason::kRefusesToStart,
     .without_basepath = Reason::kRefusesToStart,
     .basepath = Basepath::kPerLed,
     .sensors = 4,
     .heeds_enabled = true,
     .uses_brightness = true},
    {.name = led_type::kLedFisheyeI2c,
     .table_variants = "HWID",
     .table = TableForm::kCount,
     .without_table = Reason::kUndetected,
     .without_leds = Reason::kRefusesToStart,
     .without_dimming = Reason::kUndetected,
     .without_gain = Reason::kRefusesToStart,
     .without_basepath = Reason::kUndetected,
     .basepath = Basepath::kPerLed,
     .sensors = 4,
     .dimming_variants = true},
    {.name = led_type::kLedSysfs,
     .table_variants = "HWID",
     .table = TableForm::kDegrees,
     .without_table = Reason::kUndetected,
     .without_leds = Reason::kRefusesToStart,
     .without_dimming = Reason::kUnregulated,
     .without_basepath = Reason::kUndetected,
     .basepath = Basepath::kPerLed,
     .most_leds = static_cast<int>(kSysfsLeds),
     .dimming_variants = true,
     .has_angle = true,
     .uses_levels = true,
     .uses_usage_factor = true},
    {.name = led_type::kLed1Pwm,
     .without_dimming = Reason::kRefusesToStart,
     .without_basepath = Reason::kDark,
     .basepath = Basepath::kFolder,
     .sensors = 1,
     .uses_brightness = true},
    {.name = led_type::kLedSerialLink},
};

}  // namespace

std::span<const LightType> light_types() { return kLightTypes; }

const LightType *find_light_type(std::string_view name) {
  const auto *type = std::find_if(std::begin(kLightTypes), std::end(kLightTypes),
                                  [&](const LightType &candidate) { return candidate.name == name; });
  return type != std::end(kLightTypes) ? type : nullptr;
}

TypeSet set_of(const LightType &type) { return TypeSet{1} << (&type - std::begin(kLightTypes)); }

}  // namespace check
