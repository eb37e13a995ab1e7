// The power that the single-channel light asks for.

#include "drivers/led_1_i2c.h"
#include "support/mcu_power_tests.h"

namespace {

using testing::ElementsAre;

struct AskingChannel {
  static constexpr gfloat kWatts = 2.0F;

  static LightPointer new_light() {
    auto light = make_light(LED_TYPE_1_I2C);
    light->intensity = 100;
    light->power_usage_factor = 0.02F;
    return light;
  }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Led1I2c, McuPower, AskingChannel);

class Led1I2cPower : public McuPower<AskingChannel> {};

TEST_F(Led1I2cPower, IsThatOfTheIntensityInSinglePrecision) {
  light_->intensity = 60;
  EXPECT_THAT(requests(), ElementsAre(request_for(60.0F * 0.02F)));
  EXPECT_EQ(light_->requested_power, 60.0F * 0.02F);
}

TEST_F(Led1I2cPower, OfALightWithoutIntensityIsNone) {
  light_->intensity = 0;
  light_->requested_power = 7.0F;
  EXPECT_THAT(requests(), ElementsAre(nothing()));
  EXPECT_EQ(light_->requested_power, 0.0F);
}

}  // namespace
