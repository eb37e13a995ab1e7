#include "beamctl/check/check.h"

#include <algorithm>

#include "beamctl/check/rules.h"

namespace check {

namespace {

bool reads(const LightType &type, FileKind kind) {
  switch (kind) {
    case FileKind::kIllumination:
      return type.table != TableForm::kNone;
    case FileKind::kDimming:
      return type.without_dimming != Reason::kUnused;
    case FileKind::kCamblock:
      return type.without_register != Reason::kUnused;
    case FileKind::kPwm:
      return type.name == led_type::kLed1Pwm;
    default:
      return true;
  }
}

std::vector<LightFiles> check_lights(Camera &camera) {
  std::vector<LightFiles> lights;
  for (const Light &light : camera.lights) {
    for (const FileKind kind : {FileKind::kState, FileKind::kDefaults})
      camera.files.insert(file_path(kind, light.number));
    if (light.type == nullptr)
      continue;
    lights.push_back(check_light_files(camera, light));
    check_settings(lights.back());
  }
  return lights;
}

std::optional<gint> lowest_intensity_high(const std::vector<LightFiles> &lights, const LightType &type) {
  std::optional<gint> lowest;
  for (const LightFiles &files : lights)
    if (files.light.type == &type && files.state != nullptr)
      if (const auto high = files.state->integer("common", "intensityHIGH"))
        lowest = std::min(lowest.value_or(*high), *high);
  return lowest;
}

/// Returns whether a regulator runs for lights of @p type.
bool check_type(Camera &camera, const LightType &type, std::vector<LightFiles> &lights) {
  const auto camblock_leds = check_camblock(camera, type);
  const TableSummary table = check_tables(camera, type, {camblock_leds, lowest_intensity_high(lights, type)});
  for (LightFiles &files : lights)
    if (files.light.type == &type) {
      check_settings_against_table(files, table);
      check_basepath(files, table);
    }
  check_pwm(camera, type);
  return reads(type, FileKind::kDimming) && check_dimming(camera, type, camblock_leds);
}

// Light 0 alone decides whether temperatures are read.
void check_timer(Camera &camera) {
  const Light &first = camera.lights.front();
  if (first.number != 0 || first.type == nullptr || reads(*first.type, FileKind::kDimming))
    return;
  camera.report.add(
      file_path(FileKind::kMain), first.line,
      {Severity::kError, Rule::kRegulatorIdle, Reason::kUnregulated,
       "light 0 is of Type " + std::string{first.type->name} +
           ", which has no sensors, but another light is to be dimmed by temperature",
       "temperatures are read for all lights, or none, as light 0 needs them: no light is dimmed"});
}

}  // namespace

TypeSet readers_of(const Camera &camera, FileKind kind) {
  TypeSet readers = 0;
  for (const Light &light : camera.lights)
    if (light.type != nullptr && reads(*light.type, kind))
      readers |= set_of(*light.type);
  return readers;
}

Findings check_tree(const std::string &root) {
  const Tree tree{root};
  Report report;
  Camera camera{tree, report};
  if (!check_main_file(camera))
    return report.take();

  std::vector<LightFiles> lights = check_lights(camera);
  check_shared_basepaths(lights);
  bool is_any_regulated = false;
  for (const LightType *type : types_of(camera, [](const LightType &) { return true; }))
    is_any_regulated |= check_type(camera, *type, lights);
  if (is_any_regulated)
    check_timer(camera);
  check_unused_files(camera);
  return report.take();
}

}  // namespace check
