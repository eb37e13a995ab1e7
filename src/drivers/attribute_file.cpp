#include "drivers/attribute_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

UniqueFd open_attribute(const std::optional<std::string> &path, int access) {
  if (!path) {
    errno = ENOENT;
    return {};
  }
  // A FIFO put there must not keep us waiting.
  return UniqueFd{open(path->c_str(), access | O_NONBLOCK | O_CLOEXEC)};
}

bool write_attribute(const UniqueFd &attribute, std::string_view text) {
  const ssize_t written = write(attribute.get(), text.data(), text.size());
  if (written >= 0 && written < static_cast<ssize_t>(text.size()))
    errno = EIO;
  return written == static_cast<ssize_t>(text.size());
}
