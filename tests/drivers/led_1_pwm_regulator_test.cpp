// The temperature tick of the PWM light. Its class has one regulator state for the whole program: each test
// ticks in a process of its own, which begins with a fresh one.

#include "support/fake_status_cache.h"
#include "support/in_child.h"
#include "support/pwm_board_fixture.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Call = FakeStatusCache::Call;

const std::string kSettings = "sample_time=5\nref_temp=60\n";
// A tenth of the light for each degree below 60.
const std::string kProportional = kSettings + "k_p=0.1\n";

const SyslogCapture::Line kInvalidSensor{LOG_ERR, "Could not read invalid temperature sensor"};
const SyslogCapture::Line kNoReading{LOG_WARNING, "Could not read temperature"};

void tick(const LightPointer &light) { led_base_update_temperature(light.get()); }

class Led1PwmRegulator : public PwmBoard {
 protected:
  Led1PwmRegulator() { fake_status_cache() = {}; }

  /// A lit light of the intensity 100 with these settings and sensors.
  LightPointer lit_light(const std::string &settings, const std::vector<gint> &sensors = {3}) {
    write_file(kDimming, "[regulator]\n" + settings);
    auto light = pwm_light();
    EXPECT_TRUE(set_up(light));
    watch(light, sensors);
    light->intensity = 100;
    light->light_on = 1;
    written();
    log_.clear();
    return light;
  }

  void expect_reduction_at(float celsius, gdouble reduction, const std::string &duty_cycle) {
    in_child([&] {
      const auto light = lit_light(kProportional);
      fake_status_cache().readings = {celsius};
      tick(light);
      EXPECT_NEAR(light->power_reduce, reduction, 1e-9);
      EXPECT_EQ(written()[0], "/pwm1/duty_cycle=" + duty_cycle);
      EXPECT_THAT(log_.lines(), IsEmpty());
    });
  }
};

TEST_F(Led1PwmRegulator, LeavesACoolBoardAlone) { expect_reduction_at(49.0F, 0.0, "200"); }

TEST_F(Led1PwmRegulator, TakesOffHalfAtFiveDegreesBelow) { expect_reduction_at(55.0F, 50.0, "700"); }

TEST_F(Led1PwmRegulator, TakesOffAllAboveTheTemperatureToKeep) { expect_reduction_at(70.0F, 100.0, "1200"); }

TEST_F(Led1PwmRegulator, TellsTheReductionAndTheTemperature) {
  in_child([&] {
    const auto light = lit_light(kProportional);
    fake_status_cache().readings = {54.0F, 59.0F, 55.0F};
    BEAMD_DEBUG_FLAG = 1;
    for (int i = 0; i < 2; ++i) {
      log_.clear();
      tick(light);
      EXPECT_THAT(log_.lines(),
                  ElementsAre(Line{LOG_INFO, "Regulator enabled"},
                              Line{LOG_INFO, "power_reduce = 50.00, temp = 55.00"},
                              Line{LOG_INFO, "manual intensity 50"}, Line{LOG_INFO, "brightness 50"}));
    }
    EXPECT_THAT(fake_status_cache().calls, SizeIs(3)) << "two for the first tick";
    EXPECT_THAT(fake_status_cache().calls, Each(Call{"TEMPERATURE_3", {{"CELSIUS", 4, 2}}, 0}));
  });
}

TEST_F(Led1PwmRegulator, CannotBeDisabled) {
  for (const std::string enabled : {"", "enabled=false\n", "enabled=true\n"}) {
    in_child([&] {
      const auto light = lit_light(kProportional + enabled);
      fake_status_cache().readings = {55.0F};
      tick(light);
      EXPECT_NEAR(light->power_reduce, 50.0, 1e-9) << enabled;
    });
  }
}

TEST_F(Led1PwmRegulator, DoesNothingWithoutIntensity) {
  in_child([&] {
    const auto light = lit_light(kProportional);
    light->intensity = 0;
    light->power_reduce = 12.5;
    BEAMD_DEBUG_FLAG = 1;
    tick(light);
    EXPECT_EQ(light->power_reduce, 12.5);
    EXPECT_THAT(written(), IsEmpty());
    EXPECT_THAT(fake_status_cache().calls, IsEmpty());
    EXPECT_THAT(log_.lines(), IsEmpty());

    light->intensity = 100;
    tick(light);
    EXPECT_THAT(fake_status_cache().calls, SizeIs(2)) << "still without a temperature to start with";
  });
}

TEST_F(Led1PwmRegulator, RunsWithoutAGrant) {
  in_child([&] {
    const auto light = lit_light(kProportional);
    light->use_power_request = TRUE;
    fake_status_cache().readings = {55.0F};
    tick(light);
    EXPECT_NEAR(light->power_reduce, 50.0, 1e-9);
    EXPECT_EQ(written()[0], "/pwm1/duty_cycle=1200");
  });
}

TEST_F(Led1PwmRegulator, LeavesTheHardwareOfALightThatIsOffAlone) {
  in_child([&] {
    const auto light = lit_light(kProportional);
    light->light_on = 0;
    fake_status_cache().readings = {55.0F};
    tick(light);
    EXPECT_NEAR(light->power_reduce, 50.0, 1e-9) << "for when it is switched on";
    EXPECT_THAT(written(), IsEmpty());
  });
}

