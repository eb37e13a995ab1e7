// Setup of the light of three outputs: its board, its supply, the group of its files, and what comes after
// what.

#include "led/led_setup.h"
#include "support/private_bus.h"
#include "support/three_outputs_fixture.h"

namespace {

using testing::ElementsAre;
using Line = SyslogCapture::Line;
using Lines = std::vector<Line>;

constexpr gint kUnreadSampleTime = 180;

const Outcome kWrongPoe = {false, LIGHT_CONTROL_ERROR_WRONG_POE, "Must run on poe class 3"};

const Line kNoDriver{LOG_INFO, "Could not find MCU driver"};
const Line kWrongPoeLine{LOG_INFO, "Wrong poe for IR light"};
const Line kNoPoeClass{LOG_ERR, "Could not read poe class"};
const Line kNoPoeClassValue{LOG_ERR, "Could not read poe class value"};
const Line kDefaultConfig{LOG_INFO, kNoOptics};
const Line kNoIllumination{LOG_ERR, "could not open /etc/beamd/illumination.conf: No such file or directory"};
const Line kNoDimming{LOG_ERR, "could not open /etc/beamd/dimming.conf: No such file or directory"};
const Line kNoUser{LOG_ERR, "Beamd failed getting passwd for user light"};

class Led3I2cSetup : public ThreeOutputs {
 protected:
  static void SetUpTestSuite() { g_setenv("DBUS_SYSTEM_BUS_ADDRESS", private_bus_address(), TRUE); }

  Outcome outcome() { return set_up(light_); }

  void expect_rest_done() const {
    EXPECT_TRUE(has_read_dimming());
    EXPECT_TRUE(are_all_given());
    EXPECT_THAT(shown_at(light_, 0), ElementsAre("40", "20", "40")) << "has its table";
  }

  bool has_read_dimming() const { return light_->temp_sample_time != kUnreadSampleTime; }
  static bool has_looked_for_table() { return !fake_bootblock().asked.empty(); }

  LightPointer light_ = new_light();
};

TEST_F(Led3I2cSetup, SucceedsWithAllInOrder) {
  EXPECT_EQ(outcome(), kDone);
  EXPECT_THAT(log_.lines(), ElementsAre(kDefaultConfig));
  expect_rest_done();
}

/// The board's mark, and what is made of it.
struct Mark {
  FoundFile file;
  bool is_board;
};

void PrintTo(const Mark &mark, std::ostream *stream) { *stream << mark.file.name; }

class Marks : public Led3I2cSetup, public testing::WithParamInterface<Mark> {
 protected:
  Marks() {
    write_file("/sys/class/light/one", "1");
    replace(kMark, GetParam().file);
  }

  static Lines refusal() { return GetParam().is_board ? Lines{} : Lines{kNoDriver}; }
};

TEST_P(Marks, DecideTheResultWhileSetupGoesOn) {
  EXPECT_EQ(outcome(), GetParam().is_board ? kDone : kNoBoard);
  Lines expected = refusal();
  expected.push_back(kDefaultConfig);
  EXPECT_EQ(log_.lines(), expected);
  EXPECT_TRUE(has_read_dimming());
  EXPECT_TRUE(are_all_given());
}

TEST_P(Marks, AreRefusedWhateverThePoeClass) {
  for (const char *poe_class : {"3", "4"}) {
    write_file(kDimming, "[regulator]\npoe_class_present=false\n");
    write_file(kPoeClass, poe_class);
    light_ = new_light();
    EXPECT_EQ(outcome(), GetParam().is_board ? kDone : kNoBoard) << poe_class;
  }
}

INSTANTIATE_TEST_SUITE_P(
    QXID, Marks,
    testing::Values(Mark{with_content("One", "1"), true}, Mark{with_content("OneLine", "1\n"), true},
                    Mark{with_content("MoreAfterOne", "10"), true}, Mark{link_to("LinkToOne", "one"), true},
                    Mark{missing_file(), true}, Mark{link_to("DanglingLink", "nowhere"), true},
                    Mark{with_content("Zero", "0"), false}, Mark{with_content("ZeroBeforeOne", "01"), false},
                    Mark{with_content("Two", "2"), false}, Mark{with_content("Seven", "7"), false},
                    Mark{with_content("OneAfterABlank", " 1"), false},
                    Mark{with_content("NulByte", std::string(1, '\0')), false},
                    Mark{with_content("HighByte", "\xff"), false}, Mark{with_content("Empty", ""), false},
                    Mark{folder(), false}, Mark{unopenable_file(), false},
                    Mark{fifo_without_a_writer(), false}),
    [](const auto &tested) { return tested.param.file.name; });

/// The PoE class as it is told, and what is said of it.
struct Supply {
  FoundFile file;
  Lines lines;  ///< none for one that is right
};

void PrintTo(const Supply &supply, std::ostream *stream) { *stream << supply.file.name; }

class Supplies : public Led3I2cSetup, public testing::WithParamInterface<Supply> {
 protected:
  Supplies() { replace(kPoeClass, GetParam().file); }

