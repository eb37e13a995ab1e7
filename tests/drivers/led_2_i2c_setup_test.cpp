// Setup of the two-channel light.

#include "support/mcu_lenient_mark_tests.h"
#include "support/mcu_setup_tests.h"
#include "support/mcu_two_sensor_tests.h"
#include "support/two_channels_fixture.h"

namespace {

INSTANTIATE_TYPED_TEST_SUITE_P(Led2I2c, McuSetup, TwoChannels);
INSTANTIATE_TYPED_TEST_SUITE_P(Led2I2c, McuAsALight, TwoChannels);
INSTANTIATE_TYPED_TEST_SUITE_P(Led2I2c, McuLenientMarks, TwoChannels);
INSTANTIATE_TYPED_TEST_SUITE_P(Led2I2c, McuTwoSensorSettings, TwoChannels);

class Led2I2cSetup : public McuSetup<TwoChannels> {};

TEST_F(Led2I2cSetup, AsksForNoOptics) {
  EXPECT_EQ(outcome(), kDone);
  EXPECT_THAT(fake_bootblock().asked, testing::IsEmpty());
}

TEST_F(Led2I2cSetup, MissingLedCountIsToldAndNone) {
  write_file(kIllumination, "[info]\n[0]\n[100]\n");
  EXPECT_EQ(outcome(), kDone);
  EXPECT_EQ(light_->nbr_of_leds, 0);
  EXPECT_THAT(log_.lines(),
              testing::ElementsAre(Line{LOG_ERR,
                                        "Failed to get number of leds: Key file does not have key “leds” "
                                        "in group “info”"}));
}

TEST_F(Led2I2cSetup, OddTablesAreToldAndLoaded) {
  write_file(kIllumination, "[info]\nleds=2\n[50]\n0=0;0;\n30=1;2;3;\n");
  EXPECT_EQ(outcome(), kDone);
  EXPECT_EQ(log_.lines(), errors({"The first angle in illumination.conf should always be 0",
                                  "The last angle in illumination.conf should always be 100",
                                  "Wrong number of leds in illumination.conf for intensity 30"}));
  EXPECT_TRUE(has_table(light_));
}

}  // namespace
