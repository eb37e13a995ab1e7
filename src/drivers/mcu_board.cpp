#include "drivers/mcu_board.h"

#include <sys/stat.h>
#include <syslog.h>

#include <string>

#include "drivers/attribute_file.h"
#include "drivers/device_access.h"
#include "led/board_file.h"
#include "led/light_error.h"

namespace {

bool is_board_present(const LedBase *light, GError **error) {
  const auto path = mcu_board_mark(light);
  if (!path)
    return true;

  char mark = '\0';
  switch (read_first_byte(*path, &mark)) {
    case FirstByte::kNotOpened:
      return refuse_mcu_board(error);
    case FirstByte::kMissing:
      return false;
    case FirstByte::kNotRead:
      return true;
    case FirstByte::kRead:
      break;
  }
  return mark != '0' || refuse_mcu_board(error);
}

}  // namespace

std::optional<std::string> mcu_board_mark(const LedBase *light) {
  auto path = board_file_path(light, "QXID");
  struct stat status {};
  return path && stat(path->c_str(), &status) == 0 ? path : std::nullopt;
}

bool refuse_mcu_board(GError **error) {
  syslog(LOG_INFO, "Could not find MCU driver");
  return light_error_no_board(error, "No IR light PCB found");
}

bool set_up_mcu_board(LedBase *light, const McuBoard &board, RegulatorConfig *regulator, GError **error) {
  const bool is_present = is_board_present(light, error);
  return light_illumination_load(light, board.illumination) &&
         give_mcu_files_to_light(light, board.channels) &&
         set_up_regulator(light, board.sensors, regulator) && is_present;
}

bool give_mcu_files_to_light(const LedBase *light, std::span<const char *const> names) {
  const auto group = light_group();
  if (!group)
    return false;
  for (const char *name : names)
    if (!give_to_group(board_file_path(light, name), *group))
      return false;
  return true;
}

UniqueFd open_mcu_channel(const LedBase *light, int number) {
  const auto path = board_file_path(light, ("led" + std::to_string(number)).c_str());
  if (!path) {
    syslog(LOG_WARNING, "Failed find path to led %d", number);
    return {};
  }
  UniqueFd channel = open_attribute(*path);
  if (!channel)
    syslog(LOG_WARNING, "Failed to open fd for led %d", number);
  return channel;
}

bool write_mcu_channel(const UniqueFd &channel, int number, gint value) {
  if (write_attribute(channel, std::to_string(value)))
    return true;
  syslog(LOG_ERR, "Write failure to led %d", number);
  return false;
}
