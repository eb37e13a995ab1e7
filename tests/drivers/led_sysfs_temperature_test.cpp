// The regulator of a light of attribute files: its sensors, its filters, and when the light is written anew.

#include <algorithm>
#include <cmath>
#include <functional>

#include "support/in_child.h"
#include "support/led_sysfs_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr double kUnseeded = -1000.0;
constexpr double kNoReading = -9999.0;
constexpr const char *kProportional = "sample_time=5\nk_p=0.1\nk_i=0\nk_d=0\nref_temp=60\n";

/// A lit light that gives 3000 milliwatts and has the regulator's proportional term only: it gives all of it
/// up to 50 degrees, and nothing from 60 degrees on.
class SysfsTemperature : public SysfsLight {
 protected:
  SysfsTemperature() {
    thermal_zones::take_all_away();
    // Sensors are counted and not looked up: there is no bus here.
    fake_bootblock().value = "no";
  }

  /// Sets the light up with these settings and sensors.
  void regulate(const std::vector<gint> &sensors, const std::string &settings = kProportional) {
    std::string dimming = "[regulator]\n" + settings;
    for (std::size_t i = 0; i < sensors.size(); ++i)
      dimming += "temp_sensor_id" + (i == 0 ? "" : std::to_string(i + 1)) + "=sensor\n";
    write_file(kDimming, dimming);
    light_ = new_light();
    set_up_with("[0]\n0=0;0;0;\n100=500;1000;1500;\n");
    watch(light_, sensors);
    light_->light_on = 1;
    calculate(100, 0);
    forget();
  }

  static void heat(gint sensor, double celsius) {
    thermal_zones::heat(sensor, celsius);
    attribute_writes().tried.pop_back();  // the temperature itself
  }

  void tick() const { led_base_update_temperature(light_.get()); }

  /// What is taken off once that is the temperature.
  double reduction_at(double celsius) const {
    heat(0, celsius);
    tick();
    return light_->power_reduce;
  }

  std::vector<double> temperatures() const {
    return {light_->temp_sensor_temps, light_->temp_sensor_temps + light_->nbr_of_temp_sensors};
  }
};

TEST_F(SysfsTemperature, ReducesAHotLight) {
  regulate({0});
  EXPECT_DOUBLE_EQ(reduction_at(55.0), 1500.0);
  EXPECT_THAT(texts(), ElementsAre("250", "500", "750"));
}

