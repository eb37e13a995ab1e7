#include "drivers/gpio_lines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "support/attribute_writes.h"
#include "support/gpio_line_files.h"
#include "support/syslog_capture.h"

namespace {
bool formatting_fails = false;

int format(char *text, std::size_t size, const char *format, std::va_list arguments) {
  if (formatting_fails && std::string_view{format} == "%s%d_%d/%s") {
    errno = EOVERFLOW;
    return -1;
  }
  return vsnprintf(text, size, format, arguments);
}
}  // namespace

// In place of the C library's, under whose names the compiler would not take them.
extern "C" {
int test_snprintf(char *text, std::size_t size, const char *format, ...) __asm__("snprintf");
int test_snprintf_chk(char *text, std::size_t size, int flag, std::size_t room, const char *format,
                      ...) __asm__("__snprintf_chk");

int test_snprintf(char *text, std::size_t size, const char *format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int length = ::format(text, size, format, arguments);
  va_end(arguments);
  return length;
}

int test_snprintf_chk(char *text, std::size_t size, int, std::size_t, const char *format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int length = ::format(text, size, format, arguments);
  va_end(arguments);
  return length;
}
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Line = SyslogCapture::Line;

constexpr int kLight = 4;

/// Light 4 without lines.
class GpioLines : public testing::Test {
 protected:
  GpioLines() {
    std::filesystem::remove_all("/sys/class/gpio");
    attribute_writes() = {};
  }
  ~GpioLines() override { formatting_fails = false; }

  static std::string file(const std::string &name, int line = 0) { return gpio_file(kLight, line, name); }

  /// How many of the files of the line have been given, in their order; the running test fails when others
  /// have as well.
  static std::size_t given_files(int line = 0) {
    std::size_t given = 0;
    while (given < kGpioNames.size() && is_given(file(kGpioNames[given], line)))
      ++given;
    for (std::size_t i = given + 1; i < kGpioNames.size(); ++i)
      EXPECT_FALSE(is_given(file(kGpioNames[i], line))) << kGpioNames[i];
    return given;
  }

  static bool is_given(const std::string &path) {
    return std::filesystem::is_regular_file(path) && access_of(path) == FileAccess{0, group_id("gpio"), 0664};
  }

  SyslogCapture log_;
};

class GpioSetup : public GpioLines {};

TEST_F(GpioSetup, GivesTheFilesToRootAndGroupGpio) {
  make_gpio_line(kLight, 0);
  set_access(file("edge"), {user_id("light"), primary_group("light"), 06777});
  EXPECT_EQ(set_up_gpio_lines(kLight), 1);
  for (const char *name : kGpioNames)
    EXPECT_EQ(access_of(file(name)), (FileAccess{0, group_id("gpio"), 0664})) << name;
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(GpioSetup, ChangesNothingElse) {
  make_gpio_line(kLight, 0, "1\n");
  write_file(file("value"), "0\n");
  write_fresh_file(file("label"));
  const auto folder = access_of(gpio_line(kLight, 0));
  EXPECT_EQ(set_up_gpio_lines(kLight), 1);
  EXPECT_EQ(access_of(file("label")), kFreshAccess);
  EXPECT_EQ(access_of(gpio_line(kLight, 0)), folder);
  EXPECT_EQ(read_file(file("active_low")), "1\n");
  EXPECT_EQ(read_file(file("value")), "0\n");
}

TEST_F(GpioSetup, CountsTheLinesUpToTheFirstGap) {
  EXPECT_EQ(set_up_gpio_lines(kLight), 0);
  for (const int line : {0, 1, 2, 4})
    make_gpio_line(kLight, line);
  EXPECT_EQ(set_up_gpio_lines(kLight), 3);
  for (const int line : {0, 1, 2})
    EXPECT_THAT(kGpioNames, SizeIs(given_files(line))) << line;
  EXPECT_EQ(given_files(4), 0U);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(GpioSetup, CountsMoreThanTenLines) {
  for (int line = 0; line < 12; ++line)
    make_gpio_line(kLight, line);
  EXPECT_EQ(set_up_gpio_lines(kLight), 12);
  EXPECT_THAT(kGpioNames, SizeIs(given_files(11)));
}

TEST_F(GpioSetup, NeedsLineNumberZero) {
  make_gpio_line(kLight, 1);
  EXPECT_EQ(set_up_gpio_lines(kLight), 0);
  EXPECT_EQ(given_files(1), 0U);
}

TEST_F(GpioSetup, LeavesTheLinesOfOtherLights) {
  for (const int light : {0, 3, 14, 40, 44, 5})
    make_gpio_line(light, 0);
  EXPECT_EQ(set_up_gpio_lines(kLight), 0);
  make_gpio_line(kLight, 0);
  EXPECT_EQ(set_up_gpio_lines(kLight), 1);
  for (const int light : {0, 3, 14, 40, 44, 5})
    EXPECT_FALSE(is_given(gpio_file(light, 0, "value"))) << light;
  EXPECT_EQ(set_up_gpio_lines(14), 1);
  EXPECT_TRUE(is_given(gpio_file(14, 0, "value")));
}

TEST_F(GpioSetup, TakesWhateverBearsTheNameForALine) {
  write_file(gpio_line(kLight, 0), "no folder");
  EXPECT_EQ(set_up_gpio_lines(kLight), std::nullopt);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_ERR, "Failed to set group for device active_low, Not a directory."},
                          Line{LOG_ERR, "Could not set active_low file permission, Not a directory."}));
}

