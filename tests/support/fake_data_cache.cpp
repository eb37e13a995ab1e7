#include "support/fake_data_cache.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "daemon/unique_fd.h"

namespace {

constexpr auto kDevice = "/dev/datacache0";
constexpr std::uint32_t kRegister = 0x801C2B00;
constexpr std::uint32_t kUnsubscribe = 0x80042B01;
constexpr std::uint32_t kRead = 0x80202B03;

constexpr std::size_t kAddressOffset = 8;
constexpr std::size_t kValueSize = 20;
constexpr std::size_t kNumberOffset = 4;
constexpr std::uint8_t kUnusedByte = 0xEE;

std::string path_of(int descriptor) {
  std::array<char, PATH_MAX> path{};
  const auto link = "/proc/self/fd/" + std::to_string(descriptor);
  const ssize_t length = readlink(link.c_str(), path.data(), path.size());
  return length < 0 ? std::string{} : std::string(path.data(), static_cast<std::size_t>(length));
}

int with_errno(int result) {
  if (result < 0)
    errno = EIO;
  return result;
}

}  // namespace

FakeDataCache &fake_data_cache() {
  static FakeDataCache cache;
  return cache;
}

void FakeDataCache::plug_in() {
  unplug();
  if (mkfifo(kDevice, 0600) != 0)
    std::abort();
}

void FakeDataCache::unplug() { unlink(kDevice); }

void FakeDataCache::tell(float degrees) {
  field_of_view_ = degrees;
  const UniqueFd fifo{open(kDevice, O_RDWR | O_NONBLOCK | O_CLOEXEC)};
  if (write(fifo.get(), "x", 1) != 1)
    std::abort();
}

int FakeDataCache::serve(int descriptor, std::uint32_t number, void *record) {
  const auto *bytes = static_cast<const std::uint8_t *>(record);
  requests.push_back({path_of(descriptor), number, {bytes, bytes + _IOC_SIZE(number)}});
  if (on_request)
    on_request();
  switch (number) {
    case kRegister:
      return with_errno(register_result);
    case kUnsubscribe:
      return with_errno(unsubscribe_result);
    case kRead:
      return read_result < 0 ? with_errno(read_result) : read_value(descriptor, requests.back().record);
    default:
      errno = ENOTTY;
      return -1;
  }
}

int FakeDataCache::read_value(int descriptor, const std::vector<std::uint8_t> &record) const {
  char news = 0;
  if (!stays_readable && read(descriptor, &news, 1) != 1)
    return with_errno(-1);
  std::array<std::uint8_t, kValueSize> value{};
  value.fill(kUnusedByte);
  std::memcpy(value.data() + kNumberOffset, &field_of_view_, sizeof field_of_view_);
  void *destination = nullptr;
  std::memcpy(&destination, record.data() + kAddressOffset, sizeof destination);
  std::memcpy(destination, value.data(), value.size());
  return read_result;
}

// Comes before the C library's.
extern "C" int ioctl(int descriptor, unsigned long request, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, request);
  void *argument = va_arg(arguments, void *);
  va_end(arguments);
  if (_IOC_TYPE(request) == '+')
    return fake_data_cache().serve(descriptor, static_cast<std::uint32_t>(request), argument);
  return static_cast<int>(syscall(SYS_ioctl, descriptor, request, argument));
}
