// Tables of rows by angle, or by degrees of the lens.

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "beamctl/check/rules.h"
#include "drivers/led_sysfs_rules.h"

namespace check {

namespace {

constexpr const char *kInfo = "info";
constexpr gint kLastAngle = 100;

/// A list of levels and where it stands.
struct Listed {
  std::string intensity;
  int line;
  std::vector<gint> levels;
};

class RowTable {
 public:
  RowTable(CheckedFile &file, const TableContext &context)
      : file_(file),
        context_(context),
        leds_(file.integer(kInfo, "leds")),
        has_merged_rows_(file.has_merged_groups()) {}

  TableSummary check() {
    if (!is_of_a_sane_size())
      return {leds_, std::nullopt};
    const auto &groups = file_.keys().groups();
    for (std::size_t row = 1; row < groups.size(); ++row)
      check_row(groups[row]);
    if (!has_merged_rows_)
      check_angles();
    check_emptiness();
    check_counts();
    if (is_degrees() && are_lists_complete_)
      check_first_points();
    return {are_leds_right_ ? leds_ : std::nullopt,
            file_.type().uses_levels ? last_intensity_ : std::nullopt};
  }

 private:
  bool is_degrees() const { return file_.type().table == TableForm::kDegrees; }

  bool is_of_a_sane_size() {
    gsize points = 0;
    for (const KeyFile::Group &group : file_.keys().groups())
      points += group.name == kInfo ? 0 : group.keys.size();
    if (illumination_table_fits(points, leds_.value_or(0)))
      return true;
    file_.report_line(0, {Severity::kError, Rule::kTableTooLarge, Reason::kRefusesToStart,
                          "the table has " + std::to_string(points) + " intensities for " +
                              std::to_string(leds_.value_or(0)) + " LEDs, too many"});
    return false;
  }

  void check_row(const KeyFile::Group &row) {
    const gint most = is_degrees() ? G_MAXINT : kLastAngle;
    if (const auto angle = check_number_name(file_, row.name, row.line, most))
      angles_.push_back(*angle);
    else
      has_unknown_angle_ = true;
    std::set<std::string_view> seen;
    std::vector<NamedNumber> intensities;
    bool has_unknown_intensity = false;
    for (const KeyFile::Key &key : row.keys) {
      if (!seen.insert(key.name).second)
        continue;
      const auto intensity = check_number_name(file_, key.name, key.line, G_MAXINT);
      has_unknown_intensity |= !intensity;
      if (intensity)
        intensities.push_back(*intensity);
      if (const auto levels = check_levels(file_, row.name, key)) {
        lists_.push_back({key.name, file_.keys().line_of(row.name, key.name), *levels});
        check_full_scale(lists_.back());
      }
    }
    if (!has_merged_rows_)
      check_order(intensities, "intensity");
    if (!has_unknown_intensity)
      note_last(intensities);
  }

  void note_last(const std::vector<NamedNumber> &intensities) {
    gint last = -1;
    for (const NamedNumber &intensity : intensities)
      last = std::max(last, intensity.value);
    if (last >= 0)
      last_intensity_ = std::min(last_intensity_.value_or(G_MAXINT), last);
  }

  void check_order(const std::vector<NamedNumber> &numbers, const char *what) {
    const auto late = std::adjacent_find(
        numbers.begin(), numbers.end(),
        [](const NamedNumber &before, const NamedNumber &after) { return after.value <= before.value; });
    if (late == numbers.end())
      return;
    file_.report_line(std::next(late)->line,
                      {Severity::kError, Rule::kTableOrder, Reason::kMisread,
                       std::string{what} + " " + std::to_string(std::next(late)->value) +
                           " does not lie above " + std::to_string(late->value) + " before it",
                       "beamd looks them up in their order: some are never found"});
  }

  void check_angles() {
    check_order(angles_, "angle");
    if (is_degrees() || angles_.empty() || has_unknown_angle_)
      return;
    const auto [least, most] = std::minmax_element(
        angles_.begin(), angles_.end(),
        [](const NamedNumber &left, const NamedNumber &right) { return left.value < right.value; });
    if (least->value != 0)
      file_.report_line(angles_.front().line,
                        {Severity::kError, Rule::kTableFirstAngle, Reason::kMisread,
                         "the first angle is " + std::to_string(angles_.front().value) + ", not 0",
                         "angles below it give what the first one does; it is complained "
                         "about in the log"});
    if (most->value != kLastAngle)
      file_.report_line(angles_.back().line,
                        {Severity::kError, Rule::kTableLastAngle, Reason::kMisread,
                         "the last angle is " + std::to_string(angles_.back().value) + ", not 100",
                         "angles above it give what the last one does; it is complained "
                         "about in the log"});
  }

  void check_emptiness() {
    const LightType &type = file_.type();
    if (!type.uses_levels || type.name == led_type::kDummy)
      return;
    const auto &groups = file_.keys().groups();
    if (groups.size() < 2)
      file_.report_at(kInfo, "",
                      {Severity::kError, Rule::kTableEmpty, Reason::kDark, "there is no row behind [info]"});
    for (std::size_t row = 1; row < groups.size(); ++row)
      if (groups[row].keys.empty())
        file_.report_line(groups[row].line, {Severity::kError, Rule::kTableEmpty, Reason::kDark,
                                             "row " + header(groups[row].name) + " has no intensities",
                                             "the light is dark at its angle"});
  }

