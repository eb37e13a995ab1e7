#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

/// Owns a file descriptor: closes it when it goes out of scope.
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int descriptor) : descriptor_(descriptor) {}
  UniqueFd(UniqueFd &&other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  UniqueFd &operator=(UniqueFd &&other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  UniqueFd(const UniqueFd &) = delete;
  UniqueFd &operator=(const UniqueFd &) = delete;
  ~UniqueFd() {
    if (descriptor_ < 0)
      return;
    const int error = errno;  // often logged after the scope has ended
    close(descriptor_);
    errno = error;
  }

  int get() const { return descriptor_; }
  /// Gives the descriptor up: the caller closes it.
  int release() { return std::exchange(descriptor_, -1); }
  explicit operator bool() const { return descriptor_ >= 0; }

 private:
  int descriptor_ = -1;
};
