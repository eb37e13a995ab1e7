// How the LEDs on a camera block are switched, as far as both classes of lights do it alike.

#include <limits>

#include "support/camblock_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();
constexpr gint kMost = std::numeric_limits<gint>::max();

class CamblockActivation : public CamblockLights {
 protected:
  /// What the LEDs are given when they should have these milliwatts.
  void expect_levels(const std::vector<gint> &milliwatts, int level0, int level1) {
    fake_i2c().registers.clear();
    give(light_, milliwatts);
    EXPECT_EQ(activate(light_, TRUE), kDone);
    EXPECT_EQ(requests(), lit(level0, level1));
  }

  LightPointer light_ = ready_light({200, 100});
};

TEST_P(CamblockActivation, EnablesEachLedAndGivesItsLevel) {
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(requests(), lit(200, 100));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_P(CamblockActivation, OnlyGivesTheLevelOfALedThatIsEnabled) {
  for (const FakeI2c::Value &enabled : {FakeI2c::Value{1, 0}, {2, 0}, {0, 1}, {0, 0x80}, {0xFF, 0xFF}}) {
    fake_i2c().registers[{5, 0x10}] = enabled;
    fake_i2c().registers[{5, 0x20}] = {0, 0};
    EXPECT_EQ(activate(light_, TRUE), kDone);
    EXPECT_EQ(requests(), opened({asks(0), powers(0, 200), asks(1), enables(1), powers(1, 100)}));
  }
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(requests(), adjusted(200, 100)) << "it has enabled the other";
}

TEST_P(CamblockActivation, IsOnForAnythingButZero) {
  for (const gboolean on : {2, -1}) {
    fake_i2c().registers.clear();
    EXPECT_EQ(activate(light_, on), kDone);
    EXPECT_EQ(requests(), lit(200, 100)) << on;
  }
}

TEST_P(CamblockActivation, DisablesEachLedWhenOff) {
  activate(light_, TRUE);
  requests();
  EXPECT_EQ(activate(light_, FALSE), kDone);
  EXPECT_EQ(requests(), opened({disables(0), disables(1)})) << "and leaves its level";
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_P(CamblockActivation, DisablesEachLedWithoutPower) {
  for (const std::vector<gint> &milliwatts : {std::vector<gint>{0, 0}, {100, -100}, {-1, 0}, {100, -200}}) {
    give(light_, milliwatts);
    EXPECT_EQ(activate(light_, TRUE), kDone);
    EXPECT_EQ(requests(), opened({disables(0), disables(1)})) << testing::PrintToString(milliwatts);
  }
}

TEST_P(CamblockActivation, EnablesALedWithoutPowerBesidesOneThatHasSome) {
  expect_levels({200, 0}, 200, 0);
  expect_levels({0, 1}, 0, 1);
  expect_levels({150, -50}, 150, 0);
}

TEST_P(CamblockActivation, ScalesWithTheHighestIntensity) {
  light_->intensity_high = 1000;
  expect_levels({500, 1000}, 127, 255);
  expect_levels({300, 0}, 76, 0);
  expect_levels({4, 1500}, 1, 382 & 0xFF);
}

TEST_P(CamblockActivation, TakesTheReductionOffInProportion) {
  light_->power_reduce = 90.0;
  expect_levels({200, 100}, 140, 70);
  expect_levels({100, 0}, 10, 0);
  light_->power_reduce = -30.0;
  expect_levels({200, 100}, 220, 110);
}

TEST_P(CamblockActivation, LeavesOffAFractionOfWhatIsLeft) {
  light_->power_reduce = 1.0;
  expect_levels({200, 100}, 199, 99);
}

TEST_P(CamblockActivation, RoundsOnceOnly) {
  light_->power_reduce = 10.0;
  // 3 - 10 x 0.2 and 12 - 10 x 0.8, where neither 0.2 nor 0.8 is as small as that.
  expect_levels({3, 12}, 0, 3);
}

TEST_P(CamblockActivation, GivesNothingWhenTheReductionIsAll) {
  for (const double reduction : {300.0, 301.0, 1e300, kInfinity, kNotANumber}) {
    light_->power_reduce = reduction;
    expect_levels({200, 100}, 0, 0);
  }
}

TEST_P(CamblockActivation, SurvivesTheHighestNumbers) {
  give(light_, {kMost, kMost});
  EXPECT_EQ(activate(light_, TRUE), kDone);
}

TEST_P(CamblockActivation, TakesTheLowBytesOfWhatIsConfigured) {
  auto config = kind_.config();
  for (const auto &[number, same_byte] : {std::pair<std::string, std::string>{"=2\n", "=258\n"},
                                          {"=33\n", "=289\n"},
                                          {"=5\n", "=389\n"},
                                          {"=16\n", "=-240\n"},
                                          {"=17\n", "=273\n"},
                                          {"=32\n", "=65568\n"}})
    config.replace(config.find(number), number.size(), same_byte);
  write_file(kCamblock, config);
  light_ = ready_light({200, 100});
  expect_levels({200, 100}, 200, 100);
}

TEST_P(CamblockActivation, NeedsTheBus) {
  FakeI2c::unplug_all();
  for (const bool on : {false, true}) {
    log_.clear();
    EXPECT_EQ(activate(light_, on), kFailed);
    EXPECT_EQ(log_.lines(), errors({"Error opening i2c device. No such file or directory. Path: /dev/i2c-2",
                                    "Failed to open device No such file or directory"}));
  }
}

TEST_P(CamblockActivation, NeedsTheDevice) {
  fake_i2c().slave_answer = {-1, EINVAL};
  EXPECT_EQ(activate(light_, TRUE), kFailed);
  EXPECT_EQ(requests(), opened({}));
  fake_i2c().funcs_answer = {-1, ENOTTY};
  EXPECT_EQ(activate(light_, TRUE), kFailed);
  EXPECT_THAT(requests(), ElementsAre("i2c-2 funcs"));
  EXPECT_EQ(log_.lines(), errors({"Error I2C_SLAVE_FORCE Invalid argument : res = -1",
                                  "Failed to open device Invalid argument",
                                  "Error I2C_FUNCS Inappropriate ioctl for device : res = -1",
                                  "Failed to open device Inappropriate ioctl for device"}));
}

constexpr const char *kNotRead = "read_reg(read): ret = -1, Remote I/O error";
constexpr const char *kNotWritten = "write_reg(read): ret = -1, Remote I/O error";

TEST_P(CamblockActivation, EndsWithTheTransferThatFails) {
  const std::vector<std::vector<Line>> told = {
      errors({kNotRead, kind_.unread(0)}),       errors({kNotWritten, kind_.unwritten(0)}),
      errors({kNotWritten, kind_.unwritten(0)}), errors({kNotRead, kind_.unread(1)}),
      errors({kNotWritten, kind_.unwritten(1)}), errors({kNotWritten, kind_.unwritten(1)})};
  for (std::size_t nth = 1; nth <= told.size(); ++nth) {
    fake_i2c().registers.clear();
    log_.clear();
    fake_i2c().answer_transfer(nth, {-1, EREMOTEIO});
    EXPECT_EQ(activate(light_, TRUE), kFailed) << nth;

    auto expected = lit(200, 100);
    expected.resize(std::size(kAddressed) + nth);
    EXPECT_EQ(requests(), expected);
    EXPECT_EQ(log_.lines(), told[nth - 1]) << nth;
    EXPECT_EQ(open_i2c_buses(), 0U) << nth;
  }
}

TEST_P(CamblockActivation, EndsWithTheLedThatIsNotDarkened) {
  fake_i2c().answer_transfer(1, {-1, EREMOTEIO});
  EXPECT_EQ(activate(light_, FALSE), kFailed);
  EXPECT_EQ(requests(), opened({disables(0)}));
  EXPECT_EQ(log_.lines(), errors({kNotWritten, kind_.undarkened(0)}));

  log_.clear();
  fake_i2c().answer_transfer(2, {-1, EREMOTEIO});
  EXPECT_EQ(activate(light_, FALSE), kFailed);
  EXPECT_EQ(requests(), opened({disables(0), disables(1)}));
  EXPECT_EQ(log_.lines(), errors({kNotWritten, kind_.undarkened(1)}));
}

TEST_P(CamblockActivation, FailsWhenARegisterIsOnlySelected) {
  fake_i2c().answer_transfer(1, {1, 0});
  EXPECT_EQ(activate(light_, TRUE), kFailed);
  EXPECT_EQ(requests(), opened({asks(0)}));
  EXPECT_EQ(log_.lines(), errors({"read_reg(read): ret = 1, Success", kind_.unread(0)}));
}

INSTANTIATE_TEST_SUITE_P(Classes, CamblockActivation, testing::Values(kAnyNumberOfLeds, kTwoLeds),
                         class_name);

}  // namespace
