// Values: their types and ranges.

#include "beamctl/check/check.h"
#include "support/configuration_tree.h"

namespace {

const std::string kState = "/etc/beamd/led0.conf";
const std::string kDefaults = "/usr/share/beamd/led0.conf";
const std::string kTable = "/etc/beamd/illumination.conf";
const std::string kDimming = "/etc/beamd/dimming.conf";
const std::string kPwm = "/etc/beamd/pwm.conf";
const std::string kCamblock = "/etc/beamd/camblock.conf";

const std::string kStop = "error value-type refuses-to-start";

const std::vector<Mistake> kTypes = known({
    {"LettersBehindAnInteger", "Dummy", kState, "intensity=50", "intensity=50abc", kStop},
    {"Hexadecimal", "Dummy", kState, "intensity=50", "intensity=0x32", kStop},
    {"FractionForAnInteger", "Dummy", kState, "intensity=50", "intensity=5.5", kStop},
    {"NothingForAnInteger", "Dummy", kState, "intensity=50", "intensity=", kStop},
    {"TooLongAnInteger", "Dummy", kState, "intensity=50", "intensity=5000000000", kStop},
    {"BooleanInCapitals", "Dummy", kState, "enable=true", "enable=True", kStop},
    {"BooleanYes", "Dummy", kState, "enable=true", "enable=yes", kStop},
    {"CommaInADouble", "Dummy", kState, "enable=true\n", "enable=true\nrequired_total_power=5,5\n", kStop,
     "required"},
    {"BlankBehindADouble", "LED2I2C", kDimming, "k_p=0.1\n", "k_p=0.1 \n", "error value-type unregulated"},
    {"GainOfFisheye", "LEDFISHEYEI2C", kDimming, "k_p=0.1", "k_p=0,1", "error value-type refuses-to-start"},
    {"CommasInAList", "Dummy", kState, "enable=true\n",
     "enable=true\nindividualintensitysupport=true\nintensities=50,50\n", "error value-type dropped",
     "intensities="},
    {"GapInAList", "LEDSYSFS", kTable, "100=90;90;", "100=90;;90", "error value-type refuses-to-start"},
    {"LettersInAList", "Dummy", kTable, "100=90;90;", "100=90;x", "error value-type dark"},
    {"WrongEscape", "Dummy", kState, "ledtype=IR", "ledtype=I\\R", kStop},
    {"NotUtf8", "Dummy", kState, "ledtype=IR", "ledtype=\xff", kStop},
    {"CommaInTheFactor", "Dummy", kState, "enable=true\n", "enable=true\npowerusagefactor=0,02\n",
     "error value-type misread", "powerusage"},
    {"RampdownInWords", "Dummy", kState, "enable=true\n", "enable=true\nrampdown_time=20ms\n",
     "error value-type dropped", "rampdown"},
    {"LedsInWords", "LED2I2C", kTable, "leds=2", "leds=two", "error value-type dark"},
    {"PeriodInWords", "LED1PWM", kPwm, "ld_period=1000", "ld_period=1ms", kStop},
    {"HexadecimalAddress", "LED2CAMBLOCKI2C", kCamblock, "Caddress=58", "Caddress=0x3a",
     "error value-type dark"},
    {"EmptyText", "LED2I2C", kDefaults, "basepath=/sys/board", "basepath=", "error empty-value misread"},
    {"CommentBehindAnInteger", "Dummy", kState, "intensity=50", "intensity=50 # half",
     "warning trailing-text unused"},
    {"CommentInAList", "Dummy", kTable, "100=90;90;", "100=90;90 # all;", "warning trailing-text unused"},
    {"CommentBehindAText", "LED2I2C", kDefaults, "/sys/board", "/sys/board # the board",
     "error trailing-text misread"},
    {"BlankBehindAText", "Dummy", kState, "ledtype=IR", "ledtype=IR ", "error trailing-text misread"},
});

const std::string kBeyond = "error value-range misread";

const std::vector<Mistake> kRanges = known({
    {"NegativeLow", "Dummy", kState, "intensityLOW=0", "intensityLOW=-5", kBeyond},
    {"NoHigh", "Dummy", kState, "intensityHIGH=100", "intensityHIGH=0", "error value-range refused"},
    {"NoHighForBrightness", "LEDBL", kState, "intensityHIGH=100", "intensityHIGH=0",
     "error value-range dark"},
    {"AngleBeyondTheTable", "Dummy", kState, "intensity=50\n",
     "intensity=50\n[zoom]\nangleofillumination=5\nangleofilluminationLOW=0\nangleofilluminationHIGH=120\n",
     "warning value-range misread", "angleofilluminationHIGH"},
    {"GainOfFisheyeWithoutEnd", "LEDFISHEYEI2C", kDimming, "k_p=0.1", "k_p=-inf",
     "error value-range unregulated"},
    {"NoTemperatureForFisheye", "LEDFISHEYEI2C", kDimming, "ref_temp=60", "ref_temp=nan",
     "error value-range refuses-to-start"},
    {"NoTimeForARegulatorThatIsOff", "LEDBL", kDimming, "enabled=true\nsample_time=5",
     "enabled=false\nsample_time=0", "warning value-range unused", "sample_time"},
    {"NoTimeWithoutSensors", "LED2I2C", kDimming, "sample_time=5\ntemp_sensor_id=Board\n", "sample_time=0\n",
     "warning value-range unused"},
    {"NoInterfaces", "Dummy", kState, "nbrofinterfaces=3", "nbrofinterfaces=0", kBeyond},
    {"FourInterfaces", "Dummy", kState, "nbrofinterfaces=3", "nbrofinterfaces=4", kBeyond},
    {"LongRampdown", "Dummy", kState, "enable=true\n", "enable=true\nrampdown_time=30000000\n", kBeyond,
     "ramp"},
    {"PoeClassNine", "Dummy", kState, "enable=true\n", "enable=true\nminimum_poe_class=9\n",
     "error value-range refused", "minimum"},
    {"InfinitePower", "Dummy", kState, "enable=true\n", "enable=true\nrequired_total_power=inf\n",
     "error value-range refused", "required"},
    {"NotANumberOfWatts", "Dummy", kState, "enable=true\n", "enable=true\nrequired_total_power=nan\n",
     "error value-range refused", "required"},
    {"FactorOfNothing", "LED2I2C", kState, "enable=true\n", "enable=true\npowerusagefactor=0\n",
     "error value-range misread", "powerusage"},
    {"FactorOfNothingForSysfs", "LEDSYSFS", kState, "enable=true\n", "enable=true\npowerusagefactor=0\n",
     "error value-range dark", "powerusage"},
    {"BrightnessAboveAll", "LED1PWM", kState, "max_brightness_level=100", "max_brightness_level=255",
     "error value-range dark"},
    {"NoBrightness", "LEDBL", kState, "enable=true\n", "enable=true\nmax_brightness_level=0\n",
     "error value-range dark", "max_bright"},
    {"NoLedAtAll", "LEDBL", kTable, "leds=2", "leds=0", "error value-range refuses-to-start"},
    {"TooManyLeds", "Dummy", kTable, "leds=2", "leds=1025", "error value-range dark"},
    {"NegativeLevel", "Dummy", kTable, "100=90;90;", "100=90;-1;", "error value-range dark"},
    {"AngleAbove100", "Dummy", kTable, "[100]", "[120]", kBeyond},
    {"NegativeIntensity", "Dummy", kTable, "0=0;0;", "-10=0;0;", kBeyond},
    {"NoAngleDivisor", "Tarsil", kTable, "angle_div=50", "angle_div=0", kBeyond},
    {"NoSampleTime", "LED2I2C", kDimming, "sample_time=5", "sample_time=0", "error value-range unregulated"},
    {"NoSampleTimeForFisheye", "LEDFISHEYEI2C", kDimming, "sample_time=5", "sample_time=0",
     "error value-range refuses-to-start"},
    {"FrozenBoard", "LED2I2C", kDimming, "ref_temp=60", "ref_temp=0", "error value-range unregulated"},
    {"MoltenBoard", "LED2I2C", kDimming, "ref_temp=60", "ref_temp=600", "error value-range unregulated"},
    {"InfiniteGain", "LED2I2C", kDimming, "k_p=0.1", "k_p=inf", "error value-range unregulated"},
    {"TooLongAPeriod", "LED1PWM", kPwm, "ld_period=1000", "ld_period=10000000", "error value-range dark"},
    {"NoDuty", "LED1PWM", kPwm, "duty_low=100", "duty_low=0", "error value-range refuses-to-start"},
    {"NegativeDuty", "LED1PWM", kPwm, "duty_low=100", "duty_low=-1", "error value-range dark"},
    {"BusOfNineBits", "LEDCAMBLOCKI2C", kCamblock, "Cbus=0", "Cbus=256", kBeyond},
    {"AddressOfEightBits", "LEDCAMBLOCKI2C", kCamblock, "Caddress=58", "Caddress=180",
     "error value-range undetected"},
    {"RegisterOfNineBits", "LEDCAMBLOCKI2C", kCamblock, "power_reg=4", "power_reg=260", kBeyond},
});

class CheckValues : public MistakeTest {};
TEST_P(CheckValues, FindsTheMistakeAlone) { expect_found(GetParam()); }
INSTANTIATE_TEST_SUITE_P(Types, CheckValues, testing::ValuesIn(kTypes), name_of_mistake);
INSTANTIATE_TEST_SUITE_P(Ranges, CheckValues, testing::ValuesIn(kRanges), name_of_mistake);

TEST(CheckedValues, MayBeWrittenInSeveralWays) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("LED1I2C");
  files[kState] =
      "# comment\r\n [common]\r\nledtype = IR\nnbrofinterfaces=+3\nenable=1\n  "
      "intensityLOW=05\nintensityHIGH=100\n"
      "intensity = 50\nindividualintensitysupport=true\nintensities=50\n";
  tree.write(files);
  EXPECT_EQ(tree.findings(), "");
}

