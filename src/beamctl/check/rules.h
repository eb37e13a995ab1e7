#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "beamctl/check/camera.h"
#include "beamctl/check/checked_file.h"

namespace check {

/// Reads beamd.conf and finds out the lights of @p camera. FALSE when it could not be read.
bool check_main_file(Camera &camera);

/// The two files of a light, as far as they could be read.
struct LightFiles {
  Light light;
  std::unique_ptr<CheckedFile> state;
  std::unique_ptr<CheckedFile> defaults;
};

/// A light that has its type.
LightFiles check_light_files(Camera &camera, const Light &light);

/// What the settings of a light have to agree with.
struct TableSummary {
  std::optional<gint> leds;            ///< none when nobody knows
  std::optional<gint> last_intensity;  ///< up to which every row tells something
};

/// What is known about a light's table from elsewhere.
struct TableContext {
  std::optional<gint> camblock_leds;   ///< how many LEDs camblock.conf names
  std::optional<gint> intensity_high;  ///< the lowest "intensityHIGH" of the Type's lights
};

/// Reads illumination.conf and its variants as lights of @p type do.
TableSummary check_tables(Camera &camera, const LightType &type, const TableContext &context);

/// Whether the file begins with group @p first, as it has to. A file that has it elsewhere is given a finding
/// with @p reaction.
bool check_first_group(CheckedFile &file, const char *first, const char *reaction);

/// Checks a table of rows of intensities.
TableSummary check_row_table(CheckedFile &file, const TableContext &context);

/// Checks a table in equal steps.
TableSummary check_grid(CheckedFile &file);

/// A number that is the name of a group or of a key.
struct NamedNumber {
  gint value;
  int line;
};

/// The number that @p name is; none, with a finding at @p line, when it is none or not from 0 to @p most.
std::optional<NamedNumber> check_number_name(CheckedFile &file, const std::string &name, int line, gint most);

/// The levels that stand at @p key of a row, unless that is no list of numbers or one is below 0: then with a
/// finding.
std::optional<std::vector<gint>> check_levels(CheckedFile &file, const std::string &group,
                                              const KeyFile::Key &key);

/// Reads camblock.conf as lights of @p type do. Returns how many LEDs it names; none when nobody knows.
std::optional<gint> check_camblock(Camera &camera, const LightType &type);

/// Reads dimming.conf and its variants as lights of @p type do. Returns whether a regulator with sensors
/// runs.
bool check_dimming(Camera &camera, const LightType &type, std::optional<gint> camblock_leds);

void check_pwm(Camera &camera, const LightType &type);

/// What the settings of a light say about each other.
void check_settings(LightFiles &files);

/// What they say about its table.
void check_settings_against_table(LightFiles &files, const TableSummary &table);

void check_basepath(LightFiles &files, const TableSummary &table);

/// Lights that drive the same LEDs.
void check_shared_basepaths(const std::vector<LightFiles> &lights);

/// The Types of the lights that read files of @p kind.
TypeSet readers_of(const Camera &camera, FileKind kind);

/// Files in beamd's folders that nobody reads.
void check_unused_files(Camera &camera);

}  // namespace check
