// The temperature tick of the light of three outputs.

#include "support/regulated_two_sensor_tests.h"
#include "support/three_outputs_fixture.h"

namespace {

using testing::IsEmpty;

class RegulatedOutputs : public TwoThermalZones<ThreeOutputs> {
 protected:
  static constexpr gdouble kFull = 100.0;
  static constexpr const char *kWriteFailure = "Failed to set new value for led 0. Error: Input/output error";

  static std::vector<std::string> values(int percent) {
    const std::string outer = std::to_string(40 * percent / 100);
    const std::string inner = std::to_string(20 * percent / 100);
    return {record(0, outer), record(2, outer), record(1, inner)};
  }
  static std::vector<std::string> said(int) { return {}; }

  static std::vector<Line> complaint() { return {}; }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Led3I2c, RegulatedLight, RegulatedOutputs);
INSTANTIATE_TYPED_TEST_SUITE_P(Led3I2c, TwoSensorLight, RegulatedOutputs);

class Led3I2cRegulator : public TwoSensorLight<RegulatedOutputs> {};

TEST_F(Led3I2cRegulator, RefersToWhatTheGrantLeaves) {
  in_child([&] {
    const auto light = lit_light(kProportional);
    light->power_intensity = 0.1;
    led_base_recalculate_angle_of_illumination(light.get(), 0);
    heat(70.0);
    tick(light);
    EXPECT_EQ(light->power_reduce, 50.0) << "20, 10 and 20";
  });
}

TEST_F(Led3I2cRegulator, DoesNothingWhileTheOutputsGiveNothing) {
  write_file(kIllumination, "[info]\nintensity_div=100\n[0]\n0=0;0;\n100=40;20;\n");
  const auto set_intensity = [](gint intensity) {
    return [intensity](const LightPointer &light) {
      light->intensity = intensity;
      led_base_recalculate_angle_of_illumination(light.get(), 0);
    };
  };
  expect_rest(set_intensity(0), set_intensity(100));
}

TEST_F(Led3I2cRegulator, DoesNothingWhileOneOutputTakesBackWhatOthersGive) {
  write_file(kIllumination, "[info]\n[0]\n0=10;-20;\n");
  in_child([&] {
    const auto light = lit_light(kProportional);
    light->power_reduce = 12.5;
    tick(light);
    EXPECT_EQ(light->power_reduce, 12.5);
    EXPECT_THAT(log_.lines(), IsEmpty());
  });
}

TEST_F(Led3I2cRegulator, ReadsTheSensorAlsoWhileTheOutputsGiveLessThanNothing) {
  write_file(kIllumination, "[info]\n[0]\n0=10;-40;\n");
  in_child([&] {
    const auto light = lit_light(kProportional);
    BEAMD_DEBUG_FLAG = 1;
    tick(light);
    EXPECT_THAT(log_.lines(),
                testing::ElementsAre(Line{LOG_INFO, "Regulator enabled"}, kNoReading, kNoReading,
                                     Line{LOG_INFO, "power_reduce = 0.00, temp = -9999.00"}));
    EXPECT_EQ(written(), values(0));
  });
}

// The board: 40, 44 and 47.2 degrees, filtered; the lens: 50, 50 and 40.
TEST_F(Led3I2cRegulator, FiltersEachSensorForItself) {
  expect_reductions({{40.0, 50.0, 50.0}, {60.0, 50.0, 50.0}, {60.0, 0.0, 22.0}});
}

TEST_F(Led3I2cRegulator, LostBoardIsTold) {
  in_child([&] {
    const auto light = lit_light(kProportional);
    heat(55.0);
    write_file(kMark, "0");
    tick(light);
    EXPECT_EQ(log_.lines(), errors({"No IR light PCB found"}));
    EXPECT_EQ(light->light_on, 1);
  });
}

}  // namespace
