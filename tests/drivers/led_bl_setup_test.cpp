// How a light of backlights finds and takes over what it needs.

#include "support/backlight_fixture.h"
#include "support/class_slots.h"
#include "support/temperature_service.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class BacklightSetup : public Backlight {
 protected:
  static void SetUpTestSuite() { g_setenv("DBUS_SYSTEM_BUS_ADDRESS", private_bus_address(), TRUE); }

  /// What the files of LEDs are given to, in all.
  static FileAccess lights_access() { return {kFreshAccess.owner, primary_group("light"), 0664}; }
  static FileAccess gpio_access() { return {0, group_id("gpio"), 0664}; }

  /// How many of the files have been given, in their order; the running test fails when others have as well.
  static std::size_t given_files() {
    std::vector<std::pair<std::string, FileAccess>> files;
    for (const int led : {0, 1})
      for (const char *name : {"bl_power", "brightness"})
        files.emplace_back(led_file(led, name), lights_access());
    for (const int line : {0, 1})
      for (const char *name : kGpioNames)
        files.emplace_back(gpio_file(kLight, line, name), gpio_access());

    const auto is_given = [](const auto &file) {
      return std::filesystem::is_regular_file(file.first) && access_of(file.first) == file.second;
    };
    const auto first_left = std::find_if_not(files.begin(), files.end(), is_given);
    EXPECT_TRUE(first_left == files.end() || std::none_of(first_left + 1, files.end(), is_given));
    return static_cast<std::size_t>(first_left - files.begin());
  }
  static constexpr std::size_t kLedFiles = 4;
  static constexpr std::size_t kAllFiles = 14;

  static std::string group_text() { return "[gid " + std::to_string(primary_group("light")) + "]"; }

  TemperatureService service_;
};

TEST_F(BacklightSetup, IsOfAClassOfItsOwn) {
  EXPECT_STREQ(g_type_name(LED_TYPE_BL), "Led_BL");
  EXPECT_EQ(g_type_parent(LED_TYPE_BL), LED_TYPE_BASE);
}

// Switching, the angle (three slots, emptied), setup, power and temperature.
TEST_F(BacklightSetup, HasOperationsOfItsOwn) {
  EXPECT_THAT(overridden_slots(LED_TYPE_BL), ElementsAre(3, 4, 7, 8, 9, 11, 14));
  const auto *slots = LED_BASE_GET_CLASS(light_.get());
  EXPECT_EQ(slots->get_current_angle_of_illumination, nullptr);
  EXPECT_EQ(slots->set_angle_of_illumination, nullptr);
  EXPECT_EQ(slots->recalculate_angle_of_illumination, nullptr);
}

TEST_F(BacklightSetup, SucceedsWithoutAWord) {
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(light_->nbr_of_leds, 2);
  EXPECT_EQ(light_->temp_sample_time, 5);
  EXPECT_THAT(log_.lines(), IsEmpty());
  BEAMD_DEBUG_FLAG = 1;
  EXPECT_EQ(set_up(new_light()), kDone);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(BacklightSetup, GivesTheFilesAway) {
  for (const char *name : {"actual_brightness", "max_brightness"})
    write_fresh_file(led_file(0, name));
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(given_files(), kAllFiles);
  for (const char *name : {"actual_brightness", "max_brightness"})
    EXPECT_EQ(access_of(led_file(0, name)), kFreshAccess) << name;
}

TEST_F(BacklightSetup, GivesThePrimaryGroupOfTheUserAndNotTheOneOfThatName) {
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(access_of(led_file(0, "brightness")).group, primary_group("light"));
  EXPECT_NE(primary_group("light"), group_id("light"));
}

TEST_F(BacklightSetup, WritesNothing) {
  written();
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_THAT(written(), IsEmpty());
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

// The number of LEDs.

TEST_F(BacklightSetup, IsRefusedWithoutIlluminationFile) {
  std::filesystem::remove(kIllumination);
  EXPECT_EQ(set_up(light_), refused_board("Unable to load LED driver configuration"));
  EXPECT_EQ(log_.lines(), errors({"Could not open /etc/beamd/illumination.conf: No such file or directory"}));
  EXPECT_EQ(given_files(), 0U);
}

TEST_F(BacklightSetup, IsRefusedWithABrokenIlluminationFile) {
  write_file(kIllumination, "[info]\nleds=2\nno key\n");
  EXPECT_EQ(set_up(light_), refused_board("Unable to load LED driver configuration"));
  ASSERT_THAT(log_.lines(), SizeIs(1));
  EXPECT_TRUE(log_.lines()[0].text.starts_with("Could not parse key file /etc/beamd/illumination.conf: "));
  EXPECT_EQ(given_files(), 0U);
}

TEST_F(BacklightSetup, FailsWithoutLeds) {
  for (const char *text : {"[info]\nleds=0\n", "[info]\nleds=-2\n", "[info]\nleds=two\n", "[info]\nleds=\n",
                           "[info]\nLEDs=2\n", "[leds]\nleds=2\n", "", "[info]\nleds=1025\n"}) {
    log_.clear();
    write_file(kIllumination, text);
    EXPECT_EQ(set_up(new_light()), kFailed) << text;
    EXPECT_EQ(log_.lines(), errors({"Unable to obtain number of LEDs from config"})) << text;
  }
  EXPECT_EQ(given_files(), 0U);
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
  g_free(light_->basepath);
  light_->basepath = g_strdup("/sys/class/ir/%02d%%/light");
  for (const char *led : {"00", "01"})
    for (const char *name : {"bl_power", "brightness"})
      write_fresh_file(std::string{"/sys/class/ir/"} + led + "%/light/" + name);
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(access_of("/sys/class/ir/01%/light/brightness"), lights_access());
}

TEST_F(BacklightSetup, FailsWithoutAPathThatCanBeBuilt) {
  for (const char *format : {static_cast<const char *>(nullptr), "/sys/class/%s", "/sys/class/%d/%d",
                             "/sys/class/%n", "/sys/class/ir%"}) {
    log_.clear();
    const auto light = new_light();
    g_free(light->basepath);
    light->basepath = g_strdup(format);
    EXPECT_EQ(set_up(light), kFailed) << (format ? format : "none");
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
  write_file(kDimming, "[regulator]\nenabled=true\nno key\n");
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
  write_file(kDimming, "[regulator]\nenabled=true\ntemp_sensor_id=left\ntemp_sensor_id2=right\n");
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

// The angle.

TEST_F(BacklightSetup, LightHasNoAngle) {
  EXPECT_EQ(set_up(light_), kDone);
  light_->angle_of_illumination = 30;
  led_base_set_angle_of_illumination(light_.get(), 70);
  led_base_recalculate_angle_of_illumination(light_.get(), 70);
  EXPECT_EQ(light_->angle_of_illumination, 30);
  EXPECT_EQ(led_base_get_current_angle_of_illumination(light_.get()), -1);
  EXPECT_EQ(light_->led_intensities, nullptr);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

}  // namespace
