#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "daemon/util.h"
#include "support/key_files.h"
#include "support/light_files.h"
#include "support/syslog_capture.h"

namespace {

struct SyncCalls {
  std::vector<std::string> calls;  ///< "sync file", "rename FROM TO", "sync folder"
  bool file_fails = false;
  bool folder_fails = false;
};

SyncCalls sync_calls;

int fail_sync() {
  errno = EIO;
  return -1;
}

}  // namespace

// These two take the place of the C library's.
extern "C" int fsync(int descriptor) {
  struct stat status {};
  const bool folder = fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode);
  sync_calls.calls.emplace_back(folder ? "sync folder" : "sync file");
  if (folder ? sync_calls.folder_fails : sync_calls.file_fails)
    return fail_sync();
  return static_cast<int>(syscall(SYS_fsync, descriptor));
}

extern "C" int rename(const char *from, const char *to) noexcept {
  sync_calls.calls.push_back(std::string{"rename "} + from + " " + to);
  return renameat(AT_FDCWD, from, AT_FDCWD, to);
}

namespace {

namespace fs = std::filesystem;
using Line = SyslogCapture::Line;
using Lines = std::vector<Line>;

constexpr const char *kPath = "/etc/beamd/led0.conf";
constexpr const char *kTemporary = "/etc/beamd/led0.conf.tmp";
constexpr const char *kElsewhere = "/run/elsewhere";
constexpr const char *kOld = "[common]\nintensity=1\n";
constexpr const char *kNew = "[common]\nintensity=80\n";
constexpr uid_t kUserLight = 810;
constexpr std::size_t kLongestTarget = 254;

bool store(const std::string &path, const std::string &text = kNew) {
  return util_store_key_file(path.c_str(), parsed(text).get());
}

mode_t mode_of(const std::string &path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0);
  return status.st_mode & 07777;
}

auto open_descriptors() {
  return std::distance(fs::directory_iterator{"/proc/self/fd"}, fs::directory_iterator{});
}

/// A file system of its own on kElsewhere.
class Mount {
 public:
  explicit Mount(const char *options) {
    fs::create_directories(kElsewhere);
    EXPECT_EQ(mount("tmpfs", kElsewhere, "tmpfs", 0, options), 0) << "run with tests/support/in_sandbox";
  }
  ~Mount() { umount2(kElsewhere, MNT_DETACH); }
  Mount(const Mount &) = delete;
  Mount &operator=(const Mount &) = delete;
};

/// Writes until the disk is full, and then gives @p spare bytes back.
void fill_disk(std::size_t spare = 0) {
  const std::string path = std::string{kElsewhere} + "/filler";
  std::ofstream filler{path};
  while (filler.put('x').flush()) {
  }
  filler.close();
  fs::resize_file(path, fs::file_size(path) - spare);
}

/// A path of exactly @p length characters whose folder exists.
std::string path_of_length(std::size_t length) {
  const std::string folder = std::string{kElsewhere} + "/" + std::string(100, 'd');
  fs::create_directories(folder);
  return folder + "/" + std::string(length - folder.size() - 1, 'f');
}

class StoreKeyFile : public testing::Test {
 protected:
  void SetUp() override {
    sync_calls = {};
    fs::create_directories(kElsewhere);
    write_file(kPath, kOld);
    descriptors_ = open_descriptors();
  }

  void TearDown() override {
    EXPECT_EQ(open_descriptors(), descriptors_) << "a descriptor stays open";
    fs::remove_all(kPath);
    fs::remove_all(kTemporary);
    fs::remove_all(kElsewhere);
  }

  void link_to(const std::string &target) {
    fs::remove(kPath);
    fs::create_symlink(target, kPath);
  }

  SyslogCapture log_;
  std::ptrdiff_t descriptors_ = 0;
};

using StoreKeyFileDeathTest = StoreKeyFile;

