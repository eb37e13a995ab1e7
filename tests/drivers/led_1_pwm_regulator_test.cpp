// The temperature tick of the PWM light.

#include "support/pwm_board_fixture.h"
#include "support/regulated_from_cache_tests.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Call = FakeStatusCache::Call;

class RegulatedPwm : public CachedTemperature<PwmBoard> {
 protected:
  static constexpr gdouble kFull = 100.0;

  LightPointer lit_light(const std::string &settings) {
    write_file(kDimming, "[regulator]\n" + settings);
    auto light = pwm_light();
    EXPECT_TRUE(set_up(light));
    watch(light, {kSensor});
    light->intensity = 100;
    light->light_on = 1;
    written();
    log_.clear();
    return light;
  }

  /// Of each time the light was written the duty cycle only.
  static std::vector<std::string> given() {
    auto writes = written();
    std::erase_if(writes, [](const auto &write) { return !write.starts_with("/pwm1/duty_cycle="); });
    return writes;
  }
  static std::vector<std::string> values(int percent) {
    return {"/pwm1/duty_cycle=" + std::to_string(1200 - 10 * percent)};
  }
  static std::vector<std::string> said(int percent) {
    return {"manual intensity " + std::to_string(percent), "brightness " + std::to_string(percent)};
  }

  static std::string hardware() { return chip_file("/pwm1/duty_cycle"); }
  static std::vector<Line> complaint() {
    return {{LOG_WARNING, "Failed to open fd for /pwm1/duty_cycle (" + hardware() + ")(21)"}};
  }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Led1Pwm, RegulatedLight, RegulatedPwm);
INSTANTIATE_TYPED_TEST_SUITE_P(Led1Pwm, CacheReader, RegulatedPwm);

class Led1PwmRegulator : public RegulatedLight<RegulatedPwm> {};

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
  expect_rest([](const LightPointer &light) { light->intensity = 0; },
              [](const LightPointer &light) { light->intensity = 100; });
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
    const auto light = lit_light(kProportional);
    watch(light, {7, 9, 11});
    fake_status_cache().readings = {55.0F};
    tick(light);
    EXPECT_THAT(fake_status_cache().calls, SizeIs(2));
    EXPECT_THAT(fake_status_cache().calls, Each(Call{"TEMPERATURE_7", {{"CELSIUS", 4, 2}}, 0}));
    EXPECT_NEAR(light->power_reduce, 50.0, 1e-9);
  });
}

TEST_F(Led1PwmRegulator, EveryReadFailsWithoutAFirstSensor) {
  expect_failed_reads({-1});
  expect_failed_reads({-1, 9});
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

TEST_F(Led1PwmRegulator, WithoutASampleTimeTheDaemonLives) {
  in_child([&] {
    const auto light = lit_light("ref_temp=60\nk_p=0.1\nk_i=0.1\nk_d=0.1\n");
    fake_status_cache().readings = {20.0F, 20.0F, 30.0F, 90.0F};
    for (int i = 0; i < 4; ++i)
      tick(light);
    EXPECT_EQ(light->light_on, 1);
  });
}

}  // namespace
