// The temperature tick of the two-channel light. Its class has one regulator state for the whole program:
// each test ticks in a process of its own, which begins with a fresh one.

#include "support/in_child.h"
#include "support/two_channels_fixture.h"

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

class Led2I2cRegulator : public TwoChannels {
 protected:
  /// A lit light whose channels give 30 and 10, with these settings and a sensor on its board.
  LightPointer lit_light(const std::string &settings = kProportional) {
    write_file(kDimming, "[regulator]\n" + settings);
    auto light = ready_light();
    watch(light, {kBoard});
    light->light_on = 1;
    written();
    return light;
  }

  static void heat(double board, double lens) {
    thermal_zones::heat(kBoard, board);
    thermal_zones::heat(kLens, lens);
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

TEST_F(Led2I2cRegulator, LeavesACoolBoardAlone) { expect_reduction_at(49.0, 0.0, {"led0=30", "led1=10"}); }

TEST_F(Led2I2cRegulator, TakesOffHalfOfBothChannelsTogether) {
  expect_reduction_at(55.0, 20.0, {"led0=15", "led1=5"});
}

TEST_F(Led2I2cRegulator, TakesOffAllAboveTheTemperatureToKeep) {
  expect_reduction_at(70.0, 40.0, {"led0=0", "led1=0"});
}

TEST_F(Led2I2cRegulator, IsAlwaysOn) {
  for (const std::string enabled : {"enabled=false\n", "enabled=true\n", "enabled=perhaps\n"}) {
    in_child([&] {
      const auto light = lit_light(enabled + kProportional);
      thermal_zones::heat(kBoard, 55.0);
      tick(light);
      EXPECT_NEAR(light->power_reduce, 20.0, 1e-9) << enabled;
    });
  }
}

// 10 degrees below, each tick adds 5 s x 0.01 x 10 = 0.5 of what the light can give, one tick late.
TEST_F(Led2I2cRegulator, RunsAlsoWhileTheChannelsGiveNothing) {
  in_child([&] {
    const auto light = lit_light("sample_time=5\nref_temp=60\nk_i=0.01\n");
    thermal_zones::heat(kBoard, 50.0);
    set_levels(light, 0, 0);
    light->power_reduce = 12.5;
    written();

    tick(light);
    EXPECT_EQ(light->power_reduce, 0.0);
    EXPECT_THAT(written(), ElementsAre("led0=0", "led1=0"));

    set_levels(light, 30, 10);
    tick(light);
    EXPECT_NEAR(light->power_reduce, 20.0, 1e-9) << "the tick before counts";
  });
}

TEST_F(Led2I2cRegulator, LeavesTheHardwareOfALightThatIsOffAlone) {
  in_child([&] {
    const auto light = lit_light();
    light->light_on = 0;
    thermal_zones::heat(kBoard, 55.0);
    written();
    tick(light);
    EXPECT_NEAR(light->power_reduce, 20.0, 1e-9) << "for when it is switched on";
    EXPECT_THAT(written(), IsEmpty());
  });
}

TEST_F(Led2I2cRegulator, TellsOfItselfInDebugMode) {
  in_child([&] {
    const auto light = lit_light();
    thermal_zones::heat(kBoard, 55.0);
    BEAMD_DEBUG_FLAG = 1;
    tick(light);
    EXPECT_THAT(log_.lines(), Contains(Line{LOG_INFO, "power_reduce = 20.00, temp = 55.00"}));
  });
}

TEST_F(Led2I2cRegulator, FollowsTheHotterOfTwoSensors) {
  for (const auto &[board, lens] : {std::pair{50.0, 55.0}, {55.0, 50.0}, {55.0, 55.0}, {-20.0, 55.0}}) {
    in_child([&, board = board, lens = lens] {
      const auto light = lit_light();
      watch(light, {kBoard, kLens});
      heat(board, lens);
      tick(light);
      EXPECT_NEAR(light->power_reduce, 20.0, 1e-9) << board << " and " << lens;
      EXPECT_THAT(log_.lines(), IsEmpty());
    });
  }
}

// The board: 40 degrees, taken for 50, then 0.8 x 50 + 0.2 x 40 = 48. The lens: 50 and 44.
TEST_F(Led2I2cRegulator, TakesTheHotterTemperatureForThatOfTheFirstSensor) {
  in_child([&] {
    const auto light = lit_light("sample_time=5\nref_temp=55\nk_p=0.1\n");
    watch(light, {kBoard, kLens});
    heat(40.0, 50.0);
    tick(light);
    EXPECT_NEAR(light->power_reduce, 20.0, 1e-9);

    heat(40.0, 20.0);
    tick(light);
    EXPECT_NEAR(light->power_reduce, 12.0, 1e-9) << "22 would be 44 degrees, 0 the board's 40";
  });
}

// The board: 50 and 40 degrees, the lens: 40, 44 and 47.2.
TEST_F(Led2I2cRegulator, DoesNotTakeTheHotterTemperatureForThatOfTheSecondSensor) {
  in_child([&] {
    const auto light = lit_light("sample_time=5\nref_temp=55\nk_p=0.1\n");
    watch(light, {kBoard, kLens});
    heat(50.0, 40.0);
    tick(light);
    heat(50.0, 60.0);
    tick(light);
    EXPECT_NEAR(light->power_reduce, 20.0, 1e-9);
    heat(0.0, 60.0);
    tick(light);
    EXPECT_NEAR(light->power_reduce, 8.8, 1e-9);
  });
}

TEST_F(Led2I2cRegulator, DoesNotReadASecondSensorThatIsNotThere) {
  for (const auto &sensors : {std::vector{kBoard}, {kBoard, -1}}) {
    in_child([&] {
      const auto light = lit_light();
      watch(light, sensors);
      thermal_zones::heat(kBoard, 55.0);
      tick(light);
      EXPECT_NEAR(light->power_reduce, 20.0, 1e-9);
      EXPECT_THAT(log_.lines(), IsEmpty());
    });
  }
}

TEST_F(Led2I2cRegulator, EveryReadFailsWithoutASensor) {
  in_child([&] {
    const auto light = lit_light();
    watch(light, {});
    light->power_reduce = 30.0;
    written();

    tick(light);
    EXPECT_EQ(log_.lines(), errors({kInvalidSensor, kInvalidSensor})) << "the first tick reads twice";
    EXPECT_EQ(light->power_reduce, 0.0) << "as if it were very cold";
    EXPECT_THAT(written(), ElementsAre("led0=30", "led1=10"));

    log_.clear();
    tick(light);
    EXPECT_EQ(log_.lines(), errors({kInvalidSensor}));
  });
}

TEST_F(Led2I2cRegulator, StateIsSharedByTheLightsOfTheClass) {
  in_child([&] {
    const std::string settings = "sample_time=5\nref_temp=60\nk_i=0.01\n";
    thermal_zones::heat(kBoard, 50.0);
    const auto first = lit_light(settings);
    tick(first);
    EXPECT_NEAR(first->power_reduce, 40.0, 1e-9);

    const auto second = lit_light(settings);
    tick(second);
    EXPECT_NEAR(second->power_reduce, 20.0, 1e-9) << "the first light's tick counts";
    EXPECT_NEAR(first->power_reduce, 40.0, 1e-9) << "the reduction is the light's own";
  });
}

TEST_F(Led2I2cRegulator, BoardThatTakesNoValueIsTriedAgainAtTheNextTick) {
  in_child([&] {
    const auto light = lit_light();
    thermal_zones::heat(kBoard, 55.0);
    fail_write(0, EIO);
    tick(light);
    EXPECT_EQ(log_.lines(), errors({"Write failure to led 0"}));
    written();
    tick(light);
    EXPECT_THAT(written(), ElementsAre("led0=15", "led1=5"));
  });
}

TEST_F(Led2I2cRegulator, LightWithoutItsSetupIsLeftDark) {
  in_child([&] {
    const LightPointer light{LED_BASE(g_object_new(LED_TYPE_2_I2C, nullptr)), &g_object_unref};
    light->light_on = 1;
    light->basepath = g_strdup(kFolder);
    written();
    tick(light);
    EXPECT_EQ(light->power_reduce, 0.0);
    EXPECT_THAT(written(), ElementsAre("led0=0", "led1=0"));
  });
}

}  // namespace