TEST_F(StoreKeyFile, ReplacesTheContent) {
  EXPECT_TRUE(store(kPath, "[common]\nintensity=80\n\n[zoom]\nangleofillumination=5\n"));

  EXPECT_EQ(read_file(kPath), "[common]\nintensity=80\n\n[zoom]\nangleofillumination=5\n");
  EXPECT_FALSE(fs::exists(kTemporary));
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(StoreKeyFile, WritesSyncsRenamesAndSyncsInThisOrder) {
  EXPECT_TRUE(store(kPath));

  EXPECT_EQ(sync_calls.calls,
            (std::vector<std::string>{"sync file", "rename /etc/beamd/led0.conf.tmp /etc/beamd/led0.conf",
                                      "sync folder"}));
}

TEST_F(StoreKeyFile, TheNewFileIsForItsOwnerAlone) {
  fs::permissions(kPath, fs::perms::all);
  const mode_t mask = umask(0);

  EXPECT_TRUE(store(kPath));

  umask(mask);
  EXPECT_EQ(mode_of(kPath), 0600U);
}

TEST_F(StoreKeyFile, AnEmptyKeyFileBecomesAnEmptyFile) {
  EXPECT_TRUE(store(kPath, ""));

  EXPECT_EQ(read_file(kPath), "");
}

TEST_F(StoreKeyFile, ALargeKeyFileIsWrittenWhole) {
  const std::string text = "[common]\nlong=" + std::string(300'000, 'x') + "\nlast=1\n";

  EXPECT_TRUE(store(kPath, text));

  EXPECT_EQ(read_file(kPath), text);
}

TEST_F(StoreKeyFile, ALeftoverTemporaryFileIsReplaced) {
  write_file(kTemporary, std::string(5000, 'x'));

  EXPECT_TRUE(store(kPath));

  EXPECT_EQ(read_file(kPath), kNew);
  EXPECT_FALSE(fs::exists(kTemporary));
}

TEST_F(StoreKeyFile, ALeftoverThatOnlyRootCanOpenIsReplaced) {
  const std::string path = std::string{kElsewhere} + "/led0.conf";
  write_file(path, kOld);
  write_file(path + ".tmp", "half a");
  ASSERT_EQ(chmod((path + ".tmp").c_str(), 0600), 0);
  ASSERT_EQ(chown(kElsewhere, kUserLight, 0), 0);

  ASSERT_EQ(seteuid(kUserLight), 0);
  const bool stored = store(path);
  ASSERT_EQ(seteuid(0), 0);

  EXPECT_TRUE(stored);
  EXPECT_EQ(read_file(path), kNew);
}

TEST_F(StoreKeyFile, AMissingFileIsNotCreated) {
  fs::remove(kPath);

  EXPECT_FALSE(store(kPath));

  EXPECT_EQ(log_.lines(), (Lines{{LOG_ERR, "Store state failed: readlink"}}));
  EXPECT_TRUE(fs::is_empty("/etc/beamd"));
}

TEST_F(StoreKeyFile, ThroughALinkTheTargetIsReplacedAndTheLinkStays) {
  const std::string target = std::string{kElsewhere} + "/state.conf";
  write_file(target, kOld);
  link_to(target);

  EXPECT_TRUE(store(kPath));

  EXPECT_EQ(fs::read_symlink(kPath), target);
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(target)));
  EXPECT_EQ(read_file(target), kNew);
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(StoreKeyFile, OnlyTheFirstOfTwoLinksIsFollowed) {
  const std::string first = std::string{kElsewhere} + "/first";
  const std::string second = std::string{kElsewhere} + "/second";
  write_file(second, kOld);
  fs::create_symlink(second, first);
  link_to(first);

  EXPECT_TRUE(store(kPath));

  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(first)));
  EXPECT_EQ(read_file(first), kNew);
  EXPECT_EQ(read_file(second), kOld);
}

