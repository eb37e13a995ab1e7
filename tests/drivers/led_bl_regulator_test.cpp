// How a light of backlights is kept cool. The state of the regulator is the class's: each test has one of its
// own.

#include <algorithm>

#include "support/backlight_fixture.h"
#include "support/in_child.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class BacklightRegulator : public BacklightLight {
 protected:
  static constexpr double kReference = 1000.0;

  BacklightRegulator() {
    light_->light_on = 1;
    light_->power_reduce = 33.0;
    watch(light_, {1, 2, 3, 4});
    BEAMD_DEBUG_FLAG = 1;
  }

  /// One tick; the lines of it that are not about the levels.
  std::vector<Line> tick() {
    log_.clear();
    written();
    led_base_update_temperature(light_.get());
    std::vector<Line> lines;
    for (const auto &line : log_.lines())
      if (!line.text.starts_with("led"))
        lines.push_back(line);
    return lines;
  }

  /// What a tick says that arrives at this temperature, and leaves the light with the reduction for it: 0.1
  /// of the reference for each degree above 50, up to all of it.
  std::vector<Line> at(double temperature, double reference = kReference) const {
    const double reduction = std::clamp(reference * (1.0 - 0.1 * (60.0 - temperature)), 0.0, reference);
    EXPECT_DOUBLE_EQ(light_->power_reduce, reduction);
    g_autofree gchar *text = g_strdup_printf("power_reduce = %.2f, temp = %.2f", reduction, temperature);
    return prints({"Regulator enabled", text});
  }

  static Line skipped(int sensor) {
    return {LOG_WARNING, "update_temperature: unable to read temperature from             sensor " +
                             std::to_string(sensor)};
  }
  static inline const Line kEnabled{LOG_INFO, "Regulator enabled"};
  static inline const Line kUnread{LOG_WARNING, "Could not read temperature"};
};

TEST_F(BacklightRegulator, ReducesByTheHottestSensor) {
  in_child([this] {
    for (const auto &[sensor, celsius] : {std::pair{1, 40.0}, {2, 55.0}, {3, 54.0}, {4, -10.0}})
      thermal_zones::heat(sensor, celsius);
    const auto said = tick();
    EXPECT_EQ(said, at(55.0));
    EXPECT_EQ(light_->power_reduce, 500.0);
    EXPECT_EQ(written(), brightness_of_both(133, 44)) << "525 and 175 of 1000: 700 mW are left";
  });
}

