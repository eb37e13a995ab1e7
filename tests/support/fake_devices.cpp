// fake_devices CMD ARGS...
//
// Runs CMD with its I2C buses (/dev/i2c-N, plain files) and its data cache (/dev/datacache0, a FIFO) served
// from here. The exit status is CMD's. SIGTERM and SIGINT are passed to CMD. CMD's output goes to stderr.
//
// Commands on stdin, one a line; each is answered on stdout by "done", with the command repeated, once it is
// in force:
//   register PATH SLAVE SUBDEVICE REGISTER VALUE   give a register a value (all but PATH hexadecimal)
//   fail REQUEST ERRNO                             let funcs, slave, transfer, subscribe, unsubscribe or read
//   fail
//                                                  with that number from now on; 0: work again
//   fail reading PATH SLAVE SUBDEVICE REGISTER ERRNO   the same for reading that register, or "writing" it
//   hfov DEGREES                                   change the field of view; the data cache becomes readable
// Reports on stdout, one a line:
//   slave PATH SLAVE                               a slave was addressed
//   write PATH SLAVE SUBDEVICE REGISTER VALUE      a register was written
//   subscribe NAME                                 a value of the data cache was subscribed to
//   unsubscribe ID
// A register that nobody has written reads as 0. The data cache's first subscription has the number 1.

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <map>
#include <sstream>
#include <tuple>

#include "support/ioctl_supervisor.h"

namespace {

constexpr std::uint32_t kDataCacheRegister = 0x801C2B00;
constexpr std::uint32_t kDataCacheUnsubscribe = 0x80042B01;
constexpr std::uint32_t kDataCacheRead = 0x80202B03;
constexpr auto kDataCache = "/dev/datacache0";
constexpr std::uint8_t kDirectionBit = 0x80;
constexpr std::size_t kLargestMessage = 8192;  // as in the kernel

const std::map<std::string, std::uint32_t> kRequests{
    {"funcs", I2C_FUNCS},
    {"slave", I2C_SLAVE_FORCE},
    {"transfer", I2C_RDWR},
    {"subscribe", kDataCacheRegister},
    {"unsubscribe", kDataCacheUnsubscribe},
    {"read", kDataCacheRead},
};

/// The camera block's registers: 16 bits each, low byte first on the wire, behind a sub-device and a register
/// byte.
class CameraBlocks {
 public:
  void set(const std::string &bus, int slave, int subdevice, int number, int value) {
    registers_[{bus, slave, subdevice & ~kDirectionBit, number}] = static_cast<std::uint16_t>(value);
  }

  void set_error(bool is_reading, const std::string &bus, int slave, int subdevice, int number, int error) {
    errors_[{is_reading, {bus, slave, subdevice & ~kDirectionBit, number}}] = error;
  }

  IoctlResult serve(const IoctlCall &call) {
    switch (call.request()) {
      case I2C_FUNCS:
        return call.write<unsigned long>(call.argument(), I2C_FUNC_I2C) ? IoctlResult::value(0)
                                                                        : IoctlResult::failure(EFAULT);
      case I2C_SLAVE_FORCE:
        std::cout << "slave " << call.path() << ' ' << std::hex << call.argument() << std::dec << std::endl;
        return IoctlResult::value(0);
      case I2C_RDWR:
        return transfer(call);
      default:
        return IoctlResult::failure(ENOTTY);
    }
  }

 private:
  using Register = std::tuple<std::string, int, int, int>;

  IoctlResult transfer(const IoctlCall &call) {
    const auto data = call.read<i2c_rdwr_ioctl_data>(call.argument());
    if (!data)
      return IoctlResult::failure(EFAULT);
    if (data->nmsgs > I2C_RDWR_IOCTL_MAX_MSGS)
      return IoctlResult::failure(EINVAL);
    Register selected{call.path(), 0, 0, 0};
    for (std::uint32_t i = 0; i < data->nmsgs; ++i) {
      const auto message = call.read<i2c_msg>(reinterpret_cast<std::uintptr_t>(data->msgs + i));
      const int error = message ? pass(call, *message, selected) : EFAULT;
      if (error != 0)
        return IoctlResult::failure(error);
    }
    return IoctlResult::value(static_cast<int>(data->nmsgs));
  }

