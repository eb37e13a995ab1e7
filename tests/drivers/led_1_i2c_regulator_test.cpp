// The temperature tick of the single-channel light. Its class has one regulator state for the whole program:
// each test ticks in a process of its own, which begins with a fresh one.

#include "drivers/led_1_i2c.h"
#include "support/fake_bootblock.h"
#include "support/fake_status_cache.h"
#include "support/in_child.h"
#include "support/mcu_board_fixture.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Call = FakeStatusCache::Call;
using Line = SyslogCapture::Line;

constexpr gint32 kSensor = 3;
const std::string kSettings = "enabled=true\nsample_time=5\ntemp_sensor_id=board\nref_temp=60\n";
// A tenth of the light for each degree below 60.
const std::string kProportional = kSettings + "k_p=0.1\n";

const Line kInvalidSensor{LOG_ERR, "Could not read invalid temperature sensor"};
const Line kNoReading{LOG_WARNING, "Could not read temperature"};

void tick(const LightPointer &light) { led_base_update_temperature(light.get()); }

class Led1I2cRegulator : public McuBoard {
 protected:
  Led1I2cRegulator() {
    // Sensors are counted and not looked up: there is no bus here.
    fake_bootblock() = {};
    fake_bootblock().value = "no";
    fake_status_cache() = {};
  }

  /// A lit light of the effective intensity 100 with these settings; an only sensor is kSensor.
  static LightPointer lit_light(const std::string &settings) {
    write_file(kDimming, "[regulator]\n" + settings);
    auto light = board_light(LED_TYPE_1_I2C);
    EXPECT_TRUE(set_up(light));
    if (light->nbr_of_temp_sensors == 1)
      light->temp_sensor_ids[0] = kSensor;
    light->power_usage_factor = 0.02F;
    light->power_intensity = 1000.0;
    light->light_on = 1;
    set_intensity(light, 100);
    return light;
  }

  static void set_intensity(const LightPointer &light, gint intensity) {
    light->intensity = intensity;
    led_base_recalculate_angle_of_illumination(light.get(), 0);
  }

  /// What the board has been given since this was asked last.
  static std::string written() {
    const auto text = read_file(kChannel);
    write_file(kChannel, "");
    return text;
  }

  void expect_reduction_at(float celsius, gdouble reduction, const std::string &value) {
    in_child([&] {
      const auto light = lit_light(kProportional);
      fake_status_cache().readings = {celsius};
      tick(light);
      EXPECT_NEAR(light->power_reduce, reduction, 1e-9);
      EXPECT_EQ(written(), value);
      EXPECT_THAT(log_.lines(), IsEmpty());
    });
  }
};

TEST_F(Led1I2cRegulator, LeavesACoolBoardAlone) { expect_reduction_at(49.0F, 0.0, "100"); }

TEST_F(Led1I2cRegulator, TakesOffHalfAtFiveDegreesBelow) { expect_reduction_at(55.0F, 50.0, "50"); }

TEST_F(Led1I2cRegulator, TakesOffAllAboveTheTemperatureToKeep) { expect_reduction_at(70.0F, 100.0, "0"); }

TEST_F(Led1I2cRegulator, FirstTickReadsTwice) {
  in_child([&] {
    const auto light = lit_light(kProportional);
    fake_status_cache().readings = {40.0F, 50.0F, 42.0F};
    BEAMD_DEBUG_FLAG = 1;
    log_.clear();

    tick(light);
    EXPECT_THAT(fake_status_cache().calls, SizeIs(2));
    EXPECT_THAT(fake_status_cache().calls, Each(Call{"TEMPERATURE_3", {{"CELSIUS", 4, 2}}, 0}));
    EXPECT_THAT(log_.lines(),
                ElementsAre(Line{LOG_INFO, "Regulator enabled"},
                            Line{LOG_INFO, "power_reduce = 0.00, temp = 42.00"}, Line{LOG_INFO, "led0 100"}));

    tick(light);
    EXPECT_THAT(fake_status_cache().calls, SizeIs(3)) << "later ticks read once";
  });
}

TEST_F(Led1I2cRegulator, EqualReadingsAreTheFilteredTemperature) {
  in_child([&] {
    const auto light = lit_light(kProportional);
    fake_status_cache().readings = {40.0F, 40.0F};
    BEAMD_DEBUG_FLAG = 1;
    tick(light);
    EXPECT_THAT(log_.lines(), testing::Contains(Line{LOG_INFO, "power_reduce = 0.00, temp = 40.00"}));
  });
}

TEST_F(Led1I2cRegulator, RefersToWhatTheGrantLeaves) {
  in_child([&] {
    const auto light = lit_light(kProportional);
    light->power_intensity = 1.5;
    set_intensity(light, 100);
    fake_status_cache().readings = {70.0F};
    tick(light);
    EXPECT_EQ(light->power_reduce, 74.0);
  });
}

