#include "support/attribute_writes.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <string_view>

namespace {

ssize_t real_write(int file, const void *data, size_t size) { return syscall(SYS_write, file, data, size); }

/// The path of an open file.
std::string path_of(int file) {
  const int error = errno;
  std::array<char, PATH_MAX> path;
  const std::string link = "/proc/self/fd/" + std::to_string(file);
  const ssize_t length = readlink(link.c_str(), path.data(), path.size());
  errno = error;
  return {path.data(), length > 0 ? static_cast<size_t>(length) : 0};
}

/// Takes the next failure that is meant for @p path; 0 when there is none.
int next_failure(const std::string &path) {
  const auto found = attribute_writes().failures.find(path);
  if (found == attribute_writes().failures.end() || found->second.empty())
    return 0;
  const int failure = found->second.front();
  found->second.pop_front();
  return failure;
}

}  // namespace

AttributeWrites &attribute_writes() {
  static AttributeWrites writes;
  return writes;
}

// Comes before the C library's.
ssize_t write(int file, const void *data, size_t size) {
  const std::string path = path_of(file);
  if (!path.starts_with("/sys/"))
    return real_write(file, data, size);

  const int failure = next_failure(path);
  if (failure == 0) {
    attribute_writes().tried.push_back(path + "=" + std::string{static_cast<const char *>(data), size});
    return real_write(file, data, size);
  }
  attribute_writes().tried.push_back(path + "!");
  if (failure == AttributeWrites::kShort)
    return real_write(file, data, size - 1);
  errno = failure;
  return -1;
}
