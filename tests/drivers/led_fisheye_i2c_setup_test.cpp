// How a fisheye camera's light finds and takes over what it needs.

#include "led/led_setup.h"
#include "support/fisheye_fixture.h"
#include "support/milliwatt_setup_tests.h"

namespace {
bool memory_is_short = false;
}

// In place of GLib's.
gpointer g_try_malloc0_n(gsize count, gsize size) { return memory_is_short ? nullptr : calloc(count, size); }

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const Outcome kNoConfiguration = refused_board("Unable to load LED driver configuration");
const Outcome kNotAccessible = refused_board("IR light PCB is not accessible");

constexpr const char *kNoSampleTime = "Missing sample_time parameter";
constexpr const char *kNoReferenceTemperature = "Missing ref_temp parameter";

class FisheyeFiles : public Fisheye {
 protected:
  static constexpr const char *kClassName = "Led_Fisheye_I2C";

  static std::vector<std::pair<std::string, FileAccess>> files_to_give() {
    return {{led_file(0), lights_access()}, {led_file(1), lights_access()}};
  }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Fisheye, MilliwattSetup, FisheyeFiles);

class FisheyeSetup : public MilliwattSetup<FisheyeFiles> {
 protected:
  ~FisheyeSetup() override { memory_is_short = false; }

  static bool is_given(int led) { return access_of(led_file(led)) == lights_access(); }

  /// Sets a light up with group "regulator" of these lines; the driver says nothing but @p complaint.
  void expect_missing(const std::string &lines, const std::string &complaint) {
    log_.clear();
    write_dimming(lines);
    EXPECT_EQ(set_up(new_light()), kFailed) << lines;
    EXPECT_EQ(log_.lines(), errors({complaint})) << lines;
    EXPECT_FALSE(is_given(0)) << lines;
  }
};

TEST_F(FisheyeSetup, PrintsItsConfigurationFiles) {
  BEAMD_DEBUG_FLAG = 1;
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(log_.lines(), prints({"Using illumination config file /etc/beamd/illumination.conf",
                                  "Using dimming config file /etc/beamd/dimming.conf"}));
}

TEST_F(FisheyeSetup, GivesTheFilesAway) {
  make_leds(3);
  write_fresh_file("/sys/class/leds/fisheye0/trigger");
  EXPECT_EQ(set_up(light_), kDone);
  for (const int led : {0, 1}) {
    EXPECT_EQ(access_of(led_file(led)), lights_access()) << led;
    EXPECT_EQ(read_file(led_file(led)), "0\n") << led;
  }
  EXPECT_EQ(access_of(led_file(2)), kFreshAccess);
  EXPECT_EQ(access_of("/sys/class/leds/fisheye0/trigger"), kFreshAccess);
}

// The hardware.

TEST_F(FisheyeSetup, IsRefusedWithoutTheFirstLed) {
  std::filesystem::remove(led_file(0));
  EXPECT_EQ(set_up(light_), refused_board("No IR light PCB found"));
  EXPECT_EQ(log_.lines(), prints({"Could not find MCU hardware"})) << "a message that is no debug print";
  EXPECT_THAT(fake_bootblock().asked, IsEmpty());
  EXPECT_EQ(light_->nbr_of_leds, 0);
  EXPECT_FALSE(is_given(1));
}

TEST_F(FisheyeSetup, IsRefusedWhenTheFirstLedTellsNothing) {
  write_file(led_file(0), "");
  EXPECT_EQ(set_up(light_), refused_board("No IR light PCB found"));
  log_.clear();
  std::filesystem::remove(led_file(0));
  std::filesystem::create_directory(led_file(0));
  EXPECT_EQ(set_up(light_), refused_board("No IR light PCB found"));
  EXPECT_EQ(log_.lines(), prints({"Could not find MCU hardware"}));
}

