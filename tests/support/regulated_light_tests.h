#pragma once

#include <functional>

#include "support/in_child.h"
#include "support/led_driver_fixture.h"

inline const SyslogCapture::Line kInvalidSensor{LOG_ERR, "Could not read invalid temperature sensor"};
inline const SyslogCapture::Line kNoReading{LOG_WARNING, "Could not read temperature"};

// A tenth of the light for each degree below 60.
inline const std::string kProportional = "sample_time=5\nref_temp=60\nk_p=0.1\n";
// 10 degrees below, each tick adds 5 s x 0.01 x 10 = 0.5 of what the light can give, one tick late.
inline const std::string kIntegral = "sample_time=5\nref_temp=60\nk_i=0.01\n";

inline void tick(const LightPointer &light) { led_base_update_temperature(light.get()); }

/// The temperature tick of a light. Its class has one regulator state for the whole program: each test ticks
/// in a process of its own, which begins with a fresh one. Board is a LedDriver with
///   lit_light(settings)     a lit light with a sensor on its board and these settings of its regulator,
///   heat(celsius)           what that sensor tells from now on,
///   lose_sensor()           it cannot be read from now on,
///   kFull                   what a cool light gives,
///   given()                 what the hardware was given since this was asked last,
///   values(percent)         what it is given when that much is left of kFull,
///   said(percent)           what is then said in debug mode,
///   hardware(), complaint() a file that each tick opens, and what is said of a folder in its place.
template <typename Board>
class RegulatedLight : public Board {
 protected:
  using Line = typename Board::Line;
  using Lines = std::vector<Line>;

  static void expect_left(const LightPointer &light, int percent) {
    EXPECT_NEAR(light->power_reduce, Board::kFull * (100 - percent) / 100, 1e-9);
    EXPECT_EQ(Board::given(), Board::values(percent));
  }

  void expect_left_at(double celsius, int percent) {
    in_child([&] {
      const auto light = this->lit_light(kProportional);
      Board::heat(celsius);
      tick(light);
      expect_left(light, percent);
      EXPECT_THAT(this->log_.lines(), testing::IsEmpty());
    });
  }

  /// What a tick says in debug mode that reads @p celsius, of which these lines tell.
  static Lines told(const Lines &readings, const std::string &celsius, int percent) {
    g_autofree gchar *reduction = g_strdup_printf("%.2f", Board::kFull * (100 - percent) / 100);
    Lines lines = {{LOG_INFO, "Regulator enabled"}};
    lines.insert(lines.end(), readings.begin(), readings.end());
    lines.push_back({LOG_INFO, "power_reduce = " + std::string{reduction} + ", temp = " + celsius});
    for (const std::string &text : Board::said(percent))
      lines.push_back({LOG_INFO, text});
    return lines;
  }

  /// A light with these sensors has none to read, however hot it is.
  void expect_failed_reads(const std::vector<gint> &sensors) {
    in_child([&] {
      const auto light = this->lit_light(kProportional);
      Board::heat(70.0);
      Board::watch(light, sensors);
      light->power_reduce = 30.0;
      tick(light);
      EXPECT_THAT(this->log_.lines(), testing::ElementsAre(kInvalidSensor, kInvalidSensor))
          << "the first tick reads twice";
      EXPECT_EQ(light->power_reduce, 0.0) << "as if it were very cold";
      expect_left(light, 100);

      this->log_.clear();
      tick(light);
      EXPECT_THAT(this->log_.lines(), testing::ElementsAre(kInvalidSensor));
    });
  }

  /// A light that was made to give nothing is left as it is.
  void expect_rest(const std::function<void(const LightPointer &)> &darken,
                   const std::function<void(const LightPointer &)> &brighten) {
    in_child([&] {
      const auto light = this->lit_light(kProportional);
      darken(light);
      light->power_reduce = 12.5;
      BEAMD_DEBUG_FLAG = 1;
      tick(light);
      BEAMD_DEBUG_FLAG = 0;
      EXPECT_EQ(light->power_reduce, 12.5);
      EXPECT_THAT(Board::given(), testing::IsEmpty());
      EXPECT_THAT(this->log_.lines(), testing::IsEmpty());

      brighten(light);
      Board::heat(55.0);
      tick(light);
      SCOPED_TRACE("still without a temperature to start with");
      expect_left(light, 50);
    });
  }
};

TYPED_TEST_SUITE_P(RegulatedLight);

TYPED_TEST_P(RegulatedLight, LeavesACoolBoardAlone) { this->expect_left_at(49.0, 100); }

TYPED_TEST_P(RegulatedLight, TakesOffHalfAtFiveDegreesBelow) { this->expect_left_at(55.0, 50); }

TYPED_TEST_P(RegulatedLight, TakesOffAllAboveTheTemperatureToKeep) { this->expect_left_at(70.0, 0); }

TYPED_TEST_P(RegulatedLight, LeavesTheHardwareOfALightThatIsOffAlone) {
  in_child([&] {
    const auto light = this->lit_light(kProportional);
    light->light_on = 0;
    this->heat(55.0);
    tick(light);
    EXPECT_NEAR(light->power_reduce, this->kFull / 2, 1e-9) << "for when it is switched on";
    EXPECT_THAT(this->given(), testing::IsEmpty());
  });
}

