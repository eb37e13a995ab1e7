#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "beamctl/check/finding.h"
#include "beamctl/check/key_file.h"
#include "beamctl/check/light_type.h"
#include "beamctl/check/tree.h"

namespace check {

/// A light that beamd.conf asks for.
struct Light {
  int number;
  const LightType *type;  ///< NULL when nobody knows what it is meant to be
  int line;               ///< of its Type in beamd.conf
};

/// The tree under check and what is known about it so far.
struct Camera {
  const Tree &tree;
  Report &report;
  std::vector<Light> lights = {};    ///< by number
  bool has_lost_lights = false;      ///< there may be more of them: a group could not be understood
  std::set<std::string> files = {};  ///< those that have a reader, or stand for one that is missing
};

/// Whether a file has to be there.
enum class Presence {
  kRequired,
  kExpected,  ///< a warning when it is missing
  kOptional,  ///< nothing when it is missing, unless a file of nearly its name is there
};

/// What a file is to a light.
struct FileNeed {
  Severity severity = Severity::kError;
  Reason reason{};  ///< what follows when it cannot be read
  Presence presence = Presence::kRequired;
  /// A text without which nobody knows whether it is a file for beamd at all: then it is only warned about.
  std::string_view telltale = {};
};

/// Reads the file at @p path of the camera. None, with findings, when it cannot be read.
std::optional<FileText> read_text(Camera &camera, const std::string &path, const FileNeed &need);

/// The same for a key file.
std::optional<KeyFile> read_key_file(Camera &camera, const std::string &path, const FileNeed &need);

/// Whether a light of @p camera fulfils @p condition, which takes its LightType.
template <typename Condition>
bool any_light(const Camera &camera, Condition condition) {
  for (const Light &light : camera.lights)
    if (light.type != nullptr && condition(*light.type))
      return true;
  return false;
}

/// The different Types of the lights that fulfil @p condition, which takes a LightType.
template <typename Condition>
std::vector<const LightType *> types_of(const Camera &camera, Condition condition) {
  std::vector<const LightType *> types;
  for (const LightType &type : light_types())
    if (condition(type) && any_light(camera, [&](const LightType &other) { return &other == &type; }))
      types.push_back(&type);
  return types;
}

/// The number in "led<N>.conf" as beamd writes it; empty in other names.
std::string light_number(const std::string &name);

/// The variants of the file at @p path that the tree has, by name: "." and a name behind it. Copies that
/// editors and package managers leave are none.
std::vector<std::string> variants_of(const Camera &camera, const std::string &path);

}  // namespace check