TEST_F(FisheyeSetup, TakesAnyByteForHardware) {
  for (const char *text : {"0", "1", "7", "x", "\n", "\xff"}) {
    write_file(led_file(0), text);
    EXPECT_EQ(set_up(new_light()), kDone) << text;
  }
}

TEST_F(FisheyeSetup, IsRefusedWithoutAPathThatCanBeBuilt) {
  for (const char *format : kUnusableFormats) {
    EXPECT_EQ(set_up_at(format), refused_board("No IR light PCB found")) << (format ? format : "none");
    EXPECT_EQ(log_.lines(), prints({"Could not find MCU hardware"}));
  }
}

TEST_F(FisheyeSetup, FindsTheLedsWhereTheFormatSays) {
  for (const int led : {0, 1})
    write_fresh_file("/sys/class/fish/0" + std::to_string(led) + "%/eye", "0");
  EXPECT_EQ(set_up_at("/sys/class/fish/%02d%%/eye"), kDone);
  EXPECT_EQ(access_of("/sys/class/fish/01%/eye"), lights_access());
}

// The levels.

TEST_F(FisheyeSetup, IsRefusedWithoutMemoryForTheLevels) {
  memory_is_short = true;
  std::filesystem::remove(kDimming);
  EXPECT_EQ(set_up(light_), refused_board("Unable to allocate memory for requested LED intensities"));
  EXPECT_THAT(log_.lines(), IsEmpty());
  written();
  light_->power_intensity = 2.0;
  EXPECT_EQ(activate(light_, TRUE).code, std::nullopt);
  led_base_update_temperature(light_.get());
  EXPECT_THAT(written(), IsEmpty());
}

TEST_F(FisheyeSetup, WithoutMemoryForTheLevelsMakesALightThatWritesNothing) {
  memory_is_short = true;
  const LightFiles files;
  files.write_state(state_text());
  files.write_defaults("[common]\nbasepath=/sys/class/leds/fisheye%d/power\n");
  const LightPointer light{LED_BASE(g_object_new(LED_TYPE_FISHEYE_I2C, nullptr)), &g_object_unref};
  EXPECT_TRUE(led_base_setup(light.get(), nullptr));
  EXPECT_EQ(light->nbr_of_leds, 2);
  EXPECT_FALSE(light->card_detected);

  thermal_zones::heat(1, 55.0);
  watch(light, {1});
  written();
  light->light_on = 1;
  led_base_set_power_intensity(light.get(), 2.0);
  led_base_update_temperature(light.get());
  EXPECT_THAT(written(), IsEmpty());
}

// The variant for the hardware.

TEST_F(FisheyeSetup, TakesTheFilesForItsHardware) {
  fake_bootblock().value = "X1";
  write_file(kIllumination + std::string{".X1"}, "[info]\nleds=1\n");
  write_file(kDimming + std::string{".X1"},
             "[regulator]\nsample_time=77\nk_p=0\nk_i=0\nk_d=0\nref_temp=60\n");
  BEAMD_DEBUG_FLAG = 1;
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(light_->nbr_of_leds, 1);
  EXPECT_EQ(light_->temp_sample_time, 77);
  EXPECT_EQ(log_.lines(), prints({"Using illumination config file /etc/beamd/illumination.conf.X1",
                                  "Using dimming config file /etc/beamd/dimming.conf.X1"}));
  EXPECT_THAT(fake_bootblock().asked, ElementsAre("HWID", "HWID"));
}

TEST_F(FisheyeSetup, TakesTheOneFileForItsHardwareThatThereIs) {
  fake_bootblock().value = "X1";
  write_file(kDimming + std::string{".X1"},
             "[regulator]\nsample_time=77\nk_p=0\nk_i=0\nk_d=0\nref_temp=60\n");
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(light_->nbr_of_leds, 2);
  EXPECT_EQ(light_->temp_sample_time, 77);
}

