#include <glib.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <utility>

#include "beamctl/check/main_file.h"
#include "beamctl/check/near_name.h"
#include "beamctl/check/rules.h"
#include "daemon/light_controller.h"

namespace check {

namespace {

constexpr std::string_view kLed = "LED";
constexpr std::string_view kLightPrefix = "LED.L";
constexpr std::string_view kCountKey = "NbrOfLeds";
constexpr std::string_view kTypeKey = "Type";
constexpr std::string_view kDigits = "0123456789";
constexpr const char *kNoLights = "beamd counts 0 lights, and offers none";
constexpr const char *kCountsTwice = "the light counts twice: beamd refuses to start";

/// A section for a light, or for what was meant to be one.
struct LightGroup {
  gint32 number;
  const MainFile::Section *section;
  const MainFile::Entry *type;  ///< the one that counts; NULL when there is none
};

const MainFile::Entry *type_of(const MainFile::Section &section) {
  const auto entry = std::find_if(section.entries.rbegin(), section.entries.rend(),
                                  [](const auto &candidate) { return candidate.key == kTypeKey; });
  return entry != section.entries.rend() ? &*entry : nullptr;
}

std::vector<std::string_view> type_names() {
  std::vector<std::string_view> names;
  for (const LightType &type : light_types())
    names.push_back(type.name);
  return names;
}

bool starts_with_word(const std::string &line, std::string_view word) {
  return g_ascii_strncasecmp(line.c_str(), word.data(), word.size()) == 0;
}

class MainRules {
 public:
  MainRules(Camera &camera, const MainFile &file) : camera_(camera), file_(file) {}

  void check() {
    for (const auto &line : file_.ignored) {
      // Nobody knows which group it was to be.
      is_group_lost_ |= line.text.starts_with('[');
      camera_.has_lost_lights |= line.text.starts_with('[');
      add(line.line, {Severity::kError, Rule::kLineIgnored, Reason::kDropped,
                      "this is no [group], no key=value and no comment, or too long: " + quoted(line.text),
                      "the line is skipped; of a group, all its keys"});
    }
    for (const auto &section : file_.sections)
      check_section(section);
    check_count();
    check_order();
    for (const LightGroup &group : groups_)
      check_group(group);
    check_missing_lights();
    camera_.has_lost_lights |= !known_count_;
    std::sort(camera_.lights.begin(), camera_.lights.end(),
              [](const Light &left, const Light &right) { return left.number < right.number; });
  }

 private:
  static constexpr std::size_t kShownBytes = 60;

  void add(int line, Finding finding) {
    camera_.report.add(file_path(FileKind::kMain), line, std::move(finding));
  }

  void check_section(const MainFile::Section &section) {
    if (section.name.empty() && !section.entries.empty())
      check_headless(section);
    else if (section.name == kLed)
      check_led(section);
    else if (section.name.starts_with(kLightPrefix))
      add_group(section);
    else if (!section.name.empty())
      check_unknown(section);
  }

  void check_headless(const MainFile::Section &section) {
    for (const auto &entry : section.entries) {
      is_count_meant_ |= entry.key == kCountKey;
      add(entry.line, {Severity::kError, Rule::kUnknownKey, Reason::kDropped,
                       "\"" + entry.key + "\" stands ahead of the first group"});
    }
  }

  /// Reports @p key where it stands once more in @p section.
  void check_repeated(const MainFile::Section &section, std::string_view key, Reason reason,
                      const std::string &reaction) {
    int first = 0;
    for (const auto &entry : section.entries) {
      if (entry.key != key)
        continue;
      if (first != 0)
        add(entry.line, {Severity::kError, Rule::kDuplicateKey, reason,
                         quoted(key) + " stands on line " + std::to_string(first) + " already", reaction});
      first = first != 0 ? first : entry.line;
    }
  }

  /// Reports @p section, which stands on line @p first already; @p lost is what follows if both have the key
  /// that counts.
  void report_repeated_group(const MainFile::Section &section, int first, bool have_both,
                             const Finding &lost) {
    const std::string message =
        "group " + header(section.name) + " stands on line " + std::to_string(first) + " already";
    if (have_both)
      add(section.line, {Severity::kError, Rule::kDuplicateGroup, lost.reason, message, lost.reaction});
    else
      add(section.line,
          {Severity::kWarning, Rule::kDuplicateGroup, Reason::kUnused, message, "both are one group"});
  }

  void check_led(const MainFile::Section &section) {
    const bool has_count_here = std::any_of(section.entries.begin(), section.entries.end(),
                                            [](const auto &entry) { return entry.key == kCountKey; });
    if (led_ != nullptr)
      report_repeated_group(
          section, led_->line, has_count_here && count_ != nullptr,
          {.reason = Reason::kMisread, .reaction = "of a key that both have, the last value counts"});
    else
      led_ = &section;
    check_repeated(section, kCountKey, Reason::kDropped, "only the last value counts");
    for (const auto &entry : section.entries) {
      if (entry.key != kCountKey) {
        is_count_meant_ |=
            report_unknown_key(section, entry, kCountKey, kTypeKey, "[LED.L<n>]") && !has_count_here;
        continue;
      }
      first_count_line_ = first_count_line_ == 0 ? entry.line : first_count_line_;
      count_ = &entry;
    }
    is_count_meant_ |= is_ignored_in(section, kCountKey);
  }