TEST_F(BacklightRegulator, FollowsWhicheverIsTheHottest) {
  in_child([this] {
    for (const int hottest : {4, 3, 2, 1}) {
      for (const int sensor : {1, 2, 3, 4})
        thermal_zones::heat(sensor, 20.0);
      tick();
      thermal_zones::heat(hottest, 520.0);
      tick();
      EXPECT_GT(light_->power_reduce, 0.0) << hottest;
      thermal_zones::heat(hottest, -10'000.0);
      tick();
      EXPECT_EQ(light_->power_reduce, 0.0) << hottest;
    }
  });
}

TEST_F(BacklightRegulator, FiltersEachSensorByItself) {
  in_child([this] {
    for (const int sensor : {1, 2, 3, 4})
      thermal_zones::heat(sensor, 30.0 + sensor);
    const auto first = tick();
    EXPECT_EQ(first, at(34.0));
    thermal_zones::heat(1, 56.0);
    const auto second = tick();
    EXPECT_EQ(second, at(31.0 * 4.0 / 5.0 + 56.0 / 5.0));
    thermal_zones::heat(3, 83.0);
    const auto third = tick();
    EXPECT_EQ(third, at(33.0 * 4.0 / 5.0 + 83.0 / 5.0)) << "a filter that has taken 33.0 three times";
  });
}

TEST_F(BacklightRegulator, SkipsASensorThatHasNeverBeenRead) {
  in_child([this] {
    thermal_zones::heat(2, 55.0);
    const auto said = tick();
    EXPECT_THAT(said, ElementsAre(kEnabled, kUnread, skipped(1), kUnread, skipped(3), kUnread, skipped(4),
                                  at(55.0).back()));
    for (const int sensor : {1, 3, 4})
      thermal_zones::heat(sensor, 56.0);
    const auto next = tick();
    EXPECT_EQ(next, at(56.0)) << "it takes part as soon as it is read";
  });
}

TEST_F(BacklightRegulator, TakesASensorThatFailsLaterForACold) {
  in_child([this] {
    watch(light_, {1});
    thermal_zones::heat(1, 55.0);
    tick();
    thermal_zones::take_away(1);
    const auto said = tick();
    EXPECT_THAT(said, ElementsAre(kEnabled, kUnread, at(55.0 * 4.0 / 5.0 - 9999.0 / 5.0).back()));
  });
}

TEST_F(BacklightRegulator, SkipsSensorsThatWereNotFoundWithoutAWord) {
  in_child([this] {
    watch(light_, {-1, 2, -1});
    thermal_zones::heat(2, 55.0);
    const auto said = tick();
    EXPECT_EQ(said, at(55.0));
  });
}

TEST_F(BacklightRegulator, LooksAtFourSensors) {
  in_child([this] {
    watch(light_, {1, 2, 3, 4, 5});
    for (const int sensor : {1, 2, 3, 4})
      thermal_zones::heat(sensor, 51.0);
    thermal_zones::heat(5, 99.0);
    const auto said = tick();
    EXPECT_EQ(said, at(51.0));
  });
}

TEST_F(BacklightRegulator, LeavesAllAsItIsWithoutATemperature) {
  in_child([this] {
    watch(light_, {1, -1, 3});
    const auto said = tick();
    EXPECT_THAT(said, ElementsAre(kEnabled, kUnread, skipped(1), kUnread, skipped(3)));
    EXPECT_EQ(light_->power_reduce, 33.0);
    EXPECT_THAT(written(), IsEmpty());
  });
}

TEST_F(BacklightRegulator, LeavesAllAsItIsWithoutSensors) {
  in_child([this] {
    watch(light_, {});
    const auto said = tick();
    EXPECT_THAT(said, ElementsAre(kEnabled));
    EXPECT_EQ(light_->power_reduce, 33.0);
    EXPECT_THAT(written(), IsEmpty());
  });
}

TEST_F(BacklightRegulator, LeavesAllAsItIsWithoutIntensity) {
  in_child([this] {
    thermal_zones::heat(1, 99.0);
    light_->intensity = 0;
    const auto said = tick();
    EXPECT_THAT(said, IsEmpty());
    EXPECT_EQ(light_->power_reduce, 33.0);
    EXPECT_THAT(written(), IsEmpty());
    light_->intensity = 1000;
    for (const int sensor : {1, 2, 3, 4})
      thermal_zones::heat(sensor, 50.0);
    const auto next = tick();
    EXPECT_EQ(next, at(50.0)) << "the filters have not seen the 99 degrees";
  });
}

TEST_F(BacklightRegulator, ReducesByItsIntensityWhateverIsGranted) {
  in_child([this] {
    watch(light_, {1});
    thermal_zones::heat(1, 55.0);
    light_->intensity = 600;
    light_->power_intensity = 50.0;
    const auto said = tick();
    EXPECT_EQ(said, at(55.0, 600.0));
    EXPECT_EQ(light_->power_reduce, 300.0);
  });
}

TEST_F(BacklightRegulator, TakesNothingOffWhileDisabled) {
  in_child([this] {
    write_file(kDimming, "[regulator]\nenabled=false\nsample_time=5\nk_p=0.1\nref_temp=60\n");
    light_ = new_light();
    prepare(light_, {600, 200});
    watch(light_, {1});
    thermal_zones::heat(1, 99.0);
    light_->light_on = 1;
    light_->power_reduce = 400.0;
    const auto said = tick();
    EXPECT_EQ(said, prints({"No power reduction. Regulator is disabled."}));
    EXPECT_EQ(light_->power_reduce, 0.0);
    EXPECT_EQ(written(), brightness_of_both(229, 76));

    light_->intensity = 0;
    light_->power_reduce = 400.0;
    const auto next = tick();
    EXPECT_THAT(next, IsEmpty()) << "the intensity is looked at first";
    EXPECT_EQ(light_->power_reduce, 400.0);
  });
}

TEST_F(BacklightRegulator, LeavesADarkLightDark) {
  in_child([this] {
    light_->light_on = 0;
    thermal_zones::heat(1, 55.0);
    tick();
    EXPECT_EQ(light_->power_reduce, 500.0);
    EXPECT_THAT(written(), IsEmpty());
  });
}

TEST_F(BacklightRegulator, IsTheClassesAndNotTheLights) {
  in_child([this] {
    watch(light_, {1});
    thermal_zones::heat(1, 50.0);
    tick();
    const auto first = std::exchange(light_, new_light());
    prepare(light_, {600, 200});
    watch(light_, {1});
    thermal_zones::heat(1, 60.0);
    const auto said = tick();
    EXPECT_EQ(said, at(52.0)) << "this light's first reading is the sensor's third";
  });
}

TEST_F(BacklightRegulator, HasTheGainsThatAreConfigured) {
  in_child([this] {
    write_file(kDimming,
               "[regulator]\nenabled=1\nsample_time=8\nk_p=0.0625\nk_i=0.125\nk_d=0.5\nref_temp=64\n");
    light_ = new_light();
    prepare(light_, {600, 200});
    watch(light_, {1});

    thermal_zones::heat(1, 62.0);
    tick();
    EXPECT_EQ(light_->power_reduce, 875.0) << "2 x 0.0625 is left";

    thermal_zones::heat(1, 52.0);
    tick();
    EXPECT_EQ(light_->power_reduce, 0.0)
        << "at 60 degrees: P = 4 x 0.0625, I = 8 s x 0.125 x 2, D = (4 - 2) / 8 s x 0.5 x 2";

    thermal_zones::heat(1, 90.0);
    tick();
    EXPECT_EQ(light_->power_reduce, 0.0)
        << "at 66 degrees: P = -2 x 0.0625, D = (-2 - 4) / 8 s x 0.5 x 4, I = 1 - P - D";

    tick();
    EXPECT_NEAR(light_->power_reduce, 200.0, 1e-9)
        << "at 70.8 degrees: P = -6.8 x 0.0625, D = (-6.8 + 2) / 8 s x 0.5 x -2, I = 2.625 - 8 s x 0.125 x 2";
  });
}

}  // namespace
