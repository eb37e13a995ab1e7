#pragma once

#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "support/in_child.h"
#include "support/milliwatt_light_fixture.h"

// How lights are kept cool whose intensities are milliwatts, whichever their driver. The state of the
// regulator is the class's: each test has one of its own.

inline const SyslogCapture::Line kUnreadSensor = {LOG_WARNING, "Could not read temperature"};

/// What a tick meets, and what it makes of it.
struct RegulatorTick {
  double celsius;
  double reduction;  ///< the part of the reference that is taken off
  const char *why;
};

inline constexpr const char *kAllGains =
    "enabled=1\nsample_time=8\nk_p=0.0625\nk_i=0.125\nk_d=0.5\nref_temp=64\n";
inline constexpr RegulatorTick kTicksWithAllGains[] = {
    {62.0, 0.875, "2 x 0.0625 is left"},
    {52.0, 0.0, "at 60 degrees: P = 4 x 0.0625, I = 8 s x 0.125 x 2, D = (4 - 2) / 8 s x 0.5 x 2"},
    {90.0, 0.0, "at 66 degrees: P = -2 x 0.0625, D = (-2 - 4) / 8 s x 0.5 x 4, I = 1 - P - D"},
    {90.0, 0.2,
     "at 70.8 degrees: P = -6.8 x 0.0625, D = (-6.8 + 2) / 8 s x 0.5 x -2, I = 2.625 - 8 s x 0.125 x 2"}};

/// A lit light with four sensors. @p Light is a LightInUse that tells of its driver:
/// - kReference: the milliwatts of which the regulator takes a part off
/// - kUnreadableSensor: what is said of a sensor, before its number
/// - kBeginning: what a tick says first
/// - verdict(reference, reduction, temperature): what it says in the end
/// - is_about_levels(line): whether the rewritten light says this, and not the tick
/// - half_light(): what is written when half of the reference is taken off
template <typename Light>
class MilliwattRegulator : public Light {
 protected:
  using Line = typename Light::Line;
  using Lines = std::vector<Line>;

  MilliwattRegulator() {
    BEAMD_DEBUG_FLAG = 1;
    this->light_ = hot_light();
    Light::watch(this->light_, {1, 2, 3, 4});
  }

  /// A lit light with a sensor, which has a reduction from before.
  static LightPointer hot_light() {
    auto light = Light::ready_light();
    light->light_on = 1;
    light->power_reduce = 33.0;
    Light::watch(light, {1});
    return light;
  }

  static void heat_all(double celsius) {
    for (const int sensor : {1, 2, 3, 4})
      thermal_zones::heat(sensor, celsius);
  }

  /// One tick; the lines of it that are not about the levels.
  Lines tick() {
    this->log_.clear();
    Light::written();
    led_base_update_temperature(this->light_.get());
    Lines lines;
    std::ranges::remove_copy_if(this->log_.lines(), std::back_inserter(lines), Light::is_about_levels);
    return lines;
  }

  /// What a tick says that finds no temperature, with @p troubles at its sensors.
  static Lines without_temperature(const Lines &troubles = {}) {
    Lines lines = Light::prints(Light::kBeginning);
    lines.insert(lines.end(), troubles.begin(), troubles.end());
    return lines;
  }

  /// What a tick says that arrives at this temperature, and leaves the light with the reduction for it: 0.1
  /// of the reference for each degree above 50, up to all of it.
  Lines at(double temperature, const Lines &troubles = {}, double reference = Light::kReference) const {
    const double reduction = std::clamp(reference * (1.0 - 0.1 * (60.0 - temperature)), 0.0, reference);
    EXPECT_DOUBLE_EQ(this->light_->power_reduce, reduction);
    Lines lines = without_temperature(troubles);
    lines.push_back({LOG_INFO, Light::verdict(reference, reduction, temperature)});
    return lines;
  }

  static Line skipped(int sensor) { return {LOG_WARNING, Light::kUnreadableSensor + std::to_string(sensor)}; }

  void expect_all_as_it_was() {
    EXPECT_EQ(this->light_->power_reduce, 33.0);
    EXPECT_THAT(Light::written(), testing::IsEmpty());
  }

  void expect_tick(const RegulatorTick &expected) {
    thermal_zones::heat(1, expected.celsius);
    tick();
    EXPECT_NEAR(this->light_->power_reduce, expected.reduction * Light::kReference, 1e-9) << expected.why;
  }
};

TYPED_TEST_SUITE_P(MilliwattRegulator);

TYPED_TEST_P(MilliwattRegulator, ReducesByTheHottestSensor) {
  in_child([this] {
    for (const auto &[sensor, celsius] : {std::pair{1, 40.0}, {2, 55.0}, {3, 54.0}, {4, -10.0}})
      thermal_zones::heat(sensor, celsius);
    const auto said = this->tick();
    EXPECT_EQ(said, this->at(55.0));
    EXPECT_EQ(this->light_->power_reduce, this->kReference / 2);
    EXPECT_EQ(this->written(), this->half_light());
  });
}

