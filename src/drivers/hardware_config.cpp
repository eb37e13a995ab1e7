#include "drivers/hardware_config.h"

#include "daemon/debug.h"
#include "daemon/util.h"

std::string hardware_config(const char *base, const char *usage) {
  g_autofree char *file_name = nullptr;
  util_get_config_filename(base, "HWID", &file_name);
  debug_log(usage, file_name);
  return file_name;
}
