// The PWM light's setup: its configuration files, then to whom the files of the channel and of the GPIO lines
// are given.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "support/pwm_board_fixture.h"

namespace {
/// The file that can be given to nobody.
std::string unowned;
}  // namespace

// Comes before the C library's.
extern "C" int chown(const char *path, uid_t user, gid_t group) noexcept {
  if (path != unowned)
    return fchownat(AT_FDCWD, path, user, group, 0);
  errno = EROFS;
  return -1;
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Lines = std::vector<SyslogCapture::Line>;

class Led1PwmSetup : public PwmBoard {
 protected:
  bool set_up() { return PwmBoard::set_up(light_); }

  /// Setup must fail with these lines, before it has touched the hardware.
  void expect_refusal(const Lines &lines) {
    EXPECT_FALSE(set_up());
    EXPECT_EQ(log_.lines(), lines);
    EXPECT_THAT(written(), IsEmpty());
    for (const char *name : {"/export", "/pwm1/enable", "/pwm1/period", "/pwm1/duty_cycle"})
      EXPECT_EQ(access_of(chip_file(name)), kFreshAccess) << name;
  }

  static Line not_given(const std::string &name) {
    return {LOG_ERR, "Failed to set " + name + " permissions to " + chip_file(name) + " [gid " +
                         std::to_string(primary_group("light")) + "]"};
  }

  LightPointer light_ = pwm_light();
};

TEST_F(Led1PwmSetup, SucceedsInSilence) {
  EXPECT_TRUE(set_up());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

// dimming.conf is read first: where it fails, nothing is said of a pwm.conf that is missing as well.
class Led1PwmDimmingFile : public Led1PwmSetup {
 protected:
  Led1PwmDimmingFile() {
    std::filesystem::remove(kPwm);
    std::filesystem::remove(kDimming);
  }
};

TEST_F(Led1PwmDimmingFile, MustBeThere) {
  expect_refusal({{LOG_ERR, "could not open /etc/beamd/dimming.conf: No such file or directory"}});
}

TEST_F(Led1PwmDimmingFile, MustNotBeAFolder) {
  std::filesystem::create_directory(kDimming);
  expect_refusal({{LOG_ERR, "Failed reading file"}});
}

TEST_F(Led1PwmDimmingFile, MustBeAKeyFile) {
  write_file(kDimming, "[regulator]\nno key\n");
  expect_refusal({{LOG_ERR, "Could not load data to GKeyFile"}});
}

TEST_F(Led1PwmSetup, TakesTheSampleTimeAndTheSensor) {
  write_file(kDimming, "[regulator]\nsample_time=17\ntemp_sensor_id=board\n");
  EXPECT_TRUE(set_up());
  EXPECT_EQ(light_->temp_sample_time, 17);
  EXPECT_EQ(light_->nbr_of_temp_sensors, 1);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Led1PwmSetup, GoesWithoutAnyKeyOfTheRegulator) {
  for (const char *text : {"", "[regulator]\n", "[other]\nsample_time=17\n"}) {
    write_file(kDimming, text);
    EXPECT_TRUE(set_up()) << text;
    EXPECT_EQ(light_->temp_sample_time, 0) << text;
    EXPECT_EQ(light_->nbr_of_temp_sensors, 0) << text;
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Led1PwmSetup, WarnsAboutASecondSensorAndGoesOn) {
  write_file(kDimming, "[regulator]\ntemp_sensor_id=board\ntemp_sensor_id2=lens\n");
  EXPECT_TRUE(set_up());
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_WARNING, "Expected at most 1 temperature sensor, but found 2."}));
  EXPECT_EQ(light_->nbr_of_temp_sensors, 2);
}

// pwm.conf is read before the user is looked up: where it fails, nothing is said of a user that is missing.
class Led1PwmTimingFile : public Led1PwmSetup {
 protected:
  WithoutEntry no_user_{"/etc/passwd", "light"};
};

TEST_F(Led1PwmTimingFile, MissingOneIsOnlyAnInformation) {
  std::filesystem::remove(kPwm);
  expect_refusal({{LOG_INFO, "could not open /etc/beamd/pwm.conf: No such file or directory"}});
}