  void check_full_scale(const Listed &listed) {
    if (file_.type().without_register == Reason::kUnused || !context_.intensity_high)
      return;
    const gint most = *context_.intensity_high;
    const auto level =
        std::find_if(listed.levels.begin(), listed.levels.end(), [&](gint one) { return one > most; });
    if (level != listed.levels.end())
      file_.report_line(
          listed.line,
          {Severity::kError, Rule::kLevelBeyondFullScale, Reason::kMisread,
           "level " + std::to_string(*level) + " of " + quoted(listed.intensity) +
               " is above intensityHIGH, which is " + std::to_string(most),
           "the register takes the low 8 bits of 255 times their ratio: the LED may be nearly dark"});
  }

  void report_leds(Severity severity, Reason reason, const std::string &message,
                   const std::string &reaction = "") {
    are_leds_right_ = severity == Severity::kWarning;
    file_.report_at(kInfo, "leds",
                    {severity, Rule::kLedsCount, reason,
                     "\"leds\" is " + std::to_string(*leds_) + ", but " + message, reaction});
  }

  /// Reports that @p driven LEDs are driven instead.
  void report_driven(gint driven, const std::string &message) {
    const bool is_too_many = *leds_ > driven;
    report_leds(Severity::kError, Reason::kDark, message,
                is_too_many ? "clients are told of " + std::to_string(*leds_) +
                                  " LEDs; those beyond the first " + std::to_string(driven) + " are never lit"
                            : "the others stay dark");
  }

  /// Whether the Type can have as many LEDs.
  bool check_count_for_type() {
    const LightType &type = file_.type();
    const std::string name{type.name};
    if (type.name == led_type::kLed1I2c) {
      const bool is_alone = file_.readers() == set_of(type);  // others may need another number
      if (*leds_ != type.channels && is_alone)
        report_leds(Severity::kWarning, Reason::kUnused, "a light of Type " + name + " has one channel");
    } else if (type.channels != 0 && *leds_ != type.channels) {
      report_driven(type.channels, "a light of Type " + name + " has " + std::to_string(type.channels));
      return false;
    } else if (type.most_leds != 0 && *leds_ > type.most_leds) {
      report_driven(type.most_leds, "Type " + name + " drives the first " + std::to_string(type.most_leds));
      return false;
    } else if (context_.camblock_leds && *leds_ != *context_.camblock_leds) {
      report_driven(*context_.camblock_leds,
                    "camblock.conf names " + std::to_string(*context_.camblock_leds) + " of them");
      return false;
    }
    return true;
  }

  void check_counts() {
    if (!leds_ || !check_count_for_type() || lists_.empty())
      return;
    const auto count = static_cast<std::size_t>(*leds_);
    const std::size_t first = lists_.front().levels.size();
    const bool all_agree =
        lists_.size() > 1 && std::all_of(lists_.begin(), lists_.end(),
                                         [&](const Listed &listed) { return listed.levels.size() == first; });
    const Reason reason = is_degrees() ? Reason::kRefusesToStart : Reason::kDark;
    if (all_agree && first != count) {
      report_leds(Severity::kError, reason, "every list has " + counted(first, "level"));
      return;
    }
    for (const Listed &listed : lists_) {
      are_lists_complete_ &= listed.levels.size() == count;
      if (listed.levels.size() != count)
        file_.report_line(listed.line,
                          {Severity::kError, Rule::kLevelsCount, reason,
                           quoted(listed.intensity) + " has " + counted(listed.levels.size(), "level") +
                               " for " + counted(count, "LED"),
                           is_degrees() ? "" : "missing levels are 0, surplus ones are left out"});
    }
  }

  // In a row of three points or more, those below the second one lie on the line through the second and
  // third.
  void check_first_points() {
    if (!leds_ || !are_leds_right_)
      return;
    const auto rows = illumination_table_list(file_.keys().get());
    const std::unique_ptr<IlluminationRow, decltype(&illumination_table_free)> table{
        illumination_table_new(rows, *leds_), illumination_table_free};
    for (std::size_t row = 0; row < rows.size(); ++row) {
      if (rows[row].points.size() < 3 || !is_first_point_lost(table.get()[row]))
        continue;
      const int line =
          file_.keys().line_of(file_.keys().groups()[row + 1].name, rows[row].points.front().intensity);
      file_.report_line(
          line, {Severity::kWarning, Rule::kPointUnused, Reason::kUnused,
                 quoted(rows[row].points.front().intensity) +
                     " is the first of three or more intensities, and not on the line through the next two",
                 "below the second one, the light goes on along that line"});
    }
  }

  bool is_first_point_lost(const IlluminationRow &row) const {
    const IlluminationPoint &first = row.points[0];
    const TableSegment segment = segment_for_intensity(row, first.intensity);
    const gfloat quota = quota_in_segment(segment, first.intensity);
    for (gint led = 0; led < *leds_; ++led)
      if (std::llabs(gint64{power_in_segment(segment, quota, led)} - first.levels[led]) > 1)
        return true;
    return false;
  }

  CheckedFile &file_;
  const TableContext &context_;
  std::optional<gint> leds_;
  bool are_leds_right_ = true;
  bool are_lists_complete_ = true;
  bool has_merged_rows_;  // whose order is that of neither
  std::vector<NamedNumber> angles_;
  bool has_unknown_angle_ = false;
  std::vector<Listed> lists_;
  std::optional<gint> last_intensity_;
};

}  // namespace

TableSummary check_row_table(CheckedFile &file, const TableContext &context) {
  return RowTable{file, context}.check();
}

}  // namespace check
