// The PWM light: its class, and what it writes to its channel and its GPIO lines to switch.

#include "support/class_slots.h"
#include "support/pwm_board_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Led1PwmClass, IsALightOfThisName) {
  EXPECT_STREQ(g_type_name(LED_TYPE_1_PWM), "Led_1_PWM");
  EXPECT_EQ(g_type_parent(LED_TYPE_1_PWM), LED_TYPE_BASE);
}

TEST(Led1PwmClass, FillsThreeSlotsAndEmptiesThree) {
  EXPECT_THAT(overridden_slots(LED_TYPE_1_PWM), ElementsAre(3, 4, 7, 8, 9, 14));
  const auto light = make_light(LED_TYPE_1_PWM);
  const auto *slots = LED_BASE_GET_CLASS(light.get());
  EXPECT_NE(slots->activate_light, nullptr);
  EXPECT_EQ(slots->get_current_angle_of_illumination, nullptr);
  EXPECT_NE(slots->setup, nullptr);
  EXPECT_EQ(slots->set_angle_of_illumination, nullptr);
  EXPECT_EQ(slots->recalculate_angle_of_illumination, nullptr);
  EXPECT_NE(slots->update_temperature, nullptr);
}

using Led1Pwm = ReadyPwmLight;

TEST_F(Led1Pwm, WorksWithThePwmAloneWithoutALine) {
  set_up_with_lines(0);
  light_->intensity = 30;
  EXPECT_TRUE(activate(light_, TRUE));
  EXPECT_THAT(written(), ElementsAre("/pwm1/duty_cycle=900", "/pwm1/period=5000", "/pwm1/enable=0",
                                     "/pwm1/enable=1", "/pwm1/enable=1"));
  EXPECT_TRUE(activate(light_, FALSE));
  EXPECT_THAT(written(), ElementsAre("/pwm1/duty_cycle=1200", "/pwm1/period=5000", "/pwm1/enable=0"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Led1Pwm, DrivesItsLinesLastWhenOnAndFirstWhenOff) {
  set_up_with_lines(2);
  light_->intensity = 30;
  EXPECT_TRUE(activate(light_, TRUE));
  EXPECT_THAT(written(),
              ElementsAre("/pwm1/duty_cycle=900", "/pwm1/period=5000", "/pwm1/enable=0", "/pwm1/enable=1",
                          "/pwm1/enable=1", "/ir_led_0_0/value=1", "/ir_led_0_1/value=1"));
  EXPECT_TRUE(activate(light_, FALSE));
  EXPECT_THAT(written(), ElementsAre("/ir_led_0_0/value=0", "/ir_led_0_1/value=0", "/pwm1/duty_cycle=1200",
                                     "/pwm1/period=5000", "/pwm1/enable=0"));
}

TEST_F(Led1Pwm, DrivesActiveLowLinesTheOtherWayRound) {
  make_gpio_line(0, 0, "1\n");
  set_up_with_lines(0);
  shine(30);
  EXPECT_TRUE(activate(light_, TRUE));
  EXPECT_EQ(written().back(), "/ir_led_0_0/value=0");
  EXPECT_TRUE(activate(light_, FALSE));
  EXPECT_EQ(written().front(), "/ir_led_0_0/value=1");
}

TEST_F(Led1Pwm, DrivesTheLinesOfItsOwnNumber) {
  light_->light_id = 4;
  make_gpio_line(0, 0);
  set_up_with_lines(1);
  EXPECT_TRUE(activate(light_, TRUE));
  EXPECT_EQ(written().back(), "/ir_led_4_0/value=1");
}

TEST_F(Led1Pwm, DrivesTheLinesThatWereThereAtSetup) {
  set_up_with_lines(1);
  make_gpio_line(0, 1);
  EXPECT_TRUE(activate(light_, TRUE));
  EXPECT_EQ(written().back(), "/ir_led_0_0/value=1");
}

TEST_F(Led1Pwm, RestartsForAnotherBrightnessOnly) {
  set_up_with_lines(0);
  shine(30);
  EXPECT_TRUE(activate(light_, TRUE));
  EXPECT_THAT(written(), ElementsAre("/pwm1/duty_cycle=900", "/pwm1/period=5000", "/pwm1/enable=1"));
  light_->intensity = 31;
  EXPECT_TRUE(activate(light_, TRUE));
  EXPECT_THAT(written(), ElementsAre("/pwm1/duty_cycle=890", "/pwm1/period=5000", "/pwm1/enable=0",
                                     "/pwm1/enable=1", "/pwm1/enable=1"));
}

TEST_F(Led1Pwm, RemembersItsBrightnessWhileItIsOff) {
  set_up_with_lines(0);
  shine(30);
  EXPECT_TRUE(activate(light_, FALSE));
  forget();
  EXPECT_TRUE(activate(light_, TRUE));
  EXPECT_THAT(written(), ElementsAre("/pwm1/duty_cycle=900", "/pwm1/period=5000", "/pwm1/enable=1"));
}

TEST_F(Led1Pwm, DoesNotRestartForTheBrightnessOfZeroThatItBeginsWith) {
  set_up_with_lines(0);
  light_->intensity = 0;
  EXPECT_TRUE(activate(light_, TRUE));
  EXPECT_THAT(written(), ElementsAre("/pwm1/duty_cycle=1200", "/pwm1/period=5000", "/pwm1/enable=1"));
}

TEST_F(Led1Pwm, SetupForgetsTheBrightness) {
  set_up_with_lines(0);
  shine(30);
  set_up_with_lines(0);
  EXPECT_TRUE(activate(light_, TRUE));
  EXPECT_THAT(written(), ElementsAre("/pwm1/duty_cycle=900", "/pwm1/period=5000", "/pwm1/enable=0",
                                     "/pwm1/enable=1", "/pwm1/enable=1"));
}

TEST_F(Led1Pwm, WritesDecimalTextWithoutALineEnd) {
  set_up_with_lines(0);
  for (const char *name : {"/pwm1/duty_cycle", "/pwm1/period", "/pwm1/enable"})
    write_file(chip_file(name), "");
  shine(50);
  EXPECT_EQ(read_file(chip_file("/pwm1/duty_cycle")), "700");
  EXPECT_EQ(read_file(chip_file("/pwm1/period")), "5000");
}

TEST_F(Led1Pwm, CutsTextsToSevenCharacters) {
  write_file(kPwm, "[pwm]\nld_period=123456789\nduty_high=1000\nduty_low=-12346678\n");
  set_up_with_lines(0);
  EXPECT_TRUE(activate(light_, FALSE));
  EXPECT_THAT(written(), ElementsAre("/pwm1/duty_cycle=-123456", "/pwm1/period=1234567", "/pwm1/enable=0"));
}

TEST_F(Led1Pwm, KeepsTextsOfSevenCharacters) {
  write_file(kPwm, "[pwm]\nld_period=7654321\nduty_high=1000\nduty_low=-124456\n");
  set_up_with_lines(0);
  EXPECT_TRUE(activate(light_, FALSE));
  EXPECT_THAT(written(), ElementsAre("/pwm1/duty_cycle=-123456", "/pwm1/period=7654321", "/pwm1/enable=0"));
}

TEST_F(Led1Pwm, TellsTheBrightnessOfDarkness) {
  set_up_with_lines(0);
  BEAMD_DEBUG_FLAG = 1;
  EXPECT_TRUE(activate(light_, FALSE));
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "brightness 0"}));
}

TEST_F(Led1Pwm, HasNoAngle) {
  set_up_with_lines(1);
  light_->light_on = 1;
  light_->angle_of_illumination = 40;
  led_base_set_angle_of_illumination(light_.get(), 70);
  led_base_recalculate_angle_of_illumination(light_.get(), 70);
  EXPECT_EQ(led_base_get_current_angle_of_illumination(light_.get()), -1);
  EXPECT_EQ(light_->angle_of_illumination, 40);
  EXPECT_EQ(light_->led_intensities, nullptr);
  EXPECT_THAT(written(), IsEmpty());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Led1Pwm, IsWrittenOnceForANewIntensityWhileItIsLit) {
  set_up_with_lines(0);
  led_base_set_intensity(light_.get(), 20);
  EXPECT_THAT(written(), IsEmpty());
  light_->light_on = 1;
  led_base_set_intensity(light_.get(), 30);
  EXPECT_THAT(written(), ElementsAre("/pwm1/duty_cycle=900", "/pwm1/period=5000", "/pwm1/enable=0",
                                     "/pwm1/enable=1", "/pwm1/enable=1"));
}

}  // namespace
