// How a light on a camera block finds what it needs, as far as both classes of lights do it alike.

#include "support/camblock_fixture.h"
#include "support/class_slots.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr gint kUnreadSampleTime = 180;

class CamblockSetup : public CamblockLights {
 protected:
  Outcome not_enabled() const { return refused_board(std::string{"IR light not enabled"} + kind_.end); }

  /// Sets a new light up, in vain; nothing but @p text is said.
  void expect_failure(const std::string &text) {
    log_.clear();
    light_ = new_light();
    EXPECT_EQ(set_up(light_), kFailed);
    EXPECT_EQ(log_.lines(), errors({text}));
  }

  bool has_table() const { return light_->illumination_table != nullptr; }
  bool has_read_dimming() const { return light_->temp_sample_time != kUnreadSampleTime; }

  /// Whether the light gets to its table and its LEDs, which it wants to be at half.
  void expect_usable() const {
    light_->intensity = 50;
    led_base_recalculate_angle_of_illumination(light_.get(), 100);
    requests();
    EXPECT_EQ(activate(light_, TRUE), kDone);
    EXPECT_EQ(requests(), lit(100, 100));
  }

  /// Sets a new light up with this table; returns what is said of it.
  std::vector<Line> table_lines(const std::string &rows) {
    write_file(kIllumination, "[info]\nleds=2\n" + rows);
    log_.clear();
    light_ = new_light();
    EXPECT_EQ(set_up(light_), kDone);
    EXPECT_TRUE(has_read_dimming());
    auto lines = log_.lines();
    EXPECT_GE(lines.size(), kind_.unwatched.size());
    lines.resize(lines.size() - kind_.unwatched.size());
    return lines;
  }

  LightPointer light_ = new_light();
};

TEST_P(CamblockSetup, IsOfAClassOfItsOwn) {
  EXPECT_STREQ(g_type_name(kind_.type()), kind_.name);
  EXPECT_EQ(g_type_parent(kind_.type()), LED_TYPE_BASE);
}

// Switching, setup and temperature.
TEST_P(CamblockSetup, HasOperationsOfItsOwn) {
  EXPECT_THAT(overridden_slots(kind_.type()), ElementsAre(3, 7, 14));
}

TEST_P(CamblockSetup, TakesAllThatIsConfigured) {
  EXPECT_EQ(light_->power_reduce, 0.0);
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(log_.lines(), kind_.unwatched);
  EXPECT_EQ(light_->nbr_of_leds, 2);
  EXPECT_EQ(light_->temp_sample_time, 5);
  EXPECT_EQ(light_->power_reduce, 0.0);
  expect_usable();
}

TEST_P(CamblockSetup, LightIsDarkUntilItHasAnAngle) {
  EXPECT_EQ(set_up(light_), kDone);
  ASSERT_NE(light_->led_intensities, nullptr);
  requests();
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(requests(), opened({disables(0), disables(1)}));
}

TEST_P(CamblockSetup, TakesNoFilesForTheHardware) {
  for (const char *path : {kCamblock, kIllumination, kDimming}) {
    write_file(path + std::string{".no more"}, "no key");
    write_file(path + std::string{".X1"}, "no key");
  }
  fake_bootblock().value = "X1";
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_THAT(fake_bootblock().asked, ElementsAre("LIGHT_CONTROL_ENABLED"));
}

TEST_P(CamblockSetup, TakesFilesOfAnyCharacterSet) {
  for (const char *path : {kCamblock, kIllumination, kDimming})
    write_file(path, "# f\xFCr \xFF\n" + read_file(path));
  EXPECT_EQ(set_up(light_), kDone);
  expect_usable();
}

// Whether there is a light to control.

TEST_P(CamblockSetup, IsRefusedInTheEndWhenItIsNotEnabled) {
  fake_bootblock().value = "no";
  EXPECT_EQ(set_up(light_), not_enabled());
  EXPECT_EQ(log_.lines(), kind_.unwatched);
  EXPECT_TRUE(has_read_dimming());
  expect_usable();
}

TEST_P(CamblockSetup, IsEnabledUnlessToldOtherwise) {
  for (const char *value : {"yes", "", "NO", "no ", "none", "n"}) {
    fake_bootblock().value = value;
    EXPECT_EQ(set_up(new_light()), kDone) << value;
  }
}

TEST_P(CamblockSetup, IsEnabledWhenThatCannotBeRead) {
  fake_bootblock().error = EIO;
  EXPECT_EQ(set_up(light_), kDone);
  auto expected =
      prints({std::string{"Could not read bootblock parameter LIGHT_CONTROL_ENABLED: Input/output error"} +
              kind_.end});
  expected.insert(expected.end(), kind_.unwatched.begin(), kind_.unwatched.end());
  EXPECT_EQ(log_.lines(), expected) << "messages that are no debug prints";
}