  /// Returns the number of what went wrong, 0 for nothing.
  int pass(const IoctlCall &call, const i2c_msg &message, Register &selected) {
    const auto address = reinterpret_cast<std::uintptr_t>(message.buf);
    std::array<std::uint8_t, kLargestMessage> bytes{};
    const std::size_t size = std::min<std::size_t>(message.len, bytes.size());
    if ((message.flags & I2C_M_RD) != 0) {
      if (const int error = errors_[{true, selected}])
        return error;
      const std::uint16_t value = registers_[selected];
      bytes[0] = static_cast<std::uint8_t>(value & 0xff);
      bytes[1] = static_cast<std::uint8_t>(value >> 8);
      return call.write_bytes(address, bytes.data(), size) ? 0 : EFAULT;
    }
    if (!call.read_bytes(address, bytes.data(), size))
      return EFAULT;
    selected = {call.path(), message.addr, bytes[0] & ~kDirectionBit, bytes[1]};
    if (size < 4)
      return 0;
    if (const int error = errors_[{false, selected}])
      return error;
    store(selected, static_cast<std::uint16_t>(bytes[2] | bytes[3] << 8));
    return 0;
  }

  void store(const Register &where, std::uint16_t value) {
    registers_[where] = value;
    const auto &[bus, slave, subdevice, number] = where;
    std::cout << "write " << bus << std::hex << ' ' << slave << ' ' << subdevice << ' ' << number << ' '
              << value << std::dec << std::endl;
  }

  std::map<Register, std::uint16_t> registers_;
  std::map<std::pair<bool, Register>, int> errors_;  // of reading and of writing
};

/// A device that is readable while it has news. A byte in the FIFO makes it so; the read request takes the
/// byte.
class DataCache {
 public:
  void set_field_of_view(float degrees) {
    field_of_view_ = degrees;
    [[maybe_unused]] const ssize_t written = write(fifo_.get(), "x", 1);
  }

  IoctlResult serve(const IoctlCall &call) {
    switch (call.request()) {
      case kDataCacheRegister:
        return subscribe(call);
      case kDataCacheUnsubscribe:
        std::cout << "unsubscribe " << call.read<std::int32_t>(call.argument()).value_or(-1) << std::endl;
        return IoctlResult::value(0);
      case kDataCacheRead:
        return read_value(call);
      default:
        return IoctlResult::failure(ENOTTY);
    }
  }

 private:
  struct Subscription {
    std::array<char, 16> name;
    std::array<std::uint32_t, 3> rest;
  };
  struct ReadRecord {
    std::uint32_t subscription;
    std::uint32_t count;
    std::uint64_t buffer;
  };

  IoctlResult subscribe(const IoctlCall &call) {
    const auto subscription = call.read<Subscription>(call.argument());
    if (!subscription)
      return IoctlResult::failure(EFAULT);
    std::cout << "subscribe "
              << std::string(subscription->name.data(), strnlen(subscription->name.data(), 16)) << std::endl;
    return IoctlResult::value(++subscriptions_);
  }

  IoctlResult read_value(const IoctlCall &call) {
    char byte = 0;
    [[maybe_unused]] const ssize_t taken = read(fifo_.get(), &byte, 1);
    const auto record = call.read<ReadRecord>(call.argument());
    constexpr std::uint64_t kValueOffset = 4;
    return record && call.write(record->buffer + kValueOffset, field_of_view_) ? IoctlResult::value(0)
                                                                               : IoctlResult::failure(EFAULT);
  }

  UniqueFd fifo_{open(kDataCache, O_RDWR | O_NONBLOCK | O_CLOEXEC)};
  float field_of_view_ = 0;
  int subscriptions_ = 0;
};

class Devices {
 public:
  IoctlResult serve(const IoctlCall &call) {
    if (const auto error = errors_.find(call.request()); error != errors_.end())
      return IoctlResult::failure(error->second);
    if (call.path() == kDataCache)
      return data_cache_.serve(call);
    return call.path().starts_with("/dev/i2c-") ? camera_blocks_.serve(call) : IoctlResult::pass_on();
  }

  bool started() const { return started_; }

