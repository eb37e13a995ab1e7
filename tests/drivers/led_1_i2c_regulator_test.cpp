// The temperature tick of the single-channel light.

#include "support/mcu_one_channel_fixture.h"
#include "support/regulated_from_cache_tests.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class RegulatedChannel : public CachedTemperature<OneChannel> {
 protected:
  static constexpr gdouble kFull = 100.0;

  /// A lit light of the effective intensity 100 with these settings and no others.
  LightPointer light_of(const std::string &settings) {
    write_file(kDimming, "[regulator]\n" + settings);
    auto light = set_up_silently(new_light());
    watch(light, {kSensor});
    light->light_on = 1;
    set_intensity(light, 100);
    return light;
  }
  LightPointer lit_light(const std::string &settings) { return light_of("enabled=true\n" + settings); }

  static std::vector<std::string> given() { return written(); }
  static std::vector<std::string> values(int percent) { return {"led0=" + std::to_string(percent)}; }
  static std::vector<std::string> said(int percent) { return {"led0 " + std::to_string(percent)}; }

  std::string hardware() const { return files_[0]; }
  static std::vector<Line> complaint() { return {{LOG_WARNING, "Failed to open fd for led 0"}}; }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Led1I2c, RegulatedLight, RegulatedChannel);
INSTANTIATE_TYPED_TEST_SUITE_P(Led1I2c, CacheReader, RegulatedChannel);

class Led1I2cRegulator : public RegulatedLight<RegulatedChannel> {};

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
  expect_rest([](const LightPointer &light) { set_intensity(light, 0); },
              [](const LightPointer &light) { set_intensity(light, 100); });
}

TEST_F(Led1I2cRegulator, DoesNothingWithoutAGrant) {
  in_child([&] {
    const auto light = lit_light(kProportional);
    light->power_intensity = 0.0;
    set_intensity(light, 100);
    tick(light);
    EXPECT_THAT(fake_status_cache().calls, IsEmpty());
    EXPECT_THAT(written(), IsEmpty());
  });
}

TEST_F(Led1I2cRegulator, DisabledGivesALitLightAllItsIntensityBack) {
  in_child([&] {
    const auto light = lit_light(kProportional + "enabled=false\n");
    light->power_reduce = 60.0;
    fake_status_cache().readings = {200.0F};
    BEAMD_DEBUG_FLAG = 1;
    log_.clear();

    tick(light);
    EXPECT_EQ(light->power_reduce, 0.0);
    EXPECT_THAT(written(), ElementsAre("led0=100"));
    EXPECT_THAT(fake_status_cache().calls, IsEmpty());
    EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "No power reduction. Regulator is disabled."},
                                          Line{LOG_INFO, "led0 100"}));

    light->light_on = 0;
    light->power_reduce = 60.0;
    tick(light);
    EXPECT_EQ(light->power_reduce, 0.0);
    EXPECT_THAT(written(), IsEmpty());
  });
}

TEST_F(Led1I2cRegulator, IsDisabledUnlessToldOtherwise) {
  for (const std::string enabled : {"", "enabled=\n", "enabled=yes\n", "enabled=2\n"}) {
    in_child([&] {
      const auto light = light_of(enabled + "ref_temp=60\nk_p=0.1\n");
      light->power_reduce = 60.0;
      tick(light);
      EXPECT_EQ(light->power_reduce, 0.0) << enabled;
      EXPECT_THAT(fake_status_cache().calls, IsEmpty()) << enabled;
      EXPECT_THAT(log_.lines(), IsEmpty()) << enabled;
    });
  }
}

TEST_F(Led1I2cRegulator, DisabledTickLeavesTheStateAsItIs) {
  in_child([&] {
    const auto enabled = lit_light(kIntegral);
    const auto disabled = light_of(kIntegral);
    fake_status_cache().readings = {50.0F};
    tick(enabled);
    tick(disabled);
    tick(enabled);
    EXPECT_NEAR(enabled->power_reduce, 50.0, 1e-9);
    EXPECT_THAT(fake_status_cache().calls, SizeIs(3));
  });
}

TEST_F(Led1I2cRegulator, WithoutASampleTimeTheLightIsDarkAndTheDaemonLives) {
  in_child([&] {
    const auto light = lit_light("ref_temp=60\nk_p=0.1\n");
    EXPECT_EQ(light->temp_sample_time, 0);
    fake_status_cache().readings = {20.0F};
    for (int i = 0; i < 3; ++i) {
      tick(light);
      EXPECT_THAT(written(), ElementsAre("led0=0"));
    }
  });
}

TEST_F(Led1I2cRegulator, EveryReadFailsWithTwoSensors) { expect_failed_reads({kSensor, kSensor}); }

TEST_F(Led1I2cRegulator, EveryReadFailsOfASensorThatWasNotFound) { expect_failed_reads({-1}); }

}  // namespace
