// What a light asks the power daemon for: the watts that its LEDs could take at its angle.

#include <limits>
#include <vector>

#include "support/power_client_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Levels = std::vector<int>;

/// A row that gives each LED nothing at intensity 0 and these levels at intensity 100.
ListedRow row(int angle, const Levels &levels) {
  return {angle, {{"0", Levels(levels.size())}, {"100", levels}}};
}

/// A lit light of two LEDs at full intensity. Each unit of its levels takes half a watt.
class PowerRequest : public PowerClient {
 protected:
  void SetUp() override {
    light_ = make_light(LED_TYPE_BASE, 2);
    wattd_.come_up();
    power_client_connect(light_.get());
    light_->light_on = 1;
    light_->intensity = 100;
    light_->power_usage_factor = 0.5F;
  }

  void shape(const std::vector<ListedRow> &rows) {
    illumination_table_free(light_->illumination_table);
    light_->illumination_table = illumination_table_new(rows, light_->nbr_of_leds);
  }

  /// The request that the light makes now, and nothing else.
  std::string asked() {
    const auto before = wattd_.calls().size();
    led_base_request_power(light_.get());
    wattd_.settle();
    const auto calls = wattd_.calls();
    return calls.size() == before + 1 ? calls.back() : "not one request";
  }

  std::string asked_at(int angle) {
    light_->angle_of_illumination = angle;
    return asked();
  }

  static std::string watts(double watts) { return request(0, "normal", watts); }
  static inline const std::string kNothing = request(0, "off", 0.0);
};

TEST_F(PowerRequest, DarkLightAsksForNothing) {
  light_->light_on = 0;
  EXPECT_EQ(asked(), kNothing);
  shape({row(0, {40, 80}), row(100, {90, 20})});
  EXPECT_EQ(asked(), kNothing);
}

TEST_F(PowerRequest, WithoutATableTheIntensityIsMilliwatts) {
  light_->intensity = 2345;
  EXPECT_EQ(asked(), watts(2.345));
  light_->intensity = 1;
  EXPECT_EQ(asked(), watts(0.001));
  light_->intensity = 0;
  EXPECT_EQ(asked(), kNothing);
}

TEST_F(PowerRequest, UpToTheFirstAngleTheFirstRowCountsAlone) {
  shape({row(20, {40, 80}), row(100, {1000, 1000})});
  for (const int angle : {20, 19, 0, -5})
    EXPECT_EQ(asked_at(angle), watts(60.0)) << angle;
}

TEST_F(PowerRequest, FirstRowAloneAsksForNoLessThanNothing) {
  shape({row(0, {-40, -80}), row(100, {1000, 1000})});
  EXPECT_EQ(asked_at(0), kNothing);
  shape({row(0, {-40, 80})});
  EXPECT_EQ(asked_at(0), watts(20.0));
}

TEST_F(PowerRequest, BetweenTwoRowsTheLargerSumCounts) {
  shape({row(0, {40, 80}), row(100, {90, 20})});
  for (const int angle : {1, 50, 99, 100})
    EXPECT_EQ(asked_at(angle), watts(60.0)) << angle;
  shape({row(0, {40, 60}), row(100, {90, 20})});
  for (const int angle : {1, 50, 99, 100})
    EXPECT_EQ(asked_at(angle), watts(55.0)) << angle;
}

TEST_F(PowerRequest, OnlyTheRowsNextToTheAngleCount) {
  shape({row(0, {500, 500}), row(30, {10, 10}), row(60, {20, 20}), row(100, {300, 300})});
  EXPECT_EQ(asked_at(30), watts(500.0));
  EXPECT_EQ(asked_at(31), watts(20.0));
  EXPECT_EQ(asked_at(60), watts(20.0));
  EXPECT_EQ(asked_at(61), watts(300.0));
}

TEST_F(PowerRequest, AboveTheLastRowThatRowCounts) {
  shape({row(0, {500, 500}), row(60, {40, 80})});
  EXPECT_EQ(asked_at(61), watts(60.0));
  shape({row(0, {40, 80})});
  EXPECT_EQ(asked_at(1), watts(60.0));
}

