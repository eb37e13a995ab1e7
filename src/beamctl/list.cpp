#include <algorithm>
#include <optional>

#include "beamctl/commands.h"
#include "beamctl/failure.h"
#include "beamctl/json_output.h"
#include "beamctl/light.h"
#include "beamctl/table.h"
#include "beamctl/text.h"
#include "daemon/bus_names.h"

namespace {

struct Row {
  std::string name;
  std::string type;
  int leds = 0;
  bool enabled = false;
  bool on = false;
  // None where the light does not support it.
  std::optional<bool> sync_day_night = std::nullopt;
  std::optional<bool> automatic_intensity = std::nullopt;
  std::optional<bool> automatic_angle = std::nullopt;
  std::optional<Failure> refusal = std::nullopt;  ///< a light that cannot be used: only the name is known
};

std::vector<Row> all_at_once(const Bus &bus) {
  const Variant reply =
      bus.call({BEAMD_CONTROLLER_PATH, LED_INTERFACE_COMMON, "GetAllLED"}, nullptr, "(a(ssibbbbb))");
  g_autoptr(GVariantIter) lights = nullptr;
  g_variant_get(reply.get(), "(a(ssibbbbb))", &lights);

  std::vector<Row> rows;
  const char *name = nullptr;
  const char *type = nullptr;
  int leds = 0;
  gboolean enabled = FALSE;
  gboolean sync = FALSE;
  gboolean on = FALSE;
  gboolean automatic_intensity = FALSE;
  gboolean automatic_angle = FALSE;
  while (g_variant_iter_next(lights, "(&s&sibbbbb)", &name, &type, &leds, &enabled, &sync, &on,
                             &automatic_intensity, &automatic_angle))
    rows.push_back({name, type, leds, enabled != FALSE, on != FALSE, sync != FALSE,
                    automatic_intensity != FALSE, automatic_angle != FALSE});
  return rows;
}

Row row_of(const Light &light) {
  Row row;
  row.name = light.name();
  try {
    const Variant type = light.call(LED_INTERFACE_COMMON, "GetLEDType", nullptr, "(s)");
    const char *text = nullptr;
    g_variant_get(type.get(), "(&s)", &text);
    row.type = text;
    row.leds = light.count_leds();
    row.enabled = light.boolean(LED_INTERFACE_COMMON, "GetEnabled");
    row.on = light.boolean(LED_INTERFACE_COMMON, "GetLightStatus");
    row.sync_day_night = light.flag(LED_INTERFACE_COMMON, "SyncDayNight");
    row.automatic_intensity = light.flag(LED_INTERFACE_COMMON, "AutomaticIntensity");
    row.automatic_angle = light.flag(LED_INTERFACE_ZOOM, "AutomaticAngleOfIllumination");
  } catch (const Failure &failure) {
    if (failure.exit() != kExitRefused && failure.exit() != kExitNotFound)
      throw;
    row.refusal = failure;
  }
  return row;
}

std::vector<Row> one_by_one(const Bus &bus) {
  std::vector<Row> rows;
  const int count = count_lights(bus);
  rows.reserve(static_cast<size_t>(count));
  for (int number = 0; number < count; ++number)
    rows.push_back(row_of(Light(bus, number)));
  return rows;
}

// One light without a board keeps the daemon from listing any.
std::vector<Row> all_rows(const Bus &bus) {
  try {
    return all_at_once(bus);
  } catch (const Failure &failure) {
    if (failure.exit() != kExitRefused)
      throw;
  }
  return one_by_one(bus);
}

Cell flag(std::optional<bool> value) {
  if (!value)
    return {"-", Style::kDim};
  return {yes_no(*value), *value ? Style::kPlain : Style::kDim};
}

std::vector<Cell> cells_of(const Row &row) {
  if (row.refusal)
    return {row.name, "-", "-", "-", "-", "-", "-", "-", Cell(row.refusal->what(), Style::kBad)};
  return {row.name,
          row.type,
          std::to_string(row.leds),
          flag(row.enabled),
          flag(row.sync_day_night),
          Cell(yes_no(row.on), row.on ? Style::kGood : Style::kDim),
          flag(row.automatic_intensity),
          flag(row.automatic_angle)};
}

void print_table(const std::vector<Row> &rows) {
  std::vector<Column> columns = {{"LIGHT"},          {"TYPE"}, {"LEDS", Align::kRight}, {"ENABLED"},
                                 {"DAY/NIGHT SYNC"}, {"ON"},   {"AUTO INTENSITY"},      {"AUTO ANGLE"}};
  if (std::ranges::any_of(rows, [](const Row &row) { return row.refusal.has_value(); }))
    columns.push_back({"REFUSED"});
  Table table(columns);
  for (const Row &row : rows)
    table.add(cells_of(row));
  print(rows.empty() ? "beamd has no lights\n" : table.text());
}

void add_flag(JsonDocument &document, const char *name, std::optional<bool> value) {
  if (value)
    document.add(name, *value);
  else
    document.add_null(name);
}

void add_values(JsonDocument &document, const Row &row) {
  document.add("type", row.type);
  document.add("leds", row.leds);
  document.add("enabled", row.enabled);
  add_flag(document, "sync_day_night", row.sync_day_night);
  document.add("on", row.on);
  add_flag(document, "automatic_intensity", row.automatic_intensity);
  add_flag(document, "automatic_angle", row.automatic_angle);
  document.add_null("error");
}

void add_refusal(JsonDocument &document, const Failure &refusal) {
  for (const char *name :
       {"type", "leds", "enabled", "sync_day_night", "on", "automatic_intensity", "automatic_angle"})
    document.add_null(name);
  document.begin_object("error");
  document.add("code", refusal.code());
  document.add("message", refusal.what());
  document.end_object();
}

void print_json(const std::vector<Row> &rows) {
  JsonDocument document;
  document.begin_object();
  document.begin_array("lights");
  for (const Row &row : rows) {
    document.begin_object();
    document.add("name", row.name);
    if (row.refusal)
      add_refusal(document, *row.refusal);
    else
      add_values(document, row);
    document.end_object();
  }
  document.end_array();
  document.end_object();
  print(document.text());
}

}  // namespace

int list_command(const Invocation &invocation) {
  const Bus bus(invocation);
  const std::vector<Row> rows = all_rows(bus);
  if (invocation.json())
    print_json(rows);
  else
    print_table(rows);
  return kExitDone;
}
