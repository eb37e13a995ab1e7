// The light of three outputs: its class, what its outputs give by angle, intensity and grant, and what it
// writes to its board. The last angle belongs to the class: what gives another one than 0 does so in a
// process of its own.

#include "support/attribute_opens.h"
#include "support/class_slots.h"
#include "support/in_child.h"
#include "support/three_outputs_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr gdouble kNotANumber = std::numeric_limits<gdouble>::quiet_NaN();

class Led3I2c : public ThreeOutputs {
 protected:
  ~Led3I2c() override { after_attribute_open() = nullptr; }

  /// Lets the outputs give 40, 20 and 40.
  void shine() { led_base_recalculate_angle_of_illumination(light_.get(), 0); }

  LightPointer light_ = ready_light();
};

// Before all others: it needs a class that was never given an angle.
TEST_F(Led3I2c, AngleThatWasNeverGivenIsZero) {
  write_file(kIllumination, "[info]\nangle_div=1\n[0]\n0=7;8;\n[1]\n0=1;1;\n");
  light_ = ready_light();
  in_child([&] { EXPECT_THAT(shown_at(light_, -1), ElementsAre("7", "8", "7")); });
}

TEST_F(Led3I2c, IsALightOfThisName) {
  EXPECT_STREQ(g_type_name(LED_TYPE_3_I2C), "Led_3_I2C");
  EXPECT_EQ(g_type_parent(LED_TYPE_3_I2C), LED_TYPE_BASE);
}

TEST_F(Led3I2c, OverridesFiveSlots) {
  EXPECT_THAT(overridden_slots(LED_TYPE_3_I2C), ElementsAre(3, 7, 9, 11, 14));
}

TEST_F(Led3I2c, BeginsWithTwoLedsAndWithoutAReduction) {
  const LightPointer fresh{LED_BASE(g_object_new(LED_TYPE_3_I2C, nullptr)), &g_object_unref};
  EXPECT_EQ(fresh->nbr_of_leds, 2);
  EXPECT_EQ(fresh->power_reduce, 0.0);
}

TEST_F(Led3I2c, EachLedHasItsOutputs) {
  request(light_, {100, 50});
  EXPECT_THAT(shown_at(light_, 0), ElementsAre("40", "10", "40"));
  request(light_, {0, 100});
  EXPECT_THAT(shown_at(light_, 0), ElementsAre("4", "20", "4"));
}

TEST_F(Led3I2c, AutomaticIntensitiesAreUsedWhenThatIsOn) {
  request(light_, {100, 50});
  light_->automatic_intensities[0] = 50;
  light_->automatic_intensities[1] = 100;
  light_->has_automatic_intensity = TRUE;
  light_->automatic_intensity = TRUE;
  EXPECT_THAT(shown_at(light_, 0), ElementsAre("20", "20", "20"));
  light_->automatic_intensity = FALSE;
  EXPECT_THAT(shown_at(light_, 0), ElementsAre("40", "10", "40"));
}

TEST_F(Led3I2c, LedsDoNotExceedTheIntensity) {
  request(light_, {100, 0});
  light_->intensity = 50;
  EXPECT_THAT(shown_at(light_, 0), ElementsAre("20", "2", "20"));
}

// 0.0018 W a unit: 0.18 W for 40, 20 and 40, half of that for 20, 10 and 20.
TEST_F(Led3I2c, OutputsStepDownToTheGrant) {
  for (const auto &[watts, values] : {std::pair{0.181, std::vector{"40", "20", "40"}},
                                      {0.179, {"20", "10", "20"}},
                                      {0.091, {"20", "10", "20"}},
                                      {0.089, {"4", "2", "4"}}}) {
    light_->power_intensity = watts;
    EXPECT_THAT(shown_at(light_, 0), testing::ElementsAreArray(values)) << watts;
  }
}

TEST_F(Led3I2c, OutputsGiveTheLeastOfTheTableWithoutAGrant) {
  for (const gdouble watts : {0.0, -3.0, kNotANumber}) {
    light_->power_intensity = watts;
    EXPECT_THAT(shown_at(light_, 0), ElementsAre("4", "2", "4")) << watts;
  }
}

TEST_F(Led3I2c, OutputsStepDownAlsoWithoutPowerRequests) {
  light_->use_power_request = FALSE;
  light_->power_intensity = 0.1;
  EXPECT_THAT(shown_at(light_, 0), ElementsAre("20", "10", "20"));
}

