// How a light of backlights finds and takes over what it needs.

#include "support/backlight_fixture.h"
#include "support/milliwatt_setup_tests.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class BacklightFiles : public Backlight {
 protected:
  static constexpr const char *kClassName = "Led_BL";

  static FileAccess gpio_access() { return {0, group_id("gpio"), 0664}; }

  static std::vector<std::pair<std::string, FileAccess>> files_to_give() {
    std::vector<std::pair<std::string, FileAccess>> files;
    for (const int led : {0, 1})
      for (const char *name : {"bl_power", "brightness"})
        files.emplace_back(led_file(led, name), lights_access());
    for (const int line : {0, 1})
      for (const char *name : kGpioNames)
        files.emplace_back(gpio_file(kLight, line, name), gpio_access());
    return files;
  }
  static constexpr std::size_t kLedFiles = 4;
  static constexpr std::size_t kAllFiles = 14;

  static std::string group_text() { return "[gid " + std::to_string(primary_group("light")) + "]"; }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Backlight, MilliwattSetup, BacklightFiles);

using BacklightSetup = MilliwattSetup<BacklightFiles>;

TEST_F(BacklightSetup, PrintsNothing) {
  BEAMD_DEBUG_FLAG = 1;
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(BacklightSetup, GivesNoOtherFilesAway) {
  for (const char *name : {"actual_brightness", "max_brightness"})
    write_fresh_file(led_file(0, name));
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(given_files(), kAllFiles);
  for (const char *name : {"actual_brightness", "max_brightness"})
    EXPECT_EQ(access_of(led_file(0, name)), kFreshAccess) << name;
}

TEST_F(BacklightSetup, TakesAsManyLedsAsConfigured) {
  write_led_count("1");
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(light_->nbr_of_leds, 1);
  EXPECT_EQ(access_of(led_file(0, "bl_power")), lights_access());
  EXPECT_EQ(access_of(led_file(1, "bl_power")), kFreshAccess);
  EXPECT_EQ(access_of(gpio_file(kLight, 1, "value")), gpio_access()) << "lines are found and not configured";
}

TEST_F(BacklightSetup, DoesWithoutLines) {
  std::filesystem::remove_all("/sys/class/gpio");
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(given_files(), kLedFiles);
}

// The boot parameter.

TEST_F(BacklightSetup, IsRefusedWhenLightControlIsNotEnabled) {
  fake_bootblock().value = "no";
  EXPECT_EQ(set_up(light_), refused_board("IR light not enabled"));
  EXPECT_THAT(fake_bootblock().asked, ElementsAre("LIGHT_CONTROL_ENABLED"));
  EXPECT_EQ(given_files(), 0U);
  EXPECT_EQ(light_->nbr_of_leds, 0);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(BacklightSetup, GoesOnUnlessLightControlIsDisabledInSoManyLetters) {
  for (const char *value : {"yes", "", "No", "NO", "no ", " no", "none", "n", "false", "0"}) {
    fake_bootblock().value = value;
    EXPECT_EQ(set_up(new_light()), kDone) << value;
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(BacklightSetup, GoesOnWithoutTheParameter) {
  fake_bootblock().error = ENOENT;
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(BacklightSetup, GoesOnWithAParameterThatCannotBeRead) {
  fake_bootblock().error = EIO;
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{
                  LOG_INFO, "Could not read bootblock parameter LIGHT_CONTROL_ENABLED: Input/output error"}));
}

TEST_F(BacklightSetup, LooksForNoOtherHardwareId) {
  fake_bootblock().value = "X1";
  write_file(kIllumination + std::string{".X1"}, "[info]\nleds=1\n");
  write_file(kDimming + std::string{".X1"}, "[regulator]\nsample_time=77\n");
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(light_->nbr_of_leds, 2);
  EXPECT_EQ(light_->temp_sample_time, 5);
  EXPECT_THAT(fake_bootblock().asked, ElementsAre("LIGHT_CONTROL_ENABLED"));
}

// The files of the LEDs.

TEST_F(BacklightSetup, FailsWithoutUser) {
  const WithoutEntry no_light{"/etc/passwd", "light"};
  EXPECT_EQ(set_up(light_), kFailed);
  EXPECT_EQ(log_.lines(), errors({"Beamd failed getting passwd for user light"}));
  EXPECT_EQ(access_of(led_file(0, "bl_power")), kFreshAccess);
}

/// A file of an LED, and what is said when it cannot be given.
struct LedFile {
  int led;
  const char *name;
  const char *words;
  std::size_t place;
};

void PrintTo(const LedFile &file, std::ostream *stream) { *stream << file.name << file.led; }

class BacklightSetupOf : public BacklightSetup, public testing::WithParamInterface<LedFile> {
 protected:
  void expect_failure() {
    const auto &[led, name, words, place] = GetParam();
    EXPECT_EQ(set_up(light_), kFailed);
    EXPECT_EQ(log_.lines(), errors({"Failed to set permissions to " + path_ + words + group_text()}));
    EXPECT_EQ(given_files(), place);
  }

  const std::string path_ = led_file(GetParam().led, GetParam().name);
};

TEST_P(BacklightSetupOf, FileThatIsMissing) {
  std::filesystem::remove(path_);
  expect_failure();
}

TEST_P(BacklightSetupOf, FileOfFixedMode) {
  write_file_of_fixed_mode(path_);
  expect_failure();
}

INSTANTIATE_TEST_SUITE_P(EachFile, BacklightSetupOf,
                         testing::Values(LedFile{0, "bl_power", " ", 0}, LedFile{0, "brightness", " to ", 1},
                                         LedFile{1, "bl_power", " ", 2}, LedFile{1, "brightness", " to ", 3}),
                         [](const auto &tested) {
                           return tested.param.name + std::to_string(tested.param.led);
                         });

TEST_F(BacklightSetup, FindsTheLedsWhereTheFormatSays) {
  for (const char *led : {"00", "01"})
    for (const char *name : {"bl_power", "brightness"})
      write_fresh_file(std::string{"/sys/class/ir/"} + led + "%/light/" + name);
  EXPECT_EQ(set_up_at("/sys/class/ir/%02d%%/light"), kDone);
  EXPECT_EQ(access_of("/sys/class/ir/01%/light/brightness"), lights_access());
}

TEST_F(BacklightSetup, FailsWithoutAPathThatCanBeBuilt) {
  for (const char *format : kUnusableFormats) {
    EXPECT_EQ(set_up_at(format), kFailed) << (format ? format : "none");
    ASSERT_THAT(log_.lines(), SizeIs(1));
    EXPECT_EQ(log_.lines()[0].priority, LOG_ERR);
    EXPECT_TRUE(log_.lines()[0].text.starts_with("Failed to set permissions to ")) << log_.lines()[0].text;
  }
}

// The GPIO lines.

TEST_F(BacklightSetup, FailsWhenALineCannotBeGiven) {
  std::filesystem::remove(gpio_file(kLight, 1, "uevent"));
  EXPECT_EQ(set_up(light_), kFailed);
  EXPECT_EQ(log_.lines(), errors({"Failed to set group for device uevent, No such file or directory.",
                                  "Could not set uevent file permission, No such file or directory."}));
  EXPECT_EQ(given_files(), kLedFiles + kGpioNames.size() + 3);
  EXPECT_NE(light_->temp_sample_time, 5) << "the regulator comes after the lines";
}

TEST_F(BacklightSetup, LooksForTheLinesOfItsNumber) {
  make_gpio_line(7, 0);
  led_base_set_light_id(light_.get(), 7);
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(access_of(gpio_file(7, 0, "value")), gpio_access());
  EXPECT_EQ(access_of(gpio_file(kLight, 0, "value")), kFreshAccess);
}

// The regulator.

TEST_F(BacklightSetup, FailsWithoutDimmingFile) {
  std::filesystem::remove(kDimming);
  EXPECT_EQ(set_up(light_), kFailed);
  EXPECT_EQ(log_.lines(), errors({"could not open /etc/beamd/dimming.conf: No such file or directory"}));
  EXPECT_EQ(given_files(), kAllFiles);
}

TEST_F(BacklightSetup, FailsWithADimmingFileThatCannotBeRead) {
  std::filesystem::remove(kDimming);
  std::filesystem::create_directory(kDimming);
  EXPECT_EQ(set_up(light_), kFailed);
  EXPECT_EQ(log_.lines(), errors({"Failed reading file"}));
}

TEST_F(BacklightSetup, FailsWithABrokenDimmingFile) {
  write_dimming("enabled=true\nno key\n");
  EXPECT_EQ(set_up(light_), kFailed);
  EXPECT_EQ(log_.lines(), errors({"Could not load data to GKeyFile"}));
}

TEST_F(BacklightSetup, DoesWithoutTheRegulatorsSettings) {
  write_file(kDimming, "");
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(light_->temp_sample_time, 0);
  EXPECT_EQ(light_->nbr_of_temp_sensors, 0);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(BacklightSetup, LooksUpTheSensors) {
  service_.has_sensor("left", 4);
  service_.has_sensor("right", 0);
  write_dimming("enabled=true\ntemp_sensor_id=left\ntemp_sensor_id2=right\n");
  EXPECT_EQ(set_up(light_), kDone);
  ASSERT_EQ(light_->nbr_of_temp_sensors, 2);
  EXPECT_EQ(light_->temp_sensor_ids[0], 4);
  EXPECT_EQ(light_->temp_sensor_ids[1], 0);
}

TEST_F(BacklightSetup, WarnsAboutAFifthSensor) {
  std::string text = "[regulator]\ntemp_sensor_id=s\n";
  service_.has_sensor("s", 4);
  for (const int sensor : {2, 3, 4})
    text += "temp_sensor_id" + std::to_string(sensor) + "=s\n";
  write_file(kDimming, text);
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(light_->nbr_of_temp_sensors, 4);
  EXPECT_THAT(log_.lines(), IsEmpty());

  write_file(kDimming, text + "temp_sensor_id5=s\nsample_time=9\n");
  const auto light = new_light();
  EXPECT_EQ(set_up(light), kDone);
  EXPECT_EQ(light->temp_sample_time, 9);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_WARNING, "Expected at most 4 temperature sensor, but found 5."}));
}

}  // namespace
