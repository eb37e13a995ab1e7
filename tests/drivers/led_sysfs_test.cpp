// What a light of attribute files writes: from the table, less what was not granted, less what the heat
// takes.

#include <cmath>
#include <cstring>
#include <limits>

#include "support/led_sysfs_fixture.h"

namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr gint kMost = std::numeric_limits<gint>::max();
constexpr gint kLeast = std::numeric_limits<gint>::min();
constexpr gdouble kInfinity = std::numeric_limits<gdouble>::infinity();
constexpr gdouble kNotANumber = std::numeric_limits<gdouble>::quiet_NaN();

TEST_F(SysfsLight, IsAClassOfThisName) {
  EXPECT_STREQ(g_type_name(LED_TYPE_SYSFS), "Led_SYSFS");
  EXPECT_EQ(g_type_parent(LED_TYPE_SYSFS), LED_TYPE_BASE);
}

TEST_F(SysfsLight, OverridesFiveSlotsAndInheritsTheOthers) {
  GTypeQuery driver{};
  GTypeQuery base{};
  g_type_query(LED_TYPE_SYSFS, &driver);
  g_type_query(LED_TYPE_BASE, &base);
  ASSERT_EQ(driver.class_size, base.class_size);

  const auto base_light = make_light(LED_TYPE_BASE);
  const auto *slots = LED_BASE_GET_CLASS(light_.get());
  const auto *inherited = LED_BASE_GET_CLASS(base_light.get());
  EXPECT_NE(slots->activate_light, nullptr);
  EXPECT_NE(slots->update_temperature, nullptr);
  EXPECT_NE(slots->setup, inherited->setup);
  EXPECT_NE(slots->recalculate_angle_of_illumination, inherited->recalculate_angle_of_illumination);
  EXPECT_NE(slots->request_power, inherited->request_power);

  LedBaseClass expected = *inherited;
  expected.activate_light = slots->activate_light;
  expected.setup = slots->setup;
  expected.recalculate_angle_of_illumination = slots->recalculate_angle_of_illumination;
  expected.request_power = slots->request_power;
  expected.update_temperature = slots->update_temperature;
  EXPECT_EQ(std::memcmp(reinterpret_cast<const char *>(slots) + sizeof(GObjectClass),
                        reinterpret_cast<const char *>(&expected) + sizeof(GObjectClass),
                        sizeof(LedBaseClass) - sizeof(GObjectClass)),
            0);
}

TEST_F(SysfsLight, IsNotReducedAtFirst) { EXPECT_EQ(light_->power_reduce, 0.0); }

// The table.

TEST_F(SysfsLight, GivesWhatTheRowOfTheAngleTells) {
  set_up_light();
  calculate(100, 47);
  EXPECT_THAT(activated(), ElementsAre("450", "1000", "2000"));
  calculate(100, 60);
  EXPECT_THAT(activated(), ElementsAre("600", "400", "200"));
  calculate(100, 29);
  EXPECT_THAT(activated(), ElementsAre("300", "600", "900"));
  calculate(50, 44);
  EXPECT_THAT(activated(), ElementsAre("150", "300", "450"));
}

TEST_F(SysfsLight, CalculatesForItsOwnAngleWhateverIsAskedFor) {
  set_up_light();
  light_->intensity = 100;
  light_->angle_of_illumination = 47;
  for (const gint angle : {0, 30, 60, kMost, kLeast}) {
    led_base_recalculate_angle_of_illumination(light_.get(), angle);
    EXPECT_THAT(activated(), ElementsAre("450", "1000", "2000")) << angle;
  }
  EXPECT_EQ(light_->angle_of_illumination, 47);
}

TEST_F(SysfsLight, BelowTheSecondOfThreePointsContinuesTheUpperSegment) {
  set_up_with("[0]\n0=0;0;0;\n50=1000;800;0;\n100=2000;0;500;\n");
  calculate(20, 0);
  EXPECT_THAT(activated(), ElementsAre("399", "1280", "-300")) << "-0.6 is a little less in single precision";
}

TEST_F(SysfsLight, AboveTheLastPointContinuesTheFirstSegment) {
  set_up_with("[0]\n0=0;100;0;\n50=1000;800;50;\n100=2000;0;500;\n");
  calculate(120, 0);
  EXPECT_THAT(activated(), ElementsAre("2400", "1780", "120"));
}