TYPED_TEST_P(RegulatedLight, TellsOfEachTickInDebugMode) {
  in_child([&] {
    const auto light = this->lit_light(kProportional);
    this->heat(55.0);
    BEAMD_DEBUG_FLAG = 1;
    for (int i = 0; i < 2; ++i) {
      this->log_.clear();
      tick(light);
      EXPECT_EQ(this->log_.lines(), this->told({}, "55.00", 50));
    }
  });
}

TYPED_TEST_P(RegulatedLight, TellsOfFailedReadingsAfterItsBeginning) {
  in_child([&] {
    const auto light = this->lit_light(kProportional);
    this->lose_sensor();
    BEAMD_DEBUG_FLAG = 1;
    tick(light);
    EXPECT_EQ(this->log_.lines(), this->told({kNoReading, kNoReading}, "-9999.00", 100));
  });
}

TYPED_TEST_P(RegulatedLight, ReadingThatFailsCountsAsVeryCold) {
  in_child([&] {
    const auto light = this->lit_light(kProportional);
    this->heat(55.0);
    tick(light);
    this->expect_left(light, 50);

    this->lose_sensor();
    tick(light);
    EXPECT_THAT(this->log_.lines(), testing::ElementsAre(kNoReading));
    EXPECT_EQ(light->power_reduce, 0.0);
    this->expect_left(light, 100);
  });
}

TYPED_TEST_P(RegulatedLight, EveryReadFailsWithoutASensor) { this->expect_failed_reads({}); }

TYPED_TEST_P(RegulatedLight, StateIsSharedByTheLightsOfTheClass) {
  in_child([&] {
    const auto first = this->lit_light(kIntegral);
    const auto second = this->lit_light(kIntegral);
    this->heat(50.0);
    tick(first);
    EXPECT_NEAR(first->power_reduce, this->kFull, 1e-9);
    tick(second);
    EXPECT_NEAR(second->power_reduce, this->kFull / 2, 1e-9) << "the first light's tick counts";
    tick(first);
    EXPECT_NEAR(first->power_reduce, 0.0, 1e-9);
    EXPECT_NEAR(second->power_reduce, this->kFull / 2, 1e-9) << "the reduction is the light's own";
  });
}

TYPED_TEST_P(RegulatedLight, StateOutlivesTheLight) {
  in_child([&] {
    this->heat(50.0);
    tick(this->lit_light(kIntegral));
    const auto next = this->lit_light(kIntegral);
    tick(next);
    EXPECT_NEAR(next->power_reduce, this->kFull / 2, 1e-9);
  });
}

// Filtered, 50 and then 0.8 x 50 + 0.2 x 55 = 51 degrees.
TYPED_TEST_P(RegulatedLight, TemperatureIsSharedByTheLightsOfTheClass) {
  in_child([&] {
    const auto first = this->lit_light(kProportional);
    const auto second = this->lit_light(kProportional);
    this->heat(50.0);
    tick(first);
    EXPECT_EQ(first->power_reduce, 0.0);
    this->heat(55.0);
    tick(second);
    EXPECT_NEAR(second->power_reduce, 0.1 * this->kFull, 1e-9);
  });
}

TYPED_TEST_P(RegulatedLight, DerivativeIsWeighedByThePreviousError) {
  in_child([&] {
    const auto light = this->lit_light("sample_time=5\nref_temp=60\nk_d=0.25\n");
    this->heat(50.0);
    tick(light);
    EXPECT_NEAR(light->power_reduce, this->kFull, 1e-9);
    // From 50 to 49 degrees, filtered: (11 - 10) / 5 s x 0.25 x 10.
    this->heat(45.0);
    tick(light);
    EXPECT_NEAR(light->power_reduce, this->kFull / 2, 1e-9);
  });
}

TYPED_TEST_P(RegulatedLight, GainsThatAreMissingAreZero) {
  in_child([&] {
    const auto light = this->lit_light("sample_time=5\n");
    this->heat(-20.0);
    for (int i = 0; i < 3; ++i) {
      tick(light);
      EXPECT_EQ(light->power_reduce, this->kFull);
      this->expect_left(light, 0);
    }
    EXPECT_THAT(this->log_.lines(), testing::IsEmpty());
  });
}

TYPED_TEST_P(RegulatedLight, HardwareThatCannotBeOpenedIsTriedAgainAtTheNextTick) {
  in_child([&] {
    const auto light = this->lit_light(kProportional);
    this->heat(55.0);
    const std::string path = this->hardware();
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    tick(light);
    EXPECT_EQ(this->log_.lines(), this->complaint());
    EXPECT_EQ(light->light_on, 1);

    std::filesystem::remove(path);
    write_fresh_file(path);
    this->given();
    tick(light);
    this->expect_left(light, 50);
  });
}

REGISTER_TYPED_TEST_SUITE_P(RegulatedLight, LeavesACoolBoardAlone, TakesOffHalfAtFiveDegreesBelow,
                            TakesOffAllAboveTheTemperatureToKeep, LeavesTheHardwareOfALightThatIsOffAlone,
                            TellsOfEachTickInDebugMode, TellsOfFailedReadingsAfterItsBeginning,
                            ReadingThatFailsCountsAsVeryCold, EveryReadFailsWithoutASensor,
                            StateIsSharedByTheLightsOfTheClass, StateOutlivesTheLight,
                            TemperatureIsSharedByTheLightsOfTheClass, DerivativeIsWeighedByThePreviousError,
                            GainsThatAreMissingAreZero, HardwareThatCannotBeOpenedIsTriedAgainAtTheNextTick);
