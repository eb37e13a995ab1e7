// Register access as the kernel sees it: each request of a process is stopped on its way there, and its
// messages are read from the process's memory.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "drivers/camblock.h"
#include "support/ioctl_supervisor.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;

constexpr auto kBus = "/dev/i2c-3";
constexpr guint8 kAddress = 0x21;
constexpr guint8 kSubdevice = 0x85;
constexpr guint8 kRegister = 0x10;

/// What a process asked of the bus.
struct Request {
  std::string path;
  std::uint32_t number;
  std::vector<Bytes> written;  ///< by each message of a transfer
  std::vector<int> lengths;    ///< of each message

  bool operator==(const Request &) const = default;
};

/// What the operation under test came to, told by the process that called it.
struct Outcome {
  int result = 0;
  guint16 value = 0;
};

class CamblockAtTheKernel : public testing::Test {
 protected:
  void SetUp() override { close(open(kBus, O_CREAT | O_RDWR | O_TRUNC | O_CLOEXEC, 0600)); }
  void TearDown() override { unlink(kBus); }

  /// Opens the bus and runs @p operation on it in a process of its own. Transfers get @p answers in turn,
  /// then succeed; a read gets the bytes 0x34 0x12.
  Outcome run(const std::function<int(int fd, guint16 *value)> &operation,
              std::deque<IoctlResult> answers = {}) {
    answers_ = std::move(answers);
    const auto body = [&] {
      int fd = -1;
      if (camblock_i2c_open(3, kAddress, &fd) == 0)
        outcome_->result = operation(fd, &outcome_->value);
      return 0;
    };
    auto process = SupervisedProcess::start(body, {I2C_FUNCS, I2C_SLAVE_FORCE, I2C_RDWR});
    EXPECT_TRUE(process.has_value());
    if (process)
      EXPECT_EQ(process->serve_until_end([this](const IoctlCall &call) { return serve(call); }), 0);
    return *outcome_;
  }

  /// The transfers, without what opened the bus.
  std::vector<Request> transfers() const {
    return {requests_.begin() + std::min<std::ptrdiff_t>(2, std::ssize(requests_)), requests_.end()};
  }

  std::vector<Request> requests_;

 private:
  IoctlResult serve(const IoctlCall &call) {
    Request request{call.path(), call.request(), {}, {}};
    if (call.request() == I2C_SLAVE_FORCE)
      request.lengths = {static_cast<int>(call.argument())};
    if (call.request() != I2C_RDWR) {
      requests_.push_back(request);
      return IoctlResult::value(0);
    }

    const auto transfer = call.read<i2c_rdwr_ioctl_data>(call.argument()).value_or(i2c_rdwr_ioctl_data{});
    for (std::uint32_t i = 0; i < transfer.nmsgs; ++i)
      pass(call, call.read<i2c_msg>(reinterpret_cast<std::uintptr_t>(transfer.msgs + i)).value_or(i2c_msg{}),
           &request);
    requests_.push_back(request);
    if (answers_.empty())
      return IoctlResult::value(static_cast<int>(transfer.nmsgs));
    const IoctlResult answer = answers_.front();
    answers_.pop_front();
    return answer;
  }

  static void pass(const IoctlCall &call, const i2c_msg &message, Request *request) {
    EXPECT_EQ(message.addr, kAddress);
    const auto address = reinterpret_cast<std::uintptr_t>(message.buf);
    request->lengths.push_back(message.len);
    if (message.flags == I2C_M_RD) {
      const Bytes value = {0x34, 0x12};
      EXPECT_TRUE(call.write_bytes(address, value.data(), value.size()));
      return;
    }
    EXPECT_EQ(message.flags, 0);
    Bytes bytes(message.len);
    EXPECT_TRUE(call.read_bytes(address, bytes.data(), bytes.size()));
    request->written.push_back(bytes);
  }

