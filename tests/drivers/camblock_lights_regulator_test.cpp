// How the LEDs on a camera block are kept cool, as far as both classes of lights do it alike. The state of a
// regulator is its class's: each test has a process of its own.

#include "support/camblock_fixture.h"
#include "support/in_child.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class CamblockRegulator : public CamblockLights {
 protected:
  CamblockRegulator() { BEAMD_DEBUG_FLAG = 1; }

  /// A lit light of two LEDs with the sensor 1.
  LightPointer lit_light() { return lit_light_of(kind_); }

  LightPointer lit_light_of(const CamblockClass &kind) {
    write_file(kCamblock, kind.config());
    auto light = ready_light_of(kind, {200, 100});
    watch(light, {1});
    light->light_on = 1;
    return light;
  }

  /// One tick; the lines of it that are not about switching.
  std::vector<Line> tick(const LightPointer &light) {
    forget();
    led_base_update_temperature(light.get());
    std::vector<Line> lines;
    for (const auto &line : log_.lines())
      if (!line.text.starts_with("led"))
        lines.push_back(line);
    return lines;
  }

  Line summary(double reduction, double temperature) const {
    g_autofree gchar *text =
        g_strdup_printf("power_reduce = %.2f, temp = %.2f%s", reduction, temperature, kind_.end);
    return {LOG_INFO, text};
  }
  Line unread() const { return {LOG_WARNING, std::string{"Could not read temperature"} + kind_.end}; }
  Line invalid() const {
    return {LOG_ERR, std::string{"Could not read invalid temperature sensor"} + kind_.end};
  }

  void expect_reduction_at(double celsius, double reduction, int level0, int level1) {
    in_child([&] {
      const auto light = lit_light();
      thermal_zones::heat(1, celsius);
      const auto said = tick(light);
      EXPECT_THAT(said, ElementsAre(summary(reduction, celsius)));
      EXPECT_DOUBLE_EQ(light->power_reduce, reduction);
      EXPECT_EQ(requests(), lit(level0, level1));
    });
  }
};

// A tenth of the light for each degree below 60.
TEST_P(CamblockRegulator, TakesOffHalfAtFiveDegreesBelow) { expect_reduction_at(55.0, 150.0, 100, 50); }
TEST_P(CamblockRegulator, GivesAllAtTenDegreesBelow) { expect_reduction_at(50.0, 0.0, 200, 100); }
TEST_P(CamblockRegulator, GivesNotMoreWhenItIsCold) { expect_reduction_at(20.0, 0.0, 200, 100); }
TEST_P(CamblockRegulator, TakesOffAllAtTheTemperatureToKeep) { expect_reduction_at(60.0, 300.0, 0, 0); }
TEST_P(CamblockRegulator, TakesOffNotMoreThanAll) { expect_reduction_at(75.0, 300.0, 0, 0); }

TEST_P(CamblockRegulator, SmoothesWhatItReads) {
  in_child([this] {
    const auto light = lit_light();
    double expected = 50.0;
    for (const double celsius : {50.0, 60.0, 55.0, -20.0}) {
      thermal_zones::heat(1, celsius);
      expected = 0.2 * celsius + 0.8 * expected;
      tick(light);
      EXPECT_NEAR(light->power_reduce, std::clamp(300.0 * (1.0 - 0.1 * (60.0 - expected)), 0.0, 300.0), 1e-9);
    }
  });
}

TEST_P(CamblockRegulator, FirstTickReadsTwice) {
  in_child([this] {
    const auto light = lit_light();
    const auto first = tick(light);
    EXPECT_THAT(first, ElementsAre(unread(), unread(), summary(0.0, -9999.0)));
    const auto second = tick(light);
    EXPECT_THAT(second, ElementsAre(unread(), summary(0.0, -9999.0)));
    EXPECT_EQ(requests(), adjusted(200, 100));
  });
}

