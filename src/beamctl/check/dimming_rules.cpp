// dimming.conf: the regulator.

#include <algorithm>
#include <charconv>
#include <map>

#include "beamctl/check/rules.h"

namespace check {

namespace {

constexpr const char *kGroup = "regulator";

class Regulator {
 public:
  Regulator(CheckedFile &file, std::optional<gint> camblock_leds)
      : file_(file),
        camblock_leds_(camblock_leds),
        is_strict_(file.type().without_gain == Reason::kRefusesToStart) {}

  /// Returns whether the regulator runs.
  bool check() {
    if (file_.keys().group(kGroup) == nullptr)
      return false;
    while (file_.is_meant(kGroup, sensor_key(sensors_ + 1)))
      ++sensors_;
    check_gap();
    check_same_sensors();
    check_sensor_count();
    check_effect();
    check_signs();
    if (sensors_ == 0)
      return false;
    if (file_.type().heeds_enabled && !file_.is_meant(kGroup, "enabled"))
      file_.report_at(
          kGroup, "",
          {Severity::kWarning, Rule::kRegulatorIdle, Reason::kUnregulated,
           "sensors are named, but \"enabled\" is missing", "it counts as false: the light is never dimmed"});
    const bool is_running = !file_.type().heeds_enabled || file_.boolean(kGroup, "enabled") == true;
    if (is_running)
      check_running();
    return is_running;
  }

 private:
  static std::size_t number_of(std::string_view key) {
    std::size_t number = 0;
    std::from_chars(key.data() + kSensorKey.size(), key.data() + key.size(), number);
    return number;
  }

  void check_gap() {
    for (const KeyFile::Key &key : file_.keys().group(kGroup)->keys) {
      const bool is_numbered = key.name.starts_with(kSensorKey) && key.name.size() > kSensorKey.size() &&
                               find_key(FileKind::kDimming, kGroup, key.name) != nullptr;
      if (!is_numbered || number_of(key.name) <= sensors_)
        continue;
      const std::string before = sensor_key(number_of(key.name) - 1);
      if (file_.is_meant(kGroup, before))
        continue;
      file_.report_line(key.line, {Severity::kError, Rule::kSensorGap, Reason::kDropped,
                                   quoted(key.name) + " stands without " + quoted(before),
                                   "sensors are counted up to the first that is missing"});
      return;
    }
  }

  void check_same_sensors() {
    std::map<std::string, std::string> keys;
    for (std::size_t number = 1; number <= sensors_; ++number) {
      const std::string key = sensor_key(number);
      const auto sensor = file_.text(kGroup, key);
      if (!sensor)
        continue;
      if (const auto [first, is_new] = keys.try_emplace(*sensor, key); !is_new)
        file_.report_at(kGroup, key,
                        {Severity::kWarning, Rule::kKeyWithoutEffect, Reason::kUnused,
                         quoted(key) + " is " + quoted(*sensor) + " like " + quoted(first->second),
                         "the same temperature counts twice, which changes nothing"});
    }
  }

  void report_sensor_count(const std::string &key, Severity severity, Reason reason, std::size_t expected,
                           const std::string &reaction) {
    file_.report_at(kGroup, key,
                    {severity, Rule::kSensorCount, reason,
                     quoted(key) + ": " + counted(sensors_, "sensor") + " named, but Type " +
                         std::string{file_.type().name} + " has a use for " + std::to_string(expected),
                     reaction});
  }

  void check_sensor_count() {
    const LightType &type = file_.type();
    if (camblock_leds_) {
      const auto expected = static_cast<std::size_t>(*camblock_leds_);
      if (sensors_ != expected)
        report_sensor_count(sensor_key(std::min(sensors_, expected + 1)), Severity::kWarning, Reason::kUnused,
                            expected, "it is complained about in the log; only the first counts anyway");
      return;
    }
    const auto most = static_cast<std::size_t>(type.sensors);
    if (most == 0 || sensors_ <= most)
      return;
    const bool loses_all = type.name == led_type::kLed1I2c;
    const Reason reason = is_strict_  ? Reason::kRefusesToStart
                          : loses_all ? Reason::kUnregulated
                                      : Reason::kDropped;
    report_sensor_count(sensor_key(most + 1), Severity::kError, reason, most,
                        is_strict_  ? ""
                        : loses_all ? "with more than one, none is read"
                                    : "the others are not watched");
  }