TEST_F(GpioSetup, EndsAtALinkThatLeadsNowhere) {
  make_gpio_line(kLight, 0);
  std::filesystem::create_directory_symlink("/sys/nowhere", gpio_line(kLight, 1));
  EXPECT_EQ(set_up_gpio_lines(kLight), 1);
}

TEST_F(GpioSetup, FollowsTheLinksThatTheKernelMakes) {
  make_gpio_line(7, 0);
  std::filesystem::create_directory_symlink(gpio_line(7, 0), gpio_line(kLight, 0));
  EXPECT_EQ(set_up_gpio_lines(kLight), 1);
  EXPECT_THAT(kGpioNames, SizeIs(given_files()));
}

TEST_F(GpioSetup, StopsAtTheFirstFailure) {
  for (const int line : {0, 1, 2})
    make_gpio_line(kLight, line);
  std::filesystem::remove(file("direction", 1));
  EXPECT_EQ(set_up_gpio_lines(kLight), std::nullopt);
  EXPECT_THAT(kGpioNames, SizeIs(given_files(0)));
  EXPECT_EQ(given_files(1), 1U);
  EXPECT_EQ(given_files(2), 0U);
  EXPECT_THAT(log_.lines(), SizeIs(2));
}

TEST_F(GpioSetup, NeedsTheGpioGroup) {
  make_gpio_line(kLight, 0);
  const WithoutEntry no_gpio{"/etc/group", "gpio"};
  EXPECT_EQ(set_up_gpio_lines(kLight), std::nullopt);

  const std::string before = "Could not locate the gpio group, ";
  ASSERT_THAT(log_.lines(), SizeIs(2));
  ASSERT_TRUE(log_.lines()[0].text.starts_with(before)) << log_.lines()[0].text;
  const std::string reason = log_.lines()[0].text.substr(before.size());
  EXPECT_TRUE(reason.size() > 1 && reason.ends_with(".")) << reason;
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_ERR, before + reason},
                          Line{LOG_ERR, "Could not set active_low file permission, " + reason}));
  EXPECT_EQ(access_of(file("direction")), kFreshAccess);
}

TEST_F(GpioSetup, DoesNotMissTheGpioGroupWithoutLines) {
  const WithoutEntry no_gpio{"/etc/group", "gpio"};
  EXPECT_EQ(set_up_gpio_lines(kLight), 0);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(GpioSetup, NeedsAPath) {
  make_gpio_line(kLight, 0);
  formatting_fails = true;
  EXPECT_EQ(set_up_gpio_lines(kLight), std::nullopt);
  const std::string reason = "Value too large for defined data type.";
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_ERR, "Buffer too small, " + reason},
                          Line{LOG_ERR, "Could not set active_low file permission, " + reason}));
  EXPECT_EQ(given_files(), 0U);
}

