#include "beamctl/check/schema.h"

#include <algorithm>

#include "daemon/light_controller.h"
#include "led/illumination_table.h"

namespace check {

namespace {

using enum ValueType;

constexpr double kMostFinite = std::numeric_limits<double>::max();
constexpr double kMostInt = std::numeric_limits<int>::max();
constexpr double kMostByte = 255;
constexpr double kMostInterfaces = 3;
constexpr double kMostPoeClass = 8;
constexpr double kLongestRampdown = 25e6;  // the power daemon gives up waiting after 25 s
constexpr double kLongestSampleTime = 86400;
constexpr double kHottest = 150;
constexpr double kMostPwm = 9999999;  // longer numbers are cut when they are written
constexpr double kFirstI2cAddress = 3;
constexpr double kLastI2cAddress = 119;

constexpr std::string_view kNumberedSensorKey = "temp_sensor_id<n>";

/// Sets of Types that have a use for the same keys.
struct Sets {
  TypeSet none = 0;
  TypeSet all = types_where([](const LightType &) { return true; });
  TypeSet counted = types_where([](const LightType &type) {
    return type.table != TableForm::kNone && type.table != TableForm::kCells;
  });
  TypeSet cells = types_where([](const LightType &type) { return type.table == TableForm::kCells; });
  TypeSet rows = cells | types_where([](const LightType &type) {
                   return type.table == TableForm::kAngles || type.table == TableForm::kDegrees;
                 });
  TypeSet dimmed = types_where([](const LightType &type) { return type.without_dimming != Reason::kUnused; });
  TypeSet strictly_dimmed =
      types_where([](const LightType &type) { return type.without_gain == Reason::kRefusesToStart; });
  TypeSet switchable = types_where([](const LightType &type) { return type.heeds_enabled; });
  TypeSet angle = types_where([](const LightType &type) { return type.has_angle; });
  TypeSet usage_factor = types_where([](const LightType &type) { return type.uses_usage_factor; });
  TypeSet brightness = types_where([](const LightType &type) { return type.uses_brightness; });
  TypeSet camblock =
      types_where([](const LightType &type) { return type.without_register != Reason::kUnused; });
  TypeSet two_camblock =
      types_where([](const LightType &type) { return type.name == led_type::kLed2CamblockI2c; });
  TypeSet pwm = types_where([](const LightType &type) { return type.name == led_type::kLed1Pwm; });
  TypeSet serial_link =
      types_where([](const LightType &type) { return type.name == led_type::kLedSerialLink; });
};

std::vector<KeySchema> main_rows(const Sets &sets) {
  constexpr FileKind kFile = FileKind::kMain;
  return {
      {kFile, "LED", "NbrOfLeds", kInteger, sets.all, sets.all, Reason::kRefusesToStart,
       "only the digits at its start count; without any there are 0 lights", 1, LIGHT_CONTROLLER_MAX_LEDS,
       Reason::kRefusesToStart},
      {kFile, "LED.L<N>", "Type", kTypeName, sets.all, sets.all, Reason::kRefusesToStart, ""},
  };
}

std::vector<KeySchema> intensity_rows(const Sets &sets) {
  constexpr FileKind kFile = FileKind::kState;
  return {
      {kFile, "common", "intensityLOW", kInteger, sets.all, sets.all, Reason::kRefusesToStart, "", 0,
       kMostInt, Reason::kMisread, "clients may set intensities below 0"},
      {kFile, "common", "intensityHIGH", kInteger, sets.all, sets.all, Reason::kRefusesToStart, "", 1,
       kMostInt, Reason::kRefused, "clients can set nothing but 0"},
      {kFile, "common", "intensity", kInteger, sets.all, sets.all, Reason::kRefusesToStart, ""},
      {kFile, "common", "automaticintensity", kBoolean, sets.all, sets.none, Reason::kRefusesToStart, ""},
      {kFile, "common", "manualintensity", kInteger, sets.all, sets.none, Reason::kRefusesToStart, ""},
      {kFile, "common", "individualintensitysupport", kBoolean, sets.all, sets.none, Reason::kRefusesToStart,
       ""},
      {kFile, "common", "intensities", kIntegerList, sets.all, sets.none, Reason::kDropped,
       "every LED gets \"manualintensity\""},
      {kFile, "common", "max_brightness_level", kInteger, sets.brightness, sets.pwm, Reason::kDark,
       "a full scale of 255 is used: a light of Type LED1PWM is dark where that comes to more than 100", 1,
       kMostInt, Reason::kDark, "the light is dark where it comes to more than 100; with 0 or less, always"},
  };
}

std::vector<KeySchema> common_rows(const Sets &sets) {
  constexpr FileKind kFile = FileKind::kState;
  return {
      {kFile, "common", "ledtype", kText, sets.all, sets.all, Reason::kRefusesToStart, ""},
      {kFile, "common", "nbrofinterfaces", kInteger, sets.all, sets.all, Reason::kRefusesToStart, "", 1,
       kMostInterfaces, Reason::kMisread,
       "below 1 the light is not on the bus, above 3 it has its 3 interfaces"},
      {kFile, "common", "enable", kBoolean, sets.all, sets.all, Reason::kRefusesToStart, ""},
      {kFile, "common", "syncdaynight", kBoolean, sets.all, sets.none, Reason::kRefusesToStart, ""},
      {kFile, "common", "usemanualoverride", kBoolean, sets.all, sets.none, Reason::kRefusesToStart, ""},
      {kFile, "common", "usepowerrequest", kBoolean, sets.all, sets.none, Reason::kRefusesToStart, ""},
      {kFile, "common", "powerusagefactor", kNumberText, sets.usage_factor, sets.none, Reason::kMisread,
       "only the number at its start counts, or 0"},
      {kFile, "common", "rampdown_time", kInteger, sets.all, sets.none, Reason::kDropped,
       "the LEDs get no time to come down", 0, kLongestRampdown, Reason::kMisread,
       "below 0 the LEDs get no time, above 25 s the power daemon does not wait and beamd stands still"},
      {kFile, "common", "required_total_power", kNumber, sets.all, sets.none, Reason::kRefusesToStart, "", 0,
       kMostFinite, Reason::kRefused, "an infinite one is never met, below 0 there is none"},
      {kFile, "common", "minimum_poe_class", kInteger, sets.all, sets.none, Reason::kRefusesToStart, "", 0,
       kMostPoeClass, Reason::kRefused, "below 0 there is no requirement, above 8 no supply ever meets it"},
      {kFile, "common", "manualangleofillumination", kInteger, sets.angle, sets.none, Reason::kRefusesToStart,
       ""},
      {kFile, "common", "expander_type", kInteger, sets.serial_link, sets.serial_link, Reason::kDropped,
       "it is complained about in the log and counts as 0"},
  };
}

std::vector<KeySchema> zoom_rows(const Sets &sets) {
  constexpr FileKind kFile = FileKind::kState;
  std::vector<KeySchema> rows = {{kFile, "zoom", "automaticangleofillumination", kBoolean, sets.angle,
                                  sets.none, Reason::kRefusesToStart, ""}};
  for (const std::string_view key :
       {"angleofillumination", "angleofilluminationLOW", "angleofilluminationHIGH"})
    rows.push_back({kFile, "zoom", key, kInteger, sets.angle, sets.none, Reason::kRefusesToStart, ""});
  return rows;
}

std::vector<KeySchema> illumination_rows(const Sets &sets) {
  constexpr FileKind kFile = FileKind::kIllumination;
  constexpr std::string_view kOnePlace = "the whole table falls into one row or column";
  return {
      {kFile, "info", "leds", kInteger, sets.counted, sets.counted, Reason::kDark, "", 0, kMostLeds,
       Reason::kDark},
      {kFile, "info", "angle_div", kInteger, sets.cells, sets.cells, Reason::kMisread, kOnePlace, 1, kMostInt,
       Reason::kMisread, kOnePlace},
      {kFile, "info", "intensity_div", kInteger, sets.cells, sets.cells, Reason::kMisread, kOnePlace, 1,
       kMostInt, Reason::kMisread, kOnePlace},
      {kFile, "<angle>", "<intensity>", kIntegerList, sets.rows, sets.none, Reason::kDark,
       "the LEDs get nothing at this intensity"},
  };
}

std::vector<KeySchema> dimming_rows(const Sets &sets) {
  constexpr FileKind kFile = FileKind::kDimming;
  constexpr std::string_view kNoTime = "the regulator divides by 0: the light goes dark or is not dimmed";
  constexpr std::string_view kZero = "it counts as 0";
  return {
      {kFile, "regulator", "enabled", kBoolean, sets.switchable, sets.none, Reason::kUnregulated,
       "it counts as false: the light is never dimmed"},
      {kFile, "regulator", "sample_time", kInteger, sets.dimmed, sets.strictly_dimmed, Reason::kUnregulated,
       kNoTime, 1, kLongestSampleTime, Reason::kUnregulated},
      {kFile, "regulator", "temp_sensor_id", kText, sets.dimmed, sets.none, Reason::kUnregulated,
       "the sensor is never found"},
      {kFile, "regulator", kNumberedSensorKey, kText, sets.dimmed, sets.none, Reason::kUnregulated,
       "the sensor is never found"},
      {kFile, "regulator", "ref_temp", kNumber, sets.dimmed, sets.strictly_dimmed, Reason::kUnregulated,
       kZero, std::numeric_limits<double>::denorm_min(), kHottest, Reason::kUnregulated,
       "the light is dimmed always, or never"},
      {kFile, "regulator", "k_p", kNumber, sets.dimmed, sets.strictly_dimmed, Reason::kUnregulated, kZero,
       -kMostFinite, kMostFinite, Reason::kUnregulated},
      {kFile, "regulator", "k_i", kNumber, sets.dimmed, sets.strictly_dimmed, Reason::kUnregulated, kZero,
       -kMostFinite, kMostFinite, Reason::kUnregulated},
      {kFile, "regulator", "k_d", kNumber, sets.dimmed, sets.strictly_dimmed, Reason::kUnregulated, kZero,
       -kMostFinite, kMostFinite, Reason::kUnregulated},
      {kFile, "regulator", "poe_class_present", kBoolean, sets.cells, sets.none, Reason::kMisread,
       "it counts as false"},
  };
}

std::vector<KeySchema> device_rows(const Sets &sets) {
  constexpr FileKind kPwm = FileKind::kPwm;
  constexpr FileKind kFile = FileKind::kCamblock;
  constexpr std::string_view kLowByte = "only its low 8 bits count";
  std::vector<KeySchema> rows = {
      {FileKind::kDefaults, "common", "basepath", kText, sets.all, sets.all, Reason::kUndetected, ""}};
  for (const std::string_view key : {"ld_period", "duty_high", "duty_low"})
    rows.push_back(
        {kPwm, "pwm", key, kInteger, sets.pwm, sets.pwm, Reason::kRefusesToStart, "", 1, kMostPwm,
         Reason::kDark,
         "beamd refuses to start with 0; the kernel refuses what is negative; of more than 7 digits "
         "only the first ones are written"});
  rows.push_back({kFile, "i2c_info", "camblockI2Cbus", kInteger, sets.camblock, sets.camblock, Reason::kDark,
                  "", 0, kMostByte, Reason::kMisread, kLowByte});
  rows.push_back({kFile, "i2c_info", "camblockI2Caddress", kInteger, sets.camblock, sets.camblock,
                  Reason::kDark, "", kFirstI2cAddress, kLastI2cAddress, Reason::kUndetected,
                  "no device answers at this address"});
  rows.push_back({kFile, "i2c_info", "camblocksubdevice", kInteger, sets.camblock, sets.camblock,
                  Reason::kDark, "", 0, kMostByte, Reason::kMisread, kLowByte});
  for (const std::string_view key :
       {"camblocksubdevice_led0_enable_disable_reg", "camblocksubdevice_led0_power_reg",
        "camblocksubdevice_led1_enable_disable_reg", "camblocksubdevice_led1_power_reg"})
    rows.push_back({kFile, "i2c_info", key, kInteger, sets.two_camblock, sets.two_camblock, Reason::kDark, "",
                    0, kMostByte, Reason::kMisread, kLowByte});
  for (const std::string_view key : {"enable_disable_reg", "power_reg"})
    rows.push_back({kFile, "<led>", key, kInteger, sets.camblock & ~sets.two_camblock,
                    sets.camblock & ~sets.two_camblock, Reason::kRefusesToStart, "", 0, kMostByte,
                    Reason::kMisread, kLowByte});
  return rows;
}

std::vector<KeySchema> all_rows() {
  const Sets sets;
  std::vector<KeySchema> rows;
  for (const auto &part : {main_rows(sets), common_rows(sets), intensity_rows(sets), zoom_rows(sets),
                           illumination_rows(sets), dimming_rows(sets), device_rows(sets)})
    rows.insert(rows.end(), part.begin(), part.end());
  return rows;
}

constexpr std::size_t kMostSensorDigits = 9;  // they fit an int

bool is_digit(char letter) { return letter >= '0' && letter <= '9'; }

/// Whether @p key names a sensor beyond the first: a number from 2 on, written without zeros before it.
bool is_numbered_sensor(std::string_view key) {
  if (!key.starts_with(kSensorKey))
    return false;
  const std::string_view number = key.substr(kSensorKey.size());
  return !number.empty() && number.size() <= kMostSensorDigits &&
         std::all_of(number.begin(), number.end(), is_digit) && number.front() != '0' && number != "1";
}

}  // namespace

std::span<const KeySchema> schema() {
  static const std::vector<KeySchema> rows = all_rows();
  return rows;
}

std::string_view file_pattern(FileKind file) {
  switch (file) {
    case FileKind::kMain:
      return "/etc/beamd/beamd.conf";
    case FileKind::kState:
      return "/etc/beamd/led<N>.conf";
    case FileKind::kDefaults:
      return "/usr/share/beamd/led<N>.conf";
    case FileKind::kIllumination:
      return kIlluminationFile;
    case FileKind::kDimming:
      return "/etc/beamd/dimming.conf";
    case FileKind::kPwm:
      return "/etc/beamd/pwm.conf";
    case FileKind::kCamblock:
      break;
  }
  return "/etc/beamd/camblock.conf";
}

std::string file_path(FileKind file, int light) {
  std::string path{file_pattern(file)};
  constexpr std::string_view kNumber = "<N>";
  if (const std::size_t place = path.find(kNumber); place != std::string::npos)
    path.replace(place, kNumber.size(), std::to_string(light));
  return path;
}

const KeySchema *find_key(FileKind file, std::string_view group, std::string_view key) {
  const std::string_view name = group == "regulator" && is_numbered_sensor(key) ? kNumberedSensorKey : key;
  const auto rows = schema();
  const auto row = std::find_if(rows.begin(), rows.end(), [&](const KeySchema &candidate) {
    return candidate.file == file && candidate.group == group && candidate.key == name;
  });
  return row != rows.end() ? &*row : nullptr;
}

std::vector<std::string_view> key_names(FileKind file, std::string_view group) {
  std::vector<std::string_view> names;
  for (const KeySchema &row : schema())
    if (row.file == file && row.group == group && row.key.find('<') == std::string_view::npos)
      names.push_back(row.key);
  return names;
}

std::string sensor_key(std::size_t number) {
  return std::string{kSensorKey} + (number > 1 ? std::to_string(number) : "");
}

}  // namespace check
