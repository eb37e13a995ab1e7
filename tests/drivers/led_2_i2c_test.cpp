// The two-channel light: its class, and what it writes to its board.

#include "support/attribute_opens.h"
#include "support/class_slots.h"
#include "support/two_channels_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Led2I2c : public TwoChannels {
 protected:
  ~Led2I2c() override { after_attribute_open() = nullptr; }

  static std::vector<Line> warnings(const std::string &text) { return {{LOG_WARNING, text}}; }

  LightPointer light_ = ready_light();
};

TEST_F(Led2I2c, IsALightOfThisName) {
  EXPECT_STREQ(g_type_name(LED_TYPE_2_I2C), "Led_2_I2C");
  EXPECT_EQ(g_type_parent(LED_TYPE_2_I2C), LED_TYPE_BASE);
}

TEST_F(Led2I2c, OverridesThreeSlots) { EXPECT_THAT(overridden_slots(LED_TYPE_2_I2C), ElementsAre(3, 7, 14)); }

TEST_F(Led2I2c, IsNotReducedAtFirst) {
  const LightPointer fresh{LED_BASE(g_object_new(LED_TYPE_2_I2C, nullptr)), &g_object_unref};
  EXPECT_EQ(fresh->power_reduce, 0.0);
}

TEST_F(Led2I2c, ChannelsFollowTheTable) {
  EXPECT_THAT(shown(light_), ElementsAre("led0=30", "led1=10"));
  led_base_recalculate_angle_of_illumination(light_.get(), 100);
  EXPECT_THAT(shown(light_), ElementsAre("led0=10", "led1=30"));
  request(light_, {50, 100});
  led_base_recalculate_angle_of_illumination(light_.get(), 0);
  EXPECT_THAT(shown(light_), ElementsAre("led0=15", "led1=10"));
}

TEST_F(Led2I2c, GrantReachesALitLightAtOnce) {
  light_->light_on = 1;
  light_->power_usage_factor = 0.5F;
  written();
  led_base_set_power_intensity(light_.get(), 20.5);
  EXPECT_THAT(written(), ElementsAre("led0=30", "led1=10"));
  led_base_set_power_intensity(light_.get(), 0.0);
  EXPECT_THAT(written(), ElementsAre("led0=0", "led1=0"));
}

TEST_F(Led2I2c, ReductionOf8Leaves24And8) {
  light_->power_reduce = 8.0;
  EXPECT_THAT(shown(light_), ElementsAre("led0=24", "led1=8"));
}

TEST_F(Led2I2c, ReductionKeepsItsFractionUntilItIsTakenOff) {
  light_->power_reduce = 8.5;
  EXPECT_THAT(shown(light_), ElementsAre("led0=23", "led1=7"));
}

TEST_F(Led2I2c, ShareIsFormedFirst) {
  // 25 x 14 / 50 is 7, while 25 x (14 / 50) is a little more.
  set_levels(light_, 14, 36);
  light_->power_reduce = 25.0;
  EXPECT_THAT(shown(light_), ElementsAre("led0=6", "led1=18"));
}

TEST_F(Led2I2c, ChannelsAreNeverBelowZero) {
  light_->power_reduce = 40.5;
  EXPECT_THAT(shown(light_), ElementsAre("led0=0", "led1=0"));
  light_->power_reduce = 1e300;
  EXPECT_THAT(shown(light_), ElementsAre("led0=0", "led1=0"));
  set_levels(light_, -10, 30);
  light_->power_reduce = 0.0;
  EXPECT_THAT(shown(light_), ElementsAre("led0=0", "led1=30"));
}

// Of 20 together the first has -1/2, the second 3/2.
TEST_F(Led2I2c, NegativeChannelHasANegativeShareOfTheReduction) {
  set_levels(light_, -10, 30);
  light_->power_reduce = 8.0;
  EXPECT_THAT(shown(light_), ElementsAre("led0=0", "led1=18"));
}

TEST_F(Led2I2c, ReductionThatIsNoNumberLeavesNothing) {
  light_->power_reduce = std::numeric_limits<gdouble>::quiet_NaN();
  EXPECT_THAT(shown(light_), ElementsAre("led0=0", "led1=0"));
}

