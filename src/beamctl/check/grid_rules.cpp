// Tables in equal steps of angle and intensity.

#include <algorithm>
#include <map>

#include "beamctl/check/rules.h"
#include "drivers/output_table.h"
#include "led/illumination_table.h"

namespace check {

namespace {

constexpr const char *kInfo = "info";

/// Whether a key of @p group is given twice.
bool has_repetition(const KeyFile &keys, const std::string &group) {
  return std::any_of(keys.repetitions().begin(), keys.repetitions().end(),
                     [&](const KeyFile::Repetition &repetition) { return repetition.group == group; });
}

class Grid {
 public:
  Grid(CheckedFile &file, gint angle_div, gint intensity_div, std::size_t rows, std::size_t columns)
      : file_(file),
        has_width_(!has_repetition(file.keys(), file.keys().groups()[1].name)),
        rows_(static_cast<gint>(rows)),
        columns_(static_cast<gint>(columns)),
        table_(rows_, columns_, angle_div, intensity_div) {}

  void check_row(const KeyFile::Group &row, std::optional<gint> angle) {
    const bool is_in_place = angle && check_place(row, table_.row_of(*angle));
    std::set<std::string_view> seen;
    std::vector<NamedNumber> intensities;
    bool has_unknown = false;
    for (const KeyFile::Key &key : row.keys) {
      if (!seen.insert(key.name).second)
        continue;
      const auto intensity = check_number_name(file_, key.name, key.line, G_MAXINT);
      has_unknown |= !intensity;
      if (intensity)
        intensities.push_back(*intensity);
      check_cell(row, key);
    }
    if (is_in_place && has_width_ && check_width(row, seen.size()) && !has_unknown)
      check_columns(intensities);
  }

 private:
  void report(int line, Reason reason, const std::string &message) {
    file_.report_line(line, {Severity::kError, Rule::kTableGrid, reason, message,
                             reason == Reason::kDropped ? "what stands there is not read"
                             : reason == Reason::kDark
                                 ? "places of the table are left over, and stay dark"
                                 : "it overwrites the other, and another place of the table stays dark"});
  }

  bool check_place(const KeyFile::Group &row, gint number) {
    if (number >= rows_) {
      report(row.line, Reason::kDropped,
             "angle " + row.name + " lies outside of the table: it has " + std::to_string(rows_) +
                 " rows, and \"angle_div\" puts it into row " + std::to_string(number));
      return false;
    }
    const auto [owner, is_new] = taken_rows_.try_emplace(number, row.name);
    if (!is_new)
      report(row.line, Reason::kMisread,
             "angle " + row.name + " falls into the same row as " + owner->second +
                 ": \"angle_div\" is too large");
    return is_new;
  }

  bool check_width(const KeyFile::Group &row, std::size_t keys) {
    if (static_cast<gint>(keys) == columns_)
      return true;
    report(row.line, static_cast<gint>(keys) < columns_ ? Reason::kDark : Reason::kDropped,
           "row " + header(row.name) + " has " + std::to_string(keys) + " intensities" +
               ", the first row has " + std::to_string(columns_));
    return false;
  }

  void check_columns(const std::vector<NamedNumber> &intensities) {
    std::map<gint, gint> taken;
    for (const NamedNumber &intensity : intensities) {
      const gint column = table_.column_of(intensity.value);
      if (column >= columns_)
        report(intensity.line, Reason::kDropped,
               "intensity " + std::to_string(intensity.value) + " lies outside of the table: it has " +
                   std::to_string(columns_) + " columns, and \"intensity_div\" puts it into column " +
                   std::to_string(column));
      else if (const auto [owner, is_new] = taken.try_emplace(column, intensity.value); !is_new)
        report(intensity.line, Reason::kMisread,
               "intensity " + std::to_string(intensity.value) + " falls into the same column as " +
                   std::to_string(owner->second));
    }
  }

  void check_cell(const KeyFile::Group &row, const KeyFile::Key &key) {
    const auto levels = check_levels(file_, row.name, key);
    if (levels && levels->size() != OutputTable::kLeds)
      file_.report_line(key.line, {Severity::kError, Rule::kLevelsCount, Reason::kDark,
                                   quoted(key.name) + " has " + counted(levels->size(), "level") + " for " +
                                       counted(OutputTable::kLeds, "LED"),
                                   "missing levels are 0, surplus ones are left out"});
  }

  CheckedFile &file_;
  bool has_width_;  // nobody knows how many columns were meant when a key of the first row is repeated
  gint rows_;
  gint columns_;
  OutputTable table_;
  std::map<gint, std::string> taken_rows_;
};

}  // namespace

TableSummary check_grid(CheckedFile &file) {
  constexpr gint kLeds = OutputTable::kLeds;
  const auto &groups = file.keys().groups();
  if (groups.size() < 2) {
    file.report_at(
        kInfo, "",
        {Severity::kError, Rule::kTableEmpty, Reason::kRefusesToStart, "there is no row behind [info]"});
    return {kLeds, std::nullopt};
  }
  const std::size_t rows = groups.size() - 1;
  const std::size_t columns = groups[1].keys.size();
  if (!illumination_table_fits(rows * columns, kLeds)) {
    file.report_line(0, {Severity::kError, Rule::kTableTooLarge, Reason::kRefusesToStart,
                         "the table has " + std::to_string(rows) + " rows of " + std::to_string(columns) +
                             " intensities, too many"});
    return {kLeds, std::nullopt};
  }
  if (columns == 0)
    file.report_line(groups[1].line, {Severity::kError, Rule::kTableEmpty, Reason::kDark,
                                      "row " + header(groups[1].name) + " has no intensities",
                                      "the first row tells how many there are: the light stays dark"});
  const auto angle_div = file.integer(kInfo, "angle_div");
  const auto intensity_div = file.integer(kInfo, "intensity_div");
  const bool is_judged = columns > 0 && angle_div && intensity_div && !file.has_merged_groups();
  Grid grid{file, angle_div.value_or(0), intensity_div.value_or(0), rows, columns};
  for (std::size_t row = 1; row < groups.size(); ++row) {
    const auto angle = check_number_name(file, groups[row].name, groups[row].line, G_MAXINT);
    grid.check_row(groups[row], is_judged && angle ? std::optional{angle->value} : std::nullopt);
  }
  if (!is_judged)
    return {kLeds, std::nullopt};
  const gint64 last = static_cast<gint64>(columns) * *intensity_div - 1;
  return {kLeds, static_cast<gint>(std::min<gint64>(last, G_MAXINT))};
}

}  // namespace check