  void obey(const std::string &line) {
    std::istringstream words{line};
    std::string command;
    words >> command;
    started_ |= command == "start";
    const bool understood = command == "start"      ? true
                            : command == "register" ? set_register(words)
                            : command == "fail"     ? set_error(words)
                            : command == "hfov"     ? set_field_of_view(words)
                                                    : false;
    std::cout << (understood ? "done " : "not understood: ") << line << std::endl;
  }

 private:
  bool set_register(std::istream &words) {
    std::string path;
    int slave = 0;
    int subdevice = 0;
    int number = 0;
    int value = 0;
    if (!(words >> path >> std::hex >> slave >> subdevice >> number >> value))
      return false;
    camera_blocks_.set(path, slave, subdevice, number, value);
    return true;
  }

  bool set_error(std::istream &words) {
    std::string name;
    words >> name;
    if (name == "reading" || name == "writing")
      return set_register_error(words, name == "reading");
    int error = 0;
    if (!(words >> error) || !kRequests.contains(name))
      return false;
    errors_.erase(kRequests.at(name));
    if (error != 0)
      errors_[kRequests.at(name)] = error;
    return true;
  }

  bool set_register_error(std::istream &words, bool is_reading) {
    std::string path;
    int slave = 0;
    int subdevice = 0;
    int number = 0;
    int error = 0;
    if (!(words >> path >> std::hex >> slave >> subdevice >> number >> std::dec >> error))
      return false;
    camera_blocks_.set_error(is_reading, path, slave, subdevice, number, error);
    return true;
  }

  bool set_field_of_view(std::istream &words) {
    float degrees = 0;
    if (!(words >> degrees))
      return false;
    data_cache_.set_field_of_view(degrees);
    return true;
  }

  bool started_ = false;
  CameraBlocks camera_blocks_;
  DataCache data_cache_;
  std::map<std::uint32_t, int> errors_;
};

/// Splits what arrives on stdin into lines.
class Commands {
 public:
  bool at_end() const { return at_end_; }

  void receive(Devices &devices) {
    std::array<char, 4096> data{};
    const ssize_t size = read(STDIN_FILENO, data.data(), data.size());
    at_end_ = size <= 0;
    pending_.append(data.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    for (std::size_t end = 0; (end = pending_.find('\n')) != std::string::npos; pending_.erase(0, end + 1))
      devices.obey(pending_.substr(0, end));
  }

 private:
  std::string pending_;
  bool at_end_ = false;
};

volatile pid_t supervised = 0;

void pass_signal_on(int number) {
  if (supervised > 0)
    kill(supervised, number);
}

int serve_devices(SupervisedProcess &process, Devices &devices, Commands &commands) {
  const auto handler = [&](const IoctlCall &call) { return devices.serve(call); };
  while (true) {
    std::array<pollfd, 2> ready{
        {{process.listener(), POLLIN, 0}, {commands.at_end() ? -1 : STDIN_FILENO, POLLIN, 0}}};
    if (poll(ready.data(), ready.size(), -1) < 0)
      continue;
    if (ready[1].revents != 0)
      commands.receive(devices);
    if (ready[0].revents != 0 && process.serve(handler, 0) == SupervisedProcess::Event::kEnded)
      return process.wait();
  }
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 2) {
    std::cerr << "usage: fake_devices CMD ARGS...\n";
    return 2;
  }
  std::vector<std::uint32_t> requests;
  for (const auto &[name, request] : kRequests)
    requests.push_back(request);

  const auto body = [program = execute({argv + 1, argv + argc})] {
    const UniqueFd nothing{open("/dev/null", O_RDONLY | O_CLOEXEC)};
    dup2(nothing.get(), STDIN_FILENO);
    dup2(STDERR_FILENO, STDOUT_FILENO);
    return program();
  };
  Devices devices;
  Commands commands;
  while (!devices.started() && !commands.at_end())
    commands.receive(devices);

  auto process = SupervisedProcess::start(body, requests);
  if (!process)
    return 125;
  supervised = process->pid();
  signal(SIGTERM, pass_signal_on);
  signal(SIGINT, pass_signal_on);
  return serve_devices(*process, devices, commands);
}