  static bool is_ignored_in(const MainFile::Section &section, std::string_view key) {
    return std::any_of(section.ignored.begin(), section.ignored.end(),
                       [&](const std::string &line) { return starts_with_word(line, key); });
  }

  /// Returns whether the key stands for @p right.
  bool report_unknown_key(const MainFile::Section &section, const MainFile::Entry &entry,
                          std::string_view right, std::string_view other, std::string_view other_group) {
    if (entry.key == other) {
      add(entry.line, {Severity::kError, Rule::kUnknownKey, Reason::kDropped,
                       "\"" + entry.key + "\" belongs to group " + std::string{other_group} + ", not to [" +
                           section.name + "]"});
      is_count_meant_ |= other == kCountKey;
      return false;
    }
    const std::string meant{near_name(entry.key, {&right, 1})};
    add(entry.line, {Severity::kError, Rule::kUnknownKey, Reason::kDropped,
                     "there is no key \"" + entry.key + "\" in group [" + section.name + "]", "", meant});
    return !meant.empty();
  }

  void add_group(const MainFile::Section &section) {
    const std::string digits = section.name.substr(kLightPrefix.size());
    // As the daemon reads it.
    const auto number = static_cast<gint32>(strtoll(digits.c_str(), nullptr, 10));
    if (digits.empty() || digits.find_first_not_of(kDigits) != std::string::npos)
      add(section.line,
          {Severity::kError, Rule::kGroupNumber, Reason::kMisread,
           "\"" + digits + "\" in [" + section.name + "] is not the number of a light",
           number < 0 ? "the group is ignored" : "it is read as group " + std::to_string(number)});
    groups_.push_back({number, &section, type_of(section)});
  }

  void check_unknown(const MainFile::Section &section) {
    const std::size_t first_digit = section.name.find_first_of(kDigits);
    std::string meant;
    if (first_digit != std::string::npos && section.name.size() < kShownBytes) {
      const std::string right =
          std::string{kLightPrefix} +
          section.name.substr(first_digit,
                              section.name.find_first_not_of(kDigits, first_digit) - first_digit);
      const std::string_view candidate = right;
      if (!near_name(section.name, {&candidate, 1}).empty() || starts_with_word(section.name, kLed))
        meant = right;
    } else {
      meant = near_name(section.name, {&kLed, 1});
    }
    add(section.line,
        {Severity::kError, Rule::kUnknownGroup, Reason::kDropped,
         "there is no group [" + section.name + "] in this file", "none of its keys is read", meant});
    is_count_meant_ |= meant == kLed;
    if (meant.starts_with(kLightPrefix))
      groups_.push_back({static_cast<gint32>(strtoll(meant.c_str() + kLightPrefix.size(), nullptr, 10)),
                         &section, type_of(section)});
  }

  void check_count() {
    if (count_ == nullptr) {
      report_missing_count();
      return;
    }
    const KeySchema &row = *find_key(FileKind::kMain, kLed, kCountKey);
    const std::string &value = count_->value;
    const std::size_t sign = value.starts_with('+') || value.starts_with('-') ? 1 : 0;
    const bool is_number = value.size() > sign && value.find_first_not_of(kDigits, sign) == std::string::npos;
    if (!is_number) {
      add(count_->line, {Severity::kError, Rule::kValueType, Reason::kMisread,
                         quoted(kCountKey) + " is " + quoted(value) + ", which is not an integer",
                         std::string{row.reaction}});
      return;
    }
    const long long number = strtoll(value.c_str(), nullptr, 10);
    if (static_cast<double>(number) >= row.least && static_cast<double>(number) <= row.most)
      known_count_ = static_cast<gint32>(number);
    else
      add(count_->line, {Severity::kError, Rule::kValueRange, number == 0 ? Reason::kDropped : row.beyond,
                         quoted(kCountKey) + " is " + quoted(value) + ", which is not between 1 and " +
                             std::to_string(LIGHT_CONTROLLER_MAX_LEDS),
                         number == 0 ? kNoLights : ""});
  }

  void report_missing_count() {
    if (is_count_meant_ || (led_ == nullptr && is_group_lost_))
      return;
    if (led_ == nullptr)
      add(0, {Severity::kError, Rule::kMissingGroup, Reason::kDropped, "there is no group [LED]", kNoLights});
    else
      add(led_->line, {Severity::kError, Rule::kMissingKey, Reason::kDropped,
                       "\"NbrOfLeds\" is missing in group [LED]", kNoLights});
  }