// Files that cannot be loaded.

TEST_P(CamblockSetup, FailsWithoutTheCameraBlocksFile) {
  fake_bootblock().value = "no";
  std::filesystem::remove(kCamblock);
  expect_failure("could not open /etc/beamd/camblock.conf: No such file or directory");
  std::filesystem::create_directory(kCamblock);
  expect_failure("Failed reading file");
  EXPECT_FALSE(has_table());
  EXPECT_THAT(fake_bootblock().asked, IsEmpty());
}

TEST_P(CamblockSetup, FailsWithABrokenFileOfTheCameraBlock) {
  write_file(kCamblock, kind_.config() + "no key\n");
  expect_failure("Could not load data to GKeyFile");
  EXPECT_FALSE(has_table());

  fake_bootblock().value = "no";
  EXPECT_EQ(set_up(new_light()), not_enabled());
}

TEST_P(CamblockSetup, FailsWithoutAnIlluminationFile) {
  std::filesystem::remove(kIllumination);
  expect_failure("could not open /etc/beamd/illumination.conf: No such file or directory");
  std::filesystem::create_directory(kIllumination);
  expect_failure("failed reading file");
  std::filesystem::remove(kIllumination);
  write_file(kIllumination, "[info]\nleds=2\nno key\n");
  expect_failure("Could not load data to GKeyFile");
  EXPECT_FALSE(has_table());
  EXPECT_FALSE(has_read_dimming());
}

TEST_P(CamblockSetup, FailsWithoutADimmingFile) {
  std::filesystem::remove(kDimming);
  expect_failure("could not open /etc/beamd/dimming.conf: No such file or directory");
  std::filesystem::create_directory(kDimming);
  expect_failure("Failed reading file");
  std::filesystem::remove(kDimming);
  write_dimming("no key\n");
  expect_failure("Could not load data to GKeyFile");
  EXPECT_TRUE(has_table());
  EXPECT_FALSE(has_read_dimming());
}

TEST_P(CamblockSetup, SaysThatItIsNotEnabledAlsoWhenTheRestFails) {
  fake_bootblock().value = "no";
  for (const char *path : {kDimming, kIllumination}) {
    std::filesystem::remove(path);
    EXPECT_EQ(set_up(new_light()), not_enabled()) << path;
  }
}

// The table.

TEST_P(CamblockSetup, ComplainsOfATableThatIsOdd) {
  constexpr const char *kFirst = "The first angle in illumination.conf should always be 0";
  constexpr const char *kLast = "The last angle in illumination.conf should always be 100";
  constexpr const char *kLevels = "Wrong number of leds in illumination.conf for intensity ";

  EXPECT_THAT(table_lines("[0]\n0=0;0;\n[50]\n0=0;0;\n[100]\n0=0;0;\n"), IsEmpty());
  EXPECT_EQ(table_lines("[0]\n0=0;0;\n[80]\n0=0;0;\n"), errors({kLast}));
  EXPECT_EQ(table_lines("[10]\n0=0;0;\n[100]\n0=0;0;\n"), errors({kFirst}));
  EXPECT_EQ(table_lines("[0]\n0=0;0;\n"), errors({kLast}));
  EXPECT_EQ(table_lines("[100]\n0=0;0;\n"), errors({kFirst, kLast})) << "an only row";
  EXPECT_EQ(table_lines("[0]\n0=0;\n40=0;0;\n70=1;2;3;\n[100]\n9 W=\n"),
            errors({kLevels + std::string{"0"}, kLevels + std::string{"70"}, kLevels + std::string{"9 W"}}));
}

TEST_P(CamblockSetup, LoadsATableThatIsOdd) {
  table_lines("[20]\n0=0;0;\n100=200;200;\n");
  expect_usable();
}

TEST_P(CamblockSetup, HasNoLedsWhenTheirNumberIsMissing) {
  write_file(kIllumination, "[info]\n[0]\n[100]\n");
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(light_->nbr_of_leds, 0);
  EXPECT_TRUE(has_table());
  EXPECT_TRUE(has_read_dimming());
}

// The regulator.

TEST_P(CamblockSetup, NeedsNoSettingOfTheRegulator) {
  for (const char *text :
       {"", "[other]\nsample_time=7\n", "[regulator]\nsample_time=often\nk_p=much\nk_i=\n"}) {
    log_.clear();
    write_file(kDimming, text);
    light_ = new_light();
    EXPECT_EQ(set_up(light_), kDone) << text;
    EXPECT_EQ(light_->temp_sample_time, 0) << text;
    EXPECT_EQ(log_.lines(), kind_.unwatched) << text;
  }
}

INSTANTIATE_TEST_SUITE_P(Classes, CamblockSetup, testing::Values(kAnyNumberOfLeds, kTwoLeds), class_name);

}  // namespace
