// dimming.conf, pwm.conf and camblock.conf.

#include "support/configuration_tree.h"

namespace {

const std::string kMain = "/etc/beamd/beamd.conf";
const std::string kDimming = "/etc/beamd/dimming.conf";
const std::string kPwm = "/etc/beamd/pwm.conf";
const std::string kCamblock = "/etc/beamd/camblock.conf";
const std::string kSensor = "temp_sensor_id=Board\n";

const std::vector<Mistake> kMistakes = known({
    {"SecondSensorMissing", "LED2I2C", kDimming, kSensor, kSensor + "temp_sensor_id3=Lens\n",
     "error sensor-gap dropped", "id3"},
    {"FirstSensorMissing", "LED2I2C", kDimming, kSensor, "temp_sensor_id2=Lens\n",
     "error sensor-gap dropped"},
    {"TwoSensorsForOneChannel", "LED1I2C", kDimming, kSensor, kSensor + "temp_sensor_id2=Lens\n",
     "error sensor-count unregulated", "id2"},
    {"TwoSensorsForPwm", "LED1PWM", kDimming, kSensor, kSensor + "temp_sensor_id2=Lens\n",
     "error sensor-count dropped", "id2"},
    {"ThreeSensors", "Tarsil", kDimming, kSensor, kSensor + "temp_sensor_id2=Lens\ntemp_sensor_id3=Case\n",
     "error sensor-count dropped", "id3"},
    {"FiveSensors", "LEDFISHEYEI2C", kDimming, kSensor,
     kSensor + "temp_sensor_id2=B\ntemp_sensor_id3=C\ntemp_sensor_id4=D\ntemp_sensor_id5=E\n",
     "error sensor-count refuses-to-start", "id5"},
    {"NotASensorForEachLed", "LEDCAMBLOCKI2C", kDimming, "temp_sensor_id2=Board2\n", "",
     "warning sensor-count unused", "temp_sensor_id="},
    {"MoreSensorsThanLeds", "LEDCAMBLOCKI2C", kDimming, "temp_sensor_id2=Board2\n",
     "temp_sensor_id2=Board2\ntemp_sensor_id3=Board3\n", "warning sensor-count unused", "id3"},
    {"NegativeGain", "LED2I2C", kDimming, "k_p=0.1", "k_p=-0.1", "error gain-sign unregulated"},
    {"SensorTwice", "LED2I2C", kDimming, kSensor, kSensor + "temp_sensor_id2=Board\n",
     "warning key-without-effect unused", "id2"},
    {"NoGains", "LED2I2C", kDimming, "k_p=0.1\nk_i=0.001", "k_p=0\nk_i=0", "error gains-zero dark", "k_p"},
    {"NoGainsAtAll", "LED2I2C", kDimming, "k_p=0.1\nk_i=0.001\n", "", "error gains-zero dark", "[regulator]"},
    {"RegulatorNotSwitchedOn", "LEDBL", kDimming, "enabled=true\n", "", "warning regulator-idle unregulated",
     "[regulator]"},
    {"RegulatorThatCannotBeSwitchedOff", "LED2I2C", kDimming, kSensor, kSensor + "enabled=false\n",
     "error key-without-effect dropped", "enabled"},
    {"PoeClassOfTwoChannels", "LED2I2C", kDimming, kSensor, kSensor + "poe_class_present=true\n",
     "warning key-without-effect unused", "poe"},
    {"DarknessLongerThanThePeriod", "LED1PWM", kPwm, "duty_low=100", "duty_low=101",
     "error duty-beyond-period misread", "duty_high"},
    {"PolarityOfPwm", "LED1PWM", kPwm, "duty_low=100\n", "duty_low=100\npolarity=inversed\n",
     "error unknown-key dropped", "polarity"},
    {"RegisterOfTwoLeds", "LEDCAMBLOCKI2C", kCamblock, "enable_disable_reg=3", "enable_disable_reg=2",
     "error register-shared misread"},
    {"RegisterOfNoLed", "LED2CAMBLOCKI2C", kCamblock, "led1_power_reg=4\n",
     "led1_power_reg=4\n[led0]\nenable_disable_reg=1\n", "error unknown-group dropped", "[led0]"},
    {"RegisterOfTwoKeys", "LED2CAMBLOCKI2C", kCamblock, "led1_power_reg=4", "led1_power_reg=1",
     "error register-shared misread"},
});

class CheckDevices : public MistakeTest {};
TEST_P(CheckDevices, FindsTheMistakeAlone) { expect_found(GetParam()); }
INSTANTIATE_TEST_SUITE_P(All, CheckDevices, testing::ValuesIn(kMistakes), name_of_mistake);

TEST(CheckedRegulators, FollowTheFirstLight) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("LEDSYSFS");
  files["/etc/beamd/led1.conf"] = files["/etc/beamd/led0.conf"];
  files["/usr/share/beamd/led1.conf"] = "[common]\nbasepath=/sys/other\n";
  files[kMain] = "[LED]\nNbrOfLeds=2\n[LED.L0]\nType=LEDSYSFS\n[LED.L1]\nType=Dummy\n";
  tree.write(files);
  EXPECT_EQ(tree.findings(), "");
  std::swap(files["/usr/share/beamd/led0.conf"], files["/usr/share/beamd/led1.conf"]);
  files[kMain] = "[LED]\nNbrOfLeds=2\n[LED.L0]\nType=Dummy\n[LED.L1]\nType=LEDSYSFS\n";
  tree.write(files);
  EXPECT_EQ(tree.findings(), "/etc/beamd/beamd.conf:4 error regulator-idle unregulated\n");
}

TEST(CheckedRegulators, ThatAreOffMayHaveAnyGain) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("LEDBL");
  files[kDimming] = "[regulator]\nenabled=false\ntemp_sensor_id=Board\nk_p=-1\n";
  tree.write(files);
  EXPECT_EQ(tree.findings(), kDimming + ":4 warning gain-sign unused\n");
}

TEST(CheckedCamblocks, OfBothTypesMayShareAFile) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("LED2CAMBLOCKI2C");
  files[kMain] = "[LED]\nNbrOfLeds=2\n[LED.L0]\nType=LED2CAMBLOCKI2C\n[LED.L1]\nType=LEDCAMBLOCKI2C\n";
  files["/etc/beamd/led1.conf"] = files["/etc/beamd/led0.conf"];
  files["/usr/share/beamd/led1.conf"] = files["/usr/share/beamd/led0.conf"];
  files[kCamblock] +=
      "[led0]\nenable_disable_reg=1\npower_reg=2\n[led1]\nenable_disable_reg=3\npower_reg=4\n";
  files[kDimming] = "";
  tree.write(files);
  EXPECT_EQ(tree.findings(), "");
}

TEST(CheckedRegulators, NeedNoSensors) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("LED2I2C");
  files[kDimming] = "";
  tree.write(files);
  EXPECT_EQ(tree.findings(), "");
}

TEST(CheckedRegulators, OfSysfsMayBeLeftOut) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("LEDSYSFS");
  files.erase(kDimming);
  tree.write(files);
  EXPECT_EQ(tree.findings(), "");
}

}  // namespace