class GpioSetupOf : public GpioLines, public testing::WithParamInterface<std::size_t> {
 protected:
  const std::size_t place_ = GetParam();
  const std::string name_ = kGpioNames[place_];

  /// What is expected when the file cannot be given: the lines, and the files that come before it.
  void expect_failure(const std::string &what, const std::string &reason) const {
    EXPECT_THAT(log_.lines(),
                ElementsAre(Line{LOG_ERR, what + name_ + ", " + reason + "."},
                            Line{LOG_ERR, "Could not set " + name_ + " file permission, " + reason + "."}));
    EXPECT_EQ(given_files(), place_) << "the files are given in a fixed order";
  }
};

TEST_P(GpioSetupOf, FileThatIsMissing) {
  make_gpio_line(kLight, 0);
  std::filesystem::remove(file(name_));
  EXPECT_EQ(set_up_gpio_lines(kLight), std::nullopt);
  expect_failure("Failed to set group for device ", "No such file or directory");
}

TEST_P(GpioSetupOf, FileOfFixedMode) {
  make_gpio_line(kLight, 0);
  write_file_of_fixed_mode(file(name_));
  EXPECT_EQ(set_up_gpio_lines(kLight), std::nullopt);
  expect_failure("Failed to set permissions for device ", "Operation not permitted");
}

INSTANTIATE_TEST_SUITE_P(EachFile, GpioSetupOf, testing::Range(std::size_t{0}, kGpioNames.size()),
                         [](const auto &tested) { return std::string{kGpioNames[tested.param]}; });

class GpioSwitch : public GpioLines {
 protected:
  /// What ends up in the value file when the line is switched.
  std::string value_of(bool on, const std::string &active_low, int line = 0) {
    make_gpio_line(kLight, line, active_low);
    EXPECT_TRUE(switch_gpio_line(kLight, line, on));
    return read_file(file("value", line));
  }

  void expect_failure(bool on, const Line &line) {
    log_.clear();
    attribute_writes().tried.clear();
    EXPECT_FALSE(switch_gpio_line(kLight, 0, on));
    EXPECT_THAT(log_.lines(), ElementsAre(line));
  }

  const Line kNoActiveLow{LOG_WARNING,
                          "Failed to open active_low fd for led 4 (/sys/class/gpio/ir_led_4_0/active_low)"};
  const Line kNoValue{LOG_WARNING, "Failed to open value fd for led 4 (/sys/class/gpio/ir_led_4_0/value)"};
  const Line kUnread{LOG_ERR, "Read failure for led 4 (active_low)"};
  const Line kUnwritten{LOG_ERR, "Write failure to led 4 (value)"};
};