TEST_P(CamblockRegulator, ReadingThatFailsLaterCountsAsVeryCold) {
  in_child([this] {
    const auto light = lit_light();
    thermal_zones::heat(1, 70.0);
    tick(light);
    thermal_zones::take_away(1);
    const auto said = tick(light);
    EXPECT_THAT(said, ElementsAre(unread(), summary(0.0, 0.2 * -9999.0 + 0.8 * 70.0)));
    EXPECT_EQ(requests(), adjusted(200, 100));
  });
}

TEST_P(CamblockRegulator, LooksAtTheFirstSensorOnly) {
  in_child([this] {
    const auto light = lit_light();
    watch(light, {3, 1, 2});
    thermal_zones::heat(1, 90.0);
    thermal_zones::heat(2, 90.0);
    thermal_zones::heat(3, 55.0);
    const auto said = tick(light);
    EXPECT_THAT(said, ElementsAre(summary(150.0, 55.0)));
  });
}

TEST_P(CamblockRegulator, CannotReadWithoutASensor) {
  for (const std::vector<gint> &sensors : {std::vector<gint>{}, {-1}, {-1, 1}}) {
    in_child([&] {
      const auto light = lit_light();
      thermal_zones::heat(1, 55.0);
      watch(light, sensors);
      light->power_reduce = 33.0;
      const auto said = tick(light);
      EXPECT_THAT(said, ElementsAre(invalid(), invalid(), summary(0.0, -9999.0)));
      EXPECT_EQ(light->power_reduce, 0.0);
    });
  }
}

TEST_P(CamblockRegulator, OfALightThatIsOffOnlyKeepsTheReduction) {
  in_child([this] {
    const auto light = lit_light();
    light->light_on = 0;
    thermal_zones::heat(1, 55.0);
    const auto said = tick(light);
    EXPECT_THAT(said, ElementsAre(summary(150.0, 55.0)));
    EXPECT_DOUBLE_EQ(light->power_reduce, 150.0);
    EXPECT_THAT(requests(), IsEmpty());
  });
}

TEST_P(CamblockRegulator, TicksWithoutIntensityAsWell) {
  in_child([this] {
    const auto light = lit_light();
    give(light, {0, 0});
    light->power_reduce = 33.0;
    thermal_zones::heat(1, 55.0);
    const auto said = tick(light);
    EXPECT_THAT(said, ElementsAre(summary(0.0, 55.0)));
    EXPECT_EQ(light->power_reduce, 0.0);
    EXPECT_EQ(requests(), opened({disables(0), disables(1)}));

    give(light, {200, 100});
    thermal_zones::heat(1, 60.0);
    const auto next = tick(light);
    EXPECT_THAT(next, ElementsAre(summary(180.0, 56.0))) << "smoothed with the reading before";
  });
}

TEST_P(CamblockRegulator, LedThatIsMissingGivesNothing) {
  in_child([this] {
    const auto light = lit_light();
    give(light, {200});
    thermal_zones::heat(1, 55.0);
    tick(light);
    EXPECT_DOUBLE_EQ(light->power_reduce, 100.0);
    give(light, {});
    tick(light);
    EXPECT_EQ(light->power_reduce, 0.0);
  });
}

TEST_P(CamblockRegulator, CannotBeDisabled) {
  in_child([this] {
    write_dimming("enabled=false\nsample_time=5\nk_p=0.1\nref_temp=60\n");
    const auto light = lit_light();
    thermal_zones::heat(1, 55.0);
    const auto said = tick(light);
    EXPECT_THAT(said, ElementsAre(summary(150.0, 55.0)));
  });
}

TEST_P(CamblockRegulator, HasTheGainsThatAreConfigured) {
  in_child([this] {
    write_dimming("sample_time=8\nk_p=0.0625\nk_i=0.125\nk_d=0.5\nref_temp=64\n");
    const auto light = lit_light();

    thermal_zones::heat(1, 62.0);
    tick(light);
    EXPECT_DOUBLE_EQ(light->power_reduce, 262.5) << "2 x 0.0625 of 300 mW is left";

    thermal_zones::heat(1, 52.0);
    tick(light);
    EXPECT_EQ(light->power_reduce, 0.0)
        << "at 60 degrees: P = 4 x 0.0625, I = 8 s x 0.125 x 2, D = (4 - 2) / 8 s x 0.5 x 2";

    thermal_zones::heat(1, 90.0);
    tick(light);
    EXPECT_NEAR(light->power_reduce, 0.0, 1e-9)
        << "at 66 degrees: P = -2 x 0.0625, D = (-2 - 4) / 8 s x 0.5 x 4, I = 1 - P - D";

    tick(light);
    EXPECT_NEAR(light->power_reduce, 60.0, 1e-9)
        << "at 70.8 degrees: P = -6.8 x 0.0625, D = (-6.8 + 2) / 8 s x 0.5 x -2, I = 2.625 - 8 s x 0.125 x 2";
  });
}

