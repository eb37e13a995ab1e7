#include "support/fake_i2c.h"

#include <linux/i2c-dev.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "support/light_files.h"

namespace {

constexpr auto kDevices = "/dev/";
constexpr auto kBus = "/dev/i2c-";
constexpr std::uint8_t kNothing = 0xEE;
constexpr std::uint8_t kHighestBit = 0x80;

/// The path of an open file; nothing if it is none of a bus.
std::string bus_path(int descriptor) {
  std::error_code ignored;
  auto path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), ignored).string();
  return path.starts_with(kBus) ? path : "";
}

std::string hexadecimal(std::uintptr_t value) {
  char text[2 * sizeof value + 1];
  std::snprintf(text, sizeof text, "%02zx", value);
  return text;
}

std::string text_of(const i2c_msg &message) {
  std::string text = " " + hexadecimal(message.addr);
  if (message.flags == I2C_M_RD)
    return text + ">" + std::to_string(message.len);
  text += message.flags == 0 ? "<" : "?";
  for (int i = 0; i < message.len; ++i)
    text += (i == 0 ? "" : " ") + hexadecimal(message.buf[i]);
  return text;
}

int give(const FakeI2c::Answer &answer) {
  errno = answer.error;
  return answer.result;
}

}  // namespace

FakeI2c &fake_i2c() {
  static FakeI2c i2c;
  return i2c;
}

void FakeI2c::plug_in(int bus) { write_file(kBus + std::to_string(bus), ""); }

void FakeI2c::unplug_all() {
  if (std::getenv("BEAMD_TEST_WORK") == nullptr)
    return;  // these are the machine's own
  for (const auto &device : std::filesystem::directory_iterator{kDevices})
    if (device.path().string().starts_with(kBus))
      std::filesystem::remove_all(device);
}

int FakeI2c::serve(const std::string &bus, std::uint32_t request, std::uintptr_t argument) {
  switch (request) {
    case I2C_FUNCS:
      requests.push_back(bus + " funcs");
      *reinterpret_cast<unsigned long *>(argument) = 0;
      return give(funcs_answer.value_or(Answer{0, 0}));
    case I2C_SLAVE_FORCE:
      requests.push_back(bus + " slave " + hexadecimal(argument));
      return give(slave_answer.value_or(Answer{0, 0}));
    case I2C_RDWR: {
      const auto *data = reinterpret_cast<const i2c_rdwr_ioctl_data *>(argument);
      return transfer(bus, data->msgs, data->nmsgs);
    }
    default:
      return give({-1, ENOTTY});
  }
}

int FakeI2c::transfer(const std::string &bus, const i2c_msg *messages, std::size_t count) {
  std::string text = bus;
  for (std::size_t i = 0; i < count; ++i)
    text += text_of(messages[i]);
  requests.push_back(text);

  const auto found = answers_.find(++transfers_);
  const Answer answer = found == answers_.end() ? Answer{static_cast<int>(count), 0} : found->second;
  Register selected{};
  for (std::size_t i = 0; i < count && static_cast<int>(i) < answer.result; ++i)
    pass_on(messages[i], &selected);
  return give(answer);
}

void FakeI2c::pass_on(const i2c_msg &message, Register *selected) {
  if (message.flags == I2C_M_RD) {
    const auto found = registers.find(*selected);
    auto value = found == registers.end() ? Value{0, 0} : found->second;
    value.resize(message.len, kNothing);
    std::copy(value.begin(), value.end(), message.buf);
  } else if (message.len >= 2) {
    *selected = {static_cast<std::uint8_t>(message.buf[0] & ~kHighestBit), message.buf[1]};
    if (message.len > 2)
      registers[*selected] = {message.buf + 2, message.buf + message.len};
  }
}

std::size_t open_i2c_buses() {
  std::size_t count = 0;
  for (const auto &descriptor : std::filesystem::directory_iterator{"/proc/self/fd"})
    count += bus_path(std::stoi(descriptor.path().filename())).empty() ? 0 : 1;
  return count;
}

// Comes before the C library's.
extern "C" int ioctl(int descriptor, unsigned long request, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, request);
  const auto argument = va_arg(arguments, std::uintptr_t);
  va_end(arguments);
  const std::string path = _IOC_TYPE(request) == _IOC_TYPE(I2C_RDWR) ? bus_path(descriptor) : "";
  if (!path.empty())
    return fake_i2c().serve(path.substr(std::string{kDevices}.size()), static_cast<std::uint32_t>(request),
                            argument);
  return static_cast<int>(syscall(SYS_ioctl, descriptor, request, argument));
}