TEST_F(PowerRequest, SumIsThatOfWhatEachLedShallGive) {
  light_->individual_intensity_support = TRUE;
  light_->manual_intensities[0] = 50;
  light_->manual_intensities[1] = 25;
  shape({row(0, {40, 80}), row(100, {8, 4})});
  EXPECT_EQ(asked_at(50), watts(20.0));

  light_->intensity = 30;
  EXPECT_EQ(asked_at(50), watts(16.0));
}

TEST_F(PowerRequest, RowWithoutPointsGivesNothing) {
  shape({{0, {}}, row(100, {40, 80})});
  EXPECT_EQ(asked_at(50), watts(60.0));
  EXPECT_EQ(asked_at(0), kNothing);
}

TEST_F(PowerRequest, TableWithoutRowsAsksForNothing) {
  shape({});
  for (const int angle : {-1, 0, 50})
    EXPECT_EQ(asked_at(angle), kNothing) << angle;
}

TEST_F(PowerRequest, LightWithoutLedsAsksForNothing) {
  light_->nbr_of_leds = 0;
  shape({row(0, {}), row(100, {})});
  for (const float factor :
       {0.5F, std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()}) {
    light_->power_usage_factor = factor;
    for (const int angle : {0, 50, 101})
      EXPECT_EQ(asked_at(angle), kNothing) << factor << " at " << angle;
  }
}

TEST_F(PowerRequest, DefaultFactorIsASingleAndTheProductADouble) {
  static_assert(double{0.0018F} * 150.0 != 0.0018 * 150.0);
  static_assert(double{0.0018F} * 150.0 != double{0.0018F * 150.0F});
  light_->power_usage_factor = make_light(LED_TYPE_BASE)->power_usage_factor;
  shape({row(0, {100, 50})});
  EXPECT_EQ(asked(), watts(double{0.0018F} * 150.0));
}

TEST_F(PowerRequest, SumMayBeBeyondAnInt) {
  constexpr int kMost = std::numeric_limits<int>::max();
  light_->power_usage_factor = 1.0F;
  shape({row(0, {kMost, kMost})});
  EXPECT_EQ(asked(), watts(2.0 * kMost));
}

TEST_F(PowerRequest, GrantsChangeNothingAboutIt) {
  shape({row(0, {40, 80}), row(100, {90, 20})});
  light_->led_intensities = g_new0(gint, 2);
  for (const double grant : {0.0, 1.0, 1000.0}) {
    led_base_set_power_intensity(light_.get(), grant);
    EXPECT_EQ(asked_at(50), watts(60.0)) << grant;
  }
}

TEST_F(PowerRequest, FactorBelowZeroAsksInModeOff) {
  light_->power_usage_factor = -0.5F;
  shape({row(0, {40, 80})});
  EXPECT_EQ(asked(), request(0, "off", -60.0));
}

TEST_F(PowerRequest, IsNotMadeByALightWithoutPowerRequests) {
  light_->use_power_request = FALSE;
  for (const int on : {0, 1}) {
    light_->light_on = on;
    led_base_request_power(light_.get());
  }
  shape({row(0, {40, 80})});
  led_base_request_power(light_.get());
  led_base_set_intensity(light_.get(), 50);
  wattd_.settle();
  EXPECT_THAT(wattd_.calls(), IsEmpty());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PowerRequest, IsNotMadeByAClassWithoutOne) {
  const ChangedSlots slots{light_.get()};
  slots->request_power = nullptr;
  led_base_request_power(light_.get());
  wattd_.settle();
  EXPECT_THAT(wattd_.calls(), IsEmpty());
}

TEST_F(PowerRequest, FollowsEveryNewIntensity) {
  shape({row(0, {40, 80})});
  for (const int intensity : {100, 50, 0})
    led_base_set_intensity(light_.get(), intensity);
  wattd_.settle();
  EXPECT_THAT(wattd_.calls(), ElementsAre(watts(60.0), watts(30.0), kNothing));
}

}  // namespace
