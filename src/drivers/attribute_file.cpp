#include "drivers/attribute_file.h"

#include <fcntl.h>
#include <unistd.h>

UniqueFd open_attribute(const std::string &path) {
  // A FIFO put there must not keep us waiting.
  return UniqueFd{open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC)};
}

bool write_attribute(const UniqueFd &attribute, std::string_view text) {
  return write(attribute.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}
