// illumination.conf in each of its forms.

#include "support/configuration_tree.h"

namespace {

const std::string kState = "/etc/beamd/led0.conf";
const std::string kTable = "/etc/beamd/illumination.conf";
const std::string kCamblock = "/etc/beamd/camblock.conf";
const std::string kRow0 = "[0]\n0=0;0;\n100=90;90;\n";
const std::string kRow100 = "[100]\n0=0;0;\n100=90;90;\n";

std::string many_points(int count) {
  std::string text;
  for (int point = 1; point <= count; ++point)
    text += std::to_string(100 + point) + "=1;1;\n";
  return text;
}

const std::vector<Mistake> kMistakes = known({
    {"RowAheadOfInfo", "LED2I2C", kTable, "[info]\nleds=2\n" + kRow0, kRow0 + "[info]\nleds=2\n",
     "error first-group misread", "[0]"},
    {"LedAheadOfInfo", "LEDCAMBLOCKI2C", kCamblock, "[i2c_info]",
     "[led9]\nenable_disable_reg=8\npower_reg=9\n[i2c_info]", "error first-group misread", "[led9]"},
    {"AngleInWords", "LED2I2C", kTable, "[100]", "[100deg]", "error table-number misread"},
    {"IntensityInWords", "LED2I2C", kTable, "100=90", "full=90", "error table-number misread"},
    {"EndlessAngle", "LEDSYSFS", kTable, "[100]", "[99999999999]", "error table-number misread"},
    {"EndlessIntensity", "LED2I2C", kTable, "100=90;90;\n[", "4294967396=90;90;\n[",
     "error table-number misread"},
    {"CellTwice", "Tarsil", kTable, "0=0;0;\n50=5", "0=0;0;\n0=1;1;\n50=5", "error duplicate-key dropped",
     "0=1;1;"},
    {"FirstAngle", "LED2I2C", kTable, "[0]", "[10]", "error table-first-angle misread"},
    {"LastAngle", "LED2I2C", kTable, "[100]", "[90]", "error table-last-angle misread"},
    {"LoneRow", "Dummy", kTable, kRow100, "", "error table-last-angle misread", "[0]"},
    {"RowsTheWrongWayRound", "LED2I2C", kTable, kRow0 + kRow100, kRow100 + kRow0, "error table-order misread",
     "[0]"},
    {"DegreesTheWrongWayRound", "LEDSYSFS", kTable, kRow0 + kRow100, kRow100 + kRow0,
     "error table-order misread", "[0]"},
    {"IntensitiesTheWrongWayRound", "LED2I2C", kTable, "0=0;0;\n100=90;90;\n[100]",
     "100=90;90;\n0=0;0;\n[100]", "error table-order misread", "0=0;0;\n["},
    {"SameAngleWrittenTwice", "LEDSYSFS", kTable, "[100]", "[00]", "error table-order misread"},
    {"NoRow", "LED2I2C", kTable, kRow0 + kRow100, "", "error table-empty dark", "[info]"},
    {"EmptyRow", "LEDSYSFS", kTable, "[100]", "[50]\n[100]", "error table-empty dark", "[50]"},
    {"OneLevelTooFew", "LED2I2C", kTable, "100=90;90;", "100=90;", "error levels-count dark"},
    {"OneLevelTooMany", "LEDSYSFS", kTable, "100=90;90;", "100=90;90;90;",
     "error levels-count refuses-to-start"},
    {"CellOfOneLevel", "Tarsil", kTable, "50=4;4;", "50=4;", "error levels-count dark"},
    {"ThreeChannels", "LED2I2C", kTable, "leds=2", "leds=3", "error leds-count dark"},
    {"LedsAndListsDisagree", "Dummy", kTable, "leds=2", "leds=3", "error leds-count dark"},
    {"TwoForOneChannel", "LED1I2C", kTable, "leds=1\n[0]\n0=0;\n100=90;\n[100]\n0=0;\n100=90;\n",
     "leds=2\n" + kRow0 + kRow100, "warning leds-count unused", "leds=2"},
    {"MoreThanCamblockNames", "LEDCAMBLOCKI2C", kTable, "leds=2", "leds=3", "error leds-count dark"},
    {"TooManyPoints", "Dummy", kTable, "100=90;90;\n[100]", "100=90;90;\n" + many_points(65536) + "[100]",
     "error table-too-large refuses-to-start", "-"},
    {"HighBeyondTheTable", "LED2I2C", kTable, "100=90;90;", "99=90;90;", "error intensity-beyond-table dark",
     "intensityHIGH", kState},
    {"HighBeyondTheGrid", "Tarsil", kState, "intensityHIGH=100", "intensityHIGH=150",
     "error intensity-beyond-table misread"},
    {"LevelBeyondTheRegister", "LED2CAMBLOCKI2C", kTable, "100=90;90;", "100=90;101;",
     "error level-beyond-full-scale misread"},
    {"PointThatIsNeverUsed", "LEDSYSFS", kTable, "100=90;90;", "50=10;10;\n100=90;90;",
     "warning point-unused unused", "0=0;0;"},
    {"AngleOutsideOfTheGrid", "Tarsil", kTable, "[100]", "[150]", "error table-grid dropped"},
    {"TwoAnglesInARow", "Tarsil", kTable, "[100]", "[75]", "error table-grid misread"},
    {"IntensityOutsideOfTheGrid", "Tarsil", kTable, "100=9;9;", "150=9;9;", "error table-grid dropped"},
    {"TwoIntensitiesInAColumn", "Tarsil", kTable, "100=9;9;", "99=9;9;", "error table-grid misread"},
    {"ShortRowOfAGrid", "Tarsil", kTable, "50=4;4;\n", "", "error table-grid dark", "[50]"},
});

class CheckTable : public MistakeTest {};
TEST_P(CheckTable, FindsTheMistakeAlone) { expect_found(GetParam()); }
INSTANTIATE_TEST_SUITE_P(All, CheckTable, testing::ValuesIn(kMistakes), name_of_mistake);

TEST(CheckedTables, VariantsAreReadByTheTypesThatHaveThem) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("LEDSYSFS");
  files[kTable + ".X1"] = "[info]\nleds=2\n[0]\n0=0;0;\n50=1;1;\n";
  files[kTable + ".X1.bak"] = "anything";
  tree.write(files);
  EXPECT_EQ(tree.findings(), "/etc/beamd/led0.conf:6 error intensity-beyond-table misread\n");
}

