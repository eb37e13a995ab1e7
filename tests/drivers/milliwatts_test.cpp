// What lights ask for whose intensities are milliwatts.

#include "drivers/milliwatts.h"

#include <limits>
#include <utility>
#include <vector>

#include "drivers/led_bl.h"
#include "drivers/led_fisheye_i2c.h"
#include "support/power_client_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Line = SyslogCapture::Line;

class RequestedMilliwatts : public PowerClient {
 protected:
  /// A lit light of @p type with these intensities, and a power daemon that is up.
  void light_up(GType type, const std::vector<gint> &intensities) {
    light_ = make_light(type, static_cast<int>(intensities.size()));
    std::copy(intensities.begin(), intensities.end(), light_->manual_intensities);
    light_->individual_intensity_support = TRUE;
    light_->intensity = std::numeric_limits<gint>::max();
    light_->light_on = 1;
    wattd_.come_up();
    power_client_connect(light_.get());
    log_.clear();
  }

  /// The requests that the light makes now.
  std::vector<std::string> asked() {
    const auto before = static_cast<std::ptrdiff_t>(wattd_.calls().size());
    led_base_request_power(light_.get());
    wattd_.settle();
    const auto calls = wattd_.calls();
    return {calls.begin() + before, calls.end()};
  }

  static std::string watts(double watts) { return request(0, "normal", watts); }
  static inline const std::string kNothing = request(0, "off", 0.0);
};

TEST_F(RequestedMilliwatts, AreThoseOfEachLed) {
  light_up(LED_TYPE_BL, {600, 0, 200});
  light_->intensity = 500;
  EXPECT_THAT(requested_milliwatts(light_.get()), ElementsAre(500.0, 0.0, 200.0));
  light_->individual_intensity_support = FALSE;
  EXPECT_THAT(requested_milliwatts(light_.get()), ElementsAre(500.0, 500.0, 500.0));
  light_up(LED_TYPE_BL, {});
  EXPECT_THAT(requested_milliwatts(light_.get()), IsEmpty());
}

TEST(GrantedMilliwatts, AreTheWattsOfTheGrant) {
  const auto light = make_light(LED_TYPE_FISHEYE_I2C);
  for (const auto &[watts, milliwatts] :
       {std::pair{0.0, 0.0}, {0.0005, 0.5}, {0.0625, 62.5}, {2.0, 2000.0}, {2'147'483.0, 2'147'483'000.0}}) {
    light->power_intensity = watts;
    EXPECT_DOUBLE_EQ(granted_milliwatts(light.get()), milliwatts);
  }
}

TEST(GrantedMilliwatts, AreBetweenNothingAndTheMostAnIntHolds) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();
  const auto light = make_light(LED_TYPE_FISHEYE_I2C);
  for (const double watts : {-0.0, -0.001, -2.0, -1e300, -kInfinity, kNotANumber}) {
    light->power_intensity = watts;
    EXPECT_EQ(granted_milliwatts(light.get()), 0.0) << watts;
  }
  for (const double watts : {2'147'483.648, 1e300, std::numeric_limits<double>::max(), kInfinity}) {
    light->power_intensity = watts;
    EXPECT_EQ(granted_milliwatts(light.get()), double{G_MAXINT}) << watts;
  }
}

class RequestedMilliwattsOf : public RequestedMilliwatts, public testing::WithParamInterface<GType (*)()> {
 protected:
  void light_up(const std::vector<gint> &intensities) {
    RequestedMilliwatts::light_up(GetParam()(), intensities);
  }
};

TEST_P(RequestedMilliwattsOf, ALightAreAskedForInWatts) {
  light_up({600, 200});
  EXPECT_THAT(asked(), ElementsAre(watts(0.8)));
  EXPECT_THAT(log_.lines(), IsEmpty());
  light_->manual_intensities[1] = 1;
  EXPECT_THAT(asked(), ElementsAre(watts(0.601)));
}

TEST_P(RequestedMilliwattsOf, ALightDoNotDependOnWhatItHas) {
  light_up({600, 200});
  light_->power_intensity = 0.1;
  light_->power_reduce = 500.0;
  light_->intensity_high = 100;
  EXPECT_THAT(asked(), ElementsAre(watts(0.8)));
}

TEST_P(RequestedMilliwattsOf, ALightAreRememberedInWatts) {
  light_up({600, 207});
  asked();
  EXPECT_EQ(light_->requested_power, 0.807F);
  light_->manual_intensities[1] = 0;
  asked();
  EXPECT_EQ(light_->requested_power, 0.6F);
  light_->light_on = 0;
  asked();
  EXPECT_EQ(light_->requested_power, 0.6F) << "those of the light when it was lit";
}

TEST_P(RequestedMilliwattsOf, ALightArePrinted) {
  light_up({600, 207});
  BEAMD_DEBUG_FLAG = 1;
  asked();
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_INFO, "request_power=0.81W"}, Line{LOG_INFO, "Requesting power 0.81"}));
}

TEST_P(RequestedMilliwattsOf, ADarkLightAreNone) {
  light_up({600, 200});
  light_->light_on = 0;
  BEAMD_DEBUG_FLAG = 1;
  EXPECT_THAT(asked(), ElementsAre(kNothing));
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "Requesting power 0.00"}));
}

TEST_P(RequestedMilliwattsOf, LedsThatWantNothingAreNone) {
  light_up({0, 0});
  EXPECT_THAT(asked(), ElementsAre(kNothing));
  light_up({});
  EXPECT_THAT(asked(), ElementsAre(kNothing));
}

TEST_P(RequestedMilliwattsOf, ALightMayBeMoreThanAnIntHolds) {
  constexpr gint kMost = std::numeric_limits<gint>::max();
  light_up({kMost, kMost, kMost});
  EXPECT_THAT(asked(), ElementsAre(watts(6442450.941)));
}

TEST_P(RequestedMilliwattsOf, ALightAreNotAskedForWhenItDoesWithout) {
  light_up({600, 200});
  light_->use_power_request = FALSE;
  EXPECT_THAT(asked(), IsEmpty());
}

TEST_P(RequestedMilliwattsOf, ALightAreNotAskedForWithoutPowerDaemon) {
  light_up({600, 200});
  let_daemon_go_down();
  EXPECT_THAT(asked(), IsEmpty());
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "Can not request at wattd: wattd is down"}));
}

INSTANTIATE_TEST_SUITE_P(EachClass, RequestedMilliwattsOf,
                         testing::Values(led_bl_get_type, led_fisheye_i2c_get_type),
                         [](const auto &tested) { return std::string{g_type_name(tested.param())}; });

TEST_F(RequestedMilliwatts, OfBacklightsNeedALightThatIsOnAndNothingElse) {
  light_up(LED_TYPE_BL, {600, 200});
  light_->light_on = 2;
  EXPECT_THAT(asked(), ElementsAre(kNothing));
}

TEST_F(RequestedMilliwatts, OfAFisheyeNeedALightThatIsNotOff) {
  light_up(LED_TYPE_FISHEYE_I2C, {600, 200});
  light_->light_on = 2;
  EXPECT_THAT(asked(), ElementsAre(watts(0.8)));
}

}  // namespace
