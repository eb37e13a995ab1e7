#pragma once

#include <map>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace check {

/// An error: the daemon would not start, leave a light dark, drop a setting or read something other than what
/// stands there. A warning: harmless, and surely not meant.
enum class Severity { kError, kWarning };

/// What follows from a finding.
enum class Reason {
  kUnused,         ///< harmless
  kDropped,        ///< a setting is not read
  kMisread,        ///< it is read as something else
  kUnregulated,    ///< the light is not dimmed when its board gets hot, or always
  kRefused,        ///< clients' calls are refused
  kDark,           ///< the light is offered, and does not or not always shine
  kUndetected,     ///< the light counts as one without a board
  kRefusesToStart  ///< the daemon does not start
};

enum class Rule {
  kFileMissing,
  kFileUnreadable,
  kFileTooLarge,
  kDoesNotParse,
  kLineIgnored,
  kNulByte,
  kFileUnused,
  kUnknownGroup,
  kUnknownKey,
  kDuplicateKey,
  kDuplicateGroup,
  kMissingGroup,
  kMissingKey,
  kEmptyValue,
  kValueType,
  kTrailingText,
  kValueRange,
  kRangeReversed,
  kRangeFlat,
  kOutsideOwnRange,
  kIncompletePair,
  kZoomIncomplete,
  kZoomUnsupported,
  kIntensitiesCount,
  kKeyWithoutEffect,
  kPowerUnheard,
  kInterfaceMissing,
  kUnknownLedtype,
  kBasepathFormat,
  kBasepathWithoutNumber,
  kBasepathRelative,
  kBasepathShared,
  kFirstGroup,
  kTableNumber,
  kTableFirstAngle,
  kTableLastAngle,
  kTableOrder,
  kTableEmpty,
  kLevelsCount,
  kLedsCount,
  kTableTooLarge,
  kIntensityBeyondTable,
  kLevelBeyondFullScale,
  kPointUnused,
  kTableGrid,
  kSensorGap,
  kSensorCount,
  kGainSign,
  kGainsZero,
  kRegulatorIdle,
  kDutyBeyondPeriod,
  kRegisterShared,
  kLedAfterLights,
  kGroupNumber,
  kUnknownType,
  kLightMissing,
  kLightOutOfRange,
};

struct Finding {
  Severity severity = Severity::kError;
  Rule rule{};
  Reason reason{};
  std::string message = {};
  std::string reaction = {};    ///< what the daemon would do
  std::string suggestion = {};  ///< what was probably meant instead; may be empty
  std::string file = {};        ///< its path on the camera
  int line = 0;                 ///< from 1; 0 when it is about the whole file
};

/// @p text as far as about @p most bytes, of whole letters: what stands in a file may have any length.
std::string cut(std::string_view text, std::size_t most);

/// @p text, cut, in quotation marks.
std::string quoted(std::string_view text);

/// The line that begins a group, cut.
std::string header(std::string_view group);

/// "1 LED" or "2 LEDs".
std::string counted(std::size_t number, const std::string &noun);

/// A rule and its name.
struct RuleName {
  Rule rule;
  std::string_view name;
};

std::span<const RuleName> rule_names();
std::string_view name_of(Rule rule);
std::string_view name_of(Reason reason);
std::string_view name_of(Severity severity);

/// What the daemon does, unless there is more to say.
std::string_view reaction_to(Reason reason);

/// What there is to say about a tree.
struct Findings {
  std::vector<Finding> all = {};
  bool is_truncated = false;  ///< there are more: of one rule in one file only so many are kept
};

/// Collects findings.
class Report {
 public:
  /// Adds @p finding at @p line of @p file. Its message is completed by the suggestion; the reaction is, if
  /// there is none, that to its reason.
  void add(const std::string &file, int line, Finding finding);

  /// Whether no more findings of @p rule in @p file are taken.
  bool is_full(const std::string &file, Rule rule) const;

  /// Tells that there may be more findings than were added.
  void truncate() { is_truncated_ = true; }

  /// The findings by file, line and rule. What several lights come to alike is one finding, the worst of
  /// them.
  Findings take();

 private:
  std::vector<Finding> findings_;
  std::map<std::pair<std::string, Rule>, int> counts_;
  bool is_truncated_ = false;
};

}  // namespace check