TEST_F(StoreKeyFile, ARelativeLinkIsRelativeToTheWorkingDirectory) {
  const auto before = fs::current_path();
  write_file(std::string{kElsewhere} + "/state.conf", kOld);
  write_file("/etc/beamd/state.conf", kOld);
  link_to("state.conf");
  fs::current_path(kElsewhere);

  const bool stored = store(kPath);
  fs::current_path(before);

  EXPECT_TRUE(stored);
  EXPECT_EQ(read_file(std::string{kElsewhere} + "/state.conf"), kNew);
  EXPECT_EQ(read_file("/etc/beamd/state.conf"), kOld);
  EXPECT_EQ(fs::read_symlink(kPath), "state.conf");
  fs::remove("/etc/beamd/state.conf");
}

TEST_F(StoreKeyFile, TheFolderOfABareNameIsTheWorkingDirectory) {
  const auto before = fs::current_path();
  fs::current_path(kElsewhere);
  write_file("state.conf", kOld);
  sync_calls.folder_fails = true;

  const bool stored = store("state.conf");
  fs::current_path(before);

  EXPECT_FALSE(stored);
  EXPECT_EQ(log_.lines(), (Lines{{LOG_ERR, "fsync . failed"}}));
}

TEST_F(StoreKeyFile, ATargetOf254CharactersWorks) {
  const std::string path = path_of_length(kLongestTarget);
  write_file(path, kOld);

  EXPECT_TRUE(store(path));

  EXPECT_EQ(read_file(path), kNew);
}

TEST_F(StoreKeyFile, ALinkTo254CharactersWorks) {
  const std::string target = path_of_length(kLongestTarget);
  write_file(target, kOld);
  link_to(target);

  EXPECT_TRUE(store(kPath));

  EXPECT_EQ(read_file(target), kNew);
}

constexpr const char *kTooLong =
    "util\\.?[a-z]*:[0-9]+:.*util_store_key_file.*: assertion failed: "
    "\\(\\(guint\\)realfilepathlen < sizeof realfilepath - 1\\)";

TEST_F(StoreKeyFileDeathTest, ATargetOf255CharactersAborts) {
  const std::string path = path_of_length(kLongestTarget + 1);
  write_file(path, kOld);

  EXPECT_DEATH(store(path), kTooLong);

  EXPECT_EQ(read_file(path), kOld);
}

TEST_F(StoreKeyFileDeathTest, ATargetLongerThanTheBufferAborts) {
  const std::string path = path_of_length(300);
  write_file(path, kOld);

  EXPECT_DEATH(store(path), kTooLong);
}

TEST_F(StoreKeyFileDeathTest, ALinkTo255CharactersAborts) {
  link_to(path_of_length(kLongestTarget + 1));
  EXPECT_DEATH(store(kPath), kTooLong);
}

TEST_F(StoreKeyFileDeathTest, ALinkLongerThanTheBufferAborts) {
  link_to(path_of_length(300));
  EXPECT_DEATH(store(kPath), kTooLong);
}

TEST_F(StoreKeyFile, InAReadOnlyFolderNoTemporaryFileCanBeMade) {
  const Mount own{"size=64k"};
  const std::string path = std::string{kElsewhere} + "/led0.conf";
  write_file(path, kOld);
  ASSERT_EQ(mount("none", kElsewhere, "none", MS_REMOUNT | MS_RDONLY, "size=64k"), 0);

  EXPECT_FALSE(store(path));

  EXPECT_EQ(log_.lines(), (Lines{{LOG_ERR, "Could not create temp file for state write"}}));
  EXPECT_EQ(read_file(path), kOld);
}

TEST_F(StoreKeyFile, ALinkIntoAFolderThatIsNotThereFails) {
  link_to("/run/nowhere/led0.conf");

  EXPECT_FALSE(store(kPath));

  EXPECT_EQ(log_.lines(), (Lines{{LOG_ERR, "Could not create temp file for state write"}}));
}

TEST_F(StoreKeyFile, OnAFullDiskTheOldContentSurvives) {
  const Mount own{"size=64k"};
  const std::string path = std::string{kElsewhere} + "/led0.conf";
  write_file(path, kOld);
  fill_disk();

  EXPECT_FALSE(store(path));

  EXPECT_EQ(log_.lines(), (Lines{{LOG_ERR, "failed writing file"}}));
  EXPECT_EQ(read_file(path), kOld);
  EXPECT_TRUE(fs::exists(path + ".tmp"));
  EXPECT_EQ(sync_calls.calls, std::vector<std::string>{});
}

