#include "beamctl/check/checked_file.h"

#include <algorithm>
#include <map>
#include <utility>

#include "beamctl/check/near_name.h"
#include "beamctl/check/value_reading.h"

namespace check {

namespace {

constexpr std::string_view kLedGroup = "<led>";

/// The groups of @p kind that have names of their own.
std::vector<std::string_view> group_names(FileKind kind) {
  std::vector<std::string_view> names;
  for (const KeySchema &row : schema())
    if (row.file == kind && row.group.find('<') == std::string_view::npos &&
        std::find(names.begin(), names.end(), row.group) == names.end())
      names.push_back(row.group);
  return names;
}

/// Whether a group of any name is of use to one of @p readers.
bool has_free_groups(FileKind kind, TypeSet readers) {
  const TypeSet led_group_readers = find_key(FileKind::kCamblock, kLedGroup, "power_reg")->used_by;
  return kind == FileKind::kIllumination ||
         (kind == FileKind::kCamblock && (readers & led_group_readers) != 0);
}

}  // namespace

CheckedFile::CheckedFile(FileKind kind, std::string path, KeyFile keys, const LightType &type,
                         TypeSet readers, Report &report)
    : kind_(kind),
      path_(std::move(path)),
      keys_(std::move(keys)),
      type_(type),
      readers_(readers),
      group_names_(group_names(kind)),
      report_(report) {}

void CheckedFile::check() {
  check_repetitions();
  for (const KeyFile::Group &group : keys_.groups())
    if (is_known_group(group.name))
      check_unknown_keys(group);
    else
      check_unknown_group(group);
  check_required();
  check_values();
}

void CheckedFile::report_line(int line, Finding finding) { report_.add(path_, line, std::move(finding)); }

void CheckedFile::report_at(const std::string &group, const std::string &key, Finding finding) {
  report_line(keys_.line_near(group, key), std::move(finding));
}

// Rows of a table and LEDs of a camera block have names of any kind; a first group that is nearly the one
// that has to be there is none of them.
bool CheckedFile::is_known_group(const std::string &group) const {
  const auto &names = group_names_;
  if (std::find(names.begin(), names.end(), group) != names.end())
    return true;
  if (!has_free_groups(kind_, readers_))
    return false;
  return &keys_.groups().front() != keys_.group(group) || keys_.group(names.front()) != nullptr ||
         near_name(group, names).empty();
}

std::string CheckedFile::schema_group(const std::string &group) const {
  const auto &names = group_names_;
  if (std::find(names.begin(), names.end(), group) != names.end())
    return group;
  return kind_ == FileKind::kCamblock ? std::string{kLedGroup} : "";
}

bool CheckedFile::is_used_key(const std::string &group, const std::string &key) const {
  const KeySchema *row = find_key(kind_, schema_group(group), key);
  return row != nullptr && (row->used_by & set_of(type_)) != 0;
}

bool CheckedFile::is_known_key(const std::string &group, const std::string &key) const {
  const KeySchema *row = find_key(kind_, schema_group(group), key);
  if (row == nullptr)
    return false;
  const bool depends_on_type = kind_ == FileKind::kCamblock || kind_ == FileKind::kIllumination;
  return !depends_on_type || key == "leds" || (row->used_by & readers_) != 0;
}

void CheckedFile::check_repetitions() {
  std::map<std::string, int> last_key_lines;  // of keys that are given once more, by group
  std::set<std::string> repeated_groups;
  for (const KeyFile::Repetition &repetition : keys_.repetitions())
    if (repetition.key.empty())
      repeated_groups.insert(repetition.group);
    else
      last_key_lines[repetition.group] = repetition.line;
  for (const KeyFile::Repetition &repetition : keys_.repetitions())
    if (repetition.key.empty())
      report_repeated_group(repetition, last_key_lines[repetition.group] > repetition.line);
    else if (!repeated_groups.contains(repetition.group))
      report_line(repetition.line, {Severity::kError, Rule::kDuplicateKey, Reason::kDropped,
                                    quoted(repetition.key) + " stands on line " +
                                        std::to_string(repetition.first_line) + " already",
                                    "only the last value counts"});
}

void CheckedFile::report_repeated_group(const KeyFile::Repetition &repetition, bool loses_keys) {
  const bool merges_rows = has_free_groups(kind_, readers_);
  const Reason reason = merges_rows ? Reason::kMisread : loses_keys ? Reason::kDropped : Reason::kUnused;
  report_line(repetition.line, {reason == Reason::kUnused ? Severity::kWarning : Severity::kError,
                                Rule::kDuplicateGroup, reason,
                                "group " + header(repetition.group) + " stands on line " +
                                    std::to_string(repetition.first_line) + " already",
                                "both are one group; of a key that both have, the last value counts"});
}

void CheckedFile::check_unknown_group(const KeyFile::Group &group) {
  const auto &names = group_names_;
  const std::string meant{near_name(group.name, names)};
  if (!meant.empty() && keys_.group(meant) == nullptr)
    meant_groups_.insert(meant);
  report_line(group.line, {Severity::kError, Rule::kUnknownGroup, Reason::kDropped,
                           "there is no group " + header(group.name) + " in this file",
                           "none of its keys is read", meant});
}

void CheckedFile::check_unknown_keys(const KeyFile::Group &group) {
  if (schema_group(group.name).empty())
    return;
  std::set<std::string_view> seen;
  for (const KeyFile::Key &key : group.keys) {
    if (!seen.insert(key.name).second || is_known_key(group.name, key.name))
      continue;
    if (report_.is_full(path_, Rule::kUnknownKey)) {
      report_.truncate();
      return;
    }
    report_unknown_key(group.name, key.name, key.line);
  }
}

std::string CheckedFile::meant_key(const std::string &group, const std::string &key) const {
  if (kind_ == FileKind::kDimming && key.starts_with(kSensorKey) && key.size() > kSensorKey.size() &&
      key.find_first_not_of("0123456789", kSensorKey.size()) == std::string::npos) {
    const std::string sensor = sensor_key(std::strtoul(key.c_str() + kSensorKey.size(), nullptr, 10));
    return find_key(kind_, group, sensor) != nullptr ? sensor : "";
  }
  std::vector<std::string_view> names;
  for (const std::string_view name : key_names(kind_, schema_group(group)))
    if (is_known_key(group, std::string{name}))
      names.push_back(name);
  return std::string{near_name(key, names)};
}

void CheckedFile::report_unknown_key(const std::string &group, const std::string &key, int line) {
  for (const std::string_view other : group_names_)
    if (other != group && find_key(kind_, other, key) != nullptr) {
      mean(std::string{other}, key);
      report_line(line, {Severity::kError, Rule::kUnknownKey, Reason::kDropped,
                         quoted(key) + " belongs to group " + header(std::string{other}) + ", not to " +
                             header(group),
                         "", header(std::string{other}) + " " + key});
      return;
    }
  const std::string meant = meant_key(group, key);
  if (!meant.empty() && !keys_.has(group, meant))
    mean(group, meant);
  report_line(line, {Severity::kError, Rule::kUnknownKey, Reason::kDropped,
                     "there is no key " + quoted(key) + " in group " + header(group), "", meant});
}

bool CheckedFile::has_merged_groups() const {
  return std::any_of(keys_.repetitions().begin(), keys_.repetitions().end(),
                     [](const KeyFile::Repetition &repetition) { return repetition.key.empty(); });
}

bool CheckedFile::is_meant(const std::string &group, const std::string &key) const {
  return keys_.has(group, key) || meant_.contains(group + "]" + key) || meant_groups_.contains(group);
}

void CheckedFile::report_missing_key(const std::string &group, const std::string &key, Severity severity,
                                     Reason reason, std::string_view reaction) {
  report_at(group, key,
            {severity, Rule::kMissingKey, reason, quoted(key) + " is missing in group " + header(group),
             std::string{reaction}});
}

}  // namespace check
