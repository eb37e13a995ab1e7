// Runs in a sandbox, where /dev is the test's own.

#include "support/ioctl_supervisor.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace {

constexpr unsigned kAnswered = 0x4b01;
constexpr unsigned kNested = 0x4b02;
constexpr unsigned kUnlisted = 0x4b03;
constexpr auto kDevice = "/dev/supervised0";
constexpr int kTimeoutMs = 10'000;

struct Nested {
  char *text;
  std::uint64_t size;
};

class IoctlSupervisor : public testing::Test {
 protected:
  void SetUp() override {
    const UniqueFd device{open(kDevice, O_CREAT | O_RDWR | O_TRUNC, 0600)};
    ASSERT_EQ(fchmod(device.get(), 0666), 0);
  }
  void TearDown() override { unlink(kDevice); }

  static int run(const std::function<int()> &body, const IoctlHandler &handler) {
    auto process = SupervisedProcess::start(body, {kAnswered, kNested});
    return process ? process->serve_until_end(handler) : -1;
  }
};

int call_device(unsigned request, void *argument = nullptr) {
  const UniqueFd device{open(kDevice, O_RDWR)};
  return ioctl(device.get(), request, argument);
}

bool become_light() {
  const passwd *user = getpwnam("light");
  return user && setgid(user->pw_gid) == 0 && initgroups("light", user->pw_gid) == 0 &&
         setuid(user->pw_uid) == 0 && getuid() != 0;
}

TEST_F(IoctlSupervisor, HandlerSeesPathRequestAndArgument) {
  std::string path;
  std::uint32_t request = 0;
  std::uint64_t argument = 0;
  const int status = run([] { return call_device(kAnswered, reinterpret_cast<void *>(0x1234)); },
                         [&](const IoctlCall &call) {
                           path = call.path();
                           request = call.request();
                           argument = call.argument();
                           return IoctlResult::value(42);
                         });
  EXPECT_EQ(status, 42);
  EXPECT_EQ(path, kDevice);
  EXPECT_EQ(request, kAnswered);
  EXPECT_EQ(argument, 0x1234u);
}

TEST_F(IoctlSupervisor, FollowsPointersBothWays) {
  const auto body = [] {
    char text[] = "question";
    Nested nested{text, sizeof text};
    if (call_device(kNested, &nested) != 0)
      return 1;
    return std::strcmp(text, "answer") == 0 && nested.size == 6 ? 0 : 2;
  };
  std::string question;
  const int status = run(body, [&](const IoctlCall &call) {
    auto nested = call.read<Nested>(call.argument());
    if (!nested)
      return IoctlResult::failure(EFAULT);
    question.resize(nested->size - 1);
    const auto text = reinterpret_cast<std::uintptr_t>(nested->text);
    nested->size = 6;
    const bool copied = call.read_bytes(text, question.data(), question.size()) &&
                        call.write_bytes(text, "answer", sizeof "answer") &&
                        call.write(call.argument(), *nested);
    return copied ? IoctlResult::value(0) : IoctlResult::failure(EFAULT);
  });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(question, "question");
}

TEST_F(IoctlSupervisor, ReportsBadAddresses) {
  bool readable = true;
  bool writable = true;
  run([] { return call_device(kAnswered, nullptr); },
      [&](const IoctlCall &call) {
        readable = call.read<int>(call.argument()).has_value();
        writable = call.write(call.argument(), 1);
        return IoctlResult::value(0);
      });
  EXPECT_FALSE(readable);
  EXPECT_FALSE(writable);
}

TEST_F(IoctlSupervisor, OtherRequestsGoToTheKernel) {
  int served = 0;
  const int status = run([] { return call_device(kUnlisted) == -1 ? errno : 0; },
                         [&](const IoctlCall &) {
                           ++served;
                           return IoctlResult::value(0);
                         });
  EXPECT_EQ(status, ENOTTY);
  EXPECT_EQ(served, 0);
}

TEST_F(IoctlSupervisor, HandlerCanPassACallOn) {
  const int status = run([] { return call_device(kAnswered) == -1 ? errno : 0; },
                         [](const IoctlCall &) { return IoctlResult::pass_on(); });
  EXPECT_EQ(status, ENOTTY);
}

TEST_F(IoctlSupervisor, FailuresArriveInErrno) {
  const int status = run([] { return call_device(kAnswered) == -1 ? errno : 0; },
                         [](const IoctlCall &) { return IoctlResult::failure(EREMOTEIO); });
  EXPECT_EQ(status, EREMOTEIO);
}

TEST_F(IoctlSupervisor, StillServesAfterThePrivilegesAreDropped) {
  const auto body = [] {
    if (!become_light())
      return 1;
    int value = 0;
    return call_device(kAnswered, &value) == 0 ? value : 2;
  };
  std::string path;
  const int status = run(body, [&](const IoctlCall &call) {
    path = call.path();
    return call.write(call.argument(), 7) ? IoctlResult::value(0) : IoctlResult::failure(EFAULT);
  });
  EXPECT_EQ(status, 7);
  EXPECT_EQ(path, kDevice);
}

TEST_F(IoctlSupervisor, NoticesTheEnd) {
  const auto handler = [](const IoctlCall &) { return IoctlResult::value(0); };
  auto process = SupervisedProcess::start([] { return pause(); }, {kAnswered});
  ASSERT_TRUE(process);
  EXPECT_EQ(process->serve(handler, 0), SupervisedProcess::Event::kTimeout);
  kill(process->pid(), SIGTERM);
  EXPECT_EQ(process->serve(handler, kTimeoutMs), SupervisedProcess::Event::kEnded);
  EXPECT_EQ(process->wait(), 128 + SIGTERM);
}

TEST_F(IoctlSupervisor, KillsWhatIsStillRunning) {
  auto process = SupervisedProcess::start([] { return pause(); }, {kAnswered});
  ASSERT_TRUE(process);
  const pid_t pid = process->pid();
  process.reset();
  EXPECT_EQ(kill(pid, 0), -1);
  EXPECT_EQ(errno, ESRCH);
}

TEST_F(IoctlSupervisor, RunsPrograms) {
  const auto handler = [](const IoctlCall &) { return IoctlResult::value(0); };
  EXPECT_EQ(run(execute({"sh", "-c", "exit 9"}), handler), 9);
  EXPECT_EQ(run(execute({"/nowhere/to/be/found"}), handler), 127);
}

}  // namespace
