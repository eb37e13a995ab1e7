// The temperature tick of the two-channel light.

#include "support/regulated_two_sensor_tests.h"
#include "support/two_channels_fixture.h"

namespace {

using testing::ElementsAre;

class RegulatedChannels : public TwoThermalZones<TwoChannels> {
 protected:
  static constexpr gdouble kFull = 40.0;
  static constexpr const char *kWriteFailure = "Write failure to led 0";

  static std::vector<std::string> values(int percent) {
    return {"led0=" + std::to_string(30 * percent / 100), "led1=" + std::to_string(10 * percent / 100)};
  }

  static std::vector<std::string> said(int percent) {
    const auto texts = values(percent);
    return {"led0 " + texts[0].substr(5) + " led1 " + texts[1].substr(5)};
  }

  static std::vector<Line> complaint() { return {{LOG_WARNING, "Failed to open fd for led 0"}}; }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Led2I2c, RegulatedLight, RegulatedChannels);
INSTANTIATE_TYPED_TEST_SUITE_P(Led2I2c, TwoSensorLight, RegulatedChannels);

class Led2I2cRegulator : public TwoSensorLight<RegulatedChannels> {};

TEST_F(Led2I2cRegulator, RunsAlsoWhileTheChannelsGiveNothing) {
  in_child([&] {
    const auto light = lit_light(kIntegral);
    heat(50.0);
    set_levels(light, 0, 0);
    light->power_reduce = 12.5;
    written();

    BEAMD_DEBUG_FLAG = 1;
    tick(light);
    BEAMD_DEBUG_FLAG = 0;
    EXPECT_EQ(light->power_reduce, 0.0);
    EXPECT_THAT(written(), ElementsAre("led0=0", "led1=0"));
    EXPECT_EQ(log_.lines(),
              prints({"Regulator enabled", "power_reduce = 0.00, temp = 50.00", "led0 0 led1 0"}));

    set_levels(light, 30, 10);
    tick(light);
    EXPECT_NEAR(light->power_reduce, 20.0, 1e-9) << "the tick before counts";
  });
}

// The board: 40 degrees, taken for 50, then 0.8 x 50 + 0.2 x 40 = 48, not 40. The lens: 50 and 44.
TEST_F(Led2I2cRegulator, TakesTheHotterTemperatureForThatOfTheFirstSensor) {
  expect_reductions({{40.0, 50.0, 20.0}, {40.0, 20.0, 12.0}});
}

// The board: 50, 50 and 40 degrees. The lens: 40, 44 and 47.2.
TEST_F(Led2I2cRegulator, DoesNotTakeTheHotterTemperatureForThatOfTheSecondSensor) {
  expect_reductions({{50.0, 40.0, 20.0}, {50.0, 60.0, 20.0}, {0.0, 60.0, 8.8}});
}

// The lens at 55 degrees, then both failed or at 50: 0.8 x 55 + 0.2 x 50 = 54 for the board.
TEST_F(Led2I2cRegulator, TakesTheSecondTemperatureForThatOfAFirstSensorThatFailed) {
  for (const auto &[first, complaint] : {std::pair{-1, kInvalidSensor}, {kBoard, kNoReading}}) {
    in_child([&, first = first, &complaint = complaint] {
      const auto light = watching_light({first, kLens});
      lose_sensor();
      thermal_zones::heat(kLens, 55.0);
      tick(light);
      EXPECT_THAT(log_.lines(), ElementsAre(complaint, complaint));
      EXPECT_NEAR(light->power_reduce, 20.0, 1e-9);

      thermal_zones::take_away(kLens);
      heat(50.0);
      watch(light, {kBoard, kLens});
      log_.clear();
      tick(light);
      EXPECT_THAT(log_.lines(), ElementsAre(kNoReading));
      EXPECT_NEAR(light->power_reduce, 16.0, 1e-9) << "0 would be the failed readings still";
    });
  }
}

TEST_F(Led2I2cRegulator, LightWithoutItsSetupIsLeftDark) {
  in_child([&] {
    const LightPointer light{LED_BASE(g_object_new(LED_TYPE_2_I2C, nullptr)), &g_object_unref};
    light->light_on = 1;
    light->basepath = g_strdup(kFolder);
    tick(light);
    EXPECT_EQ(light->power_reduce, 0.0);
    EXPECT_THAT(written(), ElementsAre("led0=0", "led1=0"));
  });
}

}  // namespace