TEST_F(Led1PwmTimingFile, MustNotBeAFolder) {
  std::filesystem::remove(kPwm);
  std::filesystem::create_directory(kPwm);
  expect_refusal({{LOG_ERR, "Failed reading pwm.conf file"}});
}

TEST_F(Led1PwmTimingFile, MustBeAKeyFile) {
  write_file(kPwm, "[pwm]\nld_period=5000\nduty_high=1000\nduty_low=200\nno key\n");
  expect_refusal({{LOG_ERR, "Could not load data to GKeyFile from pwm.conf"}});
}

/// A key of pwm.conf, and what takes the place of its line.
struct BrokenKey {
  const char *name;
  std::string key;
  std::string line;
};

void PrintTo(const BrokenKey &broken, std::ostream *stream) { *stream << broken.name; }

class Led1PwmTimingKeys : public Led1PwmTimingFile, public testing::WithParamInterface<BrokenKey> {};

TEST_P(Led1PwmTimingKeys, MustNotBeZero) {
  std::string text = "[pwm]\n";
  for (const std::string key : {"ld_period", "duty_high", "duty_low"})
    text += key == GetParam().key ? GetParam().line : key + "=1000\n";
  write_file(kPwm, text);
  expect_refusal({{LOG_ERR, "Could not read " + GetParam().key + " from pwm.conf"}});
}

INSTANTIATE_TEST_SUITE_P(Each, Led1PwmTimingKeys,
                         testing::Values(BrokenKey{"PeriodMissing", "ld_period", ""},
                                         BrokenKey{"PeriodZero", "ld_period", "ld_period=0\n"},
                                         BrokenKey{"PeriodNoNumber", "ld_period", "ld_period=long\n"},
                                         BrokenKey{"PeriodNotWhole", "ld_period", "ld_period=1000.5\n"},
                                         BrokenKey{"PeriodTooLarge", "ld_period", "ld_period=5000000000\n"},
                                         BrokenKey{"DutyHighMissing", "duty_high", ""},
                                         BrokenKey{"DutyHighZero", "duty_high", "duty_high=0\n"},
                                         BrokenKey{"DutyHighNoNumber", "duty_high", "duty_high=long\n"},
                                         BrokenKey{"DutyLowMissing", "duty_low", ""},
                                         BrokenKey{"DutyLowZero", "duty_low", "duty_low=0\n"},
                                         BrokenKey{"DutyLowNoNumber", "duty_low", "duty_low=long\n"}),
                         [](const auto &tested) { return tested.param.name; });

TEST_F(Led1PwmTimingFile, KeysAreReadInTheirOrderUntilOneIsMissing) {
  const auto missing = [](const std::string &key) {
    return Lines{{LOG_ERR, "Could not read " + key + " from pwm.conf"}};
  };
  for (const char *text : {"", "[pwm]\n", "[other]\nld_period=1\nduty_high=1\nduty_low=1\n"}) {
    write_file(kPwm, text);
    expect_refusal(missing("ld_period"));
    log_.clear();
  }
  write_file(kPwm, "[pwm]\nld_period=1\n");
  expect_refusal(missing("duty_high"));
}

TEST_F(Led1PwmSetup, TakesNegativeTimes) {
  write_file(kPwm, "[pwm]\nld_period=-1\nduty_high=-1\nduty_low=-1\n");
  EXPECT_TRUE(set_up());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Led1PwmSetup, NeedsUserLight) {
  const WithoutEntry no_user{"/etc/passwd", "light"};
  expect_refusal({{LOG_ERR, "Beamd failed getting passwd for user light"}});
}

TEST_F(Led1PwmSetup, GivesTheChannelToTheUsersPrimaryGroup) {
  ASSERT_NE(primary_group("light"), group_id("light"));
  EXPECT_TRUE(set_up());
  const FileAccess given = {kFreshAccess.owner, primary_group("light"), 0664};
  for (const char *name : {"/export", "/pwm1/enable", "/pwm1/period", "/pwm1/duty_cycle"})
    EXPECT_EQ(access_of(chip_file(name)), given) << name;
}

