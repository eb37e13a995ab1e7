// The power that a light of attribute files asks for, and what it makes of a grant.

#include <limits>

#include "support/led_sysfs_fixture.h"
#include "support/power_client_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr gint kMost = std::numeric_limits<gint>::max();
constexpr gdouble kInfinity = std::numeric_limits<gdouble>::infinity();
constexpr gdouble kNotANumber = std::numeric_limits<gdouble>::quiet_NaN();
constexpr const char *kEqualRow = "[0]\n0=0;0;0;\n100=2000;2000;0;\n";

/// What the power daemon hears.
std::string asked(const char *mode, double watts) { return request(0, mode, watts); }

class SysfsPower : public SysfsLight {
 protected:
  static void SetUpTestSuite() { g_setenv("DBUS_SYSTEM_BUS_ADDRESS", private_bus_address(), TRUE); }

  SysfsPower() {
    set_up_with(kEqualRow);
    wattd_.come_up();
    power_client_connect(light_.get());
    light_->use_power_request = TRUE;
    light_->power_usage_factor = 0.5F;
    light_->intensity = 100;
  }

  std::vector<std::string> requests() {
    led_base_request_power(light_.get());
    wattd_.settle();
    return wattd_.calls();
  }

  /// Makes the powers with that grant.
  void grant(gdouble watts) const {
    light_->power_intensity = watts;
    calculate(light_->intensity, light_->angle_of_illumination);
  }

  PowerDaemon wattd_;
};

TEST_F(SysfsPower, IsAskedForWhileTheLightIsOn) {
  light_->light_on = 1;
  EXPECT_THAT(requests(), ElementsAre(asked("normal", 2000.0)));
  EXPECT_EQ(light_->requested_power, 2000.0F);
}

TEST_F(SysfsPower, IsAskedForWhatIsCalculatedThen) {
  light_->light_on = 1;
  calculate(100, 0);
  light_->intensity = 25;
  EXPECT_THAT(requests(), ElementsAre(asked("normal", 500.0)));
  light_->power_intensity = kInfinity;
  EXPECT_THAT(activated(), ElementsAre("500", "500", "0"));
}

TEST_F(SysfsPower, IsAskedForInSinglePrecision) {
  light_->light_on = 1;
  light_->power_usage_factor = 0.0018F;
  EXPECT_THAT(requests(), ElementsAre(asked("normal", gdouble{4000.0F * 0.0018F})));
  EXPECT_NE(gdouble{4000.0F * 0.0018F}, 4000.0 * gdouble{0.0018F});
  EXPECT_EQ(light_->requested_power, 4000.0F * 0.0018F);
}

TEST_F(SysfsPower, IsAskedForWhateverIsGrantedAndReduced) {
  light_->light_on = 1;
  light_->power_intensity = 10.0;
  light_->power_reduce = 3000.0;
  activated();
  EXPECT_THAT(requests(), ElementsAre(asked("normal", 2000.0)));
}

TEST_F(SysfsPower, IsGivenBackWhenTheLightIsOffWhileTheLastRequestIsKept) {
  light_->light_on = 1;
  requests();
  light_->light_on = 0;
  EXPECT_THAT(requests(), ElementsAre(asked("normal", 2000.0), asked("off", 0.0)));
  EXPECT_EQ(light_->requested_power, 2000.0F);
}

TEST_F(SysfsPower, IsCalculatedAlsoWhenTheLightIsOff) {
  EXPECT_THAT(requests(), ElementsAre(asked("off", 0.0)));
  light_->power_intensity = kInfinity;
  EXPECT_THAT(activated(), ElementsAre("2000", "2000", "0"));
}

TEST_F(SysfsPower, OfALightWithoutIntensityIsNone) {
  light_->light_on = 1;
  light_->intensity = 0;
  light_->requested_power = 7.0F;
  EXPECT_THAT(requests(), ElementsAre(asked("off", 0.0)));
  EXPECT_EQ(light_->requested_power, 0.0F);
}

TEST_F(SysfsPower, IsNotAskedForWhenThatIsSwitchedOff) {
  light_->light_on = 1;
  light_->use_power_request = FALSE;
  EXPECT_THAT(requests(), IsEmpty());
  LED_BASE_GET_CLASS(light_.get())->request_power(light_.get());
  EXPECT_THAT(requests(), IsEmpty());
  EXPECT_THAT(activated(), ElementsAre("0", "0", "0")) << "nothing was calculated";
}

TEST_F(SysfsPower, GrantOf1500AtHalfAWattLeaves3000) {
  grant(1500.0);
  EXPECT_THAT(activated(), ElementsAre("1500", "1500", "0"));
}