  void check_effect() {
    const LightType &type = file_.type();
    if (!type.heeds_enabled && file_.keys().has(kGroup, "enabled") &&
        file_.boolean(kGroup, "enabled") == false)
      file_.report_at(kGroup, "enabled",
                      {Severity::kError, Rule::kKeyWithoutEffect, Reason::kDropped,
                       "\"enabled\" has no effect: Type " + std::string{type.name} + " always regulates",
                       "the light is dimmed all the same"});
  }

  void check_signs() {
    const bool is_idle = file_.is_regulator_idle();
    for (const char *key : {"k_p", "k_i", "k_d"})
      if (const auto gain = file_.number(kGroup, key); gain && *gain < 0)
        file_.report_at(kGroup, key,
                        {is_idle ? Severity::kWarning : Severity::kError, Rule::kGainSign,
                         is_idle ? Reason::kUnused : Reason::kUnregulated,
                         quoted(key) + " is below 0: " + quoted(file_.keys().raw(kGroup, key)),
                         is_idle ? "no regulator runs that would use it"
                                 : "the hotter the board, the more the light gives"});
  }

  void check_running() {
    if (!is_strict_)
      for (const auto &[key, reaction] :
           {std::pair{"sample_time", "the regulator divides by 0: the light goes dark or is not dimmed"},
            {"ref_temp", "it counts as 0 degrees: the light is always dimmed"}})
        if (!file_.is_meant(kGroup, key))
          file_.report_missing_key(kGroup, key, Severity::kError, Reason::kUnregulated, reaction);

    if (!is_nothing("k_p") || !is_nothing("k_i"))
      return;
    file_.report_at(
        kGroup, file_.keys().has(kGroup, "k_p") ? "k_p" : "k_i",
        {Severity::kError, Rule::kGainsZero, Reason::kDark, R"(both "k_p" and "k_i" are 0)",
         "the regulator gives nothing: the light is dark once it has been read for the first time"});
  }

  /// Whether the gain is missing or 0.
  bool is_nothing(const char *key) const {
    if (!file_.is_meant(kGroup, key))
      return !is_strict_;
    return file_.number(kGroup, key) == 0.0;
  }

  CheckedFile &file_;
  std::optional<gint> camblock_leds_;
  bool is_strict_;
  std::size_t sensors_ = 0;
};

bool check_dimming_file(Camera &camera, const std::string &path, const LightType &type,
                        std::optional<gint> camblock_leds, const FileNeed &need) {
  auto keys = read_key_file(camera, path, need);
  if (!keys)
    return false;
  CheckedFile file{FileKind::kDimming, path, std::move(*keys), type, readers_of(camera, FileKind::kDimming),
                   camera.report};
  file.check();
  const bool is_running = Regulator{file, camblock_leds}.check();
  const bool is_poe_class_read =
      any_light(camera, [](const LightType &other) { return other.table == TableForm::kCells; });
  if (!is_poe_class_read && file.keys().has(kGroup, "poe_class_present"))
    file.report_at(kGroup, "poe_class_present",
                   {Severity::kWarning, Rule::kKeyWithoutEffect, Reason::kUnused,
                    "\"poe_class_present\" has no effect: only Type Tarsil reads it"});
  return is_running;
}

}  // namespace

bool check_dimming(Camera &camera, const LightType &type, std::optional<gint> camblock_leds) {
  const std::string path = file_path(FileKind::kDimming);
  const std::vector<std::string> variants =
      type.dimming_variants ? variants_of(camera, path) : std::vector<std::string>{};
  const Presence presence = type.without_dimming == Reason::kUnregulated ? Presence::kOptional
                            : variants.empty()                           ? Presence::kRequired
                                                                         : Presence::kExpected;
  bool is_running = check_dimming_file(camera, path, type, camblock_leds,
                                       {Severity::kError, type.without_dimming, presence});
  for (const std::string &variant : variants)
    is_running |=
        check_dimming_file(camera, variant, type, camblock_leds,
                           {Severity::kError, type.without_dimming, Presence::kRequired, "[regulator]"});
  return is_running;
}

}  // namespace check
