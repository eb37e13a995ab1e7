// The single-channel light: its class, what it makes of a grant, and what it writes to its board.

#include "support/class_slots.h"
#include "support/mcu_one_channel_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr gint kMost = std::numeric_limits<gint>::max();
constexpr gdouble kNotANumber = std::numeric_limits<gdouble>::quiet_NaN();

class Led1I2c : public OneChannel {
 protected:
  void grant(gint intensity, gdouble watts) {
    light_->power_intensity = watts;
    set_intensity(light_, intensity);
  }

  /// Lets the effective intensity be @p intensity.
  void shine(gint intensity) { grant(intensity, std::numeric_limits<gdouble>::infinity()); }

  /// What activation writes into an empty file.
  std::string activated(gboolean on = TRUE) {
    write_file(channel_, "");
    EXPECT_EQ(activate(light_, on), kDone);
    return read_file(channel_);
  }

  void expect_failure_to_open() {
    BEAMD_DEBUG_FLAG = 1;
    for (const bool on : {true, false}) {
      log_.clear();
      EXPECT_EQ(activate(light_, on), kFailed);
      EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_WARNING, "Failed to open fd for led 0"}));
    }
  }

  const std::string channel_ = output_file(0);
  LightPointer light_ = new_light();
};

TEST_F(Led1I2c, IsALightOfThisName) {
  EXPECT_STREQ(g_type_name(LED_TYPE_1_I2C), "Led_1_I2C");
  EXPECT_EQ(g_type_parent(LED_TYPE_1_I2C), LED_TYPE_BASE);
}

TEST_F(Led1I2c, OverridesFiveSlots) {
  EXPECT_THAT(overridden_slots(LED_TYPE_1_I2C), ElementsAre(3, 7, 9, 11, 14));
}

TEST_F(Led1I2c, IsNotReducedAtFirst) { EXPECT_EQ(light_->power_reduce, 0.0); }

TEST_F(Led1I2c, GrantOfOneAndAHalfWattsLeaves74Of100) {
  grant(100, 1.5);
  EXPECT_EQ(activated(), "74");
}

TEST_F(Led1I2c, GivesAllOfItsIntensityWithEnoughPower) {
  grant(100, 2.0);
  EXPECT_EQ(activated(), "100");
}

TEST_F(Led1I2c, StaysDarkWithoutAGrant) {
  for (const gdouble watts : {0.0, -3.0, kNotANumber}) {
    grant(100, watts);
    EXPECT_EQ(activated(), "0") << watts;
  }
}

TEST_F(Led1I2c, IsLimitedAlsoWhenItDoesNotRequestPower) {
  light_->use_power_request = FALSE;
  grant(100, 1.5);
  EXPECT_EQ(activated(), "74");
}

TEST_F(Led1I2c, CalculationIgnoresTheAngle) {
  light_->intensity = 100;
  light_->power_intensity = 1.5;
  for (const gint angle : {0, 50, 100, -5, kMost}) {
    led_base_recalculate_angle_of_illumination(light_.get(), angle);
    EXPECT_EQ(activated(), "74") << angle;
  }
}

TEST_F(Led1I2c, CalculationWritesNoHardware) {
  grant(100, 1.5);
  EXPECT_THAT(written(), IsEmpty());
}

TEST_F(Led1I2c, CalculationIsToldInDebugMode) {
  grant(100, 1.5);
  EXPECT_THAT(log_.lines(), IsEmpty());

  BEAMD_DEBUG_FLAG = 1;
  grant(100, 1.5);
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO,
                                             "intensity = 100, intensity_factor = 0.75, power_calc = 1.50, "
                                             "power_intensity=1.50"}));
}

TEST_F(Led1I2c, LowerGrantReachesALitLightAtOnce) {
  light_->light_on = 1;
  light_->intensity = 100;
  led_base_set_power_intensity(light_.get(), 2.5);
  led_base_set_power_intensity(light_.get(), 1.5);
  EXPECT_THAT(written(), ElementsAre("led0=100", "led0=74"));
}

TEST_F(Led1I2c, GrantLeavesALightThatIsOffAlone) {
  light_->intensity = 100;
  led_base_set_power_intensity(light_.get(), 2.5);
  EXPECT_THAT(written(), IsEmpty());
}

TEST_F(Led1I2c, IntensityIsWrittenAsADecimalWithoutANewline) {
  for (const gint intensity : {1, 74, 1023, kMost}) {
    shine(intensity);
    EXPECT_EQ(activated(), std::to_string(intensity));
  }
}

TEST_F(Led1I2c, ReductionIsTakenOffAndTheRestLosesItsFraction) {
  shine(74);
  light_->power_reduce = 20.5;
  EXPECT_EQ(activated(), "53");
}

TEST_F(Led1I2c, ReductionBeyondTheIntensityLeavesZero) {
  grant(100, 1.5);
  light_->power_reduce = 80.4;
  EXPECT_EQ(activated(), "0");
}