TEST_F(Led1I2cRegulator, DoesNothingWithoutIntensity) {
  in_child([&] {
    const auto light = lit_light(kProportional);
    set_intensity(light, 0);
    light->power_reduce = 12.5;
    BEAMD_DEBUG_FLAG = 1;
    log_.clear();

    tick(light);
    EXPECT_EQ(light->power_reduce, 12.5);
    EXPECT_EQ(written(), "");
    EXPECT_THAT(fake_status_cache().calls, IsEmpty());
    EXPECT_THAT(log_.lines(), IsEmpty());

    set_intensity(light, 100);
    tick(light);
    EXPECT_THAT(fake_status_cache().calls, SizeIs(2)) << "still without a temperature to start with";
  });
}

TEST_F(Led1I2cRegulator, DoesNothingWithoutAGrant) {
  in_child([&] {
    const auto light = lit_light(kProportional);
    light->power_intensity = 0.0;
    set_intensity(light, 100);
    tick(light);
    EXPECT_THAT(fake_status_cache().calls, IsEmpty());
    EXPECT_EQ(written(), "");
  });
}

TEST_F(Led1I2cRegulator, LeavesTheHardwareOfALightThatIsOffAlone) {
  in_child([&] {
    const auto light = lit_light(kProportional);
    light->light_on = 0;
    fake_status_cache().readings = {55.0F};
    tick(light);
    EXPECT_NEAR(light->power_reduce, 50.0, 1e-9) << "for when it is switched on";
    EXPECT_EQ(written(), "");
  });
}

TEST_F(Led1I2cRegulator, DisabledGivesALitLightAllItsIntensityBack) {
  in_child([&] {
    const auto light =
        lit_light("enabled=false\nsample_time=5\ntemp_sensor_id=board\nref_temp=60\nk_p=0.1\n");
    light->power_reduce = 60.0;
    fake_status_cache().readings = {200.0F};
    BEAMD_DEBUG_FLAG = 1;
    log_.clear();

    tick(light);
    EXPECT_EQ(light->power_reduce, 0.0);
    EXPECT_EQ(written(), "100");
    EXPECT_THAT(fake_status_cache().calls, IsEmpty());
    EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "No power reduction. Regulator is disabled."},
                                          Line{LOG_INFO, "led0 100"}));

    light->light_on = 0;
    light->power_reduce = 60.0;
    tick(light);
    EXPECT_EQ(light->power_reduce, 0.0);
    EXPECT_EQ(written(), "");
  });
}

TEST_F(Led1I2cRegulator, IsDisabledUnlessToldOtherwise) {
  for (const std::string enabled : {"", "enabled=\n", "enabled=yes\n", "enabled=2\n"}) {
    in_child([&] {
      const auto light = lit_light(enabled + "temp_sensor_id=board\nref_temp=60\nk_p=0.1\n");
      light->power_reduce = 60.0;
      tick(light);
      EXPECT_EQ(light->power_reduce, 0.0) << enabled;
      EXPECT_THAT(fake_status_cache().calls, IsEmpty()) << enabled;
      EXPECT_THAT(log_.lines(), IsEmpty()) << enabled;
    });
  }
}

// 10 degrees below, each tick adds 5 s x 0.01 x 10 = 0.5 of what the light can give, one tick late.
TEST_F(Led1I2cRegulator, StateIsSharedByTheLightsOfTheClass) {
  in_child([&] {
    const std::string settings = kSettings + "k_i=0.01\n";
    const auto first = lit_light(settings);
    const auto second = lit_light(settings);
    fake_status_cache().readings = {50.0F};

    tick(first);
    EXPECT_NEAR(first->power_reduce, 100.0, 1e-9);
    EXPECT_THAT(fake_status_cache().calls, SizeIs(2));

    tick(second);
    EXPECT_NEAR(second->power_reduce, 50.0, 1e-9) << "the first light's tick counts";
    EXPECT_THAT(fake_status_cache().calls, SizeIs(3)) << "and so does its temperature";

    tick(first);
    EXPECT_NEAR(first->power_reduce, 0.0, 1e-9);
    EXPECT_NEAR(second->power_reduce, 50.0, 1e-9) << "the reduction is the light's own";
  });
}

TEST_F(Led1I2cRegulator, StateOutlivesTheLight) {
  in_child([&] {
    fake_status_cache().readings = {50.0F};
    tick(lit_light(kSettings + "k_i=0.01\n"));
    const auto next = lit_light(kSettings + "k_i=0.01\n");
    tick(next);
    EXPECT_NEAR(next->power_reduce, 50.0, 1e-9);
    EXPECT_THAT(fake_status_cache().calls, SizeIs(3));
  });
}

