#include "beamctl/check/finding.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace check {

namespace {

constexpr std::size_t kMostQuoted = 60;
constexpr int kMostAlike = 10000;
constexpr std::size_t kLongestLetter = 4;  // in bytes of UTF-8

bool is_within_letter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; }

constexpr RuleName kRuleNames[] = {
    {Rule::kFileMissing, "file-missing"},
    {Rule::kFileUnreadable, "file-unreadable"},
    {Rule::kFileTooLarge, "file-too-large"},
    {Rule::kDoesNotParse, "does-not-parse"},
    {Rule::kLineIgnored, "line-ignored"},
    {Rule::kNulByte, "nul-byte"},
    {Rule::kFileUnused, "file-unused"},
    {Rule::kUnknownGroup, "unknown-group"},
    {Rule::kUnknownKey, "unknown-key"},
    {Rule::kDuplicateKey, "duplicate-key"},
    {Rule::kDuplicateGroup, "duplicate-group"},
    {Rule::kMissingGroup, "missing-group"},
    {Rule::kMissingKey, "missing-key"},
    {Rule::kEmptyValue, "empty-value"},
    {Rule::kValueType, "value-type"},
    {Rule::kTrailingText, "trailing-text"},
    {Rule::kValueRange, "value-range"},
    {Rule::kRangeReversed, "range-reversed"},
    {Rule::kRangeFlat, "range-flat"},
    {Rule::kOutsideOwnRange, "outside-own-range"},
    {Rule::kIncompletePair, "incomplete-pair"},
    {Rule::kZoomIncomplete, "zoom-incomplete"},
    {Rule::kZoomUnsupported, "zoom-unsupported"},
    {Rule::kIntensitiesCount, "intensities-count"},
    {Rule::kKeyWithoutEffect, "key-without-effect"},
    {Rule::kPowerUnheard, "power-unheard"},
    {Rule::kInterfaceMissing, "interface-missing"},
    {Rule::kUnknownLedtype, "unknown-ledtype"},
    {Rule::kBasepathFormat, "basepath-format"},
    {Rule::kBasepathWithoutNumber, "basepath-without-number"},
    {Rule::kBasepathRelative, "basepath-relative"},
    {Rule::kBasepathShared, "basepath-shared"},
    {Rule::kFirstGroup, "first-group"},
    {Rule::kTableNumber, "table-number"},
    {Rule::kTableFirstAngle, "table-first-angle"},
    {Rule::kTableLastAngle, "table-last-angle"},
    {Rule::kTableOrder, "table-order"},
    {Rule::kTableEmpty, "table-empty"},
    {Rule::kLevelsCount, "levels-count"},
    {Rule::kLedsCount, "leds-count"},
    {Rule::kTableTooLarge, "table-too-large"},
    {Rule::kIntensityBeyondTable, "intensity-beyond-table"},
    {Rule::kLevelBeyondFullScale, "level-beyond-full-scale"},
    {Rule::kPointUnused, "point-unused"},
    {Rule::kTableGrid, "table-grid"},
    {Rule::kSensorGap, "sensor-gap"},
    {Rule::kSensorCount, "sensor-count"},
    {Rule::kGainSign, "gain-sign"},
    {Rule::kGainsZero, "gains-zero"},
    {Rule::kRegulatorIdle, "regulator-idle"},
    {Rule::kDutyBeyondPeriod, "duty-beyond-period"},
    {Rule::kRegisterShared, "register-shared"},
    {Rule::kLedAfterLights, "led-after-lights"},
    {Rule::kGroupNumber, "group-number"},
    {Rule::kUnknownType, "unknown-type"},
    {Rule::kLightMissing, "light-missing"},
    {Rule::kLightOutOfRange, "light-out-of-range"},
};

auto place_of(const Finding &finding) {
  return std::tie(finding.file, finding.line, finding.rule, finding.message);
}

// The worst of each place first.
bool comes_before(const Finding &left, const Finding &right) {
  if (place_of(left) != place_of(right))
    return std::tuple{std::string_view{left.file}, left.line, name_of(left.rule),
                      std::string_view{left.message}} < std::tuple{std::string_view{right.file}, right.line,
                                                                   name_of(right.rule),
                                                                   std::string_view{right.message}};
  return std::tuple{left.severity, right.reason} < std::tuple{right.severity, left.reason};
}

bool is_same_finding(const Finding &left, const Finding &right) { return place_of(left) == place_of(right); }

}  // namespace

std::string cut(std::string_view text, std::size_t most) {
  if (text.size() <= most)
    return std::string{text};
  std::size_t end = most;
  while (end > 0 && most - end < kLongestLetter && is_within_letter(text[end]))
    --end;
  return std::string{text.substr(0, end)} + "...";
}

std::string quoted(std::string_view text) { return "\"" + cut(text, kMostQuoted) + "\""; }

std::string header(std::string_view group) { return "[" + cut(group, kMostQuoted) + "]"; }

std::string counted(std::size_t number, const std::string &noun) {
  return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

std::span<const RuleName> rule_names() { return kRuleNames; }

std::string_view name_of(Rule rule) {
  return std::find_if(std::begin(kRuleNames), std::end(kRuleNames),
                      [&](const RuleName &candidate) { return candidate.rule == rule; })
      ->name;
}

std::string_view name_of(Severity severity) { return severity == Severity::kError ? "error" : "warning"; }

std::string_view name_of(Reason reason) {
  switch (reason) {
    case Reason::kRefusesToStart:
      return "refuses-to-start";
    case Reason::kUndetected:
      return "undetected";
    case Reason::kDark:
      return "dark";
    case Reason::kDropped:
      return "dropped";
    case Reason::kMisread:
      return "misread";
    case Reason::kUnregulated:
      return "unregulated";
    case Reason::kRefused:
      return "refused";
    case Reason::kUnused:
      break;
  }
  return "unused";
}

std::string_view reaction_to(Reason reason) {
  switch (reason) {
    case Reason::kRefusesToStart:
      return "beamd refuses to start";
    case Reason::kUndetected:
      return "the light counts as one without a board: every call of a client is refused";
    case Reason::kDark:
      return "the light is offered to clients and stays dark";
    case Reason::kDropped:
      return "the setting is not read";
    case Reason::kMisread:
      return "it is read as something else";
    case Reason::kUnregulated:
      return "the light is not dimmed by its temperature as it should be";
    case Reason::kRefused:
      return "clients' calls are refused";
    case Reason::kUnused:
      break;
  }
  return "beamd makes no use of it";
}

bool Report::is_full(const std::string &file, Rule rule) const {
  const auto count = counts_.find({file, rule});
  return count != counts_.end() && count->second >= kMostAlike;
}

void Report::add(const std::string &file, int line, Finding finding) {
  if (is_full(file, finding.rule)) {
    truncate();
    return;
  }
  ++counts_[{file, finding.rule}];
  finding.file = file;
  finding.line = line;
  if (!finding.suggestion.empty())
    finding.message += ", did you mean \"" + finding.suggestion + "\"?";
  if (finding.reaction.empty())
    finding.reaction = reaction_to(finding.reason);
  findings_.push_back(std::move(finding));
}

Findings Report::take() {
  std::sort(findings_.begin(), findings_.end(), comes_before);
  findings_.erase(std::unique(findings_.begin(), findings_.end(), is_same_finding), findings_.end());
  counts_.clear();
  return {std::exchange(findings_, {}), std::exchange(is_truncated_, false)};
}

}  // namespace check
