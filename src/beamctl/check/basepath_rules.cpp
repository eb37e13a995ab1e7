// Where a light finds its hardware.

#include <climits>
#include <map>

#include "beamctl/check/rules.h"
#include "drivers/led_path.h"

namespace check {

namespace {

constexpr const char *kGroup = "common";
constexpr const char *kKey = "basepath";

/// Whether @p path has a percent sign before what would be the rest of a conversion.
bool looks_like_a_format(std::string_view path) {
  for (std::size_t sign = path.find('%'); sign != std::string_view::npos; sign = path.find('%', sign + 1))
    if (sign + 1 < path.size() &&
        std::string_view{"diu0123456789"}.find(path[sign + 1]) != std::string_view::npos)
      return true;
  return false;
}

// A file of the board follows in it.
bool is_too_long(const std::string &path) { return path.size() >= PATH_MAX; }

/// @p path without what makes no difference.
std::string shortest(const std::string &path) {
  g_autofree gchar *whole = g_canonicalize_filename(path.c_str(), "/");
  const std::string shorter = whole;
  return shorter.starts_with("//") ? shorter.substr(1) : shorter;
}

void check_format(CheckedFile &defaults, const std::string &path, const TableSummary &table) {
  const auto first = expand_led_path(path.c_str(), {0});
  if (!first)
    defaults.report_at(
        kGroup, kKey,
        {Severity::kError, Rule::kBasepathFormat, defaults.type().without_basepath,
         "\"basepath\" is " + quoted(path) +
             ", of which no path can be made: %d, %i or %u may stand in it once, for the LED, and %% for "
             "a percent sign"});
  else if (table.leds.value_or(0) > 1 && first == expand_led_path(path.c_str(), {1}))
    defaults.report_at(kGroup, kKey,
                       {Severity::kError, Rule::kBasepathWithoutNumber, Reason::kMisread,
                        "\"basepath\" has no place for an LED's number, but there are " +
                            std::to_string(*table.leds) + " LEDs",
                        "all LEDs write the same file"});
}

}  // namespace

void check_basepath(LightFiles &files, const TableSummary &table) {
  if (files.defaults == nullptr || files.light.type->basepath == Basepath::kUnused)
    return;
  CheckedFile &defaults = *files.defaults;
  const auto path = defaults.text(kGroup, kKey);
  if (!path)
    return;
  if (!path->starts_with('/'))
    defaults.report_at(kGroup, kKey,
                       {Severity::kError, Rule::kBasepathRelative, Reason::kMisread,
                        "\"basepath\" is " + quoted(*path) + ", which does not begin with \"/\"",
                        "it is looked for from wherever beamd was started"});
  if (files.light.type->basepath == Basepath::kPerLed)
    check_format(defaults, *path, table);
  else if (is_too_long(*path))
    defaults.report_at(
        kGroup, kKey,
        {Severity::kError, Rule::kBasepathFormat, files.light.type->without_basepath,
         "\"basepath\" has " + std::to_string(path->size()) + " bytes, more than a path can have"});
  else if (looks_like_a_format(*path))
    defaults.report_at(kGroup, kKey,
                       {Severity::kError, Rule::kBasepathFormat, files.light.type->without_basepath,
                        "\"basepath\" is " + quoted(*path) + ", but Type " +
                            std::string{files.light.type->name} + " puts no number into it",
                        "the percent sign is taken as it stands"});
}

void check_shared_basepaths(const std::vector<LightFiles> &lights) {
  std::map<std::string, int> owners;
  for (const LightFiles &files : lights) {
    if (files.defaults == nullptr || files.light.type->basepath == Basepath::kUnused ||
        files.light.type->name == led_type::kDummy)
      continue;
    const auto path = files.defaults->text(kGroup, kKey);
    if (!path)
      continue;
    const auto [owner, is_new] = owners.try_emplace(shortest(*path), files.light.number);
    if (!is_new)
      files.defaults->report_at(
          kGroup, kKey,
          {Severity::kError, Rule::kBasepathShared, Reason::kMisread,
           "\"basepath\" is that of light " + std::to_string(owner->second) + " as well",
           "both lights drive the same LEDs, against each other"});
  }
}

}  // namespace check
