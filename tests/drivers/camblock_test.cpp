// The registers of a camera block: what goes over the bus, byte by byte, and what is said when nothing does.

#include "drivers/camblock.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "support/fake_i2c.h"
#include "support/syslog_capture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Line = SyslogCapture::Line;

constexpr guint8 kAddress = 0x21;
constexpr guint8 kSubdevice = 0x85;
constexpr guint8 kRegister = 0x10;
constexpr guint16 kUnchanged = 0x5555;

class Camblock : public testing::Test {
 protected:
  Camblock() {
    fake_i2c() = {};
    FakeI2c::plug_in(2);
  }
  ~Camblock() override { FakeI2c::unplug_all(); }

  SyslogCapture log_;
};

// Opening.

class CamblockOpening : public Camblock {
 protected:
  ~CamblockOpening() override {
    EXPECT_EQ(fcntl(fd_, F_GETFD), -1) << "left open";
    EXPECT_EQ(open_i2c_buses(), 0U);
  }

  int fd_ = kUnopened;
  static constexpr int kUnopened = 12345;
};

TEST_F(CamblockOpening, AsksForFunctionsAndAddressesTheDevice) {
  ASSERT_EQ(camblock_i2c_open(2, kAddress, &fd_), 0);
  EXPECT_THAT(fake_i2c().requests, ElementsAre("i2c-2 funcs", "i2c-2 slave 21"));
  EXPECT_EQ(fcntl(fd_, F_GETFL) & O_ACCMODE, O_RDWR);
  EXPECT_EQ(open_i2c_buses(), 1U);
  EXPECT_THAT(log_.lines(), IsEmpty());
  close(fd_);
}

TEST_F(CamblockOpening, TakesAnyBus) {
  for (const guint8 bus : {0, 1, 10, 255}) {
    FakeI2c::plug_in(bus);
    fake_i2c().requests.clear();
    ASSERT_EQ(camblock_i2c_open(bus, 0x7F, &fd_), 0);
    const std::string name = "i2c-" + std::to_string(bus);
    EXPECT_THAT(fake_i2c().requests, ElementsAre(name + " funcs", name + " slave 7f"));
    close(fd_);
  }
}

TEST_F(CamblockOpening, TakesAnyResultThatIsNotNegative) {
  fake_i2c().funcs_answer = {1, 0};
  fake_i2c().slave_answer = {1, 0};
  EXPECT_EQ(camblock_i2c_open(2, kAddress, &fd_), 0);
  EXPECT_THAT(log_.lines(), IsEmpty());
  close(fd_);
}

TEST_F(CamblockOpening, NeedsTheBus) {
  EXPECT_EQ(camblock_i2c_open(3, kAddress, &fd_), -1);
  EXPECT_EQ(fd_, -1);
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(Line{LOG_ERR, "Error opening i2c device. No such file or directory. Path: /dev/i2c-3"}));
  EXPECT_THAT(fake_i2c().requests, IsEmpty());
  EXPECT_FALSE(std::filesystem::exists("/dev/i2c-3"));
}

TEST_F(CamblockOpening, NeedsToWriteToTheBus) {
  std::filesystem::create_directory("/dev/i2c-3");
  EXPECT_EQ(camblock_i2c_open(3, kAddress, &fd_), -1);
  EXPECT_EQ(fd_, -1);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_ERR, "Error opening i2c device. Is a directory. Path: /dev/i2c-3"}));
}

TEST_F(CamblockOpening, FailsWithoutFunctions) {
  for (const int result : {-1, -5}) {
    log_.clear();
    fake_i2c().requests.clear();
    fake_i2c().funcs_answer = {result, ENOTTY};
    EXPECT_EQ(camblock_i2c_open(2, kAddress, &fd_), result);
    EXPECT_THAT(log_.lines(),
                ElementsAre(Line{LOG_ERR, "Error I2C_FUNCS Inappropriate ioctl for device : res = " +
                                              std::to_string(result)}));
    EXPECT_THAT(fake_i2c().requests, ElementsAre("i2c-2 funcs"));
    EXPECT_GE(fd_, 0);
    EXPECT_NE(fd_, kUnopened) << "it was open";
  }
}

TEST_F(CamblockOpening, FailsWithoutTheAddress) {
  for (const int result : {-1, -16}) {
    log_.clear();
    fake_i2c().requests.clear();
    fake_i2c().slave_answer = {result, EBUSY};
    EXPECT_EQ(camblock_i2c_open(2, kAddress, &fd_), result);
    EXPECT_THAT(log_.lines(),
                ElementsAre(Line{LOG_ERR, "Error I2C_SLAVE_FORCE Device or resource busy : res = " +
                                              std::to_string(result)}));
    EXPECT_THAT(fake_i2c().requests, ElementsAre("i2c-2 funcs", "i2c-2 slave 21"));
    EXPECT_GE(fd_, 0);
    EXPECT_NE(fd_, kUnopened) << "it was open";
  }
}

// Registers.