TEST_F(FisheyeSetup, IsRefusedWithABrokenFileForItsHardware) {
  fake_bootblock().value = "X1";
  write_file(kDimming + std::string{".X1"}, "no key");
  EXPECT_EQ(set_up(light_), kNoConfiguration);
}

TEST_F(FisheyeSetup, TakesTheCommonFilesWhenTheHardwareCannotBeTold) {
  fake_bootblock().error = EIO;
  EXPECT_EQ(set_up(light_), kDone);
  const std::string line = "Could not read bootblock parameter HWID: Input/output error";
  EXPECT_EQ(log_.lines(), prints({line, line})) << "messages that are no debug prints";
}

TEST_F(FisheyeSetup, DoesNotAskWhetherLightControlIsEnabled) {
  fake_bootblock().value = "no";
  EXPECT_EQ(set_up(light_), kDone);
}

// The regulator.

TEST_F(FisheyeSetup, IsRefusedWithoutDimmingFile) {
  std::filesystem::remove(kDimming);
  EXPECT_EQ(set_up(light_), kNoConfiguration);
  EXPECT_EQ(log_.lines(), errors({"Could not open /etc/beamd/dimming.conf: No such file or directory"}));
  EXPECT_FALSE(is_given(0));
}

TEST_F(FisheyeSetup, IsRefusedWithABrokenDimmingFile) {
  write_dimming("sample_time=5\nk_p=0.1\nk_i=0\nk_d=0\nref_temp=60\nno key\n");
  EXPECT_EQ(set_up(light_), kNoConfiguration);
  ASSERT_THAT(log_.lines(), SizeIs(1));
  EXPECT_TRUE(log_.lines()[0].text.starts_with("Could not parse key file /etc/beamd/dimming.conf: "));
}

TEST_F(FisheyeSetup, FailsWithoutASetting) {
  expect_missing("k_p=0.1\nk_i=0\nk_d=0\nref_temp=60\n", kNoSampleTime);
  expect_missing("sample_time=5\nk_i=0\nk_d=0\nref_temp=60\n", "missing k_p parameter");
  expect_missing("sample_time=5\nk_p=0.1\nk_d=0\nref_temp=60\n", "missing k_i parameter");
  expect_missing("sample_time=5\nk_p=0.1\nk_i=0\nref_temp=60\n", "missing k_d parameter");
  expect_missing("sample_time=5\nk_p=0.1\nk_i=0\nk_d=0\n", kNoReferenceTemperature);
}

TEST_F(FisheyeSetup, NamesTheFirstSettingThatIsMissing) {
  expect_missing("", kNoSampleTime);
  expect_missing("sample_time=5\n", "missing k_p parameter");
  expect_missing("sample_time=5\nk_p=0.1\n", "missing k_i parameter");
  expect_missing("sample_time=5\nk_p=0.1\nk_i=0\n", "missing k_d parameter");
}

TEST_F(FisheyeSetup, FailsWithASettingThatIsNoNumber) {
  for (const char *text : {"", "often", "1.5", "5s", "0x5", "99999999999"})
    expect_missing("sample_time=" + std::string{text} + "\nk_p=0.1\nk_i=0\nk_d=0\nref_temp=60\n",
                   kNoSampleTime);
  for (const char *text : {"", "much", "0.1x"}) {
    const std::string value = text;
    expect_missing("sample_time=5\nk_p=" + value + "\nk_i=0\nk_d=0\nref_temp=60\n", "missing k_p parameter");
    expect_missing("sample_time=5\nk_p=1\nk_i=" + value + "\nk_d=0\nref_temp=60\n", "missing k_i parameter");
    expect_missing("sample_time=5\nk_p=1\nk_i=0\nk_d=" + value + "\nref_temp=60\n", "missing k_d parameter");
    expect_missing("sample_time=5\nk_p=1\nk_i=0\nk_d=0\nref_temp=" + value + "\n", kNoReferenceTemperature);
  }
}