TEST_F(Led2I2c, ChannelsThatGiveNothingAreZeroWhateverTheReduction) {
  set_levels(light_, 0, 0);
  for (const gdouble reduction : {0.0, 8.0, -8.0, 1e300}) {
    light_->power_reduce = reduction;
    EXPECT_THAT(shown(light_), ElementsAre("led0=0", "led1=0")) << reduction;
  }
}

TEST_F(Led2I2c, ChannelsThatGiveNothingTogetherAreZero) {
  for (const auto &[first, second] : {std::pair{-10, 10}, {20, -30}}) {
    set_levels(light_, first, second);
    EXPECT_THAT(shown(light_), ElementsAre("led0=0", "led1=0"));
  }
}

TEST_F(Led2I2c, LevelsMayBeTheLargestNumbers) {
  constexpr gint kMost = std::numeric_limits<gint>::max();
  set_levels(light_, kMost, kMost);
  EXPECT_THAT(shown(light_), ElementsAre("led0=2147483647", "led1=2147483647"));
}

TEST_F(Led2I2c, OffIsZero) { EXPECT_THAT(shown(light_, FALSE), ElementsAre("led0=0", "led1=0")); }

TEST_F(Led2I2c, OnIsAnythingButZero) {
  EXPECT_THAT(shown(light_, 2), ElementsAre("led0=30", "led1=10"));
  EXPECT_THAT(shown(light_, -1), ElementsAre("led0=30", "led1=10"));
}

TEST_F(Led2I2c, LongerOldContentIsNotCut) {
  for (const auto &path : files_)
    write_file(path, "12345");
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(read_file(files_[0]), "30345") << "a file of the kernel's has no length to be cut to";
  EXPECT_EQ(read_file(files_[1]), "10345");
}

TEST_F(Led2I2c, ValuesAreToldInDebugMode) {
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_THAT(log_.lines(), IsEmpty());
  BEAMD_DEBUG_FLAG = 1;
  light_->power_reduce = 8.0;
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(activate(light_, FALSE), kDone);
  EXPECT_EQ(log_.lines(), prints({"led0 24 led1 8", "led0 0 led1 0"}));
}

TEST_F(Led2I2c, ValuesAreToldBeforeTheyAreWritten) {
  BEAMD_DEBUG_FLAG = 1;
  for (const int channel : {0, 1}) {
    log_.clear();
    fail_write(channel, EIO);
    EXPECT_EQ(activate(light_, TRUE), kFailed);
    EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "led0 30 led1 10"},
                                          Line{LOG_ERR, "Write failure to led " + std::to_string(channel)}));
  }
}

TEST_F(Led2I2c, ActivationLeavesNoDescriptorOpen) { expect_no_descriptor_left_open(light_); }

TEST_F(Led2I2c, MarkIsNotAskedForAgain) {
  write_file(kMark, "0");
  EXPECT_EQ(activate(light_, TRUE), kDone);
}

class UnusableChannel : public Led2I2c, public testing::WithParamInterface<FoundFile> {};

TEST_P(UnusableChannel, FailsActivationBeforeAnythingIsWritten) {
  BEAMD_DEBUG_FLAG = 1;
  const auto before = open_descriptors();
  for (const int channel : {0, 1}) {
    const auto path = output_file(channel);
    replace(path, GetParam());
    written();
    for (const bool on : {true, false}) {
      log_.clear();
      EXPECT_EQ(activate(light_, on), kFailed);
      EXPECT_EQ(log_.lines(), warnings("Failed to open fd for led " + std::to_string(channel)));
    }
    EXPECT_THAT(written(), IsEmpty());
    std::filesystem::remove_all(path);
    write_fresh_file(path);
  }
  EXPECT_EQ(open_descriptors(), before);
}

INSTANTIATE_TEST_SUITE_P(Files, UnusableChannel,
                         testing::Values(missing_file(), unopenable_file(), fifo_without_a_writer(),
                                         folder()),
                         [](const auto &tested) { return tested.param.name; });

TEST_F(Led2I2c, FirstChannelIsOpenedFirst) {
  for (const auto &path : files_)
    std::filesystem::remove(path);
  EXPECT_EQ(activate(light_, TRUE), kFailed);
  EXPECT_EQ(log_.lines(), warnings("Failed to open fd for led 0"));
}

TEST_F(Led2I2c, ActivationNeedsABasepath) {
  g_clear_pointer(&light_->basepath, g_free);
  for (const bool on : {true, false}) {
    log_.clear();
    EXPECT_EQ(activate(light_, on), kFailed);
    EXPECT_EQ(log_.lines(), warnings("Failed find path to led 0"));
  }
}

