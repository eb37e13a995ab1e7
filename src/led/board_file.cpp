#include "led/board_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "daemon/unique_fd.h"

std::optional<std::string> board_file_path(const LedBase *light, const char *name) {
  if (light->basepath == nullptr)
    return std::nullopt;
  return std::string{light->basepath} + "/" + name;
}

FirstByte read_first_byte(const std::string &path, char *byte) {
  // A FIFO put there must not keep us waiting.
  const UniqueFd file{open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)};
  if (!file)
    return FirstByte::kNotOpened;
  switch (TEMP_FAILURE_RETRY(read(file.get(), byte, 1))) {
    case 1:
      return FirstByte::kRead;
    case 0:
      return FirstByte::kMissing;
    default:
      return FirstByte::kNotRead;
  }
}
