// Setup of the single-channel light.

#include "support/mcu_lenient_mark_tests.h"
#include "support/mcu_one_channel_fixture.h"
#include "support/mcu_setup_tests.h"

namespace {

INSTANTIATE_TYPED_TEST_SUITE_P(Led1I2c, McuSetup, OneChannel);
INSTANTIATE_TYPED_TEST_SUITE_P(Led1I2c, McuAsALight, OneChannel);
INSTANTIATE_TYPED_TEST_SUITE_P(Led1I2c, McuLenientMarks, OneChannel);

class Led1I2cSetup : public McuSetup<OneChannel> {};

TEST_F(Led1I2cSetup, WritesNothingToTheBoard) {
  write_file(files_[0], "42");
  EXPECT_EQ(outcome(), kDone);
  EXPECT_EQ(read_file(files_[0]), "42");
}

class Led1I2cAsALight : public McuAsALight<OneChannel> {};

TEST_F(Led1I2cAsALight, IsNoneWhenItsMarkIsEmpty) {
  write_file(kMark, "");
  EXPECT_FALSE(is_set_up());
  EXPECT_THAT(log_.lines(), testing::IsEmpty());
}

}  // namespace