TEST_F(SysfsPower, EnoughIsNotScaled) {
  for (const gdouble watts : {2000.0, 2000.4, 1e300, kInfinity}) {
    grant(watts);
    EXPECT_THAT(activated(), ElementsAre("2000", "2000", "0")) << watts;
  }
}

TEST_F(SysfsPower, AllowanceLosesItsFraction) {
  grant(1999.99);  // 3999.98 mW
  EXPECT_THAT(activated(), ElementsAre("1999", "1999", "0"));
  grant(0.49);
  EXPECT_THAT(activated(), ElementsAre("0", "0", "0"));
}

TEST_F(SysfsPower, NoGrantIsDarkness) {
  for (const gdouble watts : {0.0, -0.0, -100.0, -kInfinity, kNotANumber}) {
    grant(watts);
    EXPECT_THAT(activated(), ElementsAre("0", "0", "0")) << watts;
  }
}

TEST_F(SysfsPower, StaysScaledUntilItIsCalculatedAnew) {
  grant(1500.0);
  EXPECT_THAT(activated(), ElementsAre("1500", "1500", "0"));
  light_->power_intensity = 2000.0;
  EXPECT_THAT(activated(), ElementsAre("1500", "1500", "0"));
  grant(2000.0);
  EXPECT_THAT(activated(), ElementsAre("2000", "2000", "0"));
}

TEST_F(SysfsPower, IsScaledAlsoWhenTheLightIsSwitchedOff) {
  grant(1500.0);
  EXPECT_THAT(activated(FALSE), ElementsAre("0", "0", "0"));
  light_->power_intensity = kInfinity;
  EXPECT_THAT(activated(), ElementsAre("1500", "1500", "0"));
}

TEST_F(SysfsPower, IsScaledBeforeItIsReduced) {
  grant(1500.0);
  light_->power_reduce = 1000.0;
  EXPECT_THAT(activated(), ElementsAre("1000", "1000", "0"));
}

TEST_F(SysfsPower, IsNotScaledWithoutPowerRequests) {
  light_->use_power_request = FALSE;
  grant(0.0);
  EXPECT_THAT(activated(), ElementsAre("2000", "2000", "0"));
}

TEST_F(SysfsPower, OddFactorsDoNoHarm) {
  for (const gfloat factor :
       {0.0F, -0.5F, std::numeric_limits<gfloat>::quiet_NaN(), std::numeric_limits<gfloat>::infinity()}) {
    light_->power_usage_factor = factor;
    for (const gdouble watts : {0.0, 1500.0, -1500.0, kInfinity}) {
      grant(watts);
      EXPECT_THAT(activated(), testing::SizeIs(3)) << factor << ", " << watts;
    }
  }
}

TEST_F(SysfsPower, GrantIsToldWhileLit) {
  BEAMD_DEBUG_FLAG = 1;
  grant(1500.0);
  activated();
  EXPECT_THAT(log_.lines(), IsEmpty());
  light_->light_on = 1;
  grant(1000.0);
  log_.clear();
  activated();
  EXPECT_EQ(log_.lines(), prints({"Wattd lowered led:0 to 1000mW", "Wattd lowered led:1 to 1000mW",
                                  "Wattd lowered led:2 to 0mW"}));
  log_.clear();
  activated();
  EXPECT_THAT(log_.lines(), IsEmpty()) << "it is low enough already";
}

TEST_F(SysfsPower, LowerGrantReachesALitLightAtOnce) {
  light_->light_on = 1;
  led_base_set_power_intensity(light_.get(), 2000.0);
  EXPECT_THAT(texts(), ElementsAre("2000", "2000", "0"));
  led_base_set_power_intensity(light_.get(), 1500.0);
  EXPECT_THAT(texts(), ElementsAre("1500", "1500", "0"));
  led_base_set_power_intensity(light_.get(), 2000.0);
  EXPECT_THAT(texts(), ElementsAre("2000", "2000", "0"));
}

TEST_F(SysfsPower, HugePowersAreSharedOut) {
  light_ = new_light();
  set_up_with("[0]\n0=0;0;0;\n100=2147483647;2147483647;2147483647;\n");
  light_->use_power_request = TRUE;
  light_->power_usage_factor = 1.0F;
  light_->intensity = 100;
  grant(3000.0);
  EXPECT_THAT(activated(), ElementsAre("1000", "1000", "1000"));
  grant(kInfinity);
  EXPECT_THAT(activated(), testing::Each(std::to_string(kMost / 3)));
}

}  // namespace
