// Any number of LEDs on a camera block: what is not the same as for two.

#include "support/camblock_fixture.h"
#include "support/in_child.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class CamblockLeds : public CamblockLight {
 protected:
  CamblockLeds() : CamblockLight{kAnyNumberOfLeds} {}

  /// Makes the light anew, with as many LEDs.
  void change(const std::vector<gint> &milliwatts) {
    const auto leds = static_cast<int>(milliwatts.size());
    write_file(kCamblock, camblock::grouped_config(leds));
    write_leds(leds);
    light_ = ready_light(milliwatts);
  }

  LightPointer light_ = ready_light({200, 100});
};

TEST_F(CamblockLeds, AreAsManyAsThereAre) {
  change({30});
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(requests(), opened({asks(0), enables(0), powers(0, 30)}));
  change({10, 20, 30, 0});
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(requests(), opened({asks(0), powers(0, 10), asks(1), enables(1), powers(1, 20), asks(2),
                                enables(2), powers(2, 30), asks(3), enables(3), powers(3, 0)}));
  EXPECT_EQ(activate(light_, FALSE), kDone);
  EXPECT_EQ(requests(), opened({disables(0), disables(1), disables(2), disables(3)}));
}

TEST_F(CamblockLeds, CanBeNone) {
  change({});
  FakeI2c::unplug_all();
  for (const bool on : {false, true})
    EXPECT_EQ(activate(light_, on), kDone);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(CamblockLeds, AreThoseThatBothFilesHave) {
  write_leds(3);
  light_ = ready_light({10, 20, 30});
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(requests(), lit(10, 20));
  write_leds(1);
  light_ = ready_light({10});
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(requests(), opened({asks(0), powers(0, 10)}));
}

TEST_F(CamblockLeds, CountTogetherWithThoseThatTheDeviceDoesNotHave) {
  write_leds(3);
  light_ = ready_light({10, 20, 30});
  light_->power_reduce = 30.0;
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(requests(), lit(5, 10));
  give(light_, {0, 0, 30});
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(requests(), adjusted(0, 0));
}

TEST_F(CamblockLeds, ShareTheReduction) {
  change({100, 60, 40});
  light_->power_reduce = 50.0;
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(requests(), opened({asks(0), enables(0), powers(0, 75), asks(1), enables(1), powers(1, 45),
                                asks(2), enables(2), powers(2, 30)}));
}

TEST_F(CamblockLeds, AreOnWhenTheLastHasPower) {
  change({0, 0, 1});
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(requests(), opened({asks(0), enables(0), powers(0, 0), asks(1), enables(1), powers(1, 0), asks(2),
                                enables(2), powers(2, 1)}));
}

TEST_F(CamblockLeds, ArePrintedOneByOne) {
  BEAMD_DEBUG_FLAG = 1;
  light_->intensity_high = 1000;
  change({600, 300});
  light_->intensity_high = 1000;
  light_->power_reduce = 90.0;
  activate(light_, TRUE);
  EXPECT_EQ(log_.lines(), prints({"led 540 (137) ", "led 270 (68) "}));

  log_.clear();
  fake_i2c().answer_transfer(1, {-1, EIO});
  activate(light_, TRUE);
  auto expected = prints({"led 540 (137) "});
  for (const auto &line : errors({"read_reg(read): ret = -1, Input/output error", "Read failure to led:0"}))
    expected.push_back(line);
  EXPECT_EQ(log_.lines(), expected);

  log_.clear();
  activate(light_, FALSE);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(CamblockLeds, AreToldByTheirNumbersWhenTheyFail) {
  change({10, 20, 30});
  for (const auto &[nth, text] : {std::pair<std::size_t, std::string>{7, "Read failure to led:2"},
                                  {8, "Write failure to led:2"},
                                  {9, "Write failure to led:2"}}) {
    fake_i2c().registers.clear();
    log_.clear();
    fake_i2c().answer_transfer(nth, {-1, EIO});
    EXPECT_EQ(activate(light_, TRUE), kFailed);
    ASSERT_EQ(log_.lines().size(), 2U);
    EXPECT_EQ(log_.lines()[1], errors({text})[0]);
  }
  log_.clear();
  fake_i2c().answer_transfer(3, {-1, EIO});
  EXPECT_EQ(activate(light_, FALSE), kFailed);
  EXPECT_EQ(log_.lines(),
            errors({"write_reg(read): ret = -1, Input/output error", "Write failure shut to LED:2"}));
}

TEST_F(CamblockLeds, AreRegulatedByWhatTheFirstTwoGive) {
  in_child([this] {
    change({100, 50, 50});
    watch(light_, {1});
    light_->light_on = 1;
    thermal_zones::heat(1, 75.0);
    led_base_update_temperature(light_.get());
    EXPECT_EQ(light_->power_reduce, 150.0);
    EXPECT_EQ(requests(), opened({asks(0), enables(0), powers(0, 25), asks(1), enables(1), powers(1, 12),
                                  asks(2), enables(2), powers(2, 12)}))
        << "of which all share the reduction";
  });
}

}  // namespace
