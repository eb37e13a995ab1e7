// A light's own files.

#include <algorithm>
#include <cmath>

#include "beamctl/check/near_name.h"
#include "beamctl/check/rules.h"

namespace check {

namespace {

constexpr const char *kCommon = "common";
constexpr const char *kZoom = "zoom";
constexpr const char *kAngle = "angleofillumination";
constexpr const char *kTaken = "it is taken as it is, although no client may set it";

void check_range_order(CheckedFile &state, const char *group, const char *low, const char *high) {
  const auto least = state.integer(group, low);
  const auto most = state.integer(group, high);
  if (least && most && *least > *most)
    state.report_at(group, low,
                    {Severity::kError, Rule::kRangeReversed, Reason::kRefused,
                     "\"" + std::string{low} + "\" is " + std::to_string(*least) + ", above \"" + high +
                         "\", which is " + std::to_string(*most),
                     "every value that a client sets is refused"});
}

/// @p reaction tells what a value outside of the range comes to.
void check_within(CheckedFile &state, const char *group, const char *key, const char *range_group,
                  const char *low, const char *high, Severity severity, const char *reaction) {
  const auto value = state.integer(group, key);
  const auto least = state.integer(range_group, low);
  const auto most = state.integer(range_group, high);
  if (!value || !least || !most || *least > *most || (*value >= *least && *value <= *most))
    return;
  state.report_at(
      group, key,
      {severity, Rule::kOutsideOwnRange, Reason::kMisread,
       "\"" + std::string{key} + "\" is " + std::to_string(*value) + ", outside of " + low + " to " + high +
           ", which is " + std::to_string(*least) + " to " + std::to_string(*most),
       reaction});
}

void check_intensities(CheckedFile &state) {
  check_range_order(state, kCommon, "intensityLOW", "intensityHIGH");
  check_within(state, kCommon, "intensity", kCommon, "intensityLOW", "intensityHIGH", Severity::kError,
               kTaken);
  check_within(state, kCommon, "manualintensity", kCommon, "intensityLOW", "intensityHIGH",
               Severity::kWarning, "it is taken as it is, as from a client, too");

  const auto least = state.integer(kCommon, "intensityLOW");
  const auto most = state.integer(kCommon, "intensityHIGH");
  if (state.type().uses_brightness && least && most && *least == *most)
    state.report_at(kCommon, "intensityHIGH",
                    {Severity::kError, Rule::kRangeFlat, Reason::kDark,
                     "\"intensityHIGH\" is " + std::to_string(*most) + " like \"intensityLOW\"",
                     "brightness is a share of what lies between them: it is always 0"});

  const auto each = state.integers(kCommon, "intensities");
  if (each && most &&
      std::any_of(each->begin(), each->end(), [&](gint one) { return one > *most || one < 0; }))
    state.report_at(
        kCommon, "intensities",
        {Severity::kWarning, Rule::kOutsideOwnRange, Reason::kUnused,
         "an entry of \"intensities\" is not between 0 and intensityHIGH, which is " + std::to_string(*most),
         "an LED gives no more than the light's intensity"});
}

void check_pair(CheckedFile &state, const char *group, const char *key, const char *other_group,
                const char *other) {
  const auto report_lone = [&](const char *lone_group, const char *lone, const char *missing) {
    state.report_at(lone_group, lone,
                    {Severity::kWarning, Rule::kIncompletePair, Reason::kUnused,
                     "\"" + std::string{lone} + "\" stands without \"" + missing + "\"",
                     "clients can only switch between automatic and manual where both are there"});
  };
  const bool has_key = state.keys().has(group, key);
  const bool has_other = state.keys().has(other_group, other);
  if (has_key && !state.is_meant(other_group, other))
    report_lone(group, key, other);
  if (has_other && !state.is_meant(group, key))
    report_lone(other_group, other, key);
}

void check_zoom(CheckedFile &state) {
  if (state.keys().group(kZoom) == nullptr)
    return;
  check_range_order(state, kZoom, "angleofilluminationLOW", "angleofilluminationHIGH");
  check_within(state, kZoom, kAngle, kZoom, "angleofilluminationLOW", "angleofilluminationHIGH",
               Severity::kWarning, kTaken);
  check_within(state, kCommon, "manualangleofillumination", kZoom, "angleofilluminationLOW",
               "angleofilluminationHIGH", Severity::kWarning, kTaken);
  check_pair(state, kZoom, "automaticangleofillumination", kCommon, "manualangleofillumination");

  if (!state.is_meant(kZoom, kAngle)) {
    for (const char *key : {"angleofilluminationLOW", "angleofilluminationHIGH"})
      if (state.keys().has(kZoom, key)) {
        state.report_at(kZoom, key,
                        {Severity::kError, Rule::kZoomIncomplete, Reason::kDropped,
                         quoted(key) + " stands without " + quoted(kAngle),
                         "without an angle the light has none, and its range is not read"});
        return;
      }
    return;
  }
  for (const char *key : {"angleofilluminationLOW", "angleofilluminationHIGH"})
    if (!state.is_meant(kZoom, key))
      state.report_missing_key(kZoom, key, Severity::kError, Reason::kRefusesToStart);
}

bool has_zoom(const CheckedFile &state) { return state.keys().has(kZoom, kAngle); }

void check_zoom_support(CheckedFile &state) {
  const LightType &type = state.type();
  if (!type.has_angle && has_zoom(state))
    state.report_at(
        kZoom, kAngle,
        {Severity::kError, Rule::kZoomUnsupported, Reason::kDropped,
         "\"angleofillumination\" has no use: lights of Type " + std::string{type.name} + " have no angle",
         "clients are offered an angle, and nothing follows it"});
}

void check_effect(CheckedFile &state) {
  const LightType &type = state.type();
  const auto report_idle = [&](const char *key, const std::string &why) {
    if (state.keys().has(kCommon, key))
      state.report_at(kCommon, key,
                      {Severity::kWarning, Rule::kKeyWithoutEffect, Reason::kUnused,
                       "\"" + std::string{key} + "\" has no effect: " + why});
  };
  if (!state.is_meant(kCommon, "individualintensitysupport") ||
      state.boolean(kCommon, "individualintensitysupport") == false)
    report_idle("intensities", "\"individualintensitysupport\" is not true");
  if (type.name == led_type::kDummy)
    return;
  for (const char *key : {"expander_type", "powerusagefactor", "max_brightness_level"})
    if ((find_key(FileKind::kState, kCommon, key)->used_by & set_of(type)) == 0)
      report_idle(key, "Type " + std::string{type.name} + " does not read it");
}

/// Whether power is asked for; none when nobody knows.
std::optional<bool> asks_for_power(const CheckedFile &state) {
  if (!state.is_meant(kCommon, "usepowerrequest"))
    return true;
  return state.boolean(kCommon, "usepowerrequest");
}

void check_power(CheckedFile &state) {
  const auto asks = asks_for_power(state);
  const auto factor_text = state.text(kCommon, "powerusagefactor");
  if (asks == true && state.type().uses_usage_factor && factor_text) {
    const double factor = g_ascii_strtod(factor_text->c_str(), nullptr);
    const bool is_finite = std::isfinite(static_cast<float>(factor));
    const bool heeds_no_grant = is_finite && state.type().table != TableForm::kDegrees;
    if (!(factor > 0) || !is_finite)
      state.report_at(kCommon, "powerusagefactor",
                      {Severity::kError, Rule::kValueRange, heeds_no_grant ? Reason::kMisread : Reason::kDark,
                       "\"powerusagefactor\" is " + quoted(*factor_text) + ", which is not above 0",
                       heeds_no_grant ? "the light asks for no power, and shines whatever it is granted"
                                      : "the power that the light asks for is none, or no number"});
  }
  const bool needs_class = state.integer(kCommon, "minimum_poe_class").value_or(0) >= 1;
  const bool needs_watts = state.number(kCommon, "required_total_power").value_or(0) > 0;
  if (asks == false && (needs_class || needs_watts) && state.type().name != led_type::kDummy)
    state.report_at(kCommon, "usepowerrequest",
                    {Severity::kError, Rule::kPowerUnheard, Reason::kRefused,
                     "\"usepowerrequest\" is false, but the light has a requirement for its supply",
                     "the power daemon is never asked whether it is met: clients' calls are always refused"});
}

// Types that are switched from afar shine without a grant.
bool needs_grant(const LightType &type) {
  return type.name != led_type::kLed2Uart && type.name != led_type::kLedSerialLink;
}

void check_interfaces(CheckedFile &state) {
  const auto interfaces = state.integer(kCommon, "nbrofinterfaces");
  if (!interfaces)
    return;
  if (*interfaces == 1 && asks_for_power(state) == true && needs_grant(state.type()))
    state.report_at(
        kCommon, "nbrofinterfaces",
        {Severity::kError, Rule::kInterfaceMissing, Reason::kDark,
         "\"nbrofinterfaces\" is 1, but the light asks for power, which is granted through the second one",
         "the power daemon cannot grant any: the light stays dark"});
  else if (*interfaces < 3 && has_zoom(state) && state.type().has_angle)
    state.report_at(kCommon, "nbrofinterfaces",
                    {Severity::kWarning, Rule::kInterfaceMissing, Reason::kDropped,
                     "\"nbrofinterfaces\" is " + std::to_string(*interfaces) +
                         ", but the light has an angle, which is set through the third one",
                     "clients cannot reach the angle"});
}

void check_ledtype(CheckedFile &state) {
  static constexpr std::string_view kUnitTypes[] = {"IR", "WhiteLight"};
  const auto ledtype = state.text(kCommon, "ledtype");
  if (state.type().name != led_type::kLed2Uart || !ledtype ||
      std::find(std::begin(kUnitTypes), std::end(kUnitTypes), *ledtype) != std::end(kUnitTypes))
    return;
  state.report_at(kCommon, "ledtype",
                  {Severity::kError, Rule::kUnknownLedtype, Reason::kDark,
                   "\"ledtype\" is " + quoted(*ledtype) + ", which the unit does not know",
                   "there is no command for it: the light is never switched",
                   std::string{near_name(*ledtype, kUnitTypes)}});
}

std::unique_ptr<CheckedFile> read_light_file(Camera &camera, FileKind kind, const Light &light,
                                             const FileNeed &need) {
  const std::string path = file_path(kind, light.number);
  auto keys = read_key_file(camera, path, need);
  if (!keys)
    return nullptr;
  auto file = std::make_unique<CheckedFile>(kind, path, std::move(*keys), *light.type, set_of(*light.type),
                                            camera.report);
  file->check();
  return file;
}

}  // namespace

LightFiles check_light_files(Camera &camera, const Light &light) {
  const Reason without_defaults = light.type->without_basepath;
  LightFiles files{light, nullptr, nullptr};
  files.state = read_light_file(camera, FileKind::kState, light, {Severity::kError, Reason::kRefusesToStart});
  files.defaults = read_light_file(
      camera, FileKind::kDefaults, light,
      {without_defaults == Reason::kUnused ? Severity::kWarning : Severity::kError, without_defaults});
  return files;
}

void check_settings(LightFiles &files) {
  if (files.state == nullptr)
    return;
  CheckedFile &state = *files.state;
  check_intensities(state);
  check_pair(state, kCommon, "automaticintensity", kCommon, "manualintensity");
  check_zoom(state);
  check_zoom_support(state);
  check_effect(state);
  check_power(state);
  check_interfaces(state);
  check_ledtype(state);
}

void check_settings_against_table(LightFiles &files, const TableSummary &table) {
  if (files.state == nullptr)
    return;
  CheckedFile &state = *files.state;
  const auto each = state.integers(kCommon, "intensities");
  if (each && table.leds && each->size() != static_cast<std::size_t>(*table.leds))
    state.report_at(kCommon, "intensities",
                    {Severity::kError, Rule::kIntensitiesCount, Reason::kDropped,
                     "\"intensities\" has " + std::to_string(each->size()) + " of " +
                         counted(static_cast<std::size_t>(*table.leds), "LED"),
                     "none is read: every LED gets \"manualintensity\""});

  const auto most = state.integer(kCommon, "intensityHIGH");
  if (!most || !table.last_intensity || *most <= *table.last_intensity)
    return;
  const bool is_dark = state.type().table == TableForm::kAngles;
  state.report_at(kCommon, "intensityHIGH",
                  {Severity::kError, Rule::kIntensityBeyondTable, is_dark ? Reason::kDark : Reason::kMisread,
                   "\"intensityHIGH\" is " + std::to_string(*most) + ", but a row of the table ends at " +
                       std::to_string(*table.last_intensity),
                   is_dark ? "above that the LEDs are dark" : "above that the LEDs give something else"});
}

}  // namespace check