TEST_F(Led3I2c, GrantReachesALitLightAtOnce) {
  light_->light_on = 1;
  led_base_set_power_intensity(light_.get(), 0.1);
  EXPECT_THAT(written(), ElementsAre(record(0, "20"), record(2, "20"), record(1, "10")));
}

TEST_F(Led3I2c, CalculationWritesNoHardware) {
  shine();
  EXPECT_THAT(written(), IsEmpty());
}

TEST_F(Led3I2c, AngleFindsTheRow) {
  in_child([&] {
    EXPECT_THAT(shown_at(light_, 49), ElementsAre("40", "20", "40"));
    EXPECT_THAT(shown_at(light_, 50), ElementsAre("50", "30", "50"));
    EXPECT_THAT(shown_at(light_, 100), ElementsAre("60", "40", "60"));
  });
}

TEST_F(Led3I2c, NegativeAngleIsTheLastOneGiven) {
  in_child([&] {
    shown_at(light_, 50);
    for (const gint angle : {-1, -100, std::numeric_limits<gint>::min()})
      EXPECT_THAT(shown_at(light_, angle), ElementsAre("50", "30", "50")) << angle;
    shown_at(light_, 0);
    EXPECT_THAT(shown_at(light_, -1), ElementsAre("40", "20", "40"));
  });
}

TEST_F(Led3I2c, LastAngleIsThatOfAllLightsOfTheClass) {
  in_child([&] {
    shown_at(ready_light(), 100);
    EXPECT_THAT(shown_at(light_, -1), ElementsAre("60", "40", "60"));
  });
}

TEST_F(Led3I2c, OutputsAreWrittenInTheOrder021AsRecordsOf12Bytes) {
  shine();
  EXPECT_EQ(activate(light_, TRUE), kDone);
  const std::string forty("40\0\0\0\0\0\0\0\0\0\0", 12);
  const std::string twenty("20\0\0\0\0\0\0\0\0\0\0", 12);
  EXPECT_THAT(written(), ElementsAre("led0=" + forty, "led2=" + forty, "led1=" + twenty));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Led3I2c, RecordReplacesTheFirst12BytesOnly) {
  for (const auto &path : files_)
    write_file(path, "abcdefghijklmno");
  shine();
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(read_file(files_[0]), (std::string{"40\0\0\0\0\0\0\0\0\0\0mno", 15}));
  EXPECT_EQ(read_file(files_[1]), (std::string{"20\0\0\0\0\0\0\0\0\0\0mno", 15}));
}

TEST_F(Led3I2c, RecordHoldsTheLargestNumber) {
  write_file(kIllumination, "[info]\n[0]\n0=2147483647;2147483647;\n");
  light_ = ready_light();
  attribute_writes() = {};
  shine();
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_THAT(written(),
              ElementsAre(record(0, "2147483647"), record(2, "2147483647"), record(1, "2147483647")));
}

TEST_F(Led3I2c, ReductionOf10Point7Leaves36And18And36) {
  light_->power_reduce = 10.7;
  EXPECT_THAT(shown_at(light_, 0), ElementsAre("36", "18", "36"));
}

TEST_F(Led3I2c, ReductionOfAllLeavesNothing) {
  light_->power_reduce = 100.0;
  EXPECT_THAT(shown_at(light_, 0), ElementsAre("0", "0", "0"));
}

TEST_F(Led3I2c, OffIsZeroWhateverTheReduction) {
  shine();
  for (const gdouble reduction : {0.0, 10.7, -10.7}) {
    light_->power_reduce = reduction;
    EXPECT_EQ(activate(light_, FALSE), kDone);
    EXPECT_THAT(written(), ElementsAre(record(0, "0"), record(2, "0"), record(1, "0")));
  }
}

TEST_F(Led3I2c, OnIsAnythingButZero) {
  shine();
  for (const gboolean on : {2, -1}) {
    EXPECT_EQ(activate(light_, on), kDone);
    EXPECT_THAT(written(), ElementsAre(record(0, "40"), record(2, "40"), record(1, "20")));
  }
}

TEST_F(Led3I2c, OutputsThatWereNeverCalculatedAreZero) {
  EXPECT_THAT(shown(light_), ElementsAre("0", "0", "0"));
}

