#include "daemon/util.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/bootblock.h"
#include "support/key_files.h"
#include "support/light_files.h"
#include "support/syslog_capture.h"

namespace {

struct Bootblock {
  std::optional<std::string> value;
  int error = ENOENT;
  std::string asked_for;
};

Bootblock bootblock;

}  // namespace

char *bootblock_get(const char *name) {
  bootblock.asked_for = name;
  errno = bootblock.error;
  return bootblock.value ? strdup(bootblock.value->c_str()) : nullptr;
}

namespace {

namespace fs = std::filesystem;
using Line = SyslogCapture::Line;
using Lines = std::vector<Line>;

constexpr const char *kPath = "/etc/beamd/led0.conf";
constexpr uid_t kUserLight = 810;

/// What GLib says about @p text.
std::string parse_error(const std::string &text) {
  const auto key_file = new_key_file();
  g_autoptr(GError) error = nullptr;
  EXPECT_FALSE(g_key_file_load_from_data(key_file.get(), text.data(), text.size(), G_KEY_FILE_NONE, &error));
  return error ? error->message : "";
}

class LoadKeyFile : public testing::Test {
 protected:
  void TearDown() override { fs::remove_all(kPath); }

  SyslogCapture log_;
  KeyFile key_file_ = new_key_file();
};

TEST_F(LoadKeyFile, TakesAllGroupsAndKeys) {
  write_file(kPath, "[common]\nintensity=80\nledtype=IR\n\n[zoom]\nangleofillumination=50\n");

  EXPECT_TRUE(util_load_key_file(kPath, key_file_.get()));

  EXPECT_EQ(text_of(key_file_), "[common]\nintensity=80\nledtype=IR\n\n[zoom]\nangleofillumination=50\n");
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(LoadKeyFile, RefusesWhatWouldKeepItWaiting) {
  ASSERT_EQ(mkfifo(kPath, 0600), 0);
  EXPECT_FALSE(util_load_key_file(kPath, key_file_.get()));
  EXPECT_EQ(log_.lines(), (Lines{{LOG_ERR, "Could not open /etc/beamd/led0.conf: Invalid argument"}}));
}

TEST_F(LoadKeyFile, RefusesWhatIsLargerThanAnyConfiguration) {
  write_file(kPath, "[common]\n");
  fs::resize_file(kPath, (16ULL << 20) + 1);
  EXPECT_FALSE(util_load_key_file(kPath, key_file_.get()));
  EXPECT_EQ(log_.lines(), (Lines{{LOG_ERR, "Could not open /etc/beamd/led0.conf: File too large"}}));
}

TEST_F(LoadKeyFile, AFileThatIsLongerThanItsSizeTellsIsNotReadForEver) {
  fs::create_symlink("/proc/self/pagemap", kPath);  // size 0, and as long as the address space

  EXPECT_FALSE(util_load_key_file(kPath, key_file_.get()));
  EXPECT_EQ(log_.lines(), (Lines{{LOG_ERR, "Could not read /etc/beamd/led0.conf: File too large"}}));
}

TEST_F(LoadKeyFile, DropsCommentsAndTranslations) {
  write_file(kPath, "# first\n[common]\n# second\nname=light\nname[sv]=ljus\n");

  EXPECT_TRUE(util_load_key_file(kPath, key_file_.get()));

  EXPECT_EQ(text_of(key_file_), "[common]\nname=light\n");
}

TEST_F(LoadKeyFile, TakesBytesThatAreNoUtf8) {
  write_file(kPath, "[common]\nledtype=\xe5\n");

  EXPECT_TRUE(util_load_key_file(kPath, key_file_.get()));

  EXPECT_EQ(raw_value(key_file_.get(), "common", "ledtype"), "\xe5");
}

TEST_F(LoadKeyFile, TakesMoreThanOneBufferFull) {
  const std::string value(100'000, 'x');
  write_file(kPath, "[common]\nlong=" + value + "\nlast=1\n");

  EXPECT_TRUE(util_load_key_file(kPath, key_file_.get()));

  EXPECT_EQ(raw_value(key_file_.get(), "common", "long"), value);
  EXPECT_EQ(raw_value(key_file_.get(), "common", "last"), "1");
}

TEST_F(LoadKeyFile, AnEmptyFileIsAKeyFileWithoutGroups) {
  write_file(kPath, "");

  EXPECT_TRUE(util_load_key_file(kPath, key_file_.get()));

  EXPECT_EQ(text_of(key_file_), "");
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(LoadKeyFile, ReplacesWhatTheKeyFileHeld) {
  key_file_ = parsed("[old]\nkey=1\n");
  write_file(kPath, "[new]\nkey=2\n");

  EXPECT_TRUE(util_load_key_file(kPath, key_file_.get()));

  EXPECT_EQ(text_of(key_file_), "[new]\nkey=2\n");
}

TEST_F(LoadKeyFile, AMissingFileCannotBeOpened) {
  key_file_ = parsed("[old]\nkey=1\n");

  EXPECT_FALSE(util_load_key_file("/etc/beamd/nothing.conf", key_file_.get()));

  EXPECT_EQ(log_.lines(),
            (Lines{{LOG_ERR, "Could not open /etc/beamd/nothing.conf: No such file or directory"}}));
  EXPECT_EQ(text_of(key_file_), "[old]\nkey=1\n");
}

TEST_F(LoadKeyFile, AFileOfAnotherUserCannotBeOpened) {
  write_file(kPath, "[common]\n");
  fs::permissions(kPath, fs::perms::owner_read);

  ASSERT_EQ(seteuid(kUserLight), 0);
  const bool loaded = util_load_key_file(kPath, key_file_.get());
  ASSERT_EQ(seteuid(0), 0);

  EXPECT_FALSE(loaded);
  EXPECT_EQ(log_.lines(), (Lines{{LOG_ERR, "Could not open /etc/beamd/led0.conf: Permission denied"}}));
}

TEST_F(LoadKeyFile, AFolderCannotBeRead) {
  key_file_ = parsed("[old]\nkey=1\n");
  fs::create_directory(kPath);

  EXPECT_FALSE(util_load_key_file(kPath, key_file_.get()));

  EXPECT_EQ(log_.lines(), (Lines{{LOG_ERR, "Could not read /etc/beamd/led0.conf: Is a directory"}}));
  EXPECT_EQ(text_of(key_file_), "[old]\nkey=1\n");
}

TEST_F(LoadKeyFile, AFileThatIsNoKeyFileCannotBeParsed) {
  const std::string text = "this is no key file\n";
  write_file(kPath, text);

  EXPECT_FALSE(util_load_key_file(kPath, key_file_.get()));

  EXPECT_EQ(log_.lines(),
            (Lines{{LOG_ERR, "Could not parse key file /etc/beamd/led0.conf: " + parse_error(text)}}));
}

TEST_F(LoadKeyFile, AFileThatEndsBadlyChangesNothing) {
  key_file_ = parsed("[old]\nkey=1\n");
  const std::string text = "[new]\nkey=2\nnonsense\n";
  write_file(kPath, text);

  EXPECT_FALSE(util_load_key_file(kPath, key_file_.get()));

  EXPECT_EQ(log_.lines(),
            (Lines{{LOG_ERR, "Could not parse key file /etc/beamd/led0.conf: " + parse_error(text)}}));
  EXPECT_EQ(text_of(key_file_), "[old]\nkey=1\n");
}

TEST_F(LoadKeyFile, NeedsAPathAndAKeyFile) {
  g_test_expect_message("beamd", G_LOG_LEVEL_CRITICAL, "*path != nullptr*");
  EXPECT_FALSE(util_load_key_file(nullptr, key_file_.get()));
  g_test_expect_message("beamd", G_LOG_LEVEL_CRITICAL, "*key_file != nullptr*");
  EXPECT_FALSE(util_load_key_file(kPath, nullptr));
  g_test_assert_expected_messages();
}

constexpr const char *kBase = "/etc/beamd/illumination.conf";

class ConfigFilename : public testing::Test {
 protected:
  void SetUp() override { bootblock = {}; }
  void TearDown() override {
    fs::remove_all(kBase);
    fs::remove_all(std::string{kBase} + ".X1");
  }

  static std::string chosen() {
    g_autofree char *name = nullptr;
    util_get_config_filename(kBase, "HWID", &name);
    EXPECT_EQ(bootblock.asked_for, "HWID");
    return name ? name : "(none)";
  }

  SyslogCapture log_;
};

TEST_F(ConfigFilename, IsTheFileOfTheBoardWhenThereIsOne) {
  bootblock.value = "X1";
  write_file(kBase, "");
  write_file(std::string{kBase} + ".X1", "");

  EXPECT_EQ(chosen(), "/etc/beamd/illumination.conf.X1");
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(ConfigFilename, MayBeAFolder) {
  bootblock.value = "X1";
  fs::create_directory(std::string{kBase} + ".X1");

  EXPECT_EQ(chosen(), "/etc/beamd/illumination.conf.X1");
}

TEST_F(ConfigFilename, IsTheBaseWhenTheBoardHasNoFileOfItsOwn) {
  bootblock.value = "X2";
  bootblock.error = EIO;
  write_file(std::string{kBase} + ".X1", "");

  EXPECT_EQ(chosen(), kBase);
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(ConfigFilename, IsTheBaseWhenNoFileCanHaveTheBoardsName) {
  bootblock.value = std::string(300, 'X');

  EXPECT_EQ(chosen(), kBase);
  EXPECT_EQ(log_.lines(), Lines{}) << "the parameter was read";
}

TEST_F(ConfigFilename, IsTheBaseWhenTheParameterIsMissing) {
  bootblock.error = ENOENT;

  EXPECT_EQ(chosen(), kBase);
  EXPECT_EQ(log_.lines(), Lines{});
}

TEST_F(ConfigFilename, IsTheBaseWhenTheParameterCannotBeRead) {
  bootblock.error = EIO;

  EXPECT_EQ(chosen(), kBase);
  EXPECT_EQ(log_.lines(), (Lines{{LOG_INFO, "Could not read bootblock parameter HWID: Input/output error"}}));
}

}  // namespace