TEST_F(SysfsLight, TwoPointsAreUsedForAnyIntensity) {
  set_up_with("[0]\n20=200;0;100;\n60=600;400;100;\n");
  calculate(10, 0);
  EXPECT_THAT(activated(), ElementsAre("100", "-100", "100"));
  calculate(40, 0);
  EXPECT_THAT(activated(), ElementsAre("400", "200", "100"));
  calculate(100, 0);
  EXPECT_THAT(activated(), ElementsAre("1000", "800", "100"));
}

TEST_F(SysfsLight, InterpolatesInSinglePrecisionRoundedOnce) {
  set_up_with("[0]\n0=1000;1;1;\n100=0;1;1;\n");
  calculate(60, 0);
  EXPECT_THAT(activated(), ElementsAre("399", "1", "1"));
}

TEST_F(SysfsLight, HasNoPowerWithoutRowsOrPoints) {
  for (const char *rows : {"", "[0]\n"}) {
    light_ = new_light();
    set_up_with(rows);
    calculate(100, 47);
    EXPECT_THAT(activated(), ElementsAre("0", "0", "0")) << rows;
  }
}

TEST_F(SysfsLight, HasThePowerOfAnOnlyPoint) {
  set_up_with("[0]\n50=1;2;3;\n");
  for (const gint intensity : {0, 50, 100}) {
    calculate(intensity, 47);
    EXPECT_THAT(activated(), ElementsAre("1", "2", "3")) << intensity;
  }
}

TEST_F(SysfsLight, HasThePowerOfTheLowerOfTwoEqualPoints) {
  set_up_with("[0]\n50=1;2;3;\n50x=7;8;9;\n");
  calculate(80, 0);
  EXPECT_THAT(activated(), ElementsAre("1", "2", "3"));
}

TEST_F(SysfsLight, EndsWhereANumberDoes) {
  set_up_with("[0]\n0=0;0;0;\n1=2147483647;-2147483648;1;\n");
  calculate(kMost, 0);
  EXPECT_THAT(activated(), ElementsAre("2147483647", "-2147483648", "2147483647"));
}