TEST_F(Led1PwmSetup, ExportsTheChannelAndWritesNothingElse) {
  EXPECT_TRUE(set_up());
  EXPECT_THAT(written(), ElementsAre("/export=1"));
  EXPECT_EQ(read_file(chip_file("/export")), "1");
}

class Led1PwmFiles : public Led1PwmSetup, public testing::WithParamInterface<std::string> {
 protected:
  ~Led1PwmFiles() override { unowned.clear(); }

  /// Setup must go on after the failure at the file that it complains of.
  void expect_complaint() {
    log_.clear();
    EXPECT_TRUE(set_up());
    EXPECT_THAT(log_.lines(), testing::Contains(not_given(GetParam())).Times(1));
    for (const std::string name : {"/export", "/pwm1/enable", "/pwm1/period", "/pwm1/duty_cycle"})
      if (name != GetParam()) {
        EXPECT_EQ(access_of(chip_file(name)).group, primary_group("light")) << name;
        EXPECT_EQ(access_of(chip_file(name)).mode, 0664U) << name;
        EXPECT_THAT(log_.lines(), testing::Not(testing::Contains(not_given(name))));
      }
  }
};

TEST_P(Led1PwmFiles, MayBeMissing) {
  std::filesystem::remove(chip_file(GetParam()));
  expect_complaint();
}

TEST_P(Led1PwmFiles, MayKeepTheirGroup) {
  unowned = chip_file(GetParam());
  expect_complaint();
  EXPECT_EQ(access_of(unowned).group, kFreshAccess.group);
}

TEST_P(Led1PwmFiles, MayKeepTheirMode) {
  write_file_of_fixed_mode(chip_file(GetParam()));
  expect_complaint();
}

INSTANTIATE_TEST_SUITE_P(Each, Led1PwmFiles,
                         testing::Values("/export", "/pwm1/enable", "/pwm1/period", "/pwm1/duty_cycle"),
                         [](const auto &tested) {
                           auto name = std::filesystem::path{tested.param}.filename().string();
                           std::erase(name, '_');
                           return name;
                         });

TEST_F(Led1PwmSetup, GoesOnWithoutAnyFileOfTheChannel) {
  std::filesystem::remove_all(chip_file(""));
  EXPECT_TRUE(set_up());
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(
          not_given("/export"),
          Line{LOG_WARNING, "Failed to open pwm export fd for led 0 (/sys/class/pwm/pwmchip0/export),(2)"},
          not_given("/pwm1/enable"), not_given("/pwm1/period"), not_given("/pwm1/duty_cycle")));
}

TEST_F(Led1PwmSetup, GoesOnWhenTheExportCannotBeOpened) {
  std::filesystem::remove(chip_file("/export"));
  std::filesystem::create_directory(chip_file("/export"));
  EXPECT_TRUE(set_up());
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_WARNING,
                                             "Failed to open pwm export fd for led 0 "
                                             "(/sys/class/pwm/pwmchip0/export),(21)"}));
  EXPECT_EQ(access_of(chip_file("/pwm1/enable")).mode, 0664U);
}

// The channel's own files may be there only once it is exported.
TEST_F(Led1PwmSetup, GoesOnWhenTheExportCannotBeWritten) {
  std::filesystem::remove(chip_file("/pwm1/enable"));
  fail_writes("/export", {EIO});
  EXPECT_TRUE(set_up());
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "Write failure to led 0 (pwm export)(5)"},
                                        not_given("/pwm1/enable")));
  EXPECT_THAT(written(), ElementsAre("/export!"));
}

TEST_F(Led1PwmSetup, IsContentWithAChannelThatIsExportedAlready) {
  fail_writes("/export", {EBUSY});
  EXPECT_TRUE(set_up());
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_EQ(access_of(chip_file("/pwm1/enable")).mode, 0664U);
}

TEST_F(Led1PwmSetup, GoesOnWithoutABasepath) {
  g_clear_pointer(&light_->basepath, g_free);
  EXPECT_TRUE(set_up());
  EXPECT_THAT(log_.lines(), testing::SizeIs(5));
  EXPECT_FALSE(activate(light_, TRUE));
  EXPECT_FALSE(activate(light_, FALSE));
}

