#include "drivers/gpio_lines.h"

#include <grp.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <string>

#include "drivers/attribute_file.h"
#include "drivers/device_access.h"
#include "led/board_file.h"

namespace {

constexpr const char *kPrefix = "/sys/class/gpio/ir_led_";
constexpr uid_t kRoot = 0;

using PathBuffer = std::array<char, 100>;

std::string line_path(int light_id, int line) {
  return kPrefix + std::to_string(light_id) + "_" + std::to_string(line);
}

std::string file_path(int light_id, int line, const char *name) {
  return line_path(light_id, line) + "/" + name;
}

bool give_file_to_gpio(int light_id, int line, const char *name) {
  const group *gpio = getgrnam("gpio");
  if (gpio == nullptr) {
    syslog(LOG_ERR, "Could not locate the gpio group, %m.");
    return false;
  }
  PathBuffer path;
  if (snprintf(path.data(), path.size(), "%s%d_%d/%s", kPrefix, light_id, line, name) < 0) {
    syslog(LOG_ERR, "Buffer too small, %m.");
    return false;
  }
  if (chown(path.data(), kRoot, gpio->gr_gid) != 0) {
    syslog(LOG_ERR, "Failed to set group for device %s, %m.", name);
    return false;
  }
  if (!make_group_writable(path.data())) {
    syslog(LOG_ERR, "Failed to set permissions for device %s, %m.", name);
    return false;
  }
  return true;
}

bool set_up_line(int light_id, int line) {
  for (const char *name : {"active_low", "direction", "edge", "uevent", "value"})
    if (!give_file_to_gpio(light_id, line, name)) {
      syslog(LOG_ERR, "Could not set %s file permission, %m.", name);
      return false;
    }
  return true;
}

bool read_active_low(int light_id, int line, char *active_low) {
  const std::string path = file_path(light_id, line, "active_low");
  switch (read_first_byte(path, active_low)) {
    case FirstByte::kRead:
      return true;
    case FirstByte::kNotOpened:
      syslog(LOG_WARNING, "Failed to open active_low fd for led %d (%s)", light_id, path.c_str());
      return false;
    default:
      syslog(LOG_ERR, "Read failure for led %d (active_low)", light_id);
      return false;
  }
}

bool write_value(int light_id, int line, char value) {
  const std::string path = file_path(light_id, line, "value");
  const UniqueFd file = open_attribute(path);
  if (!file) {
    syslog(LOG_WARNING, "Failed to open value fd for led %d (%s)", light_id, path.c_str());
    return false;
  }
  if (!write_attribute(file, {&value, 1})) {
    syslog(LOG_ERR, "Write failure to led %d (value)", light_id);
    return false;
  }
  return true;
}

}  // namespace

std::optional<int> set_up_gpio_lines(int light_id) {
  int line = 0;
  for (; access(line_path(light_id, line).c_str(), F_OK) == 0; ++line)
    if (!set_up_line(light_id, line))
      return std::nullopt;
  return line;
}

bool switch_gpio_line(int light_id, int line, bool on) {
  char active_low = '\0';
  return read_active_low(light_id, line, &active_low) &&
         write_value(light_id, line, static_cast<char>(active_low ^ (on ? 1 : 0)));
}
