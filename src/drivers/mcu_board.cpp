#include "drivers/mcu_board.h"

#include <sys/stat.h>
#include <syslog.h>

#include "drivers/device_access.h"
#include "led/board_file.h"
#include "led/light_error.h"

namespace {

bool exists(const std::string &path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0;
}

bool refuse_board(GError **error) {
  light_error_set(error, LIGHT_CONTROL_ERROR_NO_BOARD, "No IR light PCB found");
  syslog(LOG_INFO, "Could not find MCU driver");
  return false;
}

}  // namespace

bool is_mcu_board_present(const LedBase *light, GError **error) {
  const auto path = board_file_path(light, "QXID");
  if (!path || !exists(*path))
    return true;

  char mark = '\0';
  switch (read_first_byte(*path, &mark)) {
    case FirstByte::kNotOpened:
      return refuse_board(error);
    case FirstByte::kMissing:
      return false;
    case FirstByte::kNotRead:
      return true;
    case FirstByte::kRead:
      break;
  }
  return mark != '0' || refuse_board(error);
}

bool give_mcu_file_to_light(const LedBase *light, const char *name) {
  const auto group = light_group();
  if (!group)
    return false;
  return give_to_group(board_file_path(light, name), *group);
}
