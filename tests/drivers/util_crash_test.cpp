// A writer is killed again and again: at any moment, the file is one of the versions that were written.

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <random>
#include <string>
#include <thread>

#include "daemon/util.h"
#include "support/key_files.h"
#include "support/light_files.h"

namespace {

using std::chrono::microseconds;
using std::chrono::steady_clock;

constexpr const char *kPath = "/etc/beamd/led0.conf";
constexpr const char *kGroup = "common";

/// What the writer tells, also from beyond the grave.
struct Progress {
  std::atomic<int> begun;
  std::atomic<int> done;
};

class SharedProgress {
 public:
  SharedProgress()
      : memory_{mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)},
        progress_{new (memory_) Progress{}} {}
  ~SharedProgress() { munmap(memory_, sizeof(Progress)); }
  SharedProgress(const SharedProgress &) = delete;
  SharedProgress &operator=(const SharedProgress &) = delete;

  Progress *operator->() const { return progress_; }

 private:
  void *memory_;
  Progress *progress_;
};

std::string key_name(int number) { return "key" + std::to_string(number); }

/// Every key of a version has the same value.
KeyFile version_file(int version, int keys) {
  auto key_file = new_key_file();
  for (int i = 0; i < keys; ++i)
    g_key_file_set_integer(key_file.get(), kGroup, key_name(i).c_str(), version);
  return key_file;
}

/// The version at kPath; -1 when it is none, or not one version throughout.
int stored_version(int keys) {
  const auto key_file = new_key_file();
  g_autoptr(GError) error = nullptr;
  if (!g_key_file_load_from_file(key_file.get(), kPath, G_KEY_FILE_NONE, &error)) {
    ADD_FAILURE() << error->message;
    return -1;
  }
  const std::string first = raw_value(key_file.get(), kGroup, key_name(0).c_str());
  for (int i = 1; i < keys; ++i) {
    const std::string value = raw_value(key_file.get(), kGroup, key_name(i).c_str());
    if (value != first) {
      ADD_FAILURE() << key_name(0) << " is " << first << ", " << key_name(i) << " is " << value;
      return -1;
    }
  }
  return std::stoi(first);
}

[[noreturn]] void write_versions(int first, int keys, const SharedProgress &progress) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  for (int version = first;; ++version) {
    const auto key_file = version_file(version, keys);
    progress->begun = version;
    if (!util_store_key_file(kPath, key_file.get()))
      _exit(1);
    progress->done = version;
  }
}

/// Short pauses are spent awake: a sleep lasts too long to hit a write in its middle.
void pause(microseconds time) {
  const auto end = steady_clock::now() + time;
  if (time > microseconds{500})
    std::this_thread::sleep_for(time);
  while (steady_clock::now() < end) {
  }
}

struct Round {
  const char *name;
  int kills;
  int keys;
  microseconds longest_pause;
};

void PrintTo(const Round &round, std::ostream *stream) { *stream << round.name; }

class KilledWriter : public testing::TestWithParam<Round> {
 protected:
  void SetUp() override {
    // The writer replaces this file but never creates it.
    write_file(kPath, text_of(version_file(0, GetParam().keys)));
  }

  void TearDown() override {
    std::filesystem::remove(kPath);
    std::filesystem::remove(std::string{kPath} + ".tmp");
  }

  /// Starts a writer that begins with version @p first, and kills it @p delay after it has begun to write.
  void kill_writer(int first, microseconds delay) {
    const pid_t writer = fork();
    ASSERT_GE(writer, 0);
    if (writer == 0)
      write_versions(first, GetParam().keys, progress_);

    while (progress_->begun < first && waitpid(writer, nullptr, WNOHANG) == 0)
      std::this_thread::yield();
    pause(delay);
    kill(writer, SIGKILL);
    int status = 0;
    ASSERT_EQ(waitpid(writer, &status, 0), writer);
    ASSERT_TRUE(WIFSIGNALED(status)) << "the writer could not write";
  }

  SharedProgress progress_;
};

TEST_P(KilledWriter, LeavesAWholeVersion) {
  const auto &[name, kills, keys, longest_pause] = GetParam();
  std::mt19937 random{1};
  std::uniform_int_distribution<microseconds::rep> any_pause{0, longest_pause.count()};
  int last = 0;
  int in_the_middle = 0;

  for (int i = 0; i < kills; ++i) {
    ASSERT_NO_FATAL_FAILURE(kill_writer(progress_->begun + 1, microseconds{any_pause(random)}));
    const int version = stored_version(keys);
    ASSERT_GE(version, last) << "kill " << i << " brought an older version back";
    ASSERT_GE(version, progress_->done) << "kill " << i << " lost a version that was stored";
    ASSERT_LE(version, progress_->begun);
    in_the_middle += progress_->begun > progress_->done;
    last = version;
  }

  EXPECT_GT(in_the_middle, 0) << "the writer was never writing when it was killed";
}

INSTANTIATE_TEST_SUITE_P(Sizes, KilledWriter,
                         testing::Values(Round{"AtOnce", 200, 40, microseconds{30}},
                                         Round{"SmallFile", 300, 40, microseconds{1000}},
                                         Round{"LargeFile", 100, 4000, microseconds{10000}}),
                         [](const auto &info) { return info.param.name; });

}  // namespace
