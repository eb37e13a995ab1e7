#include "support/attribute_opens.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <string_view>

namespace {

using Hook = std::function<void(const std::string &)>;

int open_and_tell(const char *path, int flags, mode_t mode) {
  const auto file = static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
  if (file >= 0 && std::string_view{path}.starts_with("/sys/") && after_attribute_open())
    after_attribute_open()(path);
  return file;
}

}  // namespace

Hook &after_attribute_open() {
  static Hook hook;
  return hook;
}

// In place of the C library's, under whose names the compiler would not take them.
extern "C" {
int test_open(const char *path, int flags, ...) __asm__("open");
int test_open64(const char *path, int flags, ...) __asm__("open64");

int test_open(const char *path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = __OPEN_NEEDS_MODE(flags) ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return open_and_tell(path, flags, mode);
}

int test_open64(const char *path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = __OPEN_NEEDS_MODE(flags) ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return open_and_tell(path, flags, mode);
}
}
