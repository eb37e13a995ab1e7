// The temperature tick of the light of three outputs. Its class has one regulator state for the whole
// program: each test ticks in a process of its own, which begins with a fresh one.

#include "support/in_child.h"
#include "support/three_outputs_fixture.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kBoard = 3;
constexpr int kLens = 4;
// A tenth of the light for each degree below 60.
const std::string kProportional = "sample_time=5\nref_temp=60\nk_p=0.1\n";
const std::string kInvalidSensor = "Could not read invalid temperature sensor";

void tick(const LightPointer &light) { led_base_update_temperature(light.get()); }

class Led3I2cRegulator : public ThreeOutputs {
 protected:
  /// A lit light whose outputs give 40, 20 and 40, with these settings and a sensor on its board.
  LightPointer lit_light(const std::string &settings = kProportional) {
    write_file(kDimming, "[regulator]\n" + settings);
    auto light = ready_light();
    watch(light, {kBoard});
    light->light_on = 1;
    led_base_recalculate_angle_of_illumination(light.get(), 0);
    written();
    return light;
  }

  static std::vector<std::string> records(const std::string &outer, const std::string &inner) {
    return {record(0, outer), record(2, outer), record(1, inner)};
  }

  void expect_reduction_at(double celsius, gdouble reduction, const std::vector<std::string> &values) {
    in_child([&] {
      const auto light = lit_light();
      thermal_zones::heat(kBoard, celsius);
      written();
      tick(light);
      EXPECT_NEAR(light->power_reduce, reduction, 1e-9);
      EXPECT_EQ(written(), values);
      EXPECT_THAT(log_.lines(), IsEmpty());
    });
  }
};

TEST_F(Led3I2cRegulator, LeavesACoolBoardAlone) { expect_reduction_at(49.0, 0.0, records("40", "20")); }

TEST_F(Led3I2cRegulator, TakesOffHalfOfAllOutputsTogether) {
  expect_reduction_at(55.0, 50.0, records("20", "10"));
}

TEST_F(Led3I2cRegulator, TakesOffAllAboveTheTemperatureToKeep) {
  expect_reduction_at(70.0, 100.0, records("0", "0"));
}

TEST_F(Led3I2cRegulator, RefersToWhatTheGrantLeaves) {
  in_child([&] {
    const auto light = lit_light();
    light->power_intensity = 0.1;
    led_base_recalculate_angle_of_illumination(light.get(), 0);
    thermal_zones::heat(kBoard, 70.0);
    tick(light);
    EXPECT_EQ(light->power_reduce, 50.0) << "20, 10 and 20";
  });
}

TEST_F(Led3I2cRegulator, IsAlwaysOn) {
  for (const std::string enabled : {"enabled=false\n", "enabled=true\n", "enabled=perhaps\n"}) {
    in_child([&] {
      const auto light = lit_light(enabled + kProportional);
      thermal_zones::heat(kBoard, 55.0);
      tick(light);
      EXPECT_NEAR(light->power_reduce, 50.0, 1e-9) << enabled;
    });
  }
}

TEST_F(Led3I2cRegulator, DoesNothingWhileTheOutputsGiveNothing) {
  write_file(kIllumination, "[info]\nintensity_div=100\n[0]\n0=0;0;\n100=40;20;\n");
  in_child([&] {
    const auto light = lit_light();
    light->intensity = 0;
    led_base_recalculate_angle_of_illumination(light.get(), 0);
    light->power_reduce = 12.5;
    BEAMD_DEBUG_FLAG = 1;

    tick(light);
    EXPECT_EQ(light->power_reduce, 12.5);
    EXPECT_THAT(written(), IsEmpty());
    EXPECT_THAT(log_.lines(), IsEmpty()) << "not even the sensor that is not there";

    light->intensity = 100;
    led_base_recalculate_angle_of_illumination(light.get(), 0);
    thermal_zones::heat(kBoard, 55.0);
    tick(light);
    EXPECT_NEAR(light->power_reduce, 50.0, 1e-9) << "still without a temperature to start with";
  });
}

TEST_F(Led3I2cRegulator, DoesNothingWhileOneOutputTakesBackWhatOthersGive) {
  write_file(kIllumination, "[info]\n[0]\n0=10;-20;\n");
  in_child([&] {
    const auto light = lit_light();
    light->power_reduce = 12.5;
    tick(light);
    EXPECT_EQ(light->power_reduce, 12.5);
    EXPECT_THAT(log_.lines(), IsEmpty());
  });
}

TEST_F(Led3I2cRegulator, LeavesTheHardwareOfALightThatIsOffAlone) {
  in_child([&] {
    const auto light = lit_light();
    light->light_on = 0;
    thermal_zones::heat(kBoard, 55.0);
    written();
    tick(light);
    EXPECT_NEAR(light->power_reduce, 50.0, 1e-9) << "for when it is switched on";
    EXPECT_THAT(written(), IsEmpty());
  });
}

TEST_F(Led3I2cRegulator, TellsOfItselfInDebugMode) {
  in_child([&] {
    const auto light = lit_light();
    thermal_zones::heat(kBoard, 55.0);
    BEAMD_DEBUG_FLAG = 1;
    tick(light);
    EXPECT_THAT(log_.lines(), Contains(Line{LOG_INFO, "power_reduce = 50.00, temp = 55.00"}));
  });
}