TEST_F(Led1I2c, OffIsZero) {
  shine(74);
  EXPECT_EQ(activated(FALSE), "0");
}

TEST_F(Led1I2c, OnIsAnythingButZero) {
  shine(74);
  EXPECT_EQ(activated(2), "74");
  EXPECT_EQ(activated(-1), "74");
}

TEST_F(Led1I2c, NegativeIntensityIsZero) {
  shine(-5);
  light_->power_reduce = -20.0;
  EXPECT_EQ(activated(), "0");
}

TEST_F(Led1I2c, LongerOldContentIsNotCut) {
  shine(74);
  write_file(channel_, "12345");
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(read_file(channel_), "74345") << "a file of the kernel's has no length to be cut to";
}

TEST_F(Led1I2c, ValueIsWrittenInOnePiece) {
  shine(1023);
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_THAT(written(), ElementsAre("led0=1023"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Led1I2c, ValueIsToldInDebugMode) {
  BEAMD_DEBUG_FLAG = 1;
  shine(74);
  log_.clear();
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(activate(light_, FALSE), kDone);
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "led0 74"}, Line{LOG_INFO, "led0 0"}));
}

TEST_F(Led1I2c, ActivationNeedsABasepath) {
  BEAMD_DEBUG_FLAG = 1;
  g_clear_pointer(&light_->basepath, g_free);
  for (const bool on : {true, false}) {
    log_.clear();
    EXPECT_EQ(activate(light_, on), kFailed);
    EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_WARNING, "Failed find path to led 0"}));
  }
}

TEST_F(Led1I2c, ActivationMakesNoFile) {
  std::filesystem::remove(channel_);
  expect_failure_to_open();
  EXPECT_FALSE(std::filesystem::exists(channel_));
}

TEST_F(Led1I2c, ActivationRefusesAFolder) {
  replace(channel_, folder());
  expect_failure_to_open();
}

TEST_F(Led1I2c, ActivationDoesNotWaitForTheReaderOfAFifo) {
  replace(channel_, fifo_without_a_writer());
  expect_failure_to_open();
}

TEST_F(Led1I2c, ActivationLeavesNoDescriptorOpen) {
  shine(74);
  expect_no_descriptor_left_open(light_);
  const auto before = open_descriptors();
  fail_write(0, EIO);
  EXPECT_EQ(activate(light_, TRUE), kFailed);
  EXPECT_EQ(open_descriptors(), before);
}

TEST_F(Led1I2c, FullDeviceFailsActivation) {
  replace(channel_, link_to("", "/dev/full"));
  for (const bool on : {true, false}) {
    log_.clear();
    EXPECT_EQ(activate(light_, on), kFailed);
    EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "Write failure to led 0"}));
  }
}

/// A write that fails, of a value of one digit or of two.
struct FailedWrite {
  const char *name;
  int failure;
  gint intensity = 74;
};

void PrintTo(const FailedWrite &write, std::ostream *stream) { *stream << write.name; }

class FailedWrites : public Led1I2c, public testing::WithParamInterface<FailedWrite> {};

TEST_P(FailedWrites, FailActivationAndAreNotRepeated) {
  BEAMD_DEBUG_FLAG = 1;
  shine(GetParam().intensity);
  light_->light_on = 1;
  log_.clear();
  written();
  fail_write(0, GetParam().failure);

  EXPECT_EQ(activate(light_, TRUE), kFailed);
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "led0 " + std::to_string(GetParam().intensity)},
                                        Line{LOG_ERR, "Write failure to led 0"}));
  EXPECT_THAT(written(), ElementsAre("led0!"));
  EXPECT_EQ(light_->light_on, 1);
  EXPECT_EQ(activate(light_, TRUE), kDone) << "the next one starts afresh";
}

INSTANTIATE_TEST_SUITE_P(Driver, FailedWrites,
                         testing::Values(FailedWrite{"BusError", EIO}, FailedWrite{"Refused", EINVAL},
                                         FailedWrite{"NoDevice", ENODEV}, FailedWrite{"Interrupted", EINTR},
                                         FailedWrite{"Nothing", AttributeWrites::kShort, 7},
                                         FailedWrite{"Half", AttributeWrites::kShort}),
                         [](const auto &tested) { return tested.param.name; });

TEST_F(Led1I2c, LightWithoutItsSetupDoesNothingHarmful) {
  auto light = LightPointer{LED_BASE(g_object_new(LED_TYPE_1_I2C, nullptr)), &g_object_unref};
  light->light_on = 1;
  light->intensity = 50;

  led_base_set_intensity(light.get(), 100);
  led_base_set_power_intensity(light.get(), 2.0);
  led_base_update_temperature(light.get());

  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "Can not request at wattd: wattd is down"},
                                        Line{LOG_WARNING, "Failed find path to led 0"},
                                        Line{LOG_WARNING, "Failed find path to led 0"},
                                        Line{LOG_WARNING, "Failed find path to led 0"}))
      << "for the new intensity, for the grant and for the tick";
}

}  // namespace
