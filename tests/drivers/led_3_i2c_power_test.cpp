// The power that the light of three outputs asks for.

#include "drivers/led_3_i2c.h"

#include <limits>

#include "support/fake_bootblock.h"
#include "support/light_files.h"
#include "support/power_client_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Led3I2cPower : public PowerClient {
 protected:
  Led3I2cPower() {
    fake_bootblock() = {};
    write_file("/etc/beamd/dimming.conf", "");
    write_file("/etc/beamd/illumination.conf",
               "[info]\nangle_div=50\nintensity_div=50\n"
               "[0]\n0=4;2;\n50=200;100;\n100=400;200;\n[50]\n0=5;3;\n50=333;35;\n100=500;300;\n");
    for (const char *path : {"/sys/light/led0", "/sys/light/led1", "/sys/light/led2"})
      write_file(path, "");

    light_ = make_light(LED_TYPE_3_I2C, 2);
    light_->basepath = g_strdup("/sys/light");
    EXPECT_TRUE(LED_BASE_GET_CLASS(light_.get())->setup(light_.get(), nullptr));
    light_->intensity = 100;
    light_->light_on = 1;
    wattd_.come_up();
    power_client_connect(light_.get());
  }

  /// The requests so far, after one more.
  std::vector<std::string> requests() {
    led_base_request_power(light_.get());
    wattd_.settle();
    return wattd_.calls();
  }

  /// A request of what is computed as a double and kept as a single.
  static std::string watts_for(int units) {
    return request(0, "normal", static_cast<gfloat>(units * 0.0018));
  }
};

TEST_F(Led3I2cPower, IsThatOfBothOuterOutputsAndTheInnerOne) {
  EXPECT_THAT(requests(), ElementsAre(watts_for(200 + 2 * 400)));
  EXPECT_EQ(light_->requested_power, 1.8F);
}

TEST_F(Led3I2cPower, IsAskedForInSinglePrecision) {
  static_assert(gdouble{static_cast<gfloat>(701 * 0.0018)} != 701 * 0.0018);
  static_assert(static_cast<gfloat>(701 * 0.0018) != 701.0F * 0.0018F);
  light_->angle_of_illumination = 50;
  light_->intensity = 50;
  EXPECT_THAT(requests(), ElementsAre(watts_for(35 + 2 * 333)));
  EXPECT_EQ(light_->requested_power, static_cast<gfloat>(701 * 0.0018));
}

TEST_F(Led3I2cPower, DependsOnTheAngleOfTheLightAndNotOnTheLastOneCalculated) {
  led_base_recalculate_angle_of_illumination(light_.get(), 50);
  EXPECT_THAT(requests(), ElementsAre(watts_for(1000)));
  light_->angle_of_illumination = 60;
  led_base_recalculate_angle_of_illumination(light_.get(), 0);
  EXPECT_THAT(requests(), ElementsAre(watts_for(1000), watts_for(1300)));
}

TEST_F(Led3I2cPower, DependsOnTheIntensityOfTheLightAndNotOnThoseOfItsLeds) {
  light_->individual_intensity_support = TRUE;
  EXPECT_THAT(requests(), ElementsAre(watts_for(1000)));
}

TEST_F(Led3I2cPower, IsAskedForWhateverIsGrantedAndReduced) {
  light_->power_intensity = 0.1;
  light_->power_reduce = 700.0;
  led_base_recalculate_angle_of_illumination(light_.get(), 0);
  EXPECT_THAT(requests(), ElementsAre(watts_for(1000)));
}

TEST_F(Led3I2cPower, BeyondTheTableIsThatOfItsLastCell) {
  light_->angle_of_illumination = 1000;
  light_->intensity = std::numeric_limits<gint>::max();
  EXPECT_THAT(requests(), ElementsAre(watts_for(1300)));
}

TEST_F(Led3I2cPower, IsGivenBackWhenTheLightIsOffWhileTheLastRequestIsKept) {
  requests();
  light_->light_on = 0;
  EXPECT_THAT(requests(), ElementsAre(watts_for(1000), request(0, "off", 0.0)));
  EXPECT_EQ(light_->requested_power, 1.8F);
}

TEST_F(Led3I2cPower, OfALightWithoutATableIsNone) {
  light_ = make_light(LED_TYPE_3_I2C, 2);
  light_->light_on = 1;
  light_->intensity = 100;
  light_->requested_power = 7.0F;
  power_client_connect(light_.get());
  EXPECT_THAT(requests(), ElementsAre(request(0, "off", 0.0)));
  EXPECT_EQ(light_->requested_power, 0.0F);
}

TEST_F(Led3I2cPower, IsNotAskedForWhenThatIsSwitchedOff) {
  light_->use_power_request = FALSE;
  EXPECT_THAT(requests(), IsEmpty());
}

}  // namespace