  std::deque<IoctlResult> answers_;
  Outcome *outcome_ =
      new (mmap(nullptr, sizeof(Outcome), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
          Outcome;  // shared with the process; the test program ends soon
};

int write_plain(int fd, guint16 *) { return camblock_write_reg(fd, kAddress, kSubdevice, kRegister, 0x1234); }
int write_swapped(int fd, guint16 *) {
  return camblock_write_reg_swap(fd, kAddress, kSubdevice, kRegister, 0x1234);
}
int read_plain(int fd, guint16 *value) { return camblock_read_reg(fd, kAddress, 0x05, kRegister, value); }
int read_swapped(int fd, guint16 *value) {
  return camblock_read_reg_swap(fd, kAddress, 0x05, kRegister, value);
}

TEST_F(CamblockAtTheKernel, IsAddressedBeforeAnythingElse) {
  run([](int, guint16 *) { return 0; });
  EXPECT_THAT(requests_,
              ElementsAre(Request{kBus, I2C_FUNCS, {}, {}}, Request{kBus, I2C_SLAVE_FORCE, {}, {kAddress}}));
}

TEST_F(CamblockAtTheKernel, PlainWriteClearsBit7AndSendsTheLowByteFirst) {
  EXPECT_EQ(run(write_plain).result, 0);
  EXPECT_THAT(transfers(), ElementsAre(Request{kBus, I2C_RDWR, {{0x05, 0x10, 0x34, 0x12}}, {4}}));
}

TEST_F(CamblockAtTheKernel, SwappedWriteSendsTheHighByteFirst) {
  EXPECT_EQ(run(write_swapped).result, 0);
  EXPECT_THAT(transfers(), ElementsAre(Request{kBus, I2C_RDWR, {{0x85, 0x10, 0x12, 0x34}}, {4}}));
}

TEST_F(CamblockAtTheKernel, PlainReadSetsBit7AndGetsTheLowByteFirst) {
  const Outcome outcome = run(read_plain);
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.value, 0x1234);
  EXPECT_THAT(transfers(), ElementsAre(Request{kBus, I2C_RDWR, {{0x85, 0x10}}, {2, 2}}));
}

TEST_F(CamblockAtTheKernel, SwappedReadGetsTheHighByteFirst) {
  const Outcome outcome = run(read_swapped);
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.value, 0x3412);
  EXPECT_THAT(transfers(), ElementsAre(Request{kBus, I2C_RDWR, {{0x05, 0x10}}, {2, 2}}));
}

TEST_F(CamblockAtTheKernel, BufferHoldsTheFrameAndThenTheData) {
  const Outcome outcome = run([](int fd, guint16 *value) {
    guint8 buffer[2] = {};
    const int result = camblock_read_reg_buf(fd, kAddress, 0x05, kRegister, buffer, sizeof buffer);
    *value = static_cast<guint16>(buffer[0] << 8 | buffer[1]);
    return result;
  });
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.value, 0x3412) << "first 0x34, then 0x12";
  EXPECT_THAT(transfers(), ElementsAre(Request{kBus, I2C_RDWR, {{0x05, 0x10}}, {2, 2}}));
}

TEST_F(CamblockAtTheKernel, FailedTransfersAreNotRepeated) {
  for (const int error : {EIO, EREMOTEIO, ENXIO}) {
    for (const auto &operation : {write_plain, write_swapped, read_plain, read_swapped}) {
      requests_.clear();
      EXPECT_EQ(run(operation, {IoctlResult::failure(error)}).result, -1) << error;
      EXPECT_EQ(transfers().size(), 1U) << error;
    }
  }
}

TEST_F(CamblockAtTheKernel, ReadNeedsBothMessages) {
  for (const int passed : {0, 1, 3}) {
    EXPECT_EQ(run(read_plain, {IoctlResult::value(passed)}).result, -1) << passed;
    EXPECT_EQ(run(read_swapped, {IoctlResult::value(passed)}).result, -1) << passed;
  }
}

TEST_F(CamblockAtTheKernel, WriteIsDoneWhateverTheKernelCounts) {
  for (const int passed : {0, 1, 2}) {
    EXPECT_EQ(run(write_plain, {IoctlResult::value(passed)}).result, 0) << passed;
    EXPECT_EQ(run(write_swapped, {IoctlResult::value(passed)}).result, 0) << passed;
  }
}

TEST_F(CamblockAtTheKernel, IsNotAskedWhenThereIsNoBus) {
  unlink(kBus);
  run([](int, guint16 *) { return 0; });
  EXPECT_THAT(requests_, IsEmpty());
}

}  // namespace
