#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "daemon/unique_fd.h"

/// One ioctl() of a supervised process, which waits for its result.
class IoctlCall {
 public:
  IoctlCall(pid_t process, std::string path, std::uint32_t request, std::uint64_t argument)
      : process_(process), path_(std::move(path)), request_(request), argument_(argument) {}

  /// The file behind the descriptor; empty when the descriptor is not open.
  const std::string &path() const { return path_; }
  std::uint32_t request() const { return request_; }
  /// The third argument: a number, or an address in the process.
  std::uint64_t argument() const { return argument_; }

  /// Copies @p size bytes at @p address of the process. Returns false when they are not all there.
  bool read_bytes(std::uint64_t address, void *destination, std::size_t size) const;
  bool write_bytes(std::uint64_t address, const void *source, std::size_t size) const;

  /// The object at @p address of the process; nothing when it is not readable.
  template <typename T>
  std::optional<T> read(std::uint64_t address) const {
    T value{};
    return read_bytes(address, &value, sizeof value) ? std::optional<T>{value} : std::nullopt;
  }

  template <typename T>
  bool write(std::uint64_t address, const T &value) const {
    return write_bytes(address, &value, sizeof value);
  }

 private:
  pid_t process_;
  std::string path_;
  std::uint32_t request_;
  std::uint64_t argument_;
};

/// What an ioctl() does: a result of 0 and up, a failure with an errno, or what the kernel makes of it.
class IoctlResult {
 public:
  static IoctlResult value(int result) { return {result, 0, false}; }
  static IoctlResult failure(int error) { return {0, error, false}; }
  static IoctlResult pass_on() { return {0, 0, true}; }

  int result() const { return result_; }
  int error() const { return error_; }
  bool is_passed_on() const { return passed_on_; }

 private:
  IoctlResult(int result, int error, bool passed_on)
      : result_(result), error_(error), passed_on_(passed_on) {}

  int result_;
  int error_;
  bool passed_on_;
};

using IoctlHandler = std::function<IoctlResult(const IoctlCall &)>;

/// A process, with its descendants, some of whose ioctl() requests are answered here and not by the kernel.
/// It is stopped by the kernel (seccomp user notification), not by a preloaded library: it may change its
/// user, be linked in any way and run under valgrind or a sanitizer. Needs root, if only of a user namespace.
class SupervisedProcess {
 public:
  enum class Event { kServed, kTimeout, kEnded };

  /// Forks. The child runs @p body and exits with what that returns; its ioctl() calls with one of @p
  /// requests (at most 200) are announced here. Returns nothing, with a message on stderr, when that cannot
  /// be set up.
  static std::optional<SupervisedProcess> start(const std::function<int()> &body,
                                                const std::vector<std::uint32_t> &requests);

  SupervisedProcess(SupervisedProcess &&other) noexcept
      : pid_(std::exchange(other.pid_, -1)), listener_(std::move(other.listener_)) {}
  SupervisedProcess &operator=(SupervisedProcess &&) = delete;
  SupervisedProcess(const SupervisedProcess &) = delete;
  SupervisedProcess &operator=(const SupervisedProcess &) = delete;

  /// Kills the process if it has not been waited for.
  ~SupervisedProcess();

  pid_t pid() const { return pid_; }

  /// Readable, for poll(), when there is a call to serve; hung up when no supervised process is left.
  int listener() const { return listener_.get(); }

  /// Waits for one call, at most @p timeout_ms milliseconds (-1: for ever), and lets @p handler answer it.
  Event serve(const IoctlHandler &handler, int timeout_ms = -1);

  /// Serves calls until no supervised process is left. Returns what wait() does.
  int serve_until_end(const IoctlHandler &handler);

  /// Waits for the process. Returns its exit status, or 128 and the number of the signal that ended it.
  int wait();

 private:
  SupervisedProcess(pid_t pid, UniqueFd listener) : pid_(pid), listener_(std::move(listener)) {}

  pid_t pid_ = -1;
  UniqueFd listener_;
};

/// A body for SupervisedProcess::start(): runs the program @p argv, found along $PATH; 127 when it cannot.
std::function<int()> execute(std::vector<std::string> argv);
