#pragma once

#include <string_view>

/// The values that "Type" may have in beamd.conf.
namespace led_type {

inline constexpr std::string_view kDummy = "Dummy";
inline constexpr std::string_view kTarsil = "Tarsil";
inline constexpr std::string_view kLed1I2c = "LED1I2C";
inline constexpr std::string_view kLed2I2c = "LED2I2C";
inline constexpr std::string_view kLed2Uart = "LED2UART";
inline constexpr std::string_view kLed2CamblockI2c = "LED2CAMBLOCKI2C";
inline constexpr std::string_view kLedCamblockI2c = "LEDCAMBLOCKI2C";
inline constexpr std::string_view kLedBl = "LEDBL";
inline constexpr std::string_view kLedFisheyeI2c = "LEDFISHEYEI2C";
inline constexpr std::string_view kLedSysfs = "LEDSYSFS";
inline constexpr std::string_view kLed1Pwm = "LED1PWM";
inline constexpr std::string_view kLedSerialLink = "LEDSERIALLINK";

}  // namespace led_type