TEST_F(SysfsLight, CalculationIsToldOfWhatChangesWhileLit) {
  set_up_light();
  BEAMD_DEBUG_FLAG = 1;
  calculate(100, 47);
  EXPECT_THAT(log_.lines(), IsEmpty());

  light_->light_on = 1;
  calculate(50, 61);
  EXPECT_EQ(log_.lines(),
            prints({"Angle:61 (group 60deg), led:0, from power: 450mw, to power:300mW (low:0mW - "
                    "high:600mW) (quota:0.50)",
                    "Angle:61 (group 60deg), led:1, from power: 1000mw, to power:200mW (low:0mW - "
                    "high:400mW) (quota:0.50)",
                    "Angle:61 (group 60deg), led:2, from power: 2000mw, to power:100mW (low:0mW - "
                    "high:200mW) (quota:0.50)"}));
  log_.clear();
  calculate(50, 62);
  EXPECT_THAT(log_.lines(), IsEmpty());
  BEAMD_DEBUG_FLAG = 0;
  calculate(100, 62);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(SysfsLight, CalculationWritesNothing) {
  set_up_light();
  light_->light_on = 1;
  calculate(100, 47);
  EXPECT_THAT(written(), IsEmpty());
}

TEST_F(SysfsLight, LedsBeyondTheirNumberHaveNoPower) {
  set_up_light();
  calculate(100, 47);
  light_->nbr_of_leds = 1;
  EXPECT_THAT(activated(), ElementsAre("450"));
  led_base_recalculate_angle_of_illumination(light_.get(), 47);
  light_->nbr_of_leds = 3;
  EXPECT_THAT(activated(), ElementsAre("450", "0", "0"));
}

TEST_F(SysfsLight, DrivesTheFirstSixteenOfMoreLeds) {
  std::string row = "[0]\n0=";
  for (int led = 0; led < 20; ++led)
    row += "0;";
  row += "\n100=";
  for (int led = 0; led < 20; ++led)
    row += "1500;";
  make_leds(20);
  set_up_with(row, 20);
  calculate(100, 0);
  EXPECT_THAT(activated(), AllOf(SizeIs(16), Each("1500")));
  light_->power_reduce = 16 * 500.0;
  EXPECT_THAT(activated(), AllOf(SizeIs(16), Each("1000")));
}

// Writing.

TEST_F(SysfsLight, OffIsZero) {
  set_up_light();
  calculate(100, 47);
  EXPECT_THAT(activated(FALSE), ElementsAre("0", "0", "0"));
  EXPECT_THAT(activated(TRUE), ElementsAre("450", "1000", "2000")) << "the powers stay";
}

TEST_F(SysfsLight, OnIsAnythingButZero) {
  set_up_light();
  calculate(100, 47);
  for (const gboolean on : {2, -1})
    EXPECT_THAT(activated(on), ElementsAre("450", "1000", "2000")) << on;
}

TEST_F(SysfsLight, IsDarkBeforeAnythingIsCalculated) {
  set_up_light();
  EXPECT_THAT(activated(), ElementsAre("0", "0", "0"));
}

TEST_F(SysfsLight, PowersThatCancelEachOtherAreDark) {
  set_up_with("[0]\n0=0;0;0;\n100=500;-500;0;\n");
  calculate(100, 0);
  EXPECT_THAT(activated(), ElementsAre("0", "0", "0"));
}

TEST_F(SysfsLight, WritesDecimalsWithoutANewline) {
  set_up_light();
  calculate(100, 47);
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(read_file(led_file(1)), "1000");
}

TEST_F(SysfsLight, DoesNotCutLongerOldContent) {
  set_up_light();
  calculate(100, 47);
  write_file(led_file(0), "12345");
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(read_file(led_file(0)), "45045");
}

TEST_F(SysfsLight, MakesNoFile) {
  set_up_light();
  std::filesystem::remove(led_file(1));
  EXPECT_EQ(activate(light_, TRUE), kFailed);
  EXPECT_EQ(log_.lines(), errors({"Failed to open file /sys/class/leds/ir1/brightness"}));
  EXPECT_FALSE(std::filesystem::exists(led_file(1)));
}

TEST_F(SysfsLight, DoesNotWaitForTheReaderOfAFifo) {
  set_up_light();
  std::filesystem::remove(led_file(0));
  ASSERT_EQ(mkfifo(led_file(0).c_str(), 0600), 0);
  EXPECT_EQ(activate(light_, TRUE), kFailed);
  EXPECT_EQ(log_.lines(), errors({"Failed to open file /sys/class/leds/ir0/brightness"}));
}

TEST_F(SysfsLight, StopsAtTheFirstLedThatCannotBeWritten) {
  set_up_light();
  calculate(100, 47);
  fail_write(1, EIO);
  EXPECT_EQ(activate(light_, TRUE), kFailed);
  EXPECT_EQ(log_.lines(), errors({"Write failure to led 1 - 1000mW"}));
  EXPECT_THAT(written(), ElementsAre("leds/ir0/brightness=450", "leds/ir1/brightness!"));
  EXPECT_EQ(read_file(led_file(2)), "0") << "it keeps its power";
  EXPECT_THAT(activated(), ElementsAre("450", "1000", "2000")) << "the next one starts afresh";
}

TEST_F(SysfsLight, IsToldOfLedsThatCannotBeSwitchedOff) {
  set_up_light();
  calculate(100, 47);
  fail_write(0, ENODEV);
  EXPECT_EQ(activate(light_, FALSE), kFailed);
  EXPECT_EQ(log_.lines(), errors({"Write failure to led 0 - 0mW"}));
}

TEST_F(SysfsLight, FailsOnlyWhenNothingCouldBeWritten) {
  set_up_light();
  calculate(100, 47);
  fail_write(1, AttributeWrites::kShort);
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_THAT(written(),
              ElementsAre("leds/ir0/brightness=450", "leds/ir1/brightness!", "leds/ir2/brightness=2000"));
}

TEST_F(SysfsLight, GivesThePowerToASecondConversionOfThePath) {
  set_up_light();
  calculate(100, 47);
  g_free(light_->basepath);
  light_->basepath = g_strdup("/sys/class/leds/%d-%d");
  for (const char *name : {"0-450", "1-1000", "2-2000"})
    write_file(std::string{"/sys/class/leds/"} + name, "");
  written();
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_THAT(written(), ElementsAre("leds/0-450=450", "leds/1-1000=1000", "leds/2-2000=2000"));
}

TEST_F(SysfsLight, WritesNothingToAPathThatCannotBeBuilt) {
  set_up_light();
  for (const char *format :
       {"/sys/class/leds/ir%s", "/sys/class/leds/ir%n", "/sys/class/leds/%d/%d/%d", "%*d"}) {
    g_free(light_->basepath);
    light_->basepath = g_strdup(format);
    log_.clear();
    EXPECT_EQ(activate(light_, TRUE), kFailed) << format;
    EXPECT_EQ(log_.lines(), errors({kNoPath})) << format;
  }
  g_clear_pointer(&light_->basepath, g_free);
  EXPECT_EQ(activate(light_, TRUE), kFailed);
  EXPECT_THAT(written(), IsEmpty());
}

TEST_F(SysfsLight, LeavesNoDescriptorOpen) {
  const auto open_descriptors = [] {
    const std::filesystem::directory_iterator all{"/proc/self/fd"};
    return std::distance(begin(all), end(all));
  };
  set_up_light();
  const auto before = open_descriptors();
  EXPECT_EQ(activate(light_, TRUE), kDone);
  fail_write(0, EIO);
  EXPECT_EQ(activate(light_, TRUE), kFailed);
  EXPECT_EQ(open_descriptors(), before);
}

// The thermal reduction.

class ReducedLight : public SysfsLight {
 protected:
  ReducedLight() {
    set_up_with("[0]\n0=0;0;0;\n100=1000;3000;0;\n");
    calculate(100, 0);
  }
};

TEST_F(ReducedLight, IsReducedInProportion) {
  light_->power_reduce = 800.0;
  EXPECT_THAT(activated(), ElementsAre("800", "2400", "0"));
  light_->power_reduce = 0.0;
  EXPECT_THAT(activated(), ElementsAre("1000", "3000", "0")) << "the powers stay";
}

TEST_F(ReducedLight, LosesTheFraction) {
  light_->power_reduce = 0.5;
  EXPECT_THAT(activated(), ElementsAre("999", "2999", "0"));
}

TEST_F(ReducedLight, IsNeverNegative) {
  light_->power_reduce = 6000.0;
  EXPECT_THAT(activated(), ElementsAre("0", "0", "0"));
  light_->power_reduce = kInfinity;
  EXPECT_THAT(activated(), ElementsAre("0", "0", "0"));
}

TEST_F(ReducedLight, IsDarkWithAReductionThatIsNoNumber) {
  light_->power_reduce = kNotANumber;
  EXPECT_THAT(activated(), ElementsAre("0", "0", "0"));
}

TEST_F(ReducedLight, IsOffWhenItIsSwitchedOff) {
  light_->power_reduce = -800.0;
  EXPECT_THAT(activated(FALSE), ElementsAre("0", "0", "0"));
}

TEST_F(ReducedLight, IsRoundedOnce) {
  light_ = new_light();
  set_up_with("[0]\n0=0;0;0;\n100=4;16;0;\n");
  calculate(100, 0);
  light_->power_reduce = 15.0;
  EXPECT_THAT(activated(), ElementsAre("0", "3", "0"));
}

TEST_F(ReducedLight, IsToldInDebugMode) {
  light_->power_reduce = 6000.0;
  activated();
  EXPECT_THAT(log_.lines(), IsEmpty());
  BEAMD_DEBUG_FLAG = 1;
  activated();
  EXPECT_EQ(log_.lines(), prints({"Led to warm. Lowering power for led0 from 1000mW to -500mW",
                                  "Led to warm. Lowering power for led1 from 3000mW to -1500mW",
                                  "Led to warm. Lowering power for led2 from 0mW to 0mW"}));
  log_.clear();
  activated(FALSE);
  light_->power_reduce = 0.0;
  activated();
  EXPECT_THAT(log_.lines(), IsEmpty());
}

// A light whose setup failed is used all the same.
TEST_F(SysfsLight, WithoutItsSetupDoesNothingHarmful) {
  BEAMD_DEBUG_FLAG = 1;
  g_clear_pointer(&light_->basepath, g_free);
  light_->light_on = 1;
  light_->use_power_request = TRUE;
  led_base_set_intensity(light_.get(), 100);
  led_base_set_power_intensity(light_.get(), 2.0);
  led_base_set_angle_of_illumination(light_.get(), 30);
  led_base_update_temperature(light_.get());
  EXPECT_EQ(activate(light_, FALSE), kDone) << "of no LED";
  light_->nbr_of_leds = 3;
  led_base_recalculate_angle_of_illumination(light_.get(), 0);
  EXPECT_EQ(activate(light_, TRUE), kFailed);
  EXPECT_THAT(attribute_writes().tried, IsEmpty());
}

}  // namespace