TEST(CheckedValues, NamesOfSensorsMayLookLikeComments) {
  for (const char *name : {"LED Board #2", "Board # 2", "Board ; left"}) {
    ConfigurationTree tree;
    CameraFiles files = valid_configuration("LED2I2C");
    files[kDimming].replace(files[kDimming].find("=Board"), 6, std::string{"="} + name);
    tree.write(files);
    EXPECT_EQ(tree.findings(), "");
  }
}

TEST(CheckedValues, TextsMayHaveSignsOfCommentsInWords) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("LED2I2C");
  files[kDefaults] = "[common]\nbasepath=/sys/board #2\n";
  tree.write(files);
  EXPECT_EQ(tree.findings(), "");
}

/// What the checker says to the first finding of a light of @p type whose @p file says @p wrong, not @p
/// right.
std::string reaction(const char *type, const std::string &file, const std::string &right,
                     const std::string &wrong) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration(type);
  files[file].replace(files[file].find(right), right.size(), wrong);
  tree.write(files);
  const auto findings = check::check_tree(tree.root()).all;
  return findings.empty() ? "" : findings[0].reaction;
}

TEST(CheckedReactions, TellWhatIsDark) {
  EXPECT_EQ(reaction("LED2I2C", kTable, "leds=2", "leds=1"), "the others stay dark");
  EXPECT_EQ(reaction("LED2I2C", kTable, "leds=2", "leds=3"),
            "clients are told of 3 LEDs; those beyond the first 2 are never lit");
  EXPECT_EQ(reaction("LED1PWM", kState, "max_brightness_level=100", "max_brightness_level=255"),
            "the light is dark where it comes to more than 100; with 0 or less, always");
  EXPECT_EQ(reaction("LED1PWM", kState, "max_brightness_level=100\n", ""),
            "a full scale of 255 is used: a light of Type LED1PWM is dark where that comes to more than 100");
  EXPECT_EQ(reaction("Tarsil", kTable, "50=4;4;\n", ""), "places of the table are left over, and stay dark");
  EXPECT_EQ(reaction("Dummy", "/etc/beamd/beamd.conf", "NbrOfLeds=1", "NbrOfLeds=0"),
            "beamd counts 0 lights, and offers none");
}

TEST(CheckedValues, TheBacklightsDefaultBrightnessMayBeWrittenOut) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("LEDBL");
  files[kState] += "max_brightness_level=-1\n";
  tree.write(files);
  EXPECT_EQ(tree.findings(), "");
}

}  // namespace
