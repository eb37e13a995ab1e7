// Groups and keys: unknown, repeated, missing ones.

#include <glib.h>

#include "beamctl/check/check.h"
#include "support/configuration_tree.h"

namespace {

const std::string kMain = "/etc/beamd/beamd.conf";
const std::string kState = "/etc/beamd/led0.conf";
const std::string kDefaults = "/usr/share/beamd/led0.conf";
const std::string kTable = "/etc/beamd/illumination.conf";
const std::string kDimming = "/etc/beamd/dimming.conf";
const std::string kPwm = "/etc/beamd/pwm.conf";
const std::string kCamblock = "/etc/beamd/camblock.conf";

const std::vector<Mistake> kMistakes = known({
    {"MisspeltGroup", "Dummy", kState, "[common]", "[comon]", "error unknown-group dropped"},
    {"GroupOfNoUse", "Dummy", kState, "[common]", "[telemetry]\nx=1\n[common]",
     "error unknown-group dropped"},
    {"MisspeltRegulator", "LED2I2C", kDimming, "[regulator]", "[regulater]", "error unknown-group dropped"},
    {"MisspeltInfo", "LED2I2C", kTable, "[info]", "[infos]", "error unknown-group dropped"},
    {"MisspeltCamblockInfo", "LEDCAMBLOCKI2C", kCamblock, "[i2c_info]", "[i2cinfo]",
     "error unknown-group dropped"},
    {"TableWithoutReader", "LEDBL", kTable, "leds=2\n", "leds=2\n[0]\n0=0;0;\n",
     "warning unknown-group unused", "[0]"},
    {"MisspeltKey", "Dummy", kState, "intensityHIGH=", "intensityHIHG=", "error unknown-key dropped"},
    {"KeyOfAnotherCase", "Dummy", kState, "intensity=", "Intensity=", "error unknown-key dropped"},
    {"KeyOfNoUse", "Dummy", kState, "enable=true\n", "enable=true\ncolour=red\n", "error unknown-key dropped",
     "colour"},
    {"LocaleKey", "Dummy", kState, "enable=true\n", "enable=true\nledtype[de]=IR\n",
     "error unknown-key dropped", "[de]"},
    {"KeyOfAnotherGroup", "Dummy", kState, "enable=true\n", "enable=true\nangleofillumination=5\n",
     "error unknown-key dropped", "angle"},
    {"SensorNumberOne", "LED2I2C", kDimming,
     "temp_sensor_id=", "temp_sensor_id1=", "error unknown-key dropped"},
    {"SensorNumberWithoutEnd", "LED2I2C", kDimming, "k_d=0\n",
     "k_d=0\ntemp_sensor_id99999999999999999999999=Lens\n", "error unknown-key dropped", "9999"},
    {"MisspeltBasepath", "LED2I2C", kDefaults, "basepath", "base_path", "error unknown-key dropped"},
    {"MisspeltRegister", "LEDCAMBLOCKI2C", kCamblock, "power_reg=4", "power_rag=4",
     "error unknown-key dropped"},
    {"MisspeltPwm", "LED1PWM", kPwm, "duty_low", "duty_lo", "error unknown-key dropped"},
    {"RepeatedKey", "Dummy", kState, "intensity=50\n", "intensity=50\nintensity=60\n",
     "error duplicate-key dropped", "intensity=60"},
    {"RepeatedGroup", "Dummy", kState, "intensity=50\n", "intensity=50\n[zoom]\n[common] \n",
     "warning duplicate-group unused", "[common] "},
    {"RepeatedGroupWithKey", "Dummy", kDefaults, "basepath=/sys/board\n",
     "basepath=/a\n\n[common] \nbasepath=/b\n", "error duplicate-group dropped", "[common] "},
    {"RepeatedRow", "LED2I2C", kTable, "[100]", "[0] \n50=1;1;\n[100]", "error duplicate-group misread",
     "[0] "},
    {"NoPwm", "LED1PWM", kPwm, "[pwm]\nld_period=1000\nduty_high=900\nduty_low=100\n", "# none\n",
     "error missing-group refuses-to-start", "-"},
    {"NoRegulator", "LEDFISHEYEI2C", kDimming,
     "[regulator]\nsample_time=5\ntemp_sensor_id=Board\nref_temp=60\nk_p=0.1\nk_i=0.001\nk_d=0\n", "",
     "error missing-group refuses-to-start", "-"},
    {"EmptyDefaults", "LED2UART", kDefaults, "[common]\nbasepath=/sys/board\n", "",
     "warning missing-group unused", "-"},
    {"NoRequiredKey", "Dummy", kState, "enable=true\n", "", "error missing-key refuses-to-start", "[common]"},
    {"NoBasepath", "LEDSYSFS", kDefaults, "basepath=/sys/board/led%d\n", "", "error missing-key undetected",
     "[common]"},
    {"NoLeds", "Dummy", kTable, "leds=2\n", "", "error missing-key dark", "[info]"},
    {"NoLedsForSysfs", "LEDSYSFS", kTable, "leds=2\n", "", "error missing-key refuses-to-start", "[info]"},
    {"NoDivisor", "Tarsil", kTable, "angle_div=50\n", "", "error missing-key misread", "[info]"},
    {"NoGainForFisheye", "LEDFISHEYEI2C", kDimming, "k_d=0\n", "", "error missing-key refuses-to-start",
     "[regulator]"},
    {"NoSampleTime", "LED2I2C", kDimming, "sample_time=5\n", "", "error missing-key unregulated",
     "[regulator]"},
    {"NoReferenceTemperature", "LED2I2C", kDimming, "ref_temp=60\n", "", "error missing-key unregulated",
     "[regulator]"},
    {"NoDuty", "LED1PWM", kPwm, "duty_high=900\n", "", "error missing-key refuses-to-start", "[pwm]"},
    {"NoBus", "LEDCAMBLOCKI2C", kCamblock, "camblockI2Cbus=0\n", "", "error missing-key refuses-to-start",
     "[i2c_info]"},
    {"NoBusForTwo", "LED2CAMBLOCKI2C", kCamblock, "camblockI2Cbus=0\n", "", "error missing-key dark",
     "[i2c_info]"},
    {"NoRegister", "LEDCAMBLOCKI2C", kCamblock, "power_reg=4\n", "", "error missing-key refuses-to-start",
     "[led1]"},
    {"NoExpanderType", "LEDSERIALLINK", kState, "expander_type=0\n", "", "warning missing-key dropped",
     "[common]"},
    {"NoBrightnessForPwm", "LED1PWM", kState, "max_brightness_level=100\n", "", "error missing-key dark",
     "[common]"},
    {"NoZoomRange", "Dummy", kState, "intensity=50\n",
     "intensity=50\n[zoom]\nangleofillumination=3\nangleofilluminationLOW=0\n",
     "error missing-key refuses-to-start", "[zoom]"},
});

class CheckNames : public MistakeTest {};
TEST_P(CheckNames, FindsTheMistakeAlone) { expect_found(GetParam()); }
INSTANTIATE_TEST_SUITE_P(All, CheckNames, testing::ValuesIn(kMistakes), name_of_mistake);

TEST(CheckedKeys, AMisspeltKeyStandsForTheRightOneOnlyWhereThatIsMissing) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("Dummy");
  files[kState] += "intensty=7\n";
  tree.write(files);
  EXPECT_EQ(tree.findings(), "/etc/beamd/led0.conf:8 error unknown-key dropped\n");
}