TEST_F(Led3I2cRegulator, FollowsTheHotterOfTwoSensors) {
  for (const auto &[board, lens] : {std::pair{50.0, 55.0}, {55.0, 50.0}, {55.0, 55.0}, {-20.0, 55.0}}) {
    in_child([&, board = board, lens = lens] {
      const auto light = lit_light();
      watch(light, {kBoard, kLens});
      thermal_zones::heat(kBoard, board);
      thermal_zones::heat(kLens, lens);
      tick(light);
      EXPECT_NEAR(light->power_reduce, 50.0, 1e-9) << board << " and " << lens;
      EXPECT_THAT(log_.lines(), IsEmpty());
    });
  }
}

TEST_F(Led3I2cRegulator, DoesNotReadASecondSensorThatIsNotThere) {
  for (const auto &sensors : {std::vector{kBoard}, {kBoard, -1}}) {
    in_child([&] {
      const auto light = lit_light();
      watch(light, sensors);
      thermal_zones::heat(kBoard, 55.0);
      tick(light);
      EXPECT_NEAR(light->power_reduce, 50.0, 1e-9);
      EXPECT_THAT(log_.lines(), IsEmpty());
    });
  }
}

TEST_F(Led3I2cRegulator, DoesNotReadAThirdSensor) {
  in_child([&] {
    const auto light = lit_light();
    watch(light, {kBoard, kLens, 5});
    thermal_zones::heat(kBoard, 50.0);
    thermal_zones::heat(kLens, 55.0);
    thermal_zones::heat(5, 90.0);
    tick(light);
    EXPECT_NEAR(light->power_reduce, 50.0, 1e-9);
  });
}

TEST_F(Led3I2cRegulator, EveryReadFailsWithoutASensor) {
  in_child([&] {
    const auto light = lit_light();
    watch(light, {});
    light->power_reduce = 30.0;
    written();

    tick(light);
    EXPECT_EQ(log_.lines(), errors({kInvalidSensor, kInvalidSensor})) << "the first tick reads twice";
    EXPECT_EQ(light->power_reduce, 0.0) << "as if it were very cold";
    EXPECT_EQ(written(), records("40", "20"));

    log_.clear();
    tick(light);
    EXPECT_EQ(log_.lines(), errors({kInvalidSensor}));
  });
}

TEST_F(Led3I2cRegulator, FollowsTheSecondSensorWhenTheFirstCannotBeRead) {
  in_child([&] {
    const auto light = lit_light();
    watch(light, {-1, kLens});
    thermal_zones::heat(kLens, 55.0);
    tick(light);
    EXPECT_EQ(log_.lines(), errors({kInvalidSensor, kInvalidSensor}));
    EXPECT_NEAR(light->power_reduce, 50.0, 1e-9);
  });
}

TEST_F(Led3I2cRegulator, ReadingThatFailsCountsAsVeryCold) {
  in_child([&] {
    const auto light = lit_light();
    thermal_zones::heat(kBoard, 55.0);
    tick(light);
    EXPECT_NEAR(light->power_reduce, 50.0, 1e-9);

    thermal_zones::take_away(kBoard);
    tick(light);
    EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_WARNING, "Could not read temperature"}));
    EXPECT_EQ(light->power_reduce, 0.0);
  });
}

// The board: 40, 44 and 47.2 degrees, filtered; the lens: 50, 50 and 40.
TEST_F(Led3I2cRegulator, FiltersEachSensorForItself) {
  in_child([&] {
    const auto light = lit_light("sample_time=5\nref_temp=55\nk_p=0.1\n");
    watch(light, {kBoard, kLens});
    thermal_zones::heat(kBoard, 40.0);
    thermal_zones::heat(kLens, 50.0);
    tick(light);
    EXPECT_NEAR(light->power_reduce, 50.0, 1e-9);

    thermal_zones::heat(kBoard, 60.0);
    tick(light);
    EXPECT_NEAR(light->power_reduce, 50.0, 1e-9);

    thermal_zones::heat(kLens, 0.0);
    tick(light);
    EXPECT_NEAR(light->power_reduce, 22.0, 1e-9);
  });
}

// 10 degrees below, each tick adds 5 s x 0.01 x 10 = 0.5 of what the light can give, one tick late.
TEST_F(Led3I2cRegulator, StateIsSharedByTheLightsOfTheClass) {
  in_child([&] {
    const std::string settings = "sample_time=5\nref_temp=60\nk_i=0.01\n";
    thermal_zones::heat(kBoard, 50.0);
    const auto first = lit_light(settings);
    tick(first);
    EXPECT_NEAR(first->power_reduce, 100.0, 1e-9);

    const auto second = lit_light(settings);
    tick(second);
    EXPECT_NEAR(second->power_reduce, 50.0, 1e-9) << "the first light's tick counts";
    EXPECT_NEAR(first->power_reduce, 100.0, 1e-9) << "the reduction is the light's own";
  });
}

TEST_F(Led3I2cRegulator, BoardThatTakesNoValueIsTriedAgainAtTheNextTick) {
  in_child([&] {
    const auto light = lit_light();
    thermal_zones::heat(kBoard, 55.0);
    written();
    fail_write(0, EIO);
    tick(light);
    EXPECT_EQ(log_.lines(), errors({"Failed to set new value for led 0. Error: Input/output error"}));
    EXPECT_NEAR(light->power_reduce, 50.0, 1e-9);
    written();
    tick(light);
    EXPECT_EQ(written(), records("20", "10"));
  });
}

TEST_F(Led3I2cRegulator, LostBoardIsTold) {
  in_child([&] {
    const auto light = lit_light();
    thermal_zones::heat(kBoard, 55.0);
    write_file(kMark, "0");
    tick(light);
    EXPECT_EQ(log_.lines(), errors({"No IR light PCB found"}));
    EXPECT_EQ(light->light_on, 1);
  });
}

}  // namespace
