#include "led/light_control_switch.h"

#include <syslog.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "platform/bootblock.h"

bool is_light_control_disabled(const char *complaint) {
  const std::unique_ptr<char, decltype(&free)> value{bootblock_get("LIGHT_CONTROL_ENABLED"), &free};
  if (value)
    return std::string_view{value.get()} == "no";
  if (errno != ENOENT)
    syslog(LOG_INFO, complaint, nullptr);
  return false;
}