TEST_F(Led3I2c, OutputsThatGiveNothingTogetherAreZero) {
  write_file(kIllumination, "[info]\n[0]\n0=-20;30;\n");
  light_ = ready_light();
  EXPECT_THAT(shown_at(light_, 0), ElementsAre("0", "0", "0"));
}

class UnusableOutput : public Led3I2c, public testing::WithParamInterface<FoundFile> {};

TEST_P(UnusableOutput, FailsActivationInSilenceBeforeAnythingIsWritten) {
  BEAMD_DEBUG_FLAG = 1;
  shine();
  const auto before = open_descriptors();
  for (const auto &path : files_) {
    replace(path, GetParam());
    attribute_writes() = {};
    for (const bool on : {true, false})
      EXPECT_EQ(activate(light_, on), kFailed) << path;
    EXPECT_THAT(written(), IsEmpty()) << path;
    std::filesystem::remove_all(path);
    write_fresh_file(path);
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_EQ(open_descriptors(), before);
}

INSTANTIATE_TEST_SUITE_P(Files, UnusableOutput,
                         testing::Values(missing_file(), unopenable_file(), fifo_without_a_writer(),
                                         folder()),
                         [](const auto &tested) { return tested.param.name; });

/// What a light that is switched finds of its mark, and what it says.
struct LostMark {
  FoundFile file;
  bool is_told;  ///< that there is no board
  std::vector<SyslogCapture::Line> lines;
};

void PrintTo(const LostMark &mark, std::ostream *stream) { *stream << mark.file.name; }

const std::vector<SyslogCapture::Line> kNoBoardLine = {{LOG_ERR, "No IR light PCB found"}};

class LostMarks : public Led3I2c, public testing::WithParamInterface<LostMark> {};

TEST_P(LostMarks, FailActivationBeforeAnythingIsWritten) {
  shine();
  const auto before = open_descriptors();
  replace(kMark, GetParam().file);
  attribute_writes() = {};
  for (const bool on : {true, false}) {
    log_.clear();
    EXPECT_EQ(activate(light_, on), GetParam().is_told ? kNoBoard : kFailed);
    EXPECT_EQ(log_.lines(), GetParam().lines);
  }
  EXPECT_THAT(written(), IsEmpty());
  EXPECT_EQ(open_descriptors(), before);
}

INSTANTIATE_TEST_SUITE_P(
    QXID, LostMarks,
    testing::Values(LostMark{with_content("Zero", "0"), true, kNoBoardLine},
                    LostMark{with_content("Two", "2"), true, kNoBoardLine},
                    LostMark{with_content("OneAfterABlank", " 1"), true, kNoBoardLine},
                    LostMark{with_content("Empty", ""), true, kNoBoardLine},
                    LostMark{missing_file(), false, {}}, LostMark{unopenable_file(), false, {}},
                    LostMark{folder(), false, {{LOG_ERR, "Failed to read QXID. Error: Is a directory"}}}),
    [](const auto &tested) { return tested.param.file.name; });

TEST_F(Led3I2c, MarkThatIsLostForAWhileIsForgiven) {
  shine();
  write_file(kMark, "0");
  EXPECT_EQ(activate(light_, TRUE), kNoBoard);
  write_file(kMark, "1");
  EXPECT_EQ(activate(light_, TRUE), kDone);
}

TEST_F(Led3I2c, BoardWithoutAMarkAtSetupIsNeverAskedForOne) {
  std::filesystem::remove(kMark);
  light_ = ready_light();
  shine();
  for (const char *mark : {"0", "1"}) {
    write_file(kMark, mark);
    EXPECT_THAT(shown(light_), ElementsAre("40", "20", "40")) << mark;
    EXPECT_EQ(activate(light_, FALSE), kDone) << mark;
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Led3I2c, ActivationFailsWithoutABasepath) {
  BEAMD_DEBUG_FLAG = 1;
  shine();
  g_clear_pointer(&light_->basepath, g_free);
  EXPECT_EQ(activate(light_, TRUE), kFailed);
  EXPECT_THAT(log_.lines(), IsEmpty()) << "it fails at its first output";
}

TEST_F(Led3I2c, ActivationFailsWhenTheBasepathGetsLost) {
  shine();
  after_attribute_open() = [this](const std::string &path) {
    if (path == files_[2])
      g_clear_pointer(&light_->basepath, g_free);
  };
  EXPECT_EQ(activate(light_, TRUE), kFailed);
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "Failed find path to QXID"}));
  EXPECT_THAT(written(), IsEmpty());
}

