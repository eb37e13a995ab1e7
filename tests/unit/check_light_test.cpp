// What a light's settings say about each other, and about its table.

#include "support/configuration_tree.h"

namespace {

const std::string kState = "/etc/beamd/led0.conf";
const std::string kDefaults = "/usr/share/beamd/led0.conf";
const std::string kEnable = "enable=true\n";
const std::string kZoom =
    "intensity=50\nmanualangleofillumination=5\n[zoom]\nautomaticangleofillumination=true\n";

const std::vector<Mistake> kMistakes = known({
    {"LowAboveHigh", "Dummy", kState, "intensityLOW=0", "intensityLOW=101", "error range-reversed refused"},
    {"AnglesTheWrongWayRound", "Dummy", kState, "intensity=50\n",
     "intensity=50\n[zoom]\nangleofillumination=5\nangleofilluminationLOW=9\nangleofilluminationHIGH=1\n",
     "error range-reversed refused", "angleofilluminationLOW"},
    {"NoRangeForBrightness", "LEDBL", kState, "intensityLOW=0\nintensityHIGH=100\nintensity=50",
     "intensityLOW=100\nintensityHIGH=100\nintensity=100", "error range-flat dark", "intensityHIGH"},
    {"IntensityAboveHigh", "Dummy", kState, "intensity=50", "intensity=150",
     "error outside-own-range misread"},
    {"ManualIntensityAboveHigh", "Dummy", kState, kEnable,
     kEnable + "automaticintensity=true\nmanualintensity=101\n", "warning outside-own-range misread",
     "manualint"},
    {"EntryAboveHigh", "Dummy", kState, kEnable,
     kEnable + "individualintensitysupport=true\nintensities=50;500;\n", "warning outside-own-range unused",
     "intensities="},
    {"AngleOutsideOfItsRange", "Dummy", kState, "intensity=50\n",
     "intensity=50\n[zoom]\nangleofillumination=5\nangleofilluminationLOW=9\nangleofilluminationHIGH=90\n",
     "warning outside-own-range misread", "angleofillumination="},
    {"AutomaticWithoutManual", "Dummy", kState, kEnable, kEnable + "automaticintensity=true\n",
     "warning incomplete-pair unused", "automatic"},
    {"ManualWithoutAutomatic", "Dummy", kState, kEnable, kEnable + "manualintensity=5\n",
     "warning incomplete-pair unused", "manual"},
    {"RangeWithoutAngle", "Dummy", kState, "intensity=50\n",
     kZoom + "angleofilluminationLOW=0\nangleofilluminationHIGH=9\n", "error zoom-incomplete dropped",
     "angleofilluminationLOW"},
    {"AngleOfABacklight", "LEDBL", kState, "intensity=50\n",
     "intensity=50\n[zoom]\nangleofillumination=5\nangleofilluminationLOW=0\nangleofilluminationHIGH=90\n",
     "error zoom-unsupported dropped", "angleofillumination="},
    {"AngleOfOneChannel", "LED1I2C", kState, "intensity=50\n",
     "intensity=50\n[zoom]\nangleofillumination=5\nangleofilluminationLOW=0\nangleofilluminationHIGH=90\n",
     "error zoom-unsupported dropped", "angleofillumination="},
    {"OneIntensityTooFew", "Dummy", kState, kEnable,
     kEnable + "individualintensitysupport=true\nintensities=50;\n", "error intensities-count dropped",
     "intensities="},
    {"IntensitiesOfPwm", "LED1PWM", kState, kEnable,
     kEnable + "individualintensitysupport=true\nintensities=50;\n", "error intensities-count dropped",
     "intensities="},
    {"NoIntensities", "Tarsil", kState, kEnable, kEnable + "individualintensitysupport=true\nintensities=\n",
     "error intensities-count dropped", "intensities="},
    {"IntensitiesWithoutSupport", "Dummy", kState, kEnable, kEnable + "intensities=50;50;\n",
     "warning key-without-effect unused", "intensities="},
    {"FactorOfTarsil", "Tarsil", kState, kEnable, kEnable + "powerusagefactor=0.1\n",
     "warning key-without-effect unused", "powerusage"},
    {"BrightnessOfTwoChannels", "LED2I2C", kState, kEnable, kEnable + "max_brightness_level=100\n",
     "warning key-without-effect unused", "max_bright"},
    {"ExpanderOfTwoChannels", "LED2I2C", kState, kEnable, kEnable + "expander_type=1\n",
     "warning key-without-effect unused", "expander"},
    {"RequirementThatNobodyHears", "LED2I2C", kState, kEnable,
     kEnable + "usepowerrequest=false\nminimum_poe_class=3\n", "error power-unheard refused", "usepower"},
    {"NoInterfaceForGrants", "LED2I2C", kState, "nbrofinterfaces=3", "nbrofinterfaces=1",
     "error interface-missing dark"},
    {"NoInterfaceForAngles", "Dummy", kState, "nbrofinterfaces=3",
     "nbrofinterfaces=2\n[zoom]\nangleofillumination=5\nangleofilluminationLOW=0\nangleofilluminationHIGH="
     "90\n"
     "[common]",
     "warning interface-missing dropped\n/etc/beamd/led0.conf:8 warning duplicate-group unused", "nbrof"},
    {"TypeThatTheUnitDoesNotKnow", "LED2UART", kState, "ledtype=IR", "ledtype=White",
     "error unknown-ledtype dark"},
    {"NumberOfAnotherKind", "LEDSYSFS", kDefaults, "led%d", "led%s", "error basepath-format undetected"},
    {"TwoNumbers", "LEDBL", kDefaults, "led%d", "led%d/%d", "error basepath-format refuses-to-start"},
    {"LonePercentSign", "LEDFISHEYEI2C", kDefaults, "led%d", "led%d%", "error basepath-format undetected"},
    {"NumberOfAFolder", "LED2I2C", kDefaults, "/sys/board", "/sys/board%d",
     "error basepath-format refuses-to-start"},
    {"NoNumber", "LEDSYSFS", kDefaults, "led%d", "led", "error basepath-without-number misread"},
    {"EndlessPath", "LED1PWM", kDefaults, "/sys/board", "/" + std::string(5000, 'x'),
     "error basepath-format dark"},
    {"RelativePath", "LED2I2C", kDefaults, "/sys/board", "sys/board", "error basepath-relative misread"},
});

class CheckLight : public MistakeTest {};
TEST_P(CheckLight, FindsTheMistakeAlone) { expect_found(GetParam()); }
INSTANTIATE_TEST_SUITE_P(All, CheckLight, testing::ValuesIn(kMistakes), name_of_mistake);

CameraFiles two_lights(const std::string &first, const std::string &second) {
  CameraFiles files = valid_configuration("LED2I2C");
  files["/etc/beamd/beamd.conf"] = "[LED]\nNbrOfLeds=2\n[LED.L0]\nType=LED2I2C\n[LED.L1]\nType=LED2I2C\n";
  files["/etc/beamd/led1.conf"] = files[kState];
  files[kDefaults] = "[common]\nbasepath=" + first + "\n";
  files["/usr/share/beamd/led1.conf"] = "[common]\nbasepath=" + second + "\n";
  return files;
}

TEST(CheckedLights, DoNotShareABoard) {
  ConfigurationTree tree;
  tree.write(two_lights("/sys/a", "/sys/b"));
  EXPECT_EQ(tree.findings(), "");
  for (const char *same : {"/sys/a", "/sys/a/", "/sys//a", "//sys/./a"}) {
    tree.write(two_lights("/sys/a", same));
    EXPECT_EQ(tree.findings(), "/usr/share/beamd/led1.conf:2 error basepath-shared misread\n") << same;
  }
}

}  // namespace