TEST_F(Led1PwmRegulator, WritesALitLightAsSwitchingItOnDoes) {
  in_child([&] {
    make_gpio_line(0, 0);
    const auto light = lit_light(kProportional);
    fake_status_cache().readings = {55.0F};
    tick(light);
    EXPECT_THAT(written(), ElementsAre("/pwm1/duty_cycle=700", "/pwm1/period=5000", "/pwm1/enable=0",
                                       "/pwm1/enable=1", "/pwm1/enable=1", "/ir_led_0_0/value=1"));
    tick(light);
    EXPECT_THAT(written(), ElementsAre("/pwm1/duty_cycle=700", "/pwm1/period=5000", "/pwm1/enable=1",
                                       "/ir_led_0_0/value=1"));
  });
}

TEST_F(Led1PwmRegulator, ReadsTheFirstOfSeveralSensors) {
  in_child([&] {
    const auto light = lit_light(kProportional, {7, 9, 11});
    fake_status_cache().readings = {55.0F};
    tick(light);
    EXPECT_THAT(fake_status_cache().calls, SizeIs(2));
    EXPECT_THAT(fake_status_cache().calls, Each(Call{"TEMPERATURE_7", {{"CELSIUS", 4, 2}}, 0}));
    EXPECT_NEAR(light->power_reduce, 50.0, 1e-9);
  });
}

TEST_F(Led1PwmRegulator, EveryReadFailsWithoutASensor) {
  for (const auto &sensors : std::vector<std::vector<gint>>{{}, {-1}, {-1, 9}}) {
    in_child([&] {
      const auto light = lit_light(kProportional, sensors);
      light->power_reduce = 30.0;
      tick(light);
      EXPECT_THAT(log_.lines(), ElementsAre(kInvalidSensor, kInvalidSensor));
      EXPECT_THAT(fake_status_cache().calls, IsEmpty());
      EXPECT_EQ(light->power_reduce, 0.0) << "as if it were very cold";
      EXPECT_EQ(written()[0], "/pwm1/duty_cycle=200");
    });
  }
}

TEST_F(Led1PwmRegulator, ReadingThatFailsCountsAsVeryCold) {
  in_child([&] {
    const auto light = lit_light(kProportional);
    fake_status_cache().result = 0;
    BEAMD_DEBUG_FLAG = 1;
    tick(light);
    EXPECT_THAT(log_.lines(),
                ElementsAre(Line{LOG_INFO, "Regulator enabled"}, kNoReading, kNoReading,
                            Line{LOG_INFO, "power_reduce = 0.00, temp = -9999.00"},
                            Line{LOG_INFO, "manual intensity 100"}, Line{LOG_INFO, "brightness 100"}));
  });
}

// 4 degrees below, each tick adds 8 s x 1/64 x 4 = 0.5 of what the light can give, one tick late, to 1/16
// x 4.
TEST_F(Led1PwmRegulator, TakesItsGainsFromTheSettings) {
  in_child([&] {
    const auto light = lit_light("sample_time=8\nref_temp=44\nk_p=0.0625\nk_i=0.015625\n");
    fake_status_cache().readings = {40.0F};
    for (const gdouble reduction : {75.0, 25.0, 0.0}) {
      tick(light);
      EXPECT_EQ(light->power_reduce, reduction);
    }
  });
}

TEST_F(Led1PwmRegulator, DerivativeIsWeighedByThePreviousError) {
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

TEST_F(Led1PwmRegulator, GainsThatAreMissingAreZero) {
  in_child([&] {
    const auto light = lit_light("");
    fake_status_cache().readings = {-20.0F};
    light->temp_sample_time = 5;
    tick(light);
    EXPECT_EQ(light->power_reduce, 100.0);
  });
}

TEST_F(Led1PwmRegulator, StateIsSharedByTheLightsOfTheClass) {
  in_child([&] {
    // 10 degrees below, each tick adds half of what the light can give, one tick late.
    const auto first = lit_light(kSettings + "k_i=0.01\n");
    const auto second = lit_light(kSettings + "k_i=0.01\n");
    fake_status_cache().readings = {50.0F};
    tick(first);
    EXPECT_NEAR(first->power_reduce, 100.0, 1e-9);
    tick(second);
    EXPECT_NEAR(second->power_reduce, 50.0, 1e-9) << "the first light's tick counts";
    EXPECT_THAT(fake_status_cache().calls, SizeIs(3)) << "and so does its temperature";
    EXPECT_NEAR(first->power_reduce, 100.0, 1e-9) << "the reduction is the light's own";
  });
}

TEST_F(Led1PwmRegulator, WithoutASampleTimeTheDaemonLives) {
  in_child([&] {
    const auto light = lit_light("ref_temp=60\nk_p=0.1\nk_i=0.1\nk_d=0.1\n");
    fake_status_cache().readings = {20.0F, 20.0F, 30.0F, 90.0F};
    for (int i = 0; i < 4; ++i)
      tick(light);
    EXPECT_EQ(light->light_on, 1);
  });
}

TEST_F(Led1PwmRegulator, ChannelThatCannotBeWrittenIsTriedAgainAtTheNextTick) {
  in_child([&] {
    const auto light = lit_light(kProportional);
    fake_status_cache().readings = {55.0F};
    std::filesystem::remove(chip_file("/pwm1/duty_cycle"));
    tick(light);
    EXPECT_THAT(log_.lines(), SizeIs(1));
    EXPECT_EQ(light->light_on, 1);

    write_file(chip_file("/pwm1/duty_cycle"), "");
    tick(light);
    EXPECT_EQ(written()[0], "/pwm1/duty_cycle=700");
  });
}

}  // namespace