  static Outcome expected_outcome() { return GetParam().lines.empty() ? kDone : kWrongPoe; }
};

TEST_P(Supplies, DecideTheResultWhileSetupGoesOn) {
  EXPECT_EQ(outcome(), expected_outcome());
  Lines expected = GetParam().lines;
  expected.push_back(kDefaultConfig);
  EXPECT_EQ(log_.lines(), expected);
  expect_rest_done();
}

TEST_P(Supplies, AreLookedAtWhenTheConfigurationSaysSo) {
  write_file(kDimming, "[regulator]\npoe_class_present=true\n");
  EXPECT_EQ(outcome(), expected_outcome());
}

TEST_P(Supplies, AreNotLookedAtWhenPoeClassPresentIsFalse) {
  write_file(kDimming, "[regulator]\npoe_class_present=false\n");
  EXPECT_EQ(outcome(), kDone);
  EXPECT_THAT(log_.lines(), ElementsAre(kDefaultConfig));
}

TEST_P(Supplies, AreNotLookedAtWithoutAMark) {
  std::filesystem::remove(kMark);
  EXPECT_EQ(outcome(), kDone);
  EXPECT_THAT(log_.lines(), ElementsAre(kDefaultConfig));
}

TEST_P(Supplies, AreNotLookedAtWithoutABoard) {
  write_file(kMark, "0");
  EXPECT_EQ(outcome(), kNoBoard);
  EXPECT_THAT(log_.lines(), ElementsAre(kNoDriver, kDefaultConfig));
}

INSTANTIATE_TEST_SUITE_P(PoeClass, Supplies,
                         testing::Values(Supply{with_content("Three", "3"), {}},
                                         Supply{with_content("ThreeLine", "3\n"), {}},
                                         Supply{with_content("MoreAfterThree", "34"), {}},
                                         Supply{with_content("Four", "4"), {kWrongPoeLine}},
                                         Supply{with_content("Zero", "0"), {kWrongPoeLine}},
                                         Supply{with_content("FourBeforeThree", "43"), {kWrongPoeLine}},
                                         Supply{missing_file(), {kNoPoeClass, kWrongPoeLine}},
                                         Supply{unopenable_file(), {kNoPoeClass, kWrongPoeLine}},
                                         Supply{with_content("Empty", ""), {kNoPoeClassValue, kWrongPoeLine}},
                                         Supply{folder(), {kNoPoeClassValue, kWrongPoeLine}},
                                         Supply{fifo_without_a_writer(), {kNoPoeClassValue, kWrongPoeLine}}),
                         [](const auto &tested) { return tested.param.file.name; });

TEST_F(Led3I2cSetup, PoeClass4FailsWithCode7) {
  write_file(kPoeClass, "4");
  g_autoptr(GError) error = nullptr;
  EXPECT_FALSE(LED_BASE_GET_CLASS(light_.get())->setup(light_.get(), &error));
  ASSERT_NE(error, nullptr);
  EXPECT_STREQ(g_quark_to_string(error->domain), "light-control-error-quark");
  EXPECT_EQ(error->code, 7);
  EXPECT_STREQ(error->message, "Must run on poe class 3");
}

TEST_F(Led3I2cSetup, PoeClassIsLookedAtUnlessTheRegulatorsGroupSaysOtherwise) {
  write_file(kPoeClass, "4");
  for (const char *text : {"", "[other]\npoe_class_present=false\n", "[regulator]\npoe_class=false\n"}) {
    light_ = new_light();
    write_file(kDimming, text);
    EXPECT_EQ(outcome(), kWrongPoe) << text;
  }
}

TEST_F(Led3I2cSetup, FailureNeedsNobodyToTell) {
  const auto *slots = LED_BASE_GET_CLASS(light_.get());
  write_file(kPoeClass, "4");
  EXPECT_FALSE(slots->setup(light_.get(), nullptr));
  write_file(kMark, "0");
  EXPECT_FALSE(slots->setup(light_.get(), nullptr));
  EXPECT_THAT(log_.lines(), ElementsAre(kWrongPoeLine, kDefaultConfig, kNoDriver, kDefaultConfig));
}

TEST_F(Led3I2cSetup, GivesItsFilesToTheGroupOfUserLightAndChangesNothingElse) {
  for (const auto &path : files_)
    set_access(path, {kFreshAccess.owner, 0, 0640});
  const auto mark = access_of(kMark);
  EXPECT_EQ(outcome(), kDone);
  for (const auto &path : files_)
    EXPECT_EQ(access_of(path), (FileAccess{kFreshAccess.owner, primary_group("light"), 0640})) << path;
  EXPECT_EQ(access_of(kMark), mark);
  EXPECT_THAT(written(), testing::IsEmpty());
}

TEST_F(Led3I2cSetup, EndsAtTheFirstFileThatCannotBeGiven) {
  for (gsize missing = 0; missing < files_.size(); ++missing) {
    for (const auto &path : files_)
      write_fresh_file(path);
    std::filesystem::remove(files_[missing]);
    light_ = new_light();
    log_.clear();

    EXPECT_EQ(outcome(), kFailed);
    EXPECT_THAT(log_.lines(), ElementsAre(kDefaultConfig, Line{LOG_ERR, failed_chown(files_[missing])}));
    EXPECT_FALSE(std::filesystem::exists(files_[missing]));
    for (gsize i = 0; i < files_.size(); ++i) {
      EXPECT_TRUE(i == missing || is_given(files_[i]) == (i < missing))
          << "led" << i << " without led" << missing;
    }
  }
}

TEST_F(Led3I2cSetup, EndsWithoutUserLight) {
  {
    const WithoutEntry nobody{"/etc/passwd", "light"};
    EXPECT_EQ(outcome(), kFailed);
  }
  EXPECT_THAT(log_.lines(), ElementsAre(kDefaultConfig, kNoUser));
  EXPECT_FALSE(is_given(files_[0]));
  EXPECT_THAT(shown_at(light_, 0), ElementsAre("40", "20", "40")) << "what has been read stays";
}

TEST_F(Led3I2cSetup, RegulatorConfigurationComesFirst) {
  std::filesystem::remove(kDimming);
  write_file(kMark, "0");
  std::filesystem::remove(kIllumination);
  EXPECT_EQ(outcome(), kFailed);
  EXPECT_THAT(log_.lines(), ElementsAre(kNoDimming));
  EXPECT_FALSE(has_looked_for_table());
  EXPECT_FALSE(is_given(files_[0]));
}

TEST_F(Led3I2cSetup, TableComesBeforeTheFiles) {
  const WithoutEntry nobody{"/etc/passwd", "light"};
  std::filesystem::remove(kIllumination);
  EXPECT_EQ(outcome(), kFailed);
  EXPECT_THAT(log_.lines(), ElementsAre(kDefaultConfig, kNoIllumination));
}

TEST_F(Led3I2cSetup, MissingBoardIsToldBeforeWhatElseIsMissing) {
  write_file(kMark, "0");
  std::filesystem::remove(kIllumination);
  EXPECT_EQ(outcome(), kNoBoard);
  EXPECT_THAT(log_.lines(), ElementsAre(kNoDriver, kDefaultConfig, kNoIllumination));
}

TEST_F(Led3I2cSetup, WrongSupplyIsToldBeforeWhatElseIsMissing) {
  write_file(kPoeClass, "4");
  const WithoutEntry nobody{"/etc/passwd", "light"};
  EXPECT_EQ(outcome(), kWrongPoe);
  EXPECT_THAT(log_.lines(), ElementsAre(kWrongPoeLine, kDefaultConfig, kNoUser));
}

TEST_F(Led3I2cSetup, EndsAtItsFilesWithoutABasepath) {
  const std::filesystem::path elsewhere = "/run/elsewhere";
  const auto before = std::filesystem::current_path();
  for (const char *name : {"led0", "led1", "led2"})
    write_fresh_file(elsewhere / name);
  g_clear_pointer(&light_->basepath, g_free);

  std::filesystem::current_path(elsewhere);
  EXPECT_EQ(outcome(), kFailed) << "and nothing is said against the board";
  std::filesystem::current_path(before);

  ASSERT_EQ(log_.lines().size(), 2U);
  EXPECT_EQ(log_.lines()[1].priority, LOG_ERR);
  EXPECT_THAT(log_.lines()[1].text, testing::StartsWith("Failed to chown "));
  EXPECT_EQ(access_of(elsewhere / "led0"), kFreshAccess) << "a file that is not the board's";
}

class Led3I2cAsALight : public Led3I2cSetup {
 protected:
  Led3I2cAsALight() {
    files_of_light_.write_state(state_text());
    files_of_light_.write_defaults("[common]\nbasepath=/sys/class/light\n");
    light_ = LightPointer{LED_BASE(g_object_new(LED_TYPE_3_I2C, nullptr)), &g_object_unref};
  }