TEST_F(GpioSwitch, WritesOneForOnAndZeroForOff) {
  EXPECT_EQ(value_of(true, "0"), "1");
  EXPECT_EQ(value_of(false, "0"), "0");
  EXPECT_EQ(value_of(true, "0\n"), "1");
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(GpioSwitch, WritesTheInverseToALineThatIsActiveLow) {
  EXPECT_EQ(value_of(true, "1"), "0");
  EXPECT_EQ(value_of(false, "1"), "1");
  EXPECT_EQ(value_of(true, "1\n"), "0");
}

TEST_F(GpioSwitch, ChangesTheLastBitOfTheFirstByteWhateverThatIs) {
  EXPECT_EQ(value_of(true, "low"), "m");
  EXPECT_EQ(value_of(false, "low"), "l");
  EXPECT_EQ(value_of(true, "\xff"), "\xfe");
  EXPECT_EQ(value_of(true, std::string(1, '\0')), "\x01");
  EXPECT_EQ(value_of(true, "01"), "1");
}

TEST_F(GpioSwitch, WritesOneByteInOnePiece) {
  make_gpio_line(kLight, 0);
  attribute_writes().tried.clear();
  EXPECT_TRUE(switch_gpio_line(kLight, 0, true));
  EXPECT_THAT(attribute_writes().tried, ElementsAre(file("value") + "=1"));
}

TEST_F(GpioSwitch, LooksAtActiveLowEachTime) {
  make_gpio_line(kLight, 0, "0");
  EXPECT_TRUE(switch_gpio_line(kLight, 0, true));
  write_file(file("active_low"), "1");
  EXPECT_TRUE(switch_gpio_line(kLight, 0, true));
  EXPECT_EQ(read_file(file("value")), "0");
}

TEST_F(GpioSwitch, LeavesOtherLines) {
  for (const int line : {0, 2})
    make_gpio_line(kLight, line);
  make_gpio_line(1, 1);
  EXPECT_EQ(value_of(true, "0", 1), "1");
  for (const std::string &path : {file("value", 0), file("value", 2), gpio_file(1, 1, "value")})
    EXPECT_EQ(read_file(path), "") << path;
  EXPECT_EQ(read_file(file("active_low", 1)), "0");
}

TEST_F(GpioSwitch, NeedsActiveLow) {
  make_gpio_line(kLight, 0);
  std::filesystem::remove(file("active_low"));
  for (const bool on : {true, false})
    expect_failure(on, kNoActiveLow);
  EXPECT_EQ(read_file(file("value")), "");
}

TEST_F(GpioSwitch, NeedsSomethingInActiveLow) {
  make_gpio_line(kLight, 0, "");
  for (const bool on : {true, false})
    expect_failure(on, kUnread);
  EXPECT_EQ(read_file(file("value")), "");
}

TEST_F(GpioSwitch, NeedsAnActiveLowThatCanBeRead) {
  make_gpio_line(kLight, 0);
  std::filesystem::remove(file("active_low"));
  std::filesystem::create_directory(file("active_low"));
  expect_failure(true, kUnread);
  EXPECT_EQ(read_file(file("value")), "");
}

TEST_F(GpioSwitch, NeedsValue) {
  make_gpio_line(kLight, 0);
  std::filesystem::remove(file("value"));
  for (const bool on : {true, false})
    expect_failure(on, kNoValue);
  EXPECT_FALSE(std::filesystem::exists(file("value"))) << "an attribute file is not made";
}

TEST_F(GpioSwitch, NeedsAValueThatTakesIt) {
  make_gpio_line(kLight, 0);
  std::filesystem::remove(file("value"));
  std::filesystem::create_symlink("/dev/full", file("value"));
  for (const bool on : {true, false})
    expect_failure(on, kUnwritten);
}

TEST_F(GpioSwitch, TriesOnceOnly) {
  make_gpio_line(kLight, 0);
  for (const int failure : {EINTR, EAGAIN, EIO, AttributeWrites::kShort}) {
    attribute_writes().failures[file("value")] = {failure};
    expect_failure(true, kUnwritten);
    EXPECT_THAT(attribute_writes().tried, ElementsAre(file("value") + "!")) << failure;
  }
}

TEST_F(GpioSwitch, NeedsTheLineThatWasThereAtSetup) {
  make_gpio_line(kLight, 0);
  EXPECT_EQ(set_up_gpio_lines(kLight), 1);
  std::filesystem::remove_all(gpio_line(kLight, 0));
  for (const bool on : {true, false})
    expect_failure(on, kNoActiveLow);
}

TEST_F(GpioSwitch, DoesNotWaitForTheOtherEndOfAFifo) {
  make_gpio_line(kLight, 0);
  for (const char *name : {"value", "active_low"}) {
    std::filesystem::remove(file(name));
    ASSERT_EQ(mkfifo(file(name).c_str(), 0600), 0);
    expect_failure(true, std::string_view{name} == "value" ? kNoValue : kUnread);
  }
}

}  // namespace