TEST_P(CamblockRegulator, WithoutGainsTheLightIsDark) {
  in_child([this] {
    write_dimming("sample_time=5\nk_p=much\nref_temp=\n");
    const auto light = lit_light();
    thermal_zones::heat(1, -20.0);
    const auto said = tick(light);
    EXPECT_THAT(said, ElementsAre(summary(300.0, -20.0)));
    EXPECT_EQ(requests(), lit(0, 0));
  });
}

TEST_P(CamblockRegulator, WithoutASampleTimeTheLightIsDarkAndTheDaemonLives) {
  in_child([this] {
    write_dimming("k_p=0.1\nref_temp=60\n");
    const auto light = lit_light();
    EXPECT_EQ(light->temp_sample_time, 0);
    thermal_zones::heat(1, 20.0);
    tick(light);
    EXPECT_EQ(requests(), lit(0, 0));
  });
}

TEST_P(CamblockRegulator, TriesAgainAtTheNextTickWhenTheBusIsAway) {
  in_child([this] {
    const auto light = lit_light();
    thermal_zones::heat(1, 55.0);
    FakeI2c::unplug_all();
    tick(light);
    EXPECT_DOUBLE_EQ(light->power_reduce, 150.0);
    EXPECT_EQ(log_.lines().back(), errors({"Failed to open device No such file or directory"}).back());
    EXPECT_EQ(light->light_on, 1);

    FakeI2c::plug_in(2);
    tick(light);
    EXPECT_EQ(requests(), lit(100, 50));
  });
}

// 10 degrees below, each tick adds 5 s x 0.01 x 10 = 0.5 of what the light can give, one tick late.
TEST_P(CamblockRegulator, StateIsSharedByTheLightsOfTheClass) {
  in_child([this] {
    write_dimming("sample_time=5\nk_i=0.01\nref_temp=60\n");
    const auto first = lit_light();
    auto second = lit_light();
    thermal_zones::heat(1, 50.0);
    tick(first);
    EXPECT_DOUBLE_EQ(first->power_reduce, 300.0);

    tick(second);
    EXPECT_DOUBLE_EQ(second->power_reduce, 150.0) << "the first light's tick counts";
    EXPECT_DOUBLE_EQ(first->power_reduce, 300.0) << "the reduction is the light's own";

    second.reset();
    thermal_zones::heat(1, 60.0);
    const auto said = tick(lit_light());
    EXPECT_THAT(said, ElementsAre(summary(0.0, 52.0))) << "and so does its temperature";
  });
}

TEST_P(CamblockRegulator, StateIsNotSharedWithTheOtherClass) {
  in_child([this] {
    write_dimming("sample_time=5\nk_i=0.01\nref_temp=60\n");
    const auto other = lit_light_of(std::string{kind_.name} == kTwoLeds.name ? kAnyNumberOfLeds : kTwoLeds);
    const auto light = lit_light_of(kind_);
    thermal_zones::heat(1, 20.0);
    tick(other);
    tick(other);
    ASSERT_EQ(other->power_reduce, 0.0);

    thermal_zones::heat(1, 50.0);
    const auto first = tick(light);
    EXPECT_THAT(first, ElementsAre(summary(300.0, 50.0)));
    const auto second = tick(light);
    EXPECT_THAT(second, ElementsAre(summary(150.0, 50.0)));
  });
}

INSTANTIATE_TEST_SUITE_P(Classes, CamblockRegulator, testing::Values(kAnyNumberOfLeds, kTwoLeds), class_name);

}  // namespace