TEST(CheckedKeys, AnEmptyFileLacksItsGroup) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("Dummy");
  files[kState] = "# nothing yet\n";
  tree.write(files);
  EXPECT_EQ(tree.findings(), "/etc/beamd/led0.conf error missing-group refuses-to-start\n");
}

TEST(CheckedKeys, RowsAreNotJudgedWithoutTheGroupAheadOfThem) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("LED2I2C");
  files[kTable] = "[10]\n0=0;0;\n";
  tree.write(files);
  EXPECT_EQ(tree.findings(), "/etc/beamd/illumination.conf error missing-group dark\n");
}

TEST(CheckedKeys, LongOnesAreCutInMessages) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("Dummy");
  files[kState] += std::string(1000000, 'x');
  tree.write(files);
  const auto findings = check::check_tree(tree.root()).all;
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_LT(findings[0].message.size(), 300U);
}

TEST(CheckedKeys, LongOnesAreCutBetweenLetters) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("Dummy");
  std::string letters;
  for (int letter = 0; letter < 100; ++letter)
    letters += "\u20ac";
  for (const char *shift : {"", "x", "xx"}) {
    tree.write(kState, files[kState] + shift + letters + "=1\n");
    const auto findings = check::check_tree(tree.root()).all;
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_TRUE(g_utf8_validate(findings[0].message.c_str(), -1, nullptr)) << findings[0].message;
  }
}

TEST(CheckedKeys, ThatAreTooManyToTellAreMentioned) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("Dummy");
  tree.write(files);
  EXPECT_FALSE(check::check_tree(tree.root()).is_truncated);
  for (int key = 0; key < 10001; ++key)
    files[kState] += "x" + std::to_string(key) + "=1\n";
  tree.write(files);
  const check::Findings findings = check::check_tree(tree.root());
  EXPECT_EQ(findings.all.size(), 10000U);
  EXPECT_TRUE(findings.is_truncated);
}

TEST(CheckedKeys, WhatAMisspeltGroupHoldsIsNotJudged) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("Dummy");
  files[kState] = "[Common]\nintensity=many\n";
  tree.write(files);
  EXPECT_EQ(tree.findings(), "/etc/beamd/led0.conf:1 error unknown-group dropped\n");
}

}  // namespace
