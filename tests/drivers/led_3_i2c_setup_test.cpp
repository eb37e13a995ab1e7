// Setup of the light of three outputs: its board, its supply, and what comes after what.

#include "support/mcu_setup_tests.h"
#include "support/three_outputs_fixture.h"

namespace {

using testing::ElementsAre;
using Lines = std::vector<SyslogCapture::Line>;

const Outcome kWrongPoe = {false, LIGHT_CONTROL_ERROR_WRONG_POE, "Must run on poe class 3"};

const SyslogCapture::Line kWrongPoeLine{LOG_INFO, "Wrong poe for IR light"};
const SyslogCapture::Line kNoPoeClass{LOG_ERR, "Could not read poe class"};
const SyslogCapture::Line kNoPoeClassValue{LOG_ERR, "Could not read poe class value"};
const SyslogCapture::Line kDefaultConfig{LOG_INFO, kNoOptics};

INSTANTIATE_TYPED_TEST_SUITE_P(Led3I2c, McuSetup, ThreeOutputs);
INSTANTIATE_TYPED_TEST_SUITE_P(Led3I2c, McuAsALight, ThreeOutputs);

class Led3I2cSetup : public McuSetup<ThreeOutputs> {
 protected:
  static bool has_looked_for_table() { return !fake_bootblock().asked.empty(); }
};

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
  EXPECT_EQ(log_.lines(), lines(refusal(), {}));
  EXPECT_TRUE(has_read_dimming());
  EXPECT_TRUE(are_all_given());
}

TEST_P(Marks, AreRefusedWhateverThePoeClass) {
  for (const char *poe_class : {"3", "4"}) {
    write_file(kDimming, "[regulator]\npoe_class_present=false\n");
    write_file(kPoeClass, poe_class);
    EXPECT_EQ(outcome_anew(), GetParam().is_board ? kDone : kNoBoard) << poe_class;
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
  EXPECT_EQ(log_.lines(), lines(GetParam().lines, {}));
  expect_rest_done();
}

TEST_P(Supplies, AreLookedAtWhenTheConfigurationSaysSo) {
  write_file(kDimming, "[regulator]\npoe_class_present=true\n");
  EXPECT_EQ(outcome(), expected_outcome());
}

TEST_P(Supplies, AreNotLookedAtWhenPoeClassPresentIsFalseOrNoBoolean) {
  for (const std::string value : {"false", "perhaps", ""}) {
    write_file(kDimming, "[regulator]\npoe_class_present=" + value + "\n");
    EXPECT_EQ(outcome_anew(), kDone) << value;
    EXPECT_THAT(log_.lines(), ElementsAre(kDefaultConfig)) << value;
  }
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
  expect_error(7, "Must run on poe class 3");
}

TEST_F(Led3I2cSetup, WrongSupplyNeedsNobodyToTell) {
  write_file(kPoeClass, "4");
  expect_failure_without_error_slot();
  EXPECT_THAT(log_.lines(), ElementsAre(kWrongPoeLine, kDefaultConfig));
}

TEST_F(Led3I2cSetup, WrongSupplyLeavesNoDescriptorOpen) {
  write_file(kPoeClass, "4");
  outcome();
  const auto before = open_descriptors();
  EXPECT_EQ(outcome_anew(), kWrongPoe);
  EXPECT_EQ(open_descriptors(), before);
}

TEST_F(Led3I2cSetup, PoeClassIsLookedAtUnlessTheRegulatorsGroupSaysOtherwise) {
  write_file(kPoeClass, "4");
  for (const char *text : {"", "[other]\npoe_class_present=false\n", "[regulator]\npoe_class=false\n"}) {
    write_file(kDimming, text);
    EXPECT_EQ(outcome_anew(), kWrongPoe) << text;
  }
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

TEST_F(Led3I2cSetup, WrongSupplyIsToldBeforeWhatElseIsMissing) {
  write_file(kPoeClass, "4");
  const WithoutEntry nobody{"/etc/passwd", "light"};
  EXPECT_EQ(outcome(), kWrongPoe);
  EXPECT_THAT(log_.lines(), ElementsAre(kWrongPoeLine, kDefaultConfig, kNoUser));
}

class Led3I2cAsALight : public McuAsALight<ThreeOutputs> {};

TEST_F(Led3I2cAsALight, IsSetUpOnAnotherSupply) {
  write_file(kPoeClass, "4");
  EXPECT_TRUE(is_set_up());
  EXPECT_TRUE(light_->card_detected);
  EXPECT_NE(light_->introspection, nullptr);
}

}  // namespace
