#include "platform/status_cache.h"

#include <gtest/gtest.h>

namespace {

constexpr float kUntouched = -9999.0F;

int read_group(const char *group, ScItem item, int flags = 0) {
  ScItem items[] = {item, {nullptr, 0, nullptr, 0}};
  return sc_get_group(group, items, flags);
}

class UnknownGroup : public testing::TestWithParam<const char *> {};

TEST_P(UnknownGroup, IsNotRead) {
  float celsius = kUntouched;
  EXPECT_EQ(read_group(GetParam(), {"CELSIUS", sizeof celsius, &celsius, 2}), 0);
  EXPECT_EQ(celsius, kUntouched);
}

INSTANTIATE_TEST_SUITE_P(StatusCache, UnknownGroup,
                         testing::Values("", "HUMIDITY_0", "TEMPERATURE", "TEMPERATURE_", "TEMPERATURE_x",
                                         "TEMPERATURE_0x0", "TEMPERATURE_00", "TEMPERATURE_-1",
                                         "TEMPERATURE_+1", "TEMPERATURE_ 1", "TEMPERATURE_1 ",
                                         "TEMPERATURE_1/../thermal_zone0", "TEMPERATURE_99999999999",
                                         "temperature_0", " TEMPERATURE_0"));

TEST(StatusCache, DoesNotReadASensorThatIsNotThere) {
  float celsius = kUntouched;
  EXPECT_EQ(read_group("TEMPERATURE_2147483647", {"CELSIUS", sizeof celsius, &celsius, 2}), 0);
  EXPECT_EQ(celsius, kUntouched);
}

}  // namespace
