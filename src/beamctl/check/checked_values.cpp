// The values of a CheckedFile.

#include <algorithm>
#include <cmath>
#include <limits>

#include "beamctl/check/checked_file.h"
#include "beamctl/check/value_reading.h"

namespace check {

namespace {

struct Range {
  double least;
  double most;
};

constexpr double kFullBrightness = 100;
constexpr double kLastAngle = 100;
constexpr std::string_view kRegulator = "regulator";

/// Whether the key is an angle that is looked up in a table that ends at 100.
bool is_angle_of_table(const KeySchema &row, const LightType &type) {
  return type.table == TableForm::kAngles && row.type == ValueType::kInteger &&
         (row.group == "zoom" || row.key == "manualangleofillumination");
}

/// Whether the daemon does not start with @p value.
bool keeps_from_starting(const KeySchema &row, const LightType &type, double value) {
  if (row.file == FileKind::kPwm)
    return value == 0;
  const bool has_to_be_above_0 = row.key == "sample_time" || row.key == "ref_temp";
  const bool is_above_0 = value > 0;  // which no number at all is, either
  return type.without_gain == Reason::kRefusesToStart && has_to_be_above_0 && !is_above_0;
}

Range range_of(const KeySchema &row, const LightType &type) {
  if (row.key == "leds")
    return {type.name == led_type::kDummy ? 0.0 : 1.0, row.most};
  if (row.key == "max_brightness_level" && type.name == led_type::kLed1Pwm)
    return {row.least, kFullBrightness};
  if (is_angle_of_table(row, type))
    return {0, kLastAngle};
  return {row.least, row.most};
}

// The default can be written out, too.
bool is_default_brightness(const KeySchema &row, const LightType &type, double value) {
  return row.key == "max_brightness_level" && type.name == led_type::kLedBl && value == -1;
}

std::string number_text(double value) {
  char text[G_ASCII_DTOSTR_BUF_SIZE];
  return g_ascii_formatd(text, sizeof text, "%.10g", value);
}

bool is_unlimited(double limit) {
  return std::isinf(limit) || std::fabs(limit) >= std::numeric_limits<double>::max();
}

std::string range_text(const Range &range) {
  if (is_unlimited(range.least) && is_unlimited(range.most))
    return "a finite number";
  const bool is_any_above = is_unlimited(range.most) || range.most >= std::numeric_limits<int>::max();
  std::string least = range.least > 0 && range.least < 1 ? "above 0" : "at least " + number_text(range.least);
  if (is_any_above)
    return least;
  return range.least > 0 && range.least < 1
             ? "above 0 and at most " + number_text(range.most)
             : "between " + number_text(range.least) + " and " + number_text(range.most);
}

/// What a number of an I2C device was to be that has the bit for reading and writing at its end.
std::string suggested_number(const KeySchema &row, double value) {
  const double half = std::floor(value / 2);
  const bool is_eight_bits = row.key == "camblockI2Caddress" && value >= 128 && value <= 255;
  return is_eight_bits && half >= row.least && half <= row.most ? number_text(half) : "";
}

}  // namespace

Reason CheckedFile::reason_without(const KeySchema &row) const {
  switch (kind_) {
    case FileKind::kDefaults:
      return type_.without_basepath;
    case FileKind::kIllumination:
      return row.key == "leds" ? type_.without_leds : row.unreadable;
    case FileKind::kDimming:
      return (row.required_by & set_of(type_)) != 0 ? type_.without_gain : row.unreadable;
    case FileKind::kCamblock:
      return row.group == "i2c_info" ? type_.without_register : row.unreadable;
    default:
      return row.unreadable;
  }
}

void CheckedFile::check_required() {
  std::set<std::string> missing;
  for (const KeySchema &row : schema()) {
    if (row.file != kind_ || (row.required_by & set_of(type_)) == 0)
      continue;
    const std::string group{row.group};
    if (group.starts_with('<') || keys_.group(group) != nullptr || meant_groups_.contains(group) ||
        !missing.insert(group).second)
      continue;
    const Reason reason = reason_without(row);
    const Severity severity = reason == Reason::kUnused ? Severity::kWarning : Severity::kError;
    report_line(0, {severity, Rule::kMissingGroup, reason, "there is no group [" + group + "]"});
  }
  for (const KeyFile::Group &group : keys_.groups())
    if (is_known_group(group.name))
      check_required_keys(group);
}

void CheckedFile::check_required_keys(const KeyFile::Group &group) {
  const std::string in_schema = schema_group(group.name);
  if (in_schema.empty())
    return;
  for (const KeySchema &row : schema()) {
    const std::string key{row.key};
    if (row.file != kind_ || row.group != in_schema || (row.required_by & set_of(type_)) == 0 ||
        is_meant(group.name, key))
      continue;
    const Reason reason = reason_without(row);
    const bool is_harmless = reason == Reason::kUnused || key == "expander_type";
    report_missing_key(group.name, key, is_harmless ? Severity::kWarning : Severity::kError, reason,
                       reason == row.unreadable ? row.reaction : "");
  }
}

void CheckedFile::check_values() {
  for (const KeyFile::Group &group : keys_.groups()) {
    if (!is_known_group(group.name))
      continue;
    std::set<std::string_view> seen;
    for (const KeyFile::Key &key : group.keys)
      if (seen.insert(key.name).second && is_known_key(group.name, key.name))
        check_value(group.name, key.name, *find_key(kind_, schema_group(group.name), key.name));
  }
}

void CheckedFile::report_type(const std::string &group, const std::string &key, const KeySchema &row) {
  const std::string raw = keys_.raw(group, key);
  const Reason reason = reason_without(row);
  report_at(group, key,
            {reason == Reason::kUnused ? Severity::kWarning : Severity::kError, Rule::kValueType, reason,
             quoted(key) + " is " + quoted(raw) + ", which is not " + std::string{name_of(row.type)},
             std::string{reason == row.unreadable ? row.reaction : ""}, suggested_value(raw, row.type)});
}

void CheckedFile::check_value(const std::string &group, const std::string &key, const KeySchema &row) {
  const bool is_used = (row.used_by & set_of(type_)) != 0;
  if (!is_used && (kind_ == FileKind::kCamblock ||
                   (kind_ == FileKind::kState && row.unreadable != Reason::kRefusesToStart)))
    return;
  switch (judge_value(keys_, group, key, row.type)) {
    case ValueVerdict::kWrongType:
      spoil(group, key);
      report_type(group, key, row);
      return;
    case ValueVerdict::kEmpty:
      spoil(group, key);
      report_at(group, key,
                {Severity::kError, Rule::kEmptyValue, Reason::kMisread, quoted(key) + " has no value",
                 "the empty text is used"});
      return;
    case ValueVerdict::kTrailingInText:
      spoil(group, key);
      report_at(group, key,
                {Severity::kError, Rule::kTrailingText, Reason::kMisread,
                 quoted(key) + " ends in blanks or a comment: " + quoted(keys_.raw(group, key)),
                 "all of it is the value: a comment needs a line of its own"});
      return;
    case ValueVerdict::kTrailingText:
      report_at(group, key,
                {Severity::kWarning, Rule::kTrailingText, Reason::kUnused,
                 quoted(key) + " has text behind its number: " + quoted(keys_.raw(group, key)),
                 "the number alone is read: a comment needs a line of its own"});
      break;
    case ValueVerdict::kFine:
      break;
  }
  if (is_used && (row.type == ValueType::kInteger || row.type == ValueType::kNumber))
    check_range(group, key, row);
}

void CheckedFile::check_range(const std::string &group, const std::string &key, const KeySchema &row) {
  const double value =
      row.type == ValueType::kInteger ? integer(group, key).value() : number(group, key).value();
  const Range range = range_of(row, type_);
  if ((value >= range.least && value <= range.most) || is_default_brightness(row, type_, value))
    return;
  const Consequence consequence = consequence_beyond(row, value);
  spoil(group, key);
  report_at(group, key,
            {consequence.severity, Rule::kValueRange, consequence.reason,
             quoted(key) + " is " + quoted(keys_.raw(group, key)) + ", which is not " + range_text(range),
             std::string{consequence.reaction}, suggested_number(row, value)});
}

CheckedFile::Consequence CheckedFile::consequence_beyond(const KeySchema &row, double value) const {
  if (is_angle_of_table(row, type_))
    return {Severity::kWarning, Reason::kMisread,
            "beyond the table, angles give what its first or last row does"};
  if (row.group == kRegulator && is_regulator_idle())
    return {Severity::kWarning, Reason::kUnused, "no regulator runs that would use it"};
  if (row.key == "leds")
    return {Severity::kError, type_.without_leds, row.beyond_reaction};
  if (row.key == "intensityHIGH" && type_.uses_brightness)
    return {Severity::kError, Reason::kDark, ""};
  if (keeps_from_starting(row, type_, value))
    return {Severity::kError, Reason::kRefusesToStart, ""};
  return {Severity::kError, row.beyond, row.beyond_reaction};
}

bool CheckedFile::is_regulator_idle() const {
  const std::string group{kRegulator};
  if (type_.without_gain == Reason::kRefusesToStart)
    return false;
  const bool is_off =
      type_.heeds_enabled && (!is_meant(group, "enabled") || keys_.boolean(group, "enabled") == false);
  return is_off || !is_meant(group, sensor_key(1));
}

bool CheckedFile::is_judged(const std::string &group, const std::string &key) const {
  return keys_.has(group, key) && !spoiled_.contains(group + "]" + key);
}

std::optional<gint> CheckedFile::integer(const std::string &group, const std::string &key) const {
  return is_judged(group, key) ? keys_.integer(group, key) : std::nullopt;
}

std::optional<bool> CheckedFile::boolean(const std::string &group, const std::string &key) const {
  return is_judged(group, key) ? keys_.boolean(group, key) : std::nullopt;
}

std::optional<double> CheckedFile::number(const std::string &group, const std::string &key) const {
  return is_judged(group, key) ? keys_.number(group, key) : std::nullopt;
}

std::optional<std::string> CheckedFile::text(const std::string &group, const std::string &key) const {
  return is_judged(group, key) ? keys_.text(group, key) : std::nullopt;
}

std::optional<std::vector<gint>> CheckedFile::integers(const std::string &group,
                                                       const std::string &key) const {
  if (!is_judged(group, key))
    return std::nullopt;
  auto values = keys_.integers(group, key);
  return values || !keys_.raw(group, key).empty() ? values : std::vector<gint>{};
}

}  // namespace check