  LightFiles files_of_light_;
};

TEST_F(Led3I2cAsALight, HasItsBoardAndTwoLeds) {
  EXPECT_TRUE(led_base_setup(light_.get(), nullptr));
  EXPECT_TRUE(light_->card_detected);
  EXPECT_EQ(light_->nbr_of_leds, 2);
  EXPECT_THAT(log_.lines(), ElementsAre(kDefaultConfig));
}

TEST_F(Led3I2cAsALight, IsSetUpToTellThatItsBoardIsMissing) {
  write_file(kMark, "0");
  EXPECT_TRUE(led_base_setup(light_.get(), nullptr));
  EXPECT_FALSE(light_->card_detected);
  EXPECT_NE(light_->introspection, nullptr);
}

TEST_F(Led3I2cAsALight, IsSetUpOnAnotherSupply) {
  write_file(kPoeClass, "4");
  EXPECT_TRUE(led_base_setup(light_.get(), nullptr));
  EXPECT_TRUE(light_->card_detected);
  EXPECT_NE(light_->introspection, nullptr);
}

TEST_F(Led3I2cAsALight, IsNoneWhenAFileFails) {
  std::filesystem::remove(kIllumination);
  EXPECT_FALSE(led_base_setup(light_.get(), nullptr));
}

}  // namespace