FileAccess given_to_gpio() { return {0, group_id("gpio"), 0664}; }

TEST_F(Led1PwmSetup, GivesTheLinesUpToTheFirstGapToGroupGpio) {
  light_->light_id = 3;
  for (const int line : {0, 1, 3})
    make_gpio_line(3, line);
  make_gpio_line(0, 0);
  EXPECT_TRUE(set_up());
  for (const char *name : kGpioNames) {
    EXPECT_EQ(access_of(gpio_file(3, 0, name)), given_to_gpio()) << name;
    EXPECT_EQ(access_of(gpio_file(3, 1, name)), given_to_gpio()) << name;
    EXPECT_NE(access_of(gpio_file(3, 3, name)), given_to_gpio()) << name;
    EXPECT_NE(access_of(gpio_file(0, 0, name)), given_to_gpio()) << "another light's " << name;
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

class Led1PwmGpioFiles : public Led1PwmSetup, public testing::WithParamInterface<std::size_t> {
 protected:
  Led1PwmGpioFiles() {
    for (const int line : {0, 1, 2})
      make_gpio_line(0, line);
  }

  /// Setup must end at that file of line 1, with this complaint and another one.
  void expect_end_there(const std::string &complaint) {
    EXPECT_FALSE(set_up());
    ASSERT_THAT(log_.lines(), testing::SizeIs(2));
    EXPECT_EQ(log_.lines()[0].text, complaint);
    EXPECT_THAT(log_.lines()[1].text, testing::StartsWith("Could not set " + name() + " file permission, "));
    for (const auto &line : log_.lines())
      EXPECT_EQ(line.priority, LOG_ERR);
    for (std::size_t i = 0; i < kGpioNames.size(); ++i) {
      EXPECT_EQ(access_of(gpio_file(0, 0, kGpioNames[i])), given_to_gpio()) << i;
      if (i < GetParam()) {
        EXPECT_EQ(access_of(gpio_file(0, 1, kGpioNames[i])), given_to_gpio()) << i;
      } else if (i > GetParam()) {
        EXPECT_NE(access_of(gpio_file(0, 1, kGpioNames[i])), given_to_gpio()) << i;
      }
      EXPECT_NE(access_of(gpio_file(0, 2, kGpioNames[i])), given_to_gpio()) << i;
    }
    EXPECT_EQ(access_of(chip_file("/pwm1/duty_cycle")).mode, 0664U) << "which comes before the lines";
  }

  static std::string name() { return kGpioNames[GetParam()]; }
};

TEST_P(Led1PwmGpioFiles, MustBeThere) {
  std::filesystem::remove(gpio_file(0, 1, name()));
  expect_end_there("Failed to set group for device " + name() + ", No such file or directory.");
}

TEST_P(Led1PwmGpioFiles, MustTakeTheirMode) {
  write_file_of_fixed_mode(gpio_file(0, 1, name()));
  expect_end_there("Failed to set permissions for device " + name() + ", Operation not permitted.");
}

INSTANTIATE_TEST_SUITE_P(Each, Led1PwmGpioFiles, testing::Range(std::size_t{0}, kGpioNames.size()),
                         [](const auto &tested) {
                           std::string name = kGpioNames[tested.param];
                           std::erase(name, '_');
                           return name;
                         });

TEST_F(Led1PwmSetup, NeedsGroupGpioWhereThereAreLines) {
  const WithoutEntry no_group{"/etc/group", "gpio"};
  EXPECT_TRUE(set_up());
  EXPECT_THAT(log_.lines(), IsEmpty());

  make_gpio_line(0, 0);
  EXPECT_FALSE(set_up());
  ASSERT_THAT(log_.lines(), testing::SizeIs(2));
  EXPECT_THAT(log_.lines()[0].text, testing::StartsWith("Could not locate the gpio group, "));
  EXPECT_THAT(log_.lines()[1].text, testing::StartsWith("Could not set active_low file permission, "));
}

}  // namespace
