// How a fisheye camera's light is kept cool.

#include <limits>

#include "support/fisheye_fixture.h"
#include "support/milliwatt_regulator_tests.h"

namespace {

/// Reduces by its grant.
class HotFisheye : public FisheyeLight {
 protected:
  static constexpr double kReference = 2000.0;
  static inline const std::string kUnreadableSensor =
      "update_temperature: unable to read temperature from sensor ";
  static inline const std::vector<std::string> kBeginning{};

  static std::string verdict(double budget, double reduction, double temperature) {
    g_autofree gchar *text =
        g_strdup_printf("total_power=%.2f power_reduce = %.2f, temp = %.2f", budget, reduction, temperature);
    return text;
  }

  static bool is_about_levels(const Line &line) { return line.text.starts_with("activate_light"); }

  static std::vector<std::string> half_light() { return levels({750, 250}); }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Fisheye, MilliwattRegulator, HotFisheye);

using FisheyeRegulator = MilliwattRegulator<HotFisheye>;

TEST_F(FisheyeRegulator, TellsOfTheReductionBeforeItRewritesTheLight) {
  in_child([this] {
    heat_all(55.0);
    tick();
    EXPECT_EQ(log_.lines(), prints({"total_power=2000.00 power_reduce = 1000.00, temp = 55.00",
                                    "activate_light: total_power:2000.00 power_reduce:1000.00",
                                    "activate_light: led0: 750 (0.75)", "activate_light: led1: 250 (0.25)"}));
    attribute_writes().failures[led_file(0)] = {EIO};
    tick();
    EXPECT_EQ(log_.lines().front().text, "total_power=2000.00 power_reduce = 1000.00, temp = 55.00");
    EXPECT_EQ(log_.lines().at(3).text, "activate_light: write failure to led 0");
  });
}

TEST_F(FisheyeRegulator, ReducesByItsGrantWhateverItsIntensity) {
  in_child([this] {
    heat_all(55.0);
    light_->intensity = 10;
    light_->power_intensity = 0.6;
    const auto said = tick();
    EXPECT_EQ(said, at(55.0, {}, 600.0));
    EXPECT_EQ(light_->power_reduce, 300.0);

    light_->intensity = 0;
    light_->power_intensity = 1.0;
    const auto next = tick();
    EXPECT_EQ(next, at(55.0, {}, 1000.0));
  });
}

TEST_F(FisheyeRegulator, HasNothingToReduceWithoutAGrant) {
  in_child([this] {
    heat_all(59.0);
    light_->power_intensity = 0.0;
    const auto said = tick();
    EXPECT_EQ(said, prints({"total_power=0.00 power_reduce = 0.00, temp = 59.00"}));
    EXPECT_EQ(light_->power_reduce, 0.0);
    EXPECT_EQ(written(), levels({0, 0}));
  });
}

TEST_F(FisheyeRegulator, CannotBeDisabled) {
  in_child([this] {
    write_dimming("enabled=false\nsample_time=5\nk_p=0.1\nk_i=0\nk_d=0\nref_temp=60\n");
    light_ = hot_light();
    thermal_zones::heat(1, 55.0);
    const auto said = tick();
    EXPECT_EQ(said, at(55.0));
  });
}

/// A grant that makes no sense, and what becomes of it.
struct HostileGrant {
  const char *name;
  double watts;
  double milliwatts;      ///< for which it is taken
  double next_reduction;  ///< of the tick after it, by a grant of 2 W at 66 degrees
};

void PrintTo(const HostileGrant &grant, std::ostream *stream) { *stream << grant.name; }

class FisheyeUnder : public FisheyeRegulator, public testing::WithParamInterface<HostileGrant> {};

TEST_P(FisheyeUnder, ShinesAtOnceWithTheGrantThatFollows) {
  in_child([this] {
    write_dimming("sample_time=8\nk_p=0.1\nk_i=0.0125\nk_d=0\nref_temp=60\n");
    light_ = hot_light();
    thermal_zones::heat(1, 50.0);
    led_base_set_power_intensity(light_.get(), GetParam().watts);
    const auto said = tick();
    EXPECT_EQ(said, at(50.0, {}, GetParam().milliwatts));

    written();
    led_base_set_power_intensity(light_.get(), 2.0);
    EXPECT_EQ(written(), levels({1000, 500}));

    thermal_zones::heat(1, 130.0);
    tick();
    EXPECT_NEAR(light_->power_reduce, GetParam().next_reduction, 1e-9);
  });
}

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// P = -6 x 0.1. I = 8 s x 0.0125 x 10, but 1 - P after an output of more than there is now.
INSTANTIATE_TEST_SUITE_P(Grants, FisheyeUnder,
                         testing::Values(HostileGrant{"NaN", std::numeric_limits<double>::quiet_NaN(), 0.0,
                                                      1200.0},
                                         HostileGrant{"Negative", -2.0, 0.0, 1200.0},
                                         HostileGrant{"NegativeInfinity", -kInfinity, 0.0, 1200.0},
                                         HostileGrant{"Infinity", kInfinity, G_MAXINT, 0.0},
                                         HostileGrant{"Huge", 1e300, G_MAXINT, 0.0}),
                         [](const auto &tested) { return tested.param.name; });

}  // namespace