TEST_F(Led3I2c, OutputsAreOpenedBeforeTheMarkAndInTheirOrder) {
  std::vector<std::string> opened;
  after_attribute_open() = [&](const std::string &path) {
    opened.push_back(std::filesystem::path{path}.filename());
  };
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_THAT(opened, ElementsAre("led0", "led1", "led2", "QXID"));
}

/// A write that fails, and what the outputs give after it when they gave 40, 20 and 40.
struct FailedWrite {
  const char *name;
  int output;
  gboolean on;
  const char *complaint;
  std::vector<std::string> left;
};

void PrintTo(const FailedWrite &failed, std::ostream *stream) { *stream << failed.name; }

class FailedWrites : public Led3I2c, public testing::WithParamInterface<FailedWrite> {
 protected:
  FailedWrites() {
    shine();
    EXPECT_EQ(activate(light_, TRUE), kDone);
    light_->power_reduce = 50.0;
  }
};

TEST_P(FailedWrites, EndActivation) {
  const auto before = open_descriptors();
  fail_write(GetParam().output, EIO);
  EXPECT_EQ(activate(light_, GetParam().on), kFailed);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_ERR, GetParam().complaint + std::string{"Input/output error"}}));
  EXPECT_EQ(given(), GetParam().left);
  EXPECT_EQ(open_descriptors(), before);
  EXPECT_EQ(activate(light_, GetParam().on), kDone) << "the next one starts afresh";
}

TEST_P(FailedWrites, AreToldInTheWordsOfTheSystem) {
  const auto &path = files_[static_cast<gsize>(GetParam().output)];
  replace(path, link_to("", "/dev/full"));
  EXPECT_EQ(activate(light_, GetParam().on), kFailed);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_ERR, GetParam().complaint + std::string{"No space left on device"}}));
}

TEST_P(FailedWrites, AreThoseOfLessThanARecord) {
  fail_write(GetParam().output, AttributeWrites::kShort);
  EXPECT_EQ(activate(light_, GetParam().on), kFailed);
  ASSERT_EQ(log_.lines().size(), 1U);
  EXPECT_THAT(log_.lines()[0].text, testing::StartsWith(GetParam().complaint));
}

INSTANTIATE_TEST_SUITE_P(
    Outputs, FailedWrites,
    testing::Values(
        FailedWrite{"On0", 0, TRUE, "Failed to set new value for led 0. Error: ", {"40", "20", "40"}},
        FailedWrite{"On2", 2, TRUE, "Failed to set new value for led 2. Error: ", {"20", "20", "40"}},
        FailedWrite{"On1", 1, TRUE, "Failed to set new value for led 1. Error: ", {"20", "20", "20"}},
        FailedWrite{"Off0", 0, FALSE, "Failed to disable led 0. Error: ", {"40", "20", "40"}},
        FailedWrite{"Off2", 2, FALSE, "Failed to disable led 2. Error: ", {"0", "20", "40"}},
        FailedWrite{"Off1", 1, FALSE, "Failed to disable led 1. Error: ", {"0", "20", "0"}}),
    [](const auto &tested) { return tested.param.name; });

TEST_F(Led3I2c, ActivationLeavesNoDescriptorOpen) { expect_no_descriptor_left_open(light_); }

TEST_F(Led3I2c, LightWithoutItsSetupDoesNothingHarmful) {
  const LightPointer light{LED_BASE(g_object_new(LED_TYPE_3_I2C, nullptr)), &g_object_unref};
  light->light_on = 1;
  led_base_set_intensity(light.get(), 100);
  led_base_set_power_intensity(light.get(), 2.0);
  led_base_update_temperature(light.get());
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "Can not request at wattd: wattd is down"}));
  EXPECT_EQ(light->requested_power, 0.0F);

  light->basepath = g_strdup(kFolder);
  led_base_recalculate_angle_of_illumination(light.get(), 0);
  EXPECT_THAT(shown(light), ElementsAre("0", "0", "0"));
}

}  // namespace