TEST_F(Led1I2cRegulator, DisabledTickLeavesTheStateAsItIs) {
  in_child([&] {
    const auto enabled = lit_light(kSettings + "k_i=0.01\n");
    const auto disabled = lit_light("temp_sensor_id=board\nref_temp=60\nk_i=0.01\n");
    fake_status_cache().readings = {50.0F};
    tick(enabled);
    tick(disabled);
    tick(enabled);
    EXPECT_NEAR(enabled->power_reduce, 50.0, 1e-9);
    EXPECT_THAT(fake_status_cache().calls, SizeIs(3));
  });
}

TEST_F(Led1I2cRegulator, DerivativeIsWeighedByThePreviousError) {
  in_child([&] {
    const auto light = lit_light(kSettings + "k_d=0.25\n");
    fake_status_cache().readings = {50.0F, 50.0F, 45.0F};
    tick(light);
    EXPECT_NEAR(light->power_reduce, 100.0, 1e-9);
    // From 50 to 49 degrees, filtered: (11 - 10) / 5 s x 0.25 x 10.
    tick(light);
    EXPECT_NEAR(light->power_reduce, 50.0, 1e-9);
  });
}

TEST_F(Led1I2cRegulator, GainsThatAreMissingAreZero) {
  in_child([&] {
    const auto light = lit_light("enabled=true\nsample_time=5\ntemp_sensor_id=board\n");
    fake_status_cache().readings = {-20.0F};
    for (int i = 0; i < 3; ++i) {
      tick(light);
      EXPECT_EQ(light->power_reduce, 100.0);
      EXPECT_EQ(written(), "0");
    }
    EXPECT_THAT(log_.lines(), IsEmpty());
  });
}

TEST_F(Led1I2cRegulator, WithoutASampleTimeTheLightIsDarkAndTheDaemonLives) {
  in_child([&] {
    const auto light = lit_light("enabled=true\ntemp_sensor_id=board\nref_temp=60\nk_p=0.1\n");
    EXPECT_EQ(light->temp_sample_time, 0);
    fake_status_cache().readings = {20.0F};
    for (int i = 0; i < 3; ++i) {
      tick(light);
      EXPECT_EQ(written(), "0");
    }
  });
}

TEST_F(Led1I2cRegulator, EveryReadFailsWithoutExactlyOneSensor) {
  for (const std::string sensors : {"", "temp_sensor_id=board\ntemp_sensor_id2=lens\n"}) {
    in_child([&] {
      const auto light = lit_light("enabled=true\nsample_time=5\nref_temp=60\nk_p=0.1\n" + sensors);
      for (gint i = 0; i < light->nbr_of_temp_sensors; ++i)
        light->temp_sensor_ids[i] = kSensor;
      light->power_reduce = 30.0;
      log_.clear();

      tick(light);
      EXPECT_THAT(log_.lines(), ElementsAre(kInvalidSensor, kInvalidSensor)) << sensors;
      EXPECT_THAT(fake_status_cache().calls, IsEmpty()) << sensors;
      EXPECT_EQ(light->power_reduce, 0.0) << "as if it were very cold";
      EXPECT_EQ(written(), "100");
    });
  }
}

TEST_F(Led1I2cRegulator, SensorThatWasNotFoundCannotBeRead) {
  in_child([&] {
    const auto light = lit_light(kProportional);
    light->temp_sensor_ids[0] = -1;
    tick(light);
    EXPECT_THAT(log_.lines(), ElementsAre(kInvalidSensor, kInvalidSensor));
    EXPECT_EQ(light->power_reduce, 0.0);
  });
}

TEST_F(Led1I2cRegulator, ReadingThatFailsCountsAsVeryCold) {
  in_child([&] {
    const auto light = lit_light(kProportional);
    fake_status_cache().readings = {55.0F};
    tick(light);
    EXPECT_EQ(written(), "50");

    fake_status_cache().result = 0;
    tick(light);
    EXPECT_THAT(log_.lines(), ElementsAre(kNoReading));
    EXPECT_EQ(light->power_reduce, 0.0);
    EXPECT_EQ(written(), "100");
  });
}

TEST_F(Led1I2cRegulator, BoardThatTakesNoValueIsTriedAgainAtTheNextTick) {
  in_child([&] {
    const auto light = lit_light(kProportional);
    fake_status_cache().readings = {55.0F};
    std::filesystem::remove(kChannel);
    tick(light);
    EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_WARNING, "Failed to open fd for led 0"}));
    EXPECT_EQ(light->light_on, 1);

    write_file(kChannel, "");
    tick(light);
    EXPECT_EQ(written(), "50");
  });
}

}  // namespace
