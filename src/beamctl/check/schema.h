#pragma once

#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "beamctl/check/finding.h"
#include "beamctl/check/light_type.h"

namespace check {

/// The key of the first sensor; those of others have a number behind it.
inline constexpr std::string_view kSensorKey = "temp_sensor_id";

/// The kinds of configuration files.
enum class FileKind { kMain, kState, kDefaults, kIllumination, kDimming, kPwm, kCamblock };

/// How the daemon reads a value.
enum class ValueType {
  kInteger,
  kBoolean,
  kNumber,
  kNumberText,  ///< a text of which the number at its start counts
  kText,
  kIntegerList,
  kTypeName,  ///< one of light_types()
};

/// A key of a configuration file.
struct KeySchema {
  FileKind file;
  std::string_view group;  ///< "<angle>", "<led>" and "LED.L<N>" stand for many groups
  std::string_view key;    ///< "<intensity>" and "temp_sensor_id<n>" stand for many keys
  ValueType type;
  TypeSet used_by;
  TypeSet required_by;
  Reason unreadable;          ///< what follows from a value that the daemon cannot read, or lacks
  std::string_view reaction;  ///< that in words; empty when there is no more to say than the reason does
  double least = -std::numeric_limits<double>::infinity();  ///< a value below it or above `most` is of no use
  double most = std::numeric_limits<double>::infinity();
  Reason beyond = Reason::kMisread;       ///< what follows from such a one
  std::string_view beyond_reaction = {};  ///< that in words
};

/// Every key of every file, by file.
std::span<const KeySchema> schema();

/// Where files of a kind stand on the camera, with "<N>" for the light's number.
std::string_view file_pattern(FileKind file);

/// The file of light @p light, or of all when it is no light's own.
std::string file_path(FileKind file, int light = 0);

/// The row of a key; NULL when there is none.
const KeySchema *find_key(FileKind file, std::string_view group, std::string_view key);

/// The names of the keys of a group of the schema.
std::vector<std::string_view> key_names(FileKind file, std::string_view group);

/// The key of sensor @p number, counted from 1.
std::string sensor_key(std::size_t number);

}  // namespace check
