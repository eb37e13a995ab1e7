// The power that the light of three outputs asks for.

#include "drivers/led_3_i2c.h"

#include <limits>

#include "support/fake_bootblock.h"
#include "support/light_files.h"
#include "support/mcu_power_tests.h"

namespace {

using testing::ElementsAre;

/// What is computed as a double and kept as a single.
gfloat watts_of(int units) { return static_cast<gfloat>(units * 0.0018); }

struct AskingOutputs {
  static constexpr gfloat kWatts = 1.8F;  // for 400, 200 and 400

  static LightPointer new_light() {
    fake_bootblock() = {};
    write_file("/etc/beamd/dimming.conf", "");
    write_file("/etc/beamd/illumination.conf",
               "[info]\nangle_div=50\nintensity_div=50\n"
               "[0]\n0=4;2;\n50=200;100;\n100=400;200;\n[50]\n0=5;3;\n50=333;35;\n100=500;300;\n");
    for (const char *path : {"/sys/light/led0", "/sys/light/led1", "/sys/light/led2"})
      write_file(path, "");

    auto light = make_light(LED_TYPE_3_I2C, 2);
    light->basepath = g_strdup("/sys/light");
    EXPECT_TRUE(LED_BASE_GET_CLASS(light.get())->setup(light.get(), nullptr));
    light->intensity = 100;
    return light;
  }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Led3I2c, McuPower, AskingOutputs);

class Led3I2cPower : public McuPower<AskingOutputs> {
 protected:
  static std::string watts_for(int units) { return request_for(watts_of(units)); }
};

TEST_F(Led3I2cPower, IsAskedForInSinglePrecision) {
  static_assert(gdouble{static_cast<gfloat>(701 * 0.0018)} != 701 * 0.0018);
  static_assert(static_cast<gfloat>(701 * 0.0018) != 701.0F * 0.0018F);
  light_->angle_of_illumination = 50;
  light_->intensity = 50;
  EXPECT_THAT(requests(), ElementsAre(watts_for(35 + 2 * 333)));
  EXPECT_EQ(light_->requested_power, watts_of(701));
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

TEST_F(Led3I2cPower, BeyondTheTableIsThatOfItsLastCell) {
  light_->angle_of_illumination = 1000;
  light_->intensity = std::numeric_limits<gint>::max();
  EXPECT_THAT(requests(), ElementsAre(watts_for(1300)));
}

TEST_F(Led3I2cPower, OfALightWithoutATableIsNone) {
  auto light = make_light(LED_TYPE_3_I2C, 2);
  light->intensity = 100;
  light->requested_power = 7.0F;
  serve(std::move(light));
  EXPECT_THAT(requests(), ElementsAre(nothing()));
  EXPECT_EQ(light_->requested_power, 0.0F);
}

}  // namespace