TEST_F(FisheyeSetup, NeedsASampleTimeOfOneSecond) {
  for (const char *seconds : {"0", "-1", "-2147483648"})
    expect_missing("sample_time=" + std::string{seconds} + "\nk_p=0.1\nk_i=0\nk_d=0\nref_temp=60\n",
                   kNoSampleTime);
  write_dimming("sample_time=1\nk_p=0.1\nk_i=0\nk_d=0\nref_temp=60\n");
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(light_->temp_sample_time, 1);
}

TEST_F(FisheyeSetup, NeedsAReferenceAboveZeroDegrees) {
  for (const char *celsius : {"0", "0.0", "-0.0", "-5", "nan", "-inf"})
    expect_missing("sample_time=5\nk_p=0.1\nk_i=0\nk_d=0\nref_temp=" + std::string{celsius} + "\n",
                   kNoReferenceTemperature);
  write_dimming("sample_time=5\nk_p=0.1\nk_i=0\nk_d=0\nref_temp=0.001\n");
  EXPECT_EQ(set_up(light_), kDone);
}

TEST_F(FisheyeSetup, TakesGainsOfZeroAndBelow) {
  for (const char *gain : {"0", "0.0", "-0.5"}) {
    const std::string value = gain;
    write_dimming("sample_time=5\nk_p=" + value + "\nk_i=" + value + "\nk_d=" + value + "\nref_temp=60\n");
    EXPECT_EQ(set_up(new_light()), kDone) << gain;
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(FisheyeSetup, FailsWithAFifthSensor) {
  service_.has_sensor("s", 4);
  std::string sensors = "temp_sensor_id=s\n";
  for (const int sensor : {2, 3, 4})
    sensors += "temp_sensor_id" + std::to_string(sensor) + "=s\n";
  write_dimming(sensors + "sample_time=5\nk_p=0\nk_i=0\nk_d=0\nref_temp=60\n");
  const auto light = new_light();
  EXPECT_EQ(set_up(light), kDone);
  EXPECT_EQ(light->nbr_of_temp_sensors, 4);
  EXPECT_EQ(light->temp_sensor_ids[3], 4);

  make_leds(2);
  expect_missing(sensors + "temp_sensor_id5=s\n", "Expected at most 4 temperature sensors, but found 5.");
  expect_missing(sensors + "temp_sensor_id5=s\ntemp_sensor_id6=s\n",
                 "Expected at most 4 temperature sensors, but found 6.");
}

// The files of the LEDs.

TEST_F(FisheyeSetup, IsRefusedWithoutUser) {
  const WithoutEntry no_light{"/etc/passwd", "light"};
  EXPECT_EQ(set_up(light_), kNotAccessible);
  EXPECT_EQ(log_.lines(), errors({"Beamd failed getting passwd for user light"}));
  EXPECT_EQ(access_of(led_file(0)), kFreshAccess);
}

TEST_F(FisheyeSetup, IsRefusedWithoutTheFileOfAnLed) {
  write_led_count("3");
  make_leds(3);
  std::filesystem::remove(led_file(1));
  EXPECT_EQ(set_up(light_), kNotAccessible);
  EXPECT_EQ(log_.lines(), errors({"Failed to chown /sys/class/leds/fisheye1/power to gid " +
                                  std::to_string(primary_group("light"))}));
  EXPECT_TRUE(is_given(0));
  EXPECT_EQ(access_of(led_file(2)), kFreshAccess);
}

TEST_F(FisheyeSetup, IsRefusedWhenTheModeOfAFileIsFixed) {
  write_led_count("3");
  make_leds(3);
  write_file_of_fixed_mode(led_file(1));
  EXPECT_EQ(set_up(light_), kNotAccessible);
  EXPECT_EQ(log_.lines(), errors({"Failed to set r/w group to fd: /sys/class/leds/fisheye1/power"}));
  EXPECT_TRUE(is_given(0));
  EXPECT_EQ(access_of(led_file(2)), kFreshAccess);
}

}  // namespace
