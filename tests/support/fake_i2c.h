#pragma once

#include <linux/i2c.h>

#include <compare>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

/// The I2C buses in the executable that has fake_i2c.cpp: /dev/i2c-N are plain files, whose requests are
/// served from here. The one device there is has registers that are named by two bytes.
class FakeI2c {
 public:
  struct Register {
    std::uint8_t subdevice;  ///< without its highest bit
    std::uint8_t number;

    bool operator<(const Register &other) const {
      return std::tie(subdevice, number) < std::tie(other.subdevice, other.number);
    }
  };
  /// What the ioctl returns, also instead of a number of messages, and errno.
  struct Answer {
    int result;
    int error;
  };

  static void plug_in(int bus);
  static void unplug_all();

  /// The bytes of a register in the order of the bus, to which 0xEE are added where more are read. One that
  /// is not there holds two zeros.
  using Value = std::vector<std::uint8_t>;
  std::map<Register, Value> registers;

  /// Each request in order: "i2c-2 funcs", "i2c-2 slave 21", "i2c-2 21<05 10 34 12" for bytes that are sent
  /// to device 21 and "i2c-2 21<85 10 21>2" when two bytes are read then. All but lengths are hexadecimal.
  std::vector<std::string> requests;

  std::optional<Answer> funcs_answer;
  std::optional<Answer> slave_answer;
  /// Lets the transfer that comes @p nth from now, where the next one is the first, have this answer; of its
  /// messages the first `result` are passed on.
  void answer_transfer(std::size_t nth, Answer answer) { answers_[transfers_ + nth] = answer; }

  int serve(const std::string &bus, std::uint32_t request, std::uintptr_t argument);

 private:
  int transfer(const std::string &bus, const i2c_msg *messages, std::size_t count);
  void pass_on(const i2c_msg &message, Register *selected);

  std::size_t transfers_ = 0;
  std::map<std::size_t, Answer> answers_;
};

FakeI2c &fake_i2c();

/// How many descriptors of buses this process has open.
std::size_t open_i2c_buses();