TEST_F(StoreKeyFile, WhenTheDiskFillsUpTheOldContentSurvives) {
  const Mount own{"size=64k"};
  const std::string path = std::string{kElsewhere} + "/led0.conf";
  write_file(path, kOld);
  fill_disk(8192);

  EXPECT_FALSE(store(path, "[common]\nlong=" + std::string(20'000, 'x') + "\n"));

  EXPECT_EQ(log_.lines(), (Lines{{LOG_ERR, "failed writing file"}}));
  EXPECT_EQ(read_file(path), kOld);
}

TEST_F(StoreKeyFile, WhatCannotBeSyncedIsNotUsed) {
  sync_calls.file_fails = true;

  EXPECT_FALSE(store(kPath));

  EXPECT_EQ(log_.lines(), (Lines{{LOG_ERR, "failed to sync state tmp file"}}));
  EXPECT_EQ(read_file(kPath), kOld);
  EXPECT_EQ(sync_calls.calls, std::vector<std::string>{"sync file"});
}

TEST_F(StoreKeyFile, ATargetThatCannotBeReplacedKeepsItsContent) {
  ASSERT_EQ(mount(kPath, kPath, "none", MS_BIND, nullptr), 0) << "run with tests/support/in_sandbox";

  const bool stored = store(kPath);
  ASSERT_EQ(umount2(kPath, MNT_DETACH), 0);

  EXPECT_FALSE(stored);
  EXPECT_EQ(log_.lines(), (Lines{{LOG_ERR, "Failed to rename new state file"}}));
  EXPECT_EQ(read_file(kPath), kOld);
}

TEST_F(StoreKeyFile, AFolderThatCannotBeOpenedIsAFailureThoughTheContentIsNew) {
  const std::string path = std::string{kElsewhere} + "/led0.conf";
  write_file(path, kOld);
  ASSERT_EQ(chown(kElsewhere, kUserLight, 0), 0);
  ASSERT_EQ(chmod(kElsewhere, 0300), 0);

  ASSERT_EQ(seteuid(kUserLight), 0);
  const bool stored = store(path);
  ASSERT_EQ(seteuid(0), 0);

  EXPECT_FALSE(stored);
  EXPECT_EQ(log_.lines(), (Lines{{LOG_ERR, "open /run/elsewhere failed"}}));
  EXPECT_EQ(read_file(path), kNew);
}

TEST_F(StoreKeyFile, AFolderThatCannotBeSyncedIsAFailureThoughTheContentIsNew) {
  sync_calls.folder_fails = true;

  EXPECT_FALSE(store(kPath));

  EXPECT_EQ(log_.lines(), (Lines{{LOG_ERR, "fsync /etc/beamd failed"}}));
  EXPECT_EQ(read_file(kPath), kNew);
  EXPECT_FALSE(fs::exists(kTemporary));
}

TEST_F(StoreKeyFile, ThroughALinkTheFolderOfTheTargetIsSynced) {
  const std::string target = std::string{kElsewhere} + "/state.conf";
  write_file(target, kOld);
  link_to(target);
  sync_calls.folder_fails = true;

  EXPECT_FALSE(store(kPath));

  EXPECT_EQ(log_.lines(), (Lines{{LOG_ERR, "fsync /run/elsewhere failed"}}));
}

TEST_F(StoreKeyFile, NeedsAPathAndAKeyFile) {
  g_test_expect_message("beamd", G_LOG_LEVEL_CRITICAL, "*path != nullptr*");
  EXPECT_FALSE(util_store_key_file(nullptr, parsed(kNew).get()));
  g_test_expect_message("beamd", G_LOG_LEVEL_CRITICAL, "*key_file != nullptr*");
  EXPECT_FALSE(util_store_key_file(kPath, nullptr));
  g_test_assert_expected_messages();
  EXPECT_EQ(read_file(kPath), kOld);
}

}  // namespace
