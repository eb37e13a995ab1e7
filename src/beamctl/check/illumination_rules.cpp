// illumination.conf: what holds for a table of any form.

#include <algorithm>

#include "beamctl/check/rules.h"
#include "beamctl/check/value_reading.h"
#include "daemon/numbers.h"

namespace check {

namespace {

constexpr const char *kInfo = "info";
constexpr std::string_view kChosenForGood = "OPTICS";

bool is_decimal(std::string_view name) {
  if (name.starts_with('-') || name.starts_with('+'))
    name.remove_prefix(1);
  return !name.empty() && name.find_first_not_of("0123456789") == std::string_view::npos;
}

/// Whether the decimal number @p digits is one that the daemon can keep.
bool fits(std::string_view digits) {
  return g_ascii_string_to_signed(std::string{digits}.c_str(), 10, G_MININT, G_MAXINT, nullptr, nullptr);
}

/// Whether the rows begin where they should: after [info], or a group that was meant to be it.
bool begins_with_info(CheckedFile &file) {
  return check_first_group(file, kInfo, "the first group is passed over, and [info] taken for a row") ||
         (file.keys().group(kInfo) == nullptr && file.is_meant(kInfo, "leds"));
}

bool has_steps(const KeyFile &keys) {
  return keys.has(kInfo, "angle_div") || keys.has(kInfo, "intensity_div");
}

/// Whether the table is one for another Type, which has variants as well.
bool is_for_others(const Camera &camera, const LightType &type, const KeyFile &keys) {
  const bool has_cells = type.table == TableForm::kCells;
  return has_steps(keys) != has_cells && any_light(camera, [&](const LightType &other) {
           return !other.table_variants.empty() && (other.table == TableForm::kCells) != has_cells;
         });
}

// Lights that need the number of LEDs alone.
TableSummary check_count_only(CheckedFile &file, bool has_rows_readers) {
  for (const KeyFile::Group &group : file.keys().groups())
    if (group.name != kInfo && !has_rows_readers)
      file.report_line(group.line, {Severity::kWarning, Rule::kUnknownGroup, Reason::kUnused,
                                    "Type " + std::string{file.type().name} +
                                        " makes no use of a table: " + header(group.name) + " is not read"});
  return {file.integer(kInfo, "leds"), std::nullopt};
}

/// None when the table is not for @p type.
std::optional<TableSummary> check_table(Camera &camera, const std::string &path, const LightType &type,
                                        const TableContext &context, const FileNeed &need) {
  auto keys = read_key_file(camera, path, need);
  if (!keys)
    return need.presence == Presence::kOptional ? std::nullopt : std::optional{TableSummary{}};
  if (!need.telltale.empty() && is_for_others(camera, type, *keys))
    return std::nullopt;
  const TypeSet readers = readers_of(camera, FileKind::kIllumination);
  CheckedFile file{FileKind::kIllumination, path, std::move(*keys), type, readers, camera.report};
  const bool has_rows_readers = any_light(camera, [](const LightType &other) {
    return other.table != TableForm::kNone && other.table != TableForm::kCount;
  });
  file.check();
  if (type.table == TableForm::kCount)
    return check_count_only(file, has_rows_readers);
  if (!begins_with_info(file))
    return TableSummary{};
  return type.table == TableForm::kCells ? check_grid(file) : check_row_table(file, context);
}

/// What the tables of @p type come to together.
TableSummary summary_of(const std::vector<TableSummary> &tables) {
  if (tables.empty())
    return {};
  TableSummary all = tables.front();
  for (const TableSummary &table : tables) {
    if (table.leds != all.leds)
      all.leds = std::nullopt;
    if (table.last_intensity)
      all.last_intensity = std::min(all.last_intensity.value_or(G_MAXINT), *table.last_intensity);
  }
  return all;
}

/// Whether the table that is no variant is left to other Types: who chooses a variant for good has none.
bool has_only_variants(const Camera &camera, const LightType &type) {
  return type.table_variants == kChosenForGood && any_light(camera, [&](const LightType &other) {
           return &other != &type && other.table != TableForm::kNone;
         });
}

}  // namespace

bool check_first_group(CheckedFile &file, const char *first, const char *reaction) {
  const auto &groups = file.keys().groups();
  if (groups.empty() || groups.front().name == first)
    return !groups.empty();
  if (file.keys().group(first) != nullptr)
    file.report_line(groups.front().line,
                     {Severity::kError, Rule::kFirstGroup, Reason::kMisread,
                      header(groups.front().name) + " stands ahead of " + header(first), reaction});
  return false;
}

std::optional<NamedNumber> check_number_name(CheckedFile &file, const std::string &name, int line,
                                             gint most) {
  const gint value = parse_int(name.c_str());
  if (const std::string_view digits = trimmed(name); !is_decimal(digits) || !fits(digits)) {
    file.report_line(
        line, {Severity::kError, Rule::kTableNumber, Reason::kMisread,
               quoted(name) + (is_decimal(digits) ? " is too long a number" : " is not a decimal number"),
               "it is read as " + std::to_string(value)});
    return std::nullopt;
  }
  if (value >= 0 && value <= most)
    return NamedNumber{value, line};
  const std::string range =
      most < G_MAXINT ? "between 0 and " + std::to_string(most) : std::string{"at least 0"};
  file.report_line(
      line, {Severity::kError, Rule::kValueRange, Reason::kMisread, quoted(name) + " is not " + range});
  return std::nullopt;
}

std::optional<std::vector<gint>> check_levels(CheckedFile &file, const std::string &group,
                                              const KeyFile::Key &key) {
  const KeySchema &row = *find_key(FileKind::kIllumination, "<angle>", "<intensity>");
  const bool is_strict = file.type().table == TableForm::kDegrees;
  switch (judge_value(file.keys(), group, key.name, row.type)) {
    case ValueVerdict::kWrongType:
      file.report_line(
          key.line, {Severity::kError, Rule::kValueType, is_strict ? Reason::kRefusesToStart : row.unreadable,
                     quoted(key.name) + " is " + quoted(file.keys().raw(group, key.name)) +
                         ", which is not " + std::string{name_of(row.type)},
                     std::string{is_strict ? "" : row.reaction}});
      return std::nullopt;
    case ValueVerdict::kTrailingText:
      file.report_line(
          key.line,
          {Severity::kWarning, Rule::kTrailingText, Reason::kUnused,
           quoted(key.name) + " has text behind a number: " + quoted(file.keys().raw(group, key.name)),
           "the numbers alone are read: a comment needs a line of its own"});
      break;
    default:
      break;
  }
  const auto levels = file.keys().integers(group, key.name).value_or(std::vector<gint>{});
  if (std::none_of(levels.begin(), levels.end(), [](gint level) { return level < 0; }))
    return levels;
  file.report_line(key.line, {Severity::kError, Rule::kValueRange, Reason::kDark,
                              "a level of " + quoted(key.name) +
                                  " is below 0: " + quoted(file.keys().raw(group, key.name)),
                              "an LED cannot give less than nothing"});
  return std::nullopt;
}

TableSummary check_tables(Camera &camera, const LightType &type, const TableContext &context) {
  if (type.table == TableForm::kNone)
    return {0, std::nullopt};
  const std::string path = file_path(FileKind::kIllumination);
  const std::vector<std::string> variants =
      type.table_variants.empty() ? std::vector<std::string>{} : variants_of(camera, path);
  const Presence presence = variants.empty()                        ? Presence::kRequired
                            : type.table_variants == kChosenForGood ? Presence::kOptional
                                                                    : Presence::kExpected;
  std::vector<TableSummary> tables;
  const auto add = [&](const std::string &file, const FileNeed &need) {
    if (const auto table = check_table(camera, file, type, context, need))
      tables.push_back(*table);
  };
  if (variants.empty() || !has_only_variants(camera, type))
    add(path, {Severity::kError, type.without_table, presence});
  for (const std::string &variant : variants)
    add(variant, {Severity::kError, type.without_table, Presence::kRequired, "[info]"});
  return summary_of(tables);
}

}  // namespace check