class CamblockRegisters : public Camblock {
 protected:
  CamblockRegisters() {
    EXPECT_EQ(camblock_i2c_open(2, kAddress, &fd_), 0);
    fake_i2c().requests.clear();
  }
  ~CamblockRegisters() override {
    EXPECT_NE(fcntl(fd_, F_GETFD), -1) << "it is the caller's to close";
    close(fd_);
  }

  static void hold(const FakeI2c::Value &bytes) { fake_i2c().registers[{0x05, kRegister}] = bytes; }
  static FakeI2c::Value held() { return fake_i2c().registers[{0x05, kRegister}]; }

  int fd_ = -1;
};

using CamblockReading = CamblockRegisters;
using CamblockWriting = CamblockRegisters;

TEST_F(CamblockReading, SetsTheDirectionAndTakesTheLowByteFirst) {
  hold({0x34, 0x12});
  guint16 value = kUnchanged;
  EXPECT_EQ(camblock_read_reg(fd_, kAddress, 0x85, kRegister, &value), 0);
  EXPECT_EQ(value, 0x1234);
  EXPECT_EQ(camblock_read_reg(fd_, kAddress, 0x05, kRegister, &value), 0);
  EXPECT_THAT(fake_i2c().requests, ElementsAre("i2c-2 21<85 10 21>2", "i2c-2 21<85 10 21>2"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(CamblockReading, SwappedLeavesTheDirectionAndTakesTheHighByteFirst) {
  hold({0x12, 0x34});
  guint16 value = kUnchanged;
  EXPECT_EQ(camblock_read_reg_swap(fd_, kAddress, 0x85, kRegister, &value), 0);
  EXPECT_EQ(value, 0x1234);
  EXPECT_EQ(camblock_read_reg_swap(fd_, kAddress, 0x05, kRegister, &value), 0);
  EXPECT_THAT(fake_i2c().requests, ElementsAre("i2c-2 21<85 10 21>2", "i2c-2 21<05 10 21>2"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(CamblockReading, TakesAnyValue) {
  for (const guint16 expected : {0x0000, 0x0001, 0x00FF, 0x0100, 0x8000, 0xFF00, 0xFFFF}) {
    const auto low = static_cast<guint8>(expected & 0xFF);
    const auto high = static_cast<guint8>(expected >> 8);
    guint16 value = kUnchanged;
    hold({low, high});
    EXPECT_EQ(camblock_read_reg(fd_, kAddress, kSubdevice, kRegister, &value), 0);
    EXPECT_EQ(value, expected);
    hold({high, low});
    EXPECT_EQ(camblock_read_reg_swap(fd_, kAddress, kSubdevice, kRegister, &value), 0);
    EXPECT_EQ(value, expected);
  }
}

TEST_F(CamblockReading, OfABufferTakesAsManyBytesAsAreWanted) {
  hold({1, 2, 3});
  std::array<guint8, 6> buffer{};
  buffer.fill(0x77);
  EXPECT_EQ(camblock_read_reg_buf(fd_, kAddress, 0x05, kRegister, buffer.data(), 5), 0);
  EXPECT_THAT(buffer, ElementsAre(1, 2, 3, 0xEE, 0xEE, 0x77));
  EXPECT_EQ(camblock_read_reg_buf(fd_, kAddress, 0x85, kRegister, buffer.data(), 1), 0);
  EXPECT_THAT(buffer, ElementsAre(1, kRegister, 3, 0xEE, 0xEE, 0x77)) << "the frame was there before";
  EXPECT_THAT(fake_i2c().requests, ElementsAre("i2c-2 21<05 10 21>5", "i2c-2 21<85 10 21>1"));
}

TEST_F(CamblockReading, OfABufferCanBeLong) {
  std::vector<guint8> buffer(0x0300);
  EXPECT_EQ(camblock_read_reg_buf(fd_, kAddress, 0x05, kRegister, buffer.data(), 0x0300), 0);
  EXPECT_THAT(fake_i2c().requests, ElementsAre("i2c-2 21<05 10 21>768"));
}

TEST_F(CamblockReading, LeavesTheFrameInTheBufferWhenTheDeviceSendsNothing) {
  fake_i2c().answer_transfer(1, {-1, EIO});
  std::array<guint8, 3> buffer{7, 7, 7};
  EXPECT_EQ(camblock_read_reg_buf(fd_, kAddress, kSubdevice, kRegister, buffer.data(), 2), -1);
  EXPECT_THAT(buffer, ElementsAre(kSubdevice, kRegister, 7));
}

TEST_F(CamblockWriting, ClearsTheDirectionAndSendsTheLowByteFirst) {
  EXPECT_EQ(camblock_write_reg(fd_, kAddress, 0x85, kRegister, 0x1234), 0);
  EXPECT_THAT(held(), ElementsAre(0x34, 0x12));
  EXPECT_EQ(camblock_write_reg(fd_, kAddress, 0x05, kRegister, 0x00FF), 0);
  EXPECT_THAT(fake_i2c().requests, ElementsAre("i2c-2 21<05 10 34 12", "i2c-2 21<05 10 ff 00"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(CamblockWriting, SwappedLeavesTheDirectionAndSendsTheHighByteFirst) {
  EXPECT_EQ(camblock_write_reg_swap(fd_, kAddress, 0x85, kRegister, 0x1234), 0);
  EXPECT_EQ(camblock_write_reg_swap(fd_, kAddress, 0x05, kRegister, 0x00FF), 0);
  EXPECT_THAT(fake_i2c().requests, ElementsAre("i2c-2 21<85 10 12 34", "i2c-2 21<05 10 00 ff"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(CamblockRegisters, AreOfTheDeviceThatIsNamed) {
  guint16 value = 0;
  EXPECT_EQ(camblock_read_reg(fd_, 0x7F, 0x00, 0xFF, &value), 0);
  EXPECT_EQ(camblock_write_reg(fd_, 0x03, 0x7F, 0x00, 0), 0);
  EXPECT_THAT(fake_i2c().requests, ElementsAre("i2c-2 7f<80 ff 7f>2", "i2c-2 03<7f 00 00 00"));
}

// Failures.

using Reading = int (*)(int, guint8, guint8, guint8, guint16 *);
using Writing = int (*)(int, guint8, guint8, guint8, guint16);

struct Failure {
  FakeI2c::Answer answer;
  std::string text;
};

class CamblockFailingToRead : public CamblockRegisters, public testing::WithParamInterface<Failure> {
 protected:
  void expect_failure(const std::function<int()> &read) {
    log_.clear();
    fake_i2c().requests.clear();
    fake_i2c().answer_transfer(1, GetParam().answer);
    EXPECT_EQ(read(), -1);
    EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "read_reg(read): ret = " + GetParam().text}));
    EXPECT_THAT(fake_i2c().requests, ElementsAre("i2c-2 21<85 10 21>2")) << "there is no second try";
  }
};

TEST_P(CamblockFailingToRead, IsToldOnce) {
  guint16 value = kUnchanged;
  for (const Reading read : {camblock_read_reg, camblock_read_reg_swap})
    expect_failure([&] { return read(fd_, kAddress, kSubdevice, kRegister, &value); });
  EXPECT_EQ(value, kUnchanged);
  std::array<guint8, 2> buffer{};
  expect_failure(
      [&] { return camblock_read_reg_buf(fd_, kAddress, kSubdevice, kRegister, buffer.data(), 2); });
}

INSTANTIATE_TEST_SUITE_P(Answers, CamblockFailingToRead,
                         testing::Values(Failure{{-1, EIO}, "-1, Input/output error"},
                                         Failure{{-1, EREMOTEIO}, "-1, Remote I/O error"},
                                         Failure{{-1, ENXIO}, "-1, No such device or address"},
                                         Failure{{-7, ETIMEDOUT}, "-7, Connection timed out"},
                                         Failure{{0, EAGAIN}, "0, Resource temporarily unavailable"},
                                         Failure{{1, EAGAIN}, "1, Resource temporarily unavailable"},
                                         Failure{{3, 0}, "3, Success"}));

class CamblockFailingToWrite : public CamblockRegisters, public testing::WithParamInterface<Failure> {};

TEST_P(CamblockFailingToWrite, IsToldOnce) {
  for (const Writing write : {camblock_write_reg, camblock_write_reg_swap}) {
    log_.clear();
    fake_i2c().requests.clear();
    fake_i2c().answer_transfer(1, GetParam().answer);
    EXPECT_EQ(write(fd_, kAddress, 0x05, kRegister, 0x1234), GetParam().answer.result);
    EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "write_reg(read): ret = " + GetParam().text}));
    EXPECT_EQ(fake_i2c().requests.size(), 1U) << "there is no second try";
  }
}

INSTANTIATE_TEST_SUITE_P(Answers, CamblockFailingToWrite,
                         testing::Values(Failure{{-1, EIO}, "-1, Input/output error"},
                                         Failure{{-1, EREMOTEIO}, "-1, Remote I/O error"},
                                         Failure{{-1, ENXIO}, "-1, No such device or address"},
                                         Failure{{-7, ETIMEDOUT}, "-7, Connection timed out"}));

TEST_F(CamblockWriting, HasSucceededUnlessTheResultIsNegative) {
  for (const int result : {0, 1, 2}) {
    for (const Writing write : {camblock_write_reg, camblock_write_reg_swap}) {
      fake_i2c().answer_transfer(1, {result, EIO});
      EXPECT_EQ(write(fd_, kAddress, 0x05, kRegister, 1), 0) << result;
    }
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(CamblockRegisters, FailWithADescriptorThatIsNotOpen) {
  guint16 value = kUnchanged;
  EXPECT_EQ(camblock_read_reg(-1, kAddress, kSubdevice, kRegister, &value), -1);
  EXPECT_EQ(camblock_write_reg(-1, kAddress, kSubdevice, kRegister, 1), -1);
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "read_reg(read): ret = -1, Bad file descriptor"},
                                        Line{LOG_ERR, "write_reg(read): ret = -1, Bad file descriptor"}));
}

}  // namespace