TEST_F(SysfsTemperature, LeavesACoolLightAlone) {
  regulate({0});
  EXPECT_EQ(reduction_at(40.0), 0.0);
  EXPECT_THAT(written(), IsEmpty());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(SysfsTemperature, DarkensALightThatIsTooHot) {
  regulate({0});
  EXPECT_EQ(reduction_at(70.0), 3000.0);
  EXPECT_THAT(texts(), ElementsAre("0", "0", "0"));
}

TEST_F(SysfsTemperature, ReductionIsOfWhatTheGrantLeaves) {
  regulate({0});
  light_->use_power_request = TRUE;
  light_->power_usage_factor = 1.0F;
  light_->power_intensity = 600.0;
  activated();
  EXPECT_DOUBLE_EQ(reduction_at(55.0), 300.0);
  EXPECT_THAT(texts(), ElementsAre("50", "100", "150"));
}

// The sensors.

TEST_F(SysfsTemperature, FirstReadingIsTakenAsItIs) {
  regulate({0});
  heat(0, 41.5);
  tick();
  EXPECT_THAT(temperatures(), ElementsAre(41.5));
}

TEST_F(SysfsTemperature, FurtherReadingsAreSmoothed) {
  regulate({0});
  heat(0, 40.0);
  tick();
  double expected = 40.0;
  for (const double reading : {50.0, 50.0, -10.0, 37.0, 120.0}) {
    heat(0, reading);
    tick();
    expected = 0.2 * reading + 0.8 * expected;
    EXPECT_THAT(temperatures(), ElementsAre(expected)) << reading;
  }
}

TEST_F(SysfsTemperature, IsSmoothedPerSensorAndTheHottestCounts) {
  regulate({0, 1, 2});
  heat(0, 40.0);
  heat(1, 55.0);
  heat(2, 45.0);
  tick();
  EXPECT_THAT(temperatures(), ElementsAre(40.0, 55.0, 45.0));
  EXPECT_DOUBLE_EQ(light_->power_reduce, 1500.0);

  heat(0, 90.0);
  heat(1, 5.0);
  tick();
  EXPECT_THAT(temperatures(), ElementsAre(0.2 * 90.0 + 0.8 * 40.0, 0.2 * 5.0 + 0.8 * 55.0, 45.0));
  EXPECT_EQ(light_->power_reduce, 0.0) << "50 degrees";
}

TEST_F(SysfsTemperature, EachLightHasTemperaturesOfItsOwn) {
  regulate({0});
  EXPECT_EQ(reduction_at(70.0), 3000.0);
  const LightPointer hot = std::exchange(light_, new_light());
  regulate({0});
  EXPECT_EQ(reduction_at(40.0), 0.0) << "the first reading, not a smoothed one";
  EXPECT_THAT(temperatures(), ElementsAre(40.0));
  EXPECT_EQ(hot->temp_sensor_temps[0], 70.0);
}

TEST_F(SysfsTemperature, FailedReadingsAreTemperatures) {
  regulate({0});
  tick();
  EXPECT_THAT(temperatures(), ElementsAre(kNoReading));
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_WARNING, "Could not read temperature"}));
  heat(0, 50.0);
  tick();
  EXPECT_THAT(temperatures(), ElementsAre(0.2 * 50.0 + 0.8 * kNoReading)) << "no seed any more";
}

TEST_F(SysfsTemperature, FailedReadingTakesAReductionAway) {
  regulate({0});
  EXPECT_EQ(reduction_at(70.0), 3000.0);
  written();
  thermal_zones::take_away(0);
  tick();
  EXPECT_THAT(temperatures(), ElementsAre(0.2 * kNoReading + 0.8 * 70.0));
  EXPECT_EQ(light_->power_reduce, 0.0);
  EXPECT_THAT(texts(), ElementsAre("500", "1000", "1500"));
}

TEST_F(SysfsTemperature, SensorThatWasNotFoundIsNotRead) {
  regulate({-1});
  tick();
  EXPECT_THAT(temperatures(), ElementsAre(kUnseeded));
  EXPECT_EQ(light_->power_reduce, 0.0);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(SysfsTemperature, SensorThatWasNotFoundDoesNotHideTheOthers) {
  regulate({-1, 0, -1});
  EXPECT_DOUBLE_EQ(reduction_at(55.0), 1500.0);
  EXPECT_THAT(temperatures(), ElementsAre(kUnseeded, 55.0, kUnseeded));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(SysfsTemperature, SensorThatWasLostIsMissed) {
  regulate({0});
  EXPECT_EQ(reduction_at(40.0), 0.0);
  light_->temp_sensor_ids[0] = -1;
  tick();
  EXPECT_THAT(temperatures(), ElementsAre(0.2 * kNoReading + 0.8 * 40.0));
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "Could not read invalid temperature sensor"}));
}

TEST_F(SysfsTemperature, NeedsASensor) {
  regulate({});
  light_->power_reduce = 7.0;
  tick();
  EXPECT_EQ(light_->power_reduce, 7.0);
  EXPECT_THAT(written(), IsEmpty());
}

// Without light.

TEST_F(SysfsTemperature, OfALightWithoutPowerIsForgotten) {
  regulate({0, 1});
  heat(1, 40.0);
  EXPECT_EQ(reduction_at(70.0), 3000.0);
  calculate(0, 0);
  forget();
  tick();
  EXPECT_THAT(temperatures(), ElementsAre(kUnseeded, kUnseeded));
  EXPECT_EQ(light_->power_reduce, 0.0);
  EXPECT_THAT(written(), IsEmpty());
  EXPECT_THAT(log_.lines(), IsEmpty());

  calculate(100, 0);
  EXPECT_EQ(reduction_at(40.0), 0.0) << "a first reading again";
  EXPECT_THAT(temperatures(), ElementsAre(40.0, 40.0));
}

