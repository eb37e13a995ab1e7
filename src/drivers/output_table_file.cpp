#include "drivers/output_table_file.h"

#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string>

#include "daemon/numbers.h"
#include "daemon/util.h"
#include "led/illumination_table.h"
#include "platform/bootblock.h"

namespace {

std::string file_for_optics() {
  std::string base = kIlluminationFile;
  const std::unique_ptr<char, decltype(&free)> optics{bootblock_get("OPTICS"), &free};
  if (optics)
    return base + "." + optics.get();
  if (errno == ENOENT)
    syslog(LOG_INFO, "No optics bootblock parameter found - using default config");
  else
    syslog(LOG_WARNING, "Error reading optics bootblock parameter - using default config");
  return base;
}

OutputTable::Cell read_cell(GKeyFile *key_file, const gchar *group, const gchar *key) {
  gsize count = 0;
  g_autofree gint *values = g_key_file_get_integer_list(key_file, group, key, &count, nullptr);
  OutputTable::Cell cell{};
  if (values != nullptr)
    std::copy_n(values, std::min(count, cell.size()), cell.begin());
  return cell;
}

void read_row(GKeyFile *key_file, const gchar *group, gsize columns, const std::string &file_name,
              OutputTable *table) {
  gsize count = 0;
  g_auto(GStrv) keys = g_key_file_get_keys(key_file, group, &count, nullptr);
  for (gsize i = 0; i < std::min(count, columns); ++i) {
    const gint angle = parse_int(group);
    const gint intensity = parse_int(keys[i]);
    const auto cell = read_cell(key_file, group, keys[i]);
    if (!table->set(table->row_of(angle), table->column_of(intensity), cell))
      syslog(LOG_ERR, "Angle %d, intensity %d lies outside of the table in %s", angle, intensity,
             file_name.c_str());
  }
}

}  // namespace

bool load_output_table(OutputTable *table) {
  g_autoptr(GKeyFile) key_file = g_key_file_new();
  const std::string file_name = file_for_optics();
  if (!load_key_file_logging(
          file_name.c_str(), key_file,
          {LOG_ERR, "could not open %s: %s", "Failed reading file", "Could not load data to GKeyFile"}))
    return false;

  gsize groups_count = 0;
  g_auto(GStrv) groups = g_key_file_get_groups(key_file, &groups_count);
  g_autoptr(GError) error = nullptr;
  gsize columns = 0;
  g_auto(GStrv) keys = g_key_file_get_keys(key_file, groups_count > 1 ? groups[1] : "", &columns, &error);
  if (keys == nullptr) {
    syslog(LOG_ERR, "Error (%s) parsing key file", error->message);
    return false;
  }

  if (!illumination_table_is_affordable((groups_count - 1) * columns, OutputTable::kLeds))
    return false;

  *table = OutputTable{static_cast<gint>(groups_count - 1), static_cast<gint>(columns),
                       g_key_file_get_integer(key_file, "info", "angle_div", nullptr),
                       g_key_file_get_integer(key_file, "info", "intensity_div", nullptr)};
  for (gsize i = 1; i < groups_count; ++i)
    read_row(key_file, groups[i], columns, file_name, table);
  return true;
}