/// A camera of a light each of the Types of @p first and @p second, with the shared files of @p first.
CameraFiles two_types(const std::string &first, const std::string &second) {
  CameraFiles files = valid_configuration(second);
  for (const char *own : {"/etc/beamd/led", "/usr/share/beamd/led"})
    files[std::string{own} + "1.conf"] = files[std::string{own} + "0.conf"];
  for (const auto &[file, text] : valid_configuration(first))
    files[file] = text;
  std::string &defaults = files["/usr/share/beamd/led1.conf"];
  defaults.replace(defaults.find("/board"), 6, "/other");
  files["/etc/beamd/beamd.conf"] =
      "[LED]\nNbrOfLeds=2\n[LED.L0]\nType=" + first + "\n[LED.L1]\nType=" + second + "\n";
  return files;
}

TEST(CheckedTables, AVariantIsEnoughForTheLens) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("Tarsil");
  files[kTable + ".wide"] = files[kTable];
  files.erase(kTable);
  tree.write(files);
  EXPECT_EQ(tree.findings(), "");
}

TEST(CheckedTables, AVariantIsNotEnoughForEachBoard) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("LEDFISHEYEI2C");
  for (const std::string &file : {kTable, std::string{"/etc/beamd/dimming.conf"}}) {
    files[file + ".X1"] = files[file];
    files.erase(file);
  }
  tree.write(files);
  EXPECT_EQ(tree.findings(), "/etc/beamd/dimming.conf warning file-missing undetected\n" + kTable +
                                 " warning file-missing undetected\n");
}

TEST(CheckedTables, WithoutVariantsBelongToTheTypesThatHaveNone) {
  ConfigurationTree tree;
  CameraFiles files = two_types("LED1I2C", "Tarsil");
  files[kTable + ".wide"] = valid_configuration("Tarsil")[kTable];
  tree.write(files);
  EXPECT_EQ(tree.findings(), "");
}

TEST(CheckedTables, VariantsAreThoseOfTheTypeOfTheirForm) {
  ConfigurationTree tree;
  CameraFiles files = two_types("LEDSYSFS", "Tarsil");
  files[kTable + ".wide"] = valid_configuration("Tarsil")[kTable];
  files[kTable + ".X1"] = files[kTable];
  tree.write(files);
  EXPECT_EQ(tree.findings(), "");
}

TEST(CheckedTables, ThatAreSharedMayHaveMoreLedsThanOneChannel) {
  ConfigurationTree tree;
  tree.write(two_types("LED2I2C", "LED1I2C"));
  EXPECT_EQ(tree.findings(), "/etc/beamd/dimming.conf:1 warning regulator-idle unregulated\n");
}

TEST(CheckedTables, CopiesAndNotesAreNoVariants) {
  for (const char *name : {".rpmsave", ".rpmnew", ".ucf-dist", ".bak1", ".X1.save"}) {
    ConfigurationTree tree;
    CameraFiles files = valid_configuration("LEDSYSFS");
    files[kTable + name] = "anything";
    tree.write(files);
    EXPECT_EQ(tree.findings(), "") << name;
  }
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("LEDSYSFS");
  files[kTable + ".README"] = "Tables of boards.\n";
  tree.write(files);
  EXPECT_EQ(tree.findings(), kTable + ".README:1 warning does-not-parse unused\n");
  tree.write(kTable + ".README", "[info]\nleds 2\n");
  EXPECT_EQ(tree.findings(), kTable + ".README:2 error does-not-parse undetected\n");
}

TEST(CheckedTables, AnglesMayHaveBlanksAroundThem) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("LED2I2C");
  files[kTable].replace(files[kTable].find("[100]"), 5, "[ 100 ]");
  tree.write(files);
  EXPECT_EQ(tree.findings(), "");
}

TEST(CheckedTables, PointsOnALineAreAllUsed) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("LEDSYSFS");
  files[kTable] = "[info]\nleds=1\n[0]\n0=0\n50=45\n100=90\n";
  tree.write(files);
  EXPECT_EQ(tree.findings(), "");
}

TEST(CheckedTables, AWrongNumberOfLedsIsHeldAgainstNothingElse) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("LED2I2C");
  files[kState] += "individualintensitysupport=true\nintensities=50;50;\n";
  tree.write(files);
  EXPECT_EQ(tree.findings(), "");
  files[kTable].replace(files[kTable].find("leds=2"), 6, "leds=3");
  tree.write(files);
  EXPECT_EQ(tree.findings(), "/etc/beamd/illumination.conf:2 error leds-count dark\n");
}

TEST(CheckedTables, AGridNeedsARow) {
  ConfigurationTree tree;
  CameraFiles files = valid_configuration("Tarsil");
  files[kTable] = "[info]\nangle_div=50\nintensity_div=50\n";
  tree.write(files);
  EXPECT_EQ(tree.findings(), "/etc/beamd/illumination.conf:1 error table-empty refuses-to-start\n");
}

}  // namespace
