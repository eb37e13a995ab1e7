#include "beamctl/light.h"

#include <gtest/gtest.h>

#include "beamctl/failure.h"
#include "beamctl/light_values.h"

namespace {

TEST(ParseLight, TakesNamesAndNumbers) {
  EXPECT_EQ(parse_light("led0"), 0);
  EXPECT_EQ(parse_light("0"), 0);
  EXPECT_EQ(parse_light("led12"), 12);
  EXPECT_EQ(parse_light("2147483647"), 2147483647);
  for (const char *text : {"", "led", "led-1", "-1", "led00", "01", "LED0", "lamp", "led0 ", " 0", "led1x",
                           "ledled1", "2147483648"})
    EXPECT_EQ(parse_light(text), std::nullopt) << text;
}

TEST(ParseNumber, TakesAllOfAnInt) {
  EXPECT_EQ(parse_number("0"), 0);
  EXPECT_EQ(parse_number("-5"), -5);
  EXPECT_EQ(parse_number("-2147483648"), -2147483648LL);
  EXPECT_EQ(parse_number("2147483647"), 2147483647);
  for (const char *text :
       {"", "-", "+5", "5 ", " 5", "5%", "1.0", "1e2", "0x10", "2147483648", "-2147483649"})
    EXPECT_EQ(parse_number(text), std::nullopt) << text;
}

Variant parsed(const char *type, const char *text) {
  return Variant{g_variant_ref_sink(parse_value({"interface", "Name", type, true}, text))};
}

ExitCode failure_of(const char *type, const char *text) {
  try {
    parsed(type, text);
  } catch (const Failure &failure) {
    return failure.exit();
  }
  return kExitDone;
}

TEST(ParseValue, TakesWhatTheTypeCanHold) {
  for (const char *text : {"true", "yes", "on", "1"})
    EXPECT_TRUE(g_variant_get_boolean(parsed("b", text).get())) << text;
  for (const char *text : {"false", "no", "off", "0"})
    EXPECT_FALSE(g_variant_get_boolean(parsed("b", text).get())) << text;
  EXPECT_EQ(g_variant_get_int32(parsed("i", "-7").get()), -7);
}

TEST(ParseValue, RefusesAnythingElse) {
  EXPECT_EQ(failure_of("b", "True"), kExitUsage);
  EXPECT_EQ(failure_of("b", ""), kExitUsage);
  EXPECT_EQ(failure_of("i", "true"), kExitUsage);
  EXPECT_EQ(failure_of("d", "1.5"), kExitUsage);
  EXPECT_EQ(failure_of("no type", "1"), kExitUsage);
}

TEST(ValueText, IsUnderstoodAgain) {
  for (const char *text : {"true", "false"})
    EXPECT_EQ(value_text(parsed("b", text).get()), text);
  EXPECT_EQ(value_text(parsed("i", "-7").get()), "-7");
}

}  // namespace
