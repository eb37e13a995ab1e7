// How a light of backlights is kept cool.

#include "support/backlight_fixture.h"
#include "support/milliwatt_regulator_tests.h"

namespace {

using testing::IsEmpty;

/// Reduces by its intensity.
class HotBacklight : public BacklightLight {
 protected:
  static constexpr double kReference = 1000.0;
  static inline const std::string kUnreadableSensor =
      "update_temperature: unable to read temperature from             sensor ";
  static inline const std::vector<std::string> kBeginning{"Regulator enabled"};

  static std::string verdict(double, double reduction, double temperature) {
    g_autofree gchar *text = g_strdup_printf("power_reduce = %.2f, temp = %.2f", reduction, temperature);
    return text;
  }

  static bool is_about_levels(const Line &line) { return line.text.starts_with("led"); }

  /// 700 mW are left: levels 525 and 175.
  static std::vector<std::string> half_light() { return brightness_of_both(133, 44); }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Backlight, MilliwattRegulator, HotBacklight);

using BacklightRegulator = MilliwattRegulator<HotBacklight>;

TEST_F(BacklightRegulator, TellsOfTheReductionBeforeItRewritesTheLight) {
  in_child([this] {
    heat_all(55.0);
    attribute_writes().failures[led_file(0, "brightness")] = {EIO};
    tick();
    auto expected = prints({"Regulator enabled", "power_reduce = 500.00, temp = 55.00", "led0 525"});
    expected.push_back({LOG_ERR, "Write failure to led 0 (brightness)"});
    EXPECT_EQ(log_.lines(), expected);
  });
}

TEST_F(BacklightRegulator, LeavesAllAsItIsWithoutIntensity) {
  in_child([this] {
    thermal_zones::heat(1, 99.0);
    light_->intensity = 0;
    const auto said = tick();
    EXPECT_THAT(said, IsEmpty());
    expect_all_as_it_was();
    light_->intensity = 1000;
    heat_all(50.0);
    const auto next = tick();
    EXPECT_EQ(next, at(50.0)) << "the filters have not seen the 99 degrees";
  });
}

TEST_F(BacklightRegulator, ReducesByItsIntensityWhateverIsGranted) {
  in_child([this] {
    heat_all(55.0);
    light_->intensity = 600;
    light_->power_intensity = 50.0;
    const auto said = tick();
    EXPECT_EQ(said, at(55.0, {}, 600.0));
    EXPECT_EQ(light_->power_reduce, 300.0);
  });
}

class DisabledBacklightRegulator : public BacklightRegulator {
 protected:
  DisabledBacklightRegulator() {
    write_dimming("enabled=false\nsample_time=5\nk_p=0.1\nref_temp=60\n");
    light_ = hot_light();
    light_->power_reduce = 400.0;
    thermal_zones::heat(1, 99.0);
  }

  static inline const std::string kDisabled = "No power reduction. Regulator is disabled.";
};

TEST_F(DisabledBacklightRegulator, TakesNothingOff) {
  in_child([this] {
    tick();
    EXPECT_EQ(log_.lines(), prints({kDisabled, "led0 900", "led1 300"}));
    EXPECT_EQ(light_->power_reduce, 0.0);
    EXPECT_EQ(written(), brightness_of_both(229, 76));

    light_->intensity = 0;
    light_->power_reduce = 400.0;
    const auto next = tick();
    EXPECT_THAT(next, IsEmpty()) << "the intensity is looked at first";
    EXPECT_EQ(light_->power_reduce, 400.0);
  });
}

TEST_F(DisabledBacklightRegulator, RewritesALightThatIsOnAndNoOther) {
  in_child([this] {
    for (const gint on : {0, 2, -1}) {
      light_->light_on = on;
      light_->power_reduce = 400.0;
      const auto said = tick();
      EXPECT_EQ(said, prints({kDisabled})) << on;
      EXPECT_EQ(light_->power_reduce, 0.0) << on;
      EXPECT_THAT(written(), IsEmpty()) << on;
    }
  });
}

}  // namespace
