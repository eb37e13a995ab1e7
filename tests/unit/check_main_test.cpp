// beamd.conf.

#include "support/configuration_tree.h"

namespace {

const std::string kMain = "/etc/beamd/beamd.conf";
const std::string kLong(200, 'x');

const std::vector<Mistake> kMistakes = known({
    {"LineWithoutSign", "Dummy", kMain, "Type=Dummy", "Type Dummy", "error line-ignored dropped"},
    {"LineTooLong", "Dummy", kMain, "[LED.L0]", "NbrOfLights=" + kLong + "\n[LED.L0]",
     "error line-ignored dropped", "NbrOfLights"},
    {"GroupNotClosed", "Dummy", kMain, "[LED.L0]", "[LED.L0", "error line-ignored dropped"},
    {"GroupOfAnotherCase", "Dummy", kMain, "[LED.L0]", "[led.l0]", "error unknown-group dropped"},
    {"CountingGroupOfAnotherCase", "Dummy", kMain, "[LED]", "[Led]", "error unknown-group dropped"},
    {"GroupOfNoUse", "Dummy", kMain, "[LED.L0]", "[Camera]\nName=x\n[LED.L0]", "error unknown-group dropped",
     "[Camera]"},
    {"MisspeltCount", "Dummy", kMain, "NbrOfLeds", "NbrOfLEDs", "error unknown-key dropped"},
    {"MisspeltType", "Dummy", kMain, "Type=", "type=", "error unknown-key dropped"},
    {"CountInALight", "Dummy", kMain, "Type=Dummy\n", "Type=Dummy\nNbrOfLeds = 1\n",
     "error unknown-key dropped", "NbrOfLeds ="},
    {"CountTwice", "Dummy", kMain, "NbrOfLeds=1\n", "NbrOfLeds=2\nNbrOfLeds=1\n",
     "error duplicate-key dropped", "NbrOfLeds=1"},
    {"TypeTwice", "Dummy", kMain, "Type=Dummy\n", "Type=Dummy\nType = Dummy\n",
     "error duplicate-key refuses-to-start", "Type ="},
    {"LightTwice", "Dummy", kMain, "Type=Dummy\n", "Type=Dummy\n[LED.L00]\nType=Dummy\n",
     "error duplicate-group refuses-to-start", "[LED.L00]"},
    {"CountingGroupTwice", "Dummy", kMain, "[LED]\n", "[LED]\n[LED] \n", "warning duplicate-group unused",
     "[LED] "},
    {"CountInTwoGroups", "Dummy", kMain, "[LED.L0]", "[LED] \nNbrOfLeds=1\n[LED.L0]",
     "error duplicate-group misread", "[LED] "},
    {"EmptyLightTwice", "Dummy", kMain, "Type=Dummy\n", "Type=Dummy\n[LED.L00]\n",
     "warning duplicate-group unused", "[LED.L00]"},
    {"TypeInTheSecondGroup", "Dummy", kMain, "[LED.L0]\n", "[LED.L0]\n[LED.L0] \n",
     "warning duplicate-group unused", "[LED.L0] "},
    {"CommentInAGroup", "Dummy", kMain, "[LED.L0]", "[LED.L0 ; first]", "error line-ignored dropped"},
    {"NoCountingGroup", "Dummy", kMain, "[LED]\nNbrOfLeds=1\n", "", "error missing-group dropped", "-"},
    {"NoCount", "Dummy", kMain, "NbrOfLeds=1\n", "", "error missing-key dropped", "[LED]"},
    {"NoType", "Dummy", kMain, "Type=Dummy\n", "", "error missing-key refuses-to-start", "[LED.L0]"},
    {"CountInWords", "Dummy", kMain, "NbrOfLeds=1", "NbrOfLeds=one", "error value-type misread"},
    {"LettersBehindTheCount", "Dummy", kMain, "NbrOfLeds=1", "NbrOfLeds=1x", "error value-type misread"},
    {"CountOfNothing", "Dummy", kMain, "NbrOfLeds=1", "NbrOfLeds=0", "error value-range dropped"},
    {"TooManyLights", "Dummy", kMain, "NbrOfLeds=1", "NbrOfLeds=18", "error value-range refuses-to-start"},
    {"LightsAheadOfTheCount", "Dummy", kMain, "[LED]\nNbrOfLeds=1\n[LED.L0]\nType=Dummy\n",
     "[LED.L0]\nType=Dummy\n[LED]\nNbrOfLeds=1\n", "error led-after-lights refuses-to-start", "[LED.L0]"},
    {"NumberInWords", "Dummy", kMain, "[LED.L0]", "[LED.Lzero]", "error group-number misread"},
    {"UnknownType", "Dummy", kMain, "Type=Dummy", "Type=dummy", "error unknown-type refuses-to-start"},
    {"UnknownTypeOfNoUse", "Dummy", kMain, "Type=Dummy", "Type=Floodlight",
     "error unknown-type refuses-to-start"},
    {"LightMissing", "Dummy", kMain, "NbrOfLeds=1", "NbrOfLeds=2", "error light-missing refuses-to-start"},
    {"LightOutOfRange", "Dummy", kMain, "Type=Dummy\n", "Type=Dummy\n[LED.L1]\nType=Dummy\n",
     "error light-out-of-range dropped", "[LED.L1]"},
    {"KeyAheadOfAllGroups", "Dummy", kMain, "[LED]\n", "NbrOfLeds=1\n[LED]\n", "error unknown-key dropped",
     "NbrOfLeds"},
});

class CheckMain : public MistakeTest {};
TEST_P(CheckMain, FindsTheMistakeAlone) { expect_found(GetParam()); }
INSTANTIATE_TEST_SUITE_P(All, CheckMain, testing::ValuesIn(kMistakes), name_of_mistake);

TEST(CheckedMainFile, HasTheSyntaxOfItsReader) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("Dummy");
  files[kMain] =
      "\xEF\xBB\xBF; comment\r\n# another\r\n\r\n  [LED]  \r\nNbrOfLeds : 1 ; of them\r\n\t[LED.L0]\nType = "
      "Dummy";
  tree.write(files);
  EXPECT_EQ(tree.findings(), "");
}

TEST(CheckedMainFile, AnEmptyOneKeepsOtherFilesFromBeingUnused) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("LED1I2C");
  files[kMain] = "";
  tree.write(files);
  EXPECT_EQ(tree.findings(), "/etc/beamd/beamd.conf error missing-group dropped\n");
}

TEST(CheckedMainFile, TypesOfNobodyKeepOtherFilesFromBeingUnused) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("LED1PWM");
  files[kMain] = "[LED]\nNbrOfLeds=1\n[LED.L0]\nType=Floodlight\n";
  tree.write(files);
  EXPECT_EQ(tree.findings(), "/etc/beamd/beamd.conf:4 error unknown-type refuses-to-start\n");
}

TEST(CheckedMainFile, OneMayHaveAllLightsThereIsRoomFor) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("Dummy");
  files[kMain] = "[LED]\nNbrOfLeds=17\n";
  for (int light = 0; light < 17; ++light) {
    const std::string number = std::to_string(light);
    files[kMain] += "[LED.L" + number + "]\nType=Dummy\n";
    files["/etc/beamd/led" + number + ".conf"] = files["/etc/beamd/led0.conf"];
    files["/usr/share/beamd/led" + number + ".conf"] = files["/usr/share/beamd/led0.conf"];
  }
  tree.write(files);
  EXPECT_EQ(tree.findings(), "");
}

}  // namespace