  void check_order() {
    for (const LightGroup &group : groups_) {
      const MainFile::Entry *type = group.type;
      if (type == nullptr || first_count_line_ == 0 || type->line > first_count_line_)
        continue;
      is_group_lost_ = true;
      add(group.section->line,
          {Severity::kError, Rule::kLedAfterLights, Reason::kRefusesToStart,
           "[" + group.section->name + "] stands ahead of group [LED], which counts the lights",
           "the light is not counted: beamd refuses to start"});
      return;
    }
  }

  void check_group(const LightGroup &group) {
    if (group.number < 0)
      return;
    if (known_count_ && group.number >= *known_count_) {
      report_out_of_range(group);
      return;
    }
    const auto [first, is_new] = seen_.try_emplace(group.number, &group);
    if (is_new)
      check_entries(group);
    else
      report_repeated_group(*group.section, first->second->section->line,
                            first->second->type != nullptr && group.type != nullptr,
                            {.reason = Reason::kRefusesToStart, .reaction = kCountsTwice});
  }

  /// The Type in @p group, or in a later one for the same light.
  const MainFile::Entry *type_of_light(const LightGroup &group) const {
    const auto with_type = std::find_if(groups_.begin(), groups_.end(), [&](const LightGroup &other) {
      return other.number == group.number && other.type != nullptr;
    });
    return with_type != groups_.end() ? with_type->type : nullptr;
  }

  void claim_files(gint32 light) {
    for (const FileKind kind : {FileKind::kState, FileKind::kDefaults})
      camera_.files.insert(file_path(kind, light));
  }

  void report_out_of_range(const LightGroup &group) {
    claim_files(group.number);
    add(group.section->line, {Severity::kError, Rule::kLightOutOfRange, Reason::kDropped,
                              header(group.section->name) + " is no light" + ": \"NbrOfLeds\" is " +
                                  std::to_string(*known_count_) + ", and numbers begin with 0",
                              "the group is ignored"});
  }

  void check_entries(const LightGroup &group) {
    const MainFile::Section &section = *group.section;
    bool is_type_meant = is_ignored_in(section, kTypeKey);
    check_repeated(section, kTypeKey, Reason::kRefusesToStart, kCountsTwice);
    for (const auto &entry : section.entries)
      if (entry.key != kTypeKey)
        is_type_meant |= report_unknown_key(section, entry, kTypeKey, kCountKey, "[LED]");
    const MainFile::Entry *type = type_of_light(group);
    if (type == nullptr && !is_type_meant)
      add(section.line, {Severity::kError, Rule::kMissingKey, Reason::kRefusesToStart,
                         "\"Type\" is missing in group [" + section.name + "]"});
    if (group.number < LIGHT_CONTROLLER_MAX_LEDS)
      camera_.lights.push_back({group.number, type != nullptr ? light_type(*type) : nullptr,
                                type != nullptr ? type->line : section.line});
  }

  /// The Type, or the one that was meant.
  const LightType *light_type(const MainFile::Entry &entry) {
    if (const LightType *type = find_light_type(entry.value))
      return type;
    const std::string meant{near_name(entry.value, type_names())};
    add(entry.line,
        {Severity::kError, Rule::kUnknownType, Reason::kRefusesToStart,
         "there is no Type \"" + entry.value + "\"", "the light is not made: beamd refuses to start", meant});
    return find_light_type(meant);
  }

  void check_missing_lights() {
    if (!known_count_ || is_group_lost_)
      return;
    std::string missing;
    for (gint32 number = 0; number < *known_count_; ++number)
      if (!seen_.contains(number)) {
        claim_files(number);
        missing += (missing.empty() ? "[LED.L" : ", [LED.L") + std::to_string(number) + "]";
      }
    if (!missing.empty())
      add(count_->line,
          {Severity::kError, Rule::kLightMissing, Reason::kRefusesToStart,
           "\"NbrOfLeds\" is " + std::to_string(*known_count_) + ", but there is no " + missing});
  }

  Camera &camera_;
  const MainFile &file_;
  const MainFile::Section *led_ = nullptr;
  const MainFile::Entry *count_ = nullptr;  // the one that counts in the end
  int first_count_line_ = 0;
  bool is_count_meant_ = false;
  bool is_group_lost_ = false;  // a group stands for a light that seems to be missing
  std::optional<gint32> known_count_;
  std::vector<LightGroup> groups_;
  std::map<gint32, const LightGroup *> seen_;
};

}  // namespace

bool check_main_file(Camera &camera) {
  const std::string path = file_path(FileKind::kMain);
  const auto text = read_text(camera, path, {Severity::kError, Reason::kRefusesToStart});
  if (!text)
    return false;
  const auto file = read_main_file(text->host_path, *text->text);
  if (!file) {
    camera.report.add(
        path, 0, {Severity::kError, Rule::kFileUnreadable, Reason::kRefusesToStart, "it cannot be read"});
    return false;
  }
  MainRules{camera, *file}.check();
  return true;
}

}  // namespace check