TYPED_TEST_P(MilliwattRegulator, FollowsWhicheverIsTheHottest) {
  in_child([this] {
    for (const int hottest : {4, 3, 2, 1}) {
      this->heat_all(20.0);
      this->tick();
      thermal_zones::heat(hottest, 520.0);
      this->tick();
      EXPECT_GT(this->light_->power_reduce, 0.0) << hottest;
      thermal_zones::heat(hottest, -10'000.0);
      this->tick();
      EXPECT_EQ(this->light_->power_reduce, 0.0) << hottest;
    }
  });
}

TYPED_TEST_P(MilliwattRegulator, FiltersEachSensorByItself) {
  in_child([this] {
    for (const int sensor : {1, 2, 3, 4})
      thermal_zones::heat(sensor, 30.0 + sensor);
    const auto first = this->tick();
    EXPECT_EQ(first, this->at(34.0));
    thermal_zones::heat(1, 56.0);
    const auto second = this->tick();
    EXPECT_EQ(second, this->at(31.0 * 4.0 / 5.0 + 56.0 / 5.0));
    thermal_zones::heat(3, 83.0);
    const auto third = this->tick();
    EXPECT_EQ(third, this->at(33.0 * 4.0 / 5.0 + 83.0 / 5.0)) << "a filter that has taken 33.0 three times";
  });
}

TYPED_TEST_P(MilliwattRegulator, SkipsASensorThatHasNeverBeenRead) {
  in_child([this] {
    thermal_zones::heat(2, 55.0);
    const auto said = this->tick();
    EXPECT_EQ(said, this->at(55.0, {kUnreadSensor, this->skipped(1), kUnreadSensor, this->skipped(3),
                                    kUnreadSensor, this->skipped(4)}));
    for (const int sensor : {1, 3, 4})
      thermal_zones::heat(sensor, 56.0);
    const auto next = this->tick();
    EXPECT_EQ(next, this->at(56.0)) << "it takes part as soon as it is read";
  });
}

TYPED_TEST_P(MilliwattRegulator, TakesASensorThatFailsLaterForACold) {
  in_child([this] {
    this->watch(this->light_, {1});
    thermal_zones::heat(1, 55.0);
    this->tick();
    thermal_zones::take_away(1);
    const auto said = this->tick();
    EXPECT_EQ(said, this->at(55.0 * 4.0 / 5.0 - 9999.0 / 5.0, {kUnreadSensor}));
  });
}

TYPED_TEST_P(MilliwattRegulator, SkipsSensorsThatWereNotFoundWithoutAWord) {
  in_child([this] {
    this->watch(this->light_, {-1, 2, -1});
    thermal_zones::heat(2, 55.0);
    const auto said = this->tick();
    EXPECT_EQ(said, this->at(55.0));
  });
}

TYPED_TEST_P(MilliwattRegulator, LooksAtFourSensors) {
  in_child([this] {
    this->watch(this->light_, {1, 2, 3, 4, 5});
    this->heat_all(51.0);
    thermal_zones::heat(5, 99.0);
    const auto said = this->tick();
    EXPECT_EQ(said, this->at(51.0));
  });
}

TYPED_TEST_P(MilliwattRegulator, LeavesAllAsItIsWhenEverySensorIsSkipped) {
  in_child([this] {
    this->watch(this->light_, {1, -1, 3});
    const auto said = this->tick();
    EXPECT_EQ(said,
              this->without_temperature({kUnreadSensor, this->skipped(1), kUnreadSensor, this->skipped(3)}));
    this->expect_all_as_it_was();
  });
}

TYPED_TEST_P(MilliwattRegulator, LeavesAllAsItIsWithoutSensors) {
  in_child([this] {
    this->watch(this->light_, {});
    const auto said = this->tick();
    EXPECT_EQ(said, this->without_temperature());
    this->expect_all_as_it_was();
  });
}

TYPED_TEST_P(MilliwattRegulator, RewritesALightThatIsOnAndNoOther) {
  in_child([this] {
    this->heat_all(55.0);
    for (const gint on : {0, 2, -1}) {
      this->light_->light_on = on;
      this->light_->power_reduce = 0.0;
      const auto said = this->tick();
      EXPECT_EQ(said, this->at(55.0)) << on;
      EXPECT_THAT(this->written(), testing::IsEmpty()) << on;
    }
    this->light_->light_on = 1;
    this->tick();
    EXPECT_EQ(this->written(), this->half_light());
  });
}

TYPED_TEST_P(MilliwattRegulator, IsTheClassesAndNotTheLights) {
  in_child([this] {
    thermal_zones::heat(1, 50.0);
    this->tick();
    const auto first = std::exchange(this->light_, this->hot_light());
    thermal_zones::heat(1, 60.0);
    const auto said = this->tick();
    EXPECT_EQ(said, this->at(52.0)) << "this light's first reading is the sensor's third";
  });
}

TYPED_TEST_P(MilliwattRegulator, HasTheGainsThatAreConfigured) {
  in_child([this] {
    this->write_dimming(kAllGains);
    this->light_ = this->hot_light();
    for (const auto &expected : kTicksWithAllGains)
      this->expect_tick(expected);
  });
}

TYPED_TEST_P(MilliwattRegulator, IsAdvancedByAllLightsOfTheClass) {
  in_child([this] {
    this->write_dimming(kAllGains);
    this->light_ = this->hot_light();
    auto other = this->hot_light();
    for (const auto &expected : kTicksWithAllGains) {
      this->expect_tick(expected);
      std::swap(this->light_, other);
    }
  });
}

REGISTER_TYPED_TEST_SUITE_P(MilliwattRegulator, ReducesByTheHottestSensor, FollowsWhicheverIsTheHottest,
                            FiltersEachSensorByItself, SkipsASensorThatHasNeverBeenRead,
                            TakesASensorThatFailsLaterForACold, SkipsSensorsThatWereNotFoundWithoutAWord,
                            LooksAtFourSensors, LeavesAllAsItIsWhenEverySensorIsSkipped,
                            LeavesAllAsItIsWithoutSensors, RewritesALightThatIsOnAndNoOther,
                            IsTheClassesAndNotTheLights, HasTheGainsThatAreConfigured,
                            IsAdvancedByAllLightsOfTheClass);