TEST_F(Led2I2c, ActivationFailsWhenTheBasepathGetsLost) {
  const auto before = open_descriptors();
  after_attribute_open() = [this](const std::string &path) {
    if (path == files_[0])
      g_clear_pointer(&light_->basepath, g_free);
  };
  written();
  EXPECT_EQ(activate(light_, TRUE), kFailed);
  EXPECT_EQ(log_.lines(), warnings("Failed find path to led 1"));
  EXPECT_THAT(written(), IsEmpty());
  EXPECT_EQ(open_descriptors(), before);
}

TEST_F(Led2I2c, SecondChannelKeepsItsValueWhenTheFirstFails) {
  const auto before = open_descriptors();
  for (const bool on : {true, false}) {
    for (const auto &path : files_)
      write_file(path, "77");
    log_.clear();
    fail_write(0, EIO);
    EXPECT_EQ(activate(light_, on), kFailed);
    EXPECT_EQ(log_.lines(), errors({"Write failure to led 0"}));
    EXPECT_EQ(read_file(files_[0]), "77");
    EXPECT_EQ(read_file(files_[1]), "77");
  }
  EXPECT_EQ(open_descriptors(), before);
}

TEST_F(Led2I2c, FirstChannelHasItsValueWhenTheSecondFails) {
  const auto before = open_descriptors();
  for (const auto &[on, value] : {std::pair{true, "24"}, {false, "0"}}) {
    write_file(files_[0], "");
    write_file(files_[1], "77");
    light_->power_reduce = 8.0;
    log_.clear();
    fail_write(1, EIO);
    EXPECT_EQ(activate(light_, on), kFailed);
    EXPECT_EQ(log_.lines(), errors({"Write failure to led 1"}));
    EXPECT_EQ(read_file(files_[0]), value);
    EXPECT_EQ(read_file(files_[1]), "77");
  }
  EXPECT_EQ(open_descriptors(), before);
  EXPECT_EQ(activate(light_, TRUE), kDone) << "the next one starts afresh";
}

TEST_F(Led2I2c, WriteOfLessThanTheValueFails) {
  for (const int channel : {0, 1}) {
    log_.clear();
    fail_write(channel, AttributeWrites::kShort);
    EXPECT_EQ(activate(light_, TRUE), kFailed);
    EXPECT_EQ(log_.lines(), errors({"Write failure to led " + std::to_string(channel)}));
  }
}

TEST_F(Led2I2c, FullDeviceFailsActivation) {
  replace(files_[1], link_to("", "/dev/full"));
  written();
  EXPECT_EQ(activate(light_, TRUE), kFailed);
  EXPECT_EQ(log_.lines(), errors({"Write failure to led 1"}));
  EXPECT_THAT(written(), ElementsAre("led0=30"));
}

TEST_F(Led2I2c, ChannelWithoutALedGivesNothing) {
  write_file(kIllumination, "[info]\nleds=1\n[0]\n0=0;\n100=30;\n[100]\n100=30;\n");
  light_ = ready_light();
  light_->power_reduce = 8.0;
  EXPECT_THAT(shown(light_), ElementsAre("led0=22", "led1=0"));

  write_file(kIllumination, "[info]\nleds=0\n[0]\n[100]\n");
  light_ = ready_light();
  EXPECT_THAT(shown(light_), ElementsAre("led0=0", "led1=0"));
}

TEST_F(Led2I2c, LedsBeyondTheSecondAreLeftOut) {
  write_file(kIllumination, "[info]\nleds=3\n[0]\n0=0;0;0;\n100=30;10;500;\n[100]\n100=0;0;0;\n");
  light_ = ready_light();
  light_->power_reduce = 8.0;
  EXPECT_THAT(shown(light_), ElementsAre("led0=24", "led1=8"));
}

TEST_F(Led2I2c, LightWithoutItsSetupDoesNothingHarmful) {
  const LightPointer light{LED_BASE(g_object_new(LED_TYPE_2_I2C, nullptr)), &g_object_unref};
  light->basepath = g_strdup(kFolder);
  led_base_set_intensity(light.get(), 100);
  led_base_set_power_intensity(light.get(), 2.0);
  EXPECT_THAT(shown(light), ElementsAre("led0=0", "led1=0"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

}  // namespace