TEST_F(SysfsTemperature, IsRegulatedAlsoWhileTheLightIsOff) {
  regulate({0});
  light_->light_on = 0;
  BEAMD_DEBUG_FLAG = 1;
  EXPECT_DOUBLE_EQ(reduction_at(55.0), 1500.0);
  EXPECT_THAT(written(), IsEmpty());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

// Changes.

TEST_F(SysfsTemperature, OnlyAChangedReductionIsWritten) {
  regulate({0});
  EXPECT_DOUBLE_EQ(reduction_at(55.0), 1500.0);
  EXPECT_THAT(texts(), SizeIs(3));
  tick();
  tick();
  EXPECT_THAT(written(), IsEmpty());
  reduction_at(56.0);
  EXPECT_THAT(texts(), SizeIs(3));
}

TEST_F(SysfsTemperature, StaysDarkWithoutBeingWrittenAgain) {
  regulate({0});
  EXPECT_EQ(reduction_at(70.0), 3000.0);
  written();
  EXPECT_EQ(reduction_at(80.0), 3000.0);
  EXPECT_THAT(written(), IsEmpty());
}

TEST_F(SysfsTemperature, ChangeIsToldInDebugMode) {
  regulate({0});
  BEAMD_DEBUG_FLAG = 1;
  reduction_at(55.0);
  EXPECT_EQ(log_.lines(), prints({"Reduce power with 1500.00mW due to high IR-Led temperature = 55.00deg",
                                  "Led to warm. Lowering power for led0 from 500mW to 250mW",
                                  "Led to warm. Lowering power for led1 from 1000mW to 500mW",
                                  "Led to warm. Lowering power for led2 from 1500mW to 750mW"}));
  log_.clear();
  tick();
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(SysfsTemperature, SurvivesAnLedThatCannotBeWritten) {
  regulate({0});
  fail_write(0, EIO);
  EXPECT_DOUBLE_EQ(reduction_at(55.0), 1500.0);
  EXPECT_EQ(log_.lines(), errors({"Write failure to led 0 - 250mW"}));
}

// The settings.

TEST_F(SysfsTemperature, MissingFileDisablesIt) {
  set_up_with("[0]\n0=0;0;0;\n100=500;1000;1500;\n");
  light_->temp_sensor_temps = g_new(gdouble, 1);
  light_->temp_sensor_temps[0] = kUnseeded;
  watch(light_, {0});
  light_->light_on = 1;
  calculate(100, 0);
  EXPECT_EQ(reduction_at(70.0), 0.0);
  EXPECT_THAT(written(), IsEmpty());
}

TEST_F(SysfsTemperature, BrokenFileEnablesItWithNothingButZeros) {
  write_file(kDimming, "[regulator]\nk_p=0.1\nref_temp=60\nno key\n");
  set_up_with("[0]\n0=0;0;0;\n100=500;1000;1500;\n");
  light_->temp_sensor_temps = g_new(gdouble, 1);
  light_->temp_sensor_temps[0] = kUnseeded;
  watch(light_, {0});
  light_->temp_sample_time = 5;
  light_->light_on = 1;
  calculate(100, 0);
  EXPECT_EQ(reduction_at(20.0), 3000.0) << "without gains nothing is left of the light";
}

TEST_F(SysfsTemperature, NeedsNoKeyToBeEnabled) {
  regulate({0}, std::string{kProportional} + "enabled=false\n");
  EXPECT_EQ(reduction_at(70.0), 3000.0);
}

/// One step of a PI-D controller, written down once more.
struct Controller {
  double k_p, k_i, k_d, ref_temp, sample_time;
  double prev_error = 0.0;
  double integral = 0.0;
  double prev_output = 0.0;

  double reduction(double temperature, double power) {
    double sum = integral + k_i * sample_time * prev_error;
    const double error = ref_temp - temperature;
    const double proportional = k_p * error;
    const double derivative = k_d * ((error - prev_error) / sample_time) * prev_error;
    prev_error = error;
    if (k_i > 0 && prev_output > power)
      sum = std::max(0.0, 1.0 - proportional - derivative);
    else if (k_i > 0 && prev_output < 0)
      sum = 0.0;
    integral = sum;
    prev_output = (proportional + sum + derivative) * power;
    return std::clamp(power - prev_output, 0.0, power);
  }
};

/// A reading passes through single precision.
double single(double celsius) { return static_cast<float>(celsius); }

constexpr const char *kComplete = "sample_time=5\nk_p=0.02\nk_i=0.001\nk_d=0.003\nref_temp=60\n";

/// Tests of the terms that remember. What they leave behind ends with their process; what other tests leave
/// is undone by a step at the temperature to keep, as long as only these here sum up errors.
class SysfsRegulator : public SysfsTemperature {
 protected:
  void in_fresh_child(const std::function<void()> &body) {
    in_child([&] {
      regulate({0});
      EXPECT_EQ(reduction_at(60.0), 3000.0);
      body();
    });
  }
};

TEST_F(SysfsRegulator, IsRegulatedByAllTerms) {
  in_fresh_child([this] {
    regulate({0}, kComplete);
    Controller controller{0.02, 0.001, 0.003, 60.0, 5.0};
    double filtered = 0.0;
    bool is_partly_reduced = false;
    for (int i = 0; i < 60; ++i) {
      const double reading = std::round(45'000.0 + 30'000.0 * std::abs(std::sin(i * 0.15))) / 1000;
      filtered = i == 0 ? single(reading) : 0.2 * single(reading) + 0.8 * filtered;
      const double expected = controller.reduction(filtered, 3000.0);
      ASSERT_NEAR(reduction_at(reading), expected, 1e-6) << i;
      is_partly_reduced |= expected > 0.0 && expected < 3000.0;
    }
    EXPECT_TRUE(is_partly_reduced);
  });
}

TEST_F(SysfsRegulator, StateIsSharedByAllLights) {
  in_fresh_child([this] {
    Controller controller{0.02, 0.001, 0.003, 60.0, 5.0};
    regulate({0}, kComplete);
    EXPECT_NEAR(reduction_at(50.0), controller.reduction(50.0, 3000.0), 1e-6);
    LightPointer first = std::exchange(light_, new_light());
    regulate({0}, kComplete);
    EXPECT_NEAR(reduction_at(55.0), controller.reduction(55.0, 3000.0), 1e-6);
    std::swap(light_, first);
    tick();
    EXPECT_NEAR(light_->power_reduce, controller.reduction(0.2 * 55.0 + 0.8 * 50.0, 3000.0), 1e-6);
  });
}

TEST_F(SysfsRegulator, TakesNoBoardForColderThanMinusThousand) {
  in_fresh_child([this] {
    regulate({0}, "sample_time=5\nk_p=0\nk_i=0.0001\nk_d=0\nref_temp=60\n");
    thermal_zones::take_away(0);
    tick();
    EXPECT_THAT(temperatures(), ElementsAre(kNoReading));
    tick();
    EXPECT_NEAR(light_->power_reduce, 3000.0 - 3000.0 * 5 * 0.0001 * 1060.0, 1e-6);
  });
}

TEST_F(SysfsRegulator, StateStaysWhileThereIsNoLight) {
  in_fresh_child([this] {
    Controller controller{0.02, 0.001, 0.003, 60.0, 5.0};
    regulate({0}, kComplete);
    EXPECT_NEAR(reduction_at(50.0), controller.reduction(50.0, 3000.0), 1e-6);
    calculate(0, 0);
    EXPECT_EQ(reduction_at(80.0), 0.0);
    calculate(100, 0);
    EXPECT_NEAR(reduction_at(52.0), controller.reduction(52.0, 3000.0), 1e-6);
  });
}

}  // namespace
