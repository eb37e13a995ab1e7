#pragma once

#include "support/regulated_light_tests.h"

/// Board, a McuLight with two sensors, which are thermal zones of the kernel's.
template <typename Board>
class TwoThermalZones : public Board {
 protected:
  static constexpr int kBoard = 3;
  static constexpr int kLens = 4;

  /// A lit light with these settings that looks at the board's sensor.
  LightPointer lit_light(const std::string &settings) {
    write_file(Board::kDimming, "[regulator]\n" + settings);
    auto light = Board::ready_light();
    Board::watch(light, {kBoard});
    light->light_on = 1;
    led_base_recalculate_angle_of_illumination(light.get(), 0);
    return light;
  }

  static std::vector<std::string> given() { return Board::written(); }
  std::string hardware() const { return this->files_[0]; }

  static void heat(double board) { thermal_zones::heat(kBoard, board); }
  static void heat(double board, double lens) {
    heat(board);
    thermal_zones::heat(kLens, lens);
  }
  static void lose_sensor() { thermal_zones::take_away(kBoard); }
};

/// What the sensors tell, and what a tick makes of that.
struct TwoSensorTick {
  double board;
  double lens;
  double reduction;
};

/// The temperature tick of a light with two sensors whose regulator is always on. Board is besides what
/// RegulatedLight needs one with TwoThermalZones and
///   kWriteFailure   what is said when the first output takes no value.
template <typename Board>
class TwoSensorLight : public RegulatedLight<Board> {
 protected:
  /// A light with these settings that looks at these sensors.
  LightPointer watching_light(const std::vector<gint> &sensors, const std::string &settings = kProportional) {
    auto light = this->lit_light(settings);
    Board::watch(light, sensors);
    return light;
  }

  /// Each tick leaves a tenth of the light for each degree below 55.
  void expect_reductions(const std::vector<TwoSensorTick> &ticks) {
    in_child([&] {
      const auto light =
          watching_light({Board::kBoard, Board::kLens}, "sample_time=5\nref_temp=55\nk_p=0.1\n");
      for (const auto &[board, lens, reduction] : ticks) {
        Board::heat(board, lens);
        tick(light);
        EXPECT_NEAR(light->power_reduce, reduction, 1e-9) << board << " and " << lens;
      }
    });
  }
};

TYPED_TEST_SUITE_P(TwoSensorLight);

TYPED_TEST_P(TwoSensorLight, IsAlwaysRegulated) {
  for (const std::string enabled : {"enabled=false\n", "enabled=true\n", "enabled=perhaps\n"}) {
    in_child([&] {
      const auto light = this->lit_light(enabled + kProportional);
      this->heat(55.0);
      tick(light);
      EXPECT_NEAR(light->power_reduce, this->kFull / 2, 1e-9) << enabled;
    });
  }
}

TYPED_TEST_P(TwoSensorLight, FollowsTheHotterOne) {
  for (const auto &[board, lens] : {std::pair{50.0, 55.0}, {55.0, 50.0}, {55.0, 55.0}, {-20.0, 55.0}}) {
    in_child([&, board = board, lens = lens] {
      const auto light = this->watching_light({this->kBoard, this->kLens});
      this->heat(board, lens);
      tick(light);
      EXPECT_NEAR(light->power_reduce, this->kFull / 2, 1e-9) << board << " and " << lens;
      EXPECT_THAT(this->log_.lines(), testing::IsEmpty());
    });
  }
}

TYPED_TEST_P(TwoSensorLight, DoesNotReadASecondOneThatIsNotThere) {
  for (const auto &sensors : {std::vector<gint>{this->kBoard}, {this->kBoard, -1}}) {
    in_child([&] {
      const auto light = this->watching_light(sensors);
      this->heat(55.0);
      tick(light);
      EXPECT_NEAR(light->power_reduce, this->kFull / 2, 1e-9);
      EXPECT_THAT(this->log_.lines(), testing::IsEmpty());
    });
  }
}

TYPED_TEST_P(TwoSensorLight, DoesNotReadAThirdOne) {
  constexpr int kCase = 5;
  in_child([&] {
    const auto light = this->watching_light({this->kBoard, this->kLens, kCase});
    this->heat(50.0, 55.0);
    thermal_zones::heat(kCase, 90.0);
    tick(light);
    EXPECT_NEAR(light->power_reduce, this->kFull / 2, 1e-9);
  });
}

TYPED_TEST_P(TwoSensorLight, FollowsTheOneThatCanBeRead) {
  for (const auto &[sensors, complaint] : {std::pair{std::vector<gint>{-1, this->kBoard}, kInvalidSensor},
                                           {{this->kLens, this->kBoard}, kNoReading},
                                           {{this->kBoard, this->kLens}, kNoReading}}) {
    in_child([&, &sensors = sensors, &complaint = complaint] {
      const auto light = this->watching_light(sensors);
      this->heat(55.0);
      tick(light);
      EXPECT_THAT(this->log_.lines(), testing::ElementsAre(complaint, complaint));
      this->expect_left(light, 50);
    });
  }
}

TYPED_TEST_P(TwoSensorLight, BoardThatTakesNoValueIsTriedAgainAtTheNextTick) {
  in_child([&] {
    const auto light = this->lit_light(kProportional);
    this->heat(55.0);
    this->fail_write(0, EIO);
    tick(light);
    EXPECT_EQ(this->log_.lines(), this->errors({this->kWriteFailure}));
    EXPECT_NEAR(light->power_reduce, this->kFull / 2, 1e-9);
    this->given();
    tick(light);
    this->expect_left(light, 50);
  });
}

REGISTER_TYPED_TEST_SUITE_P(TwoSensorLight, IsAlwaysRegulated, FollowsTheHotterOne,
                            DoesNotReadASecondOneThatIsNotThere, DoesNotReadAThirdOne,
                            FollowsTheOneThatCanBeRead, BoardThatTakesNoValueIsTriedAgainAtTheNextTick);
