// The power that the single-channel light asks for.

#include "drivers/led_1_i2c.h"
#include "support/power_client_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Led1I2cPower : public PowerClient {
 protected:
  Led1I2cPower() {
    light_ = make_light(LED_TYPE_1_I2C);
    light_->intensity = 100;
    light_->power_usage_factor = 0.02F;
    wattd_.come_up();
    power_client_connect(light_.get());
  }

  std::vector<std::string> requests() {
    led_base_request_power(light_.get());
    wattd_.settle();
    return wattd_.calls();
  }
};

TEST_F(Led1I2cPower, IsRequestedForTheIntensityWhileTheLightIsOn) {
  light_->light_on = 1;
  EXPECT_THAT(requests(), ElementsAre(request(0, "normal", 2.0)));
  EXPECT_EQ(light_->requested_power, 2.0F);
}

TEST_F(Led1I2cPower, IsRequestedInSinglePrecision) {
  light_->light_on = 1;
  light_->intensity = 60;
  EXPECT_THAT(requests(), ElementsAre(request(0, "normal", gdouble{60.0F * 0.02F})));
  EXPECT_EQ(light_->requested_power, 60.0F * 0.02F);
}

TEST_F(Led1I2cPower, IsRequestedWhateverIsGrantedAndReduced) {
  light_->light_on = 1;
  light_->power_intensity = 0.5;
  light_->power_reduce = 70.0;
  led_base_recalculate_angle_of_illumination(light_.get(), 0);
  EXPECT_THAT(requests(), ElementsAre(request(0, "normal", 2.0)));
}

TEST_F(Led1I2cPower, IsGivenBackWhenTheLightIsOffWhileTheLastRequestIsKept) {
  light_->light_on = 1;
  requests();
  light_->light_on = 0;
  EXPECT_THAT(requests(), ElementsAre(request(0, "normal", 2.0), request(0, "off", 0.0)));
  EXPECT_EQ(light_->requested_power, 2.0F);
}

TEST_F(Led1I2cPower, OfALightWithoutIntensityIsNone) {
  light_->light_on = 1;
  light_->intensity = 0;
  light_->requested_power = 7.0F;
  EXPECT_THAT(requests(), ElementsAre(request(0, "off", 0.0)));
  EXPECT_EQ(light_->requested_power, 0.0F);
}

TEST_F(Led1I2cPower, IsNotRequestedWhenThatIsSwitchedOff) {
  light_->light_on = 1;
  light_->use_power_request = FALSE;
  EXPECT_THAT(requests(), IsEmpty());
}

}  // namespace
