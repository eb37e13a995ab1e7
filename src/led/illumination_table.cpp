#include "led/illumination_table.h"

#include <syslog.h>

#include <algorithm>
#include <numeric>

#include "daemon/numbers.h"

namespace {

// Far more than any board needs.
constexpr gsize kMostPoints = 1 << 16;
constexpr gsize kMostLevels = 1 << 20;

std::vector<gint> list_levels(GKeyFile *key_file, const gchar *group, const gchar *key) {
  gsize count = 0;
  g_autofree gint *levels = g_key_file_get_integer_list(key_file, group, key, &count, nullptr);
  return levels != nullptr ? std::vector<gint>(levels, levels + count) : std::vector<gint>{};
}

ListedRow list_row(GKeyFile *key_file, const gchar *group) {
  ListedRow row{.angle = parse_int(group), .points = {}};
  g_auto(GStrv) keys = g_key_file_get_keys(key_file, group, nullptr, nullptr);
  for (gchar **key = keys; key != nullptr && *key != nullptr; ++key)
    row.points.push_back({*key, list_levels(key_file, group, *key)});
  return row;
}

IlluminationPoint new_point(const ListedRow::Point &point, gsize leds) {
  // Room for one at least: a list that is not there would end the row.
  gint *levels = g_new0(gint, std::max<gsize>(leds, 1));
  std::copy_n(point.levels.begin(), std::min(point.levels.size(), leds), levels);
  return {parse_int(point.intensity.c_str()), levels};
}

IlluminationPoint *new_points(const ListedRow &row, gsize leds) {
  auto *points = g_new0(IlluminationPoint, row.points.size() + 1);
  std::transform(row.points.begin(), row.points.end(), points,
                 [&](const auto &point) { return new_point(point, leds); });
  return points;
}

}  // namespace

void illumination_table_free(IlluminationRow *table) {
  for (IlluminationRow *row = table; row != nullptr && row->points != nullptr; ++row) {
    for (IlluminationPoint *point = row->points; point->levels != nullptr; ++point)
      g_free(point->levels);
    g_free(row->points);
  }
  g_free(table);
}

gint illumination_table_led_count(GKeyFile *key_file, GError **error) {
  const gint leds = g_key_file_get_integer(key_file, "info", "leds", error);
  if (leds >= 0 && leds <= kMostLeds)
    return leds;
  g_set_error(error, G_KEY_FILE_ERROR, G_KEY_FILE_ERROR_INVALID_VALUE, "%d is not between 0 and %d", leds,
              kMostLeds);
  return 0;
}

std::vector<ListedRow> illumination_table_list(GKeyFile *key_file) {
  std::vector<ListedRow> rows;
  gsize groups_count = 0;
  g_auto(GStrv) groups = g_key_file_get_groups(key_file, &groups_count);
  for (gsize i = 1; i < groups_count; ++i)
    rows.push_back(list_row(key_file, groups[i]));
  return rows;
}

gsize point_count(const std::vector<ListedRow> &rows) {
  return std::accumulate(rows.begin(), rows.end(), gsize{0},
                         [](gsize sum, const ListedRow &row) { return sum + row.points.size(); });
}

bool illumination_table_fits(gsize points, gint leds) {
  return points <= kMostPoints && points * static_cast<gsize>(leds) <= kMostLevels;
}

bool illumination_table_is_affordable(gsize points, gint leds) {
  const bool fits = illumination_table_fits(points, leds);
  if (!fits)
    syslog(LOG_ERR, "Too many intensities in illumination.conf: %zu for %d leds", points, leds);
  return fits;
}

IlluminationRow *illumination_table_new(const std::vector<ListedRow> &rows, gint leds) {
  const auto count = static_cast<gsize>(std::max(leds, 0));
  auto *table = g_new0(IlluminationRow, rows.size() + 1);
  std::transform(rows.begin(), rows.end(), table, [&](const ListedRow &row) {
    return IlluminationRow{row.angle, new_points(row, count)};
  });
  return table;
}
