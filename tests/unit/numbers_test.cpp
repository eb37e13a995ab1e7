#include "daemon/numbers.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace {

constexpr gint kMost = std::numeric_limits<gint>::max();
constexpr gint kLeast = std::numeric_limits<gint>::min();
constexpr gdouble kInfinity = std::numeric_limits<gdouble>::infinity();
constexpr gdouble kNotANumber = std::numeric_limits<gdouble>::quiet_NaN();

TEST(WholeToInt, IsTheSameNumberWhereThereIsOne) {
  for (const gint value : {0, 1, -1, 1000, -1000, kMost - 1, kMost, kLeast + 1, kLeast})
    EXPECT_EQ(to_int(gint64{value}), value);
}

TEST(WholeToInt, IsTheNearestOneBeyondTheLimits) {
  EXPECT_EQ(to_int(gint64{kMost} + 1), kMost);
  EXPECT_EQ(to_int(gint64{kLeast} - 1), kLeast);
  EXPECT_EQ(to_int(std::numeric_limits<gint64>::max()), kMost);
  EXPECT_EQ(to_int(std::numeric_limits<gint64>::min()), kLeast);
  EXPECT_EQ(to_int(gint64{1} << 32), kMost) << "not the 0 of its lower half";
}

TEST(WholeToInt, CanBeComputedByTheCompiler) {
  static_assert(to_int(gint64{7}) == 7);
  static_assert(to_int(gint64{kMost} + 7) == kMost);
}

TEST(FractionToInt, LosesItsFractionTowardZero) {
  EXPECT_EQ(to_int(2.0), 2);
  EXPECT_EQ(to_int(2.5), 2);
  EXPECT_EQ(to_int(2.999999), 2);
  EXPECT_EQ(to_int(-2.5), -2);
  EXPECT_EQ(to_int(-2.999999), -2);
  EXPECT_EQ(to_int(0.999), 0);
  EXPECT_EQ(to_int(-0.999), 0);
}

TEST(FractionToInt, OfNothingIsNothing) {
  EXPECT_EQ(to_int(0.0), 0);
  EXPECT_EQ(to_int(-0.0), 0);
  EXPECT_EQ(to_int(std::numeric_limits<gdouble>::denorm_min()), 0);
  EXPECT_EQ(to_int(-std::numeric_limits<gdouble>::min()), 0);
}

TEST(FractionToInt, ReachesBothLimits) {
  EXPECT_EQ(to_int(2147483646.0), kMost - 1);
  EXPECT_EQ(to_int(2147483647.0), kMost);
  EXPECT_EQ(to_int(2147483647.9), kMost);
  EXPECT_EQ(to_int(-2147483647.0), kLeast + 1);
  EXPECT_EQ(to_int(-2147483647.9), kLeast + 1);
  EXPECT_EQ(to_int(-2147483648.0), kLeast);
  EXPECT_EQ(to_int(-2147483648.9), kLeast);
}

TEST(FractionToInt, IsTheNearestOneBeyondTheLimits) {
  for (const gdouble value : {2147483648.0, 4294967296.0, 1e19, 1e300, kInfinity}) {
    EXPECT_EQ(to_int(value), kMost) << value;
    EXPECT_EQ(to_int(-value - 1.0), kLeast) << value;
  }
}

TEST(FractionToInt, OfWhatIsNoNumberIsNothing) {
  EXPECT_EQ(to_int(kNotANumber), 0);
  EXPECT_EQ(to_int(-kNotANumber), 0);
}

TEST(ParsedInt, IsTheDecimalNumber) {
  EXPECT_EQ(parse_int("0"), 0);
  EXPECT_EQ(parse_int("42"), 42);
  EXPECT_EQ(parse_int("-7"), -7);
  EXPECT_EQ(parse_int("+7"), 7);
  EXPECT_EQ(parse_int("010"), 10) << "not octal";
  EXPECT_EQ(parse_int("000100"), 100);
}

TEST(ParsedInt, StandsAtTheStartOfTheText) {
  EXPECT_EQ(parse_int(" 12"), 12);
  EXPECT_EQ(parse_int("12 13"), 12);
  EXPECT_EQ(parse_int("12abc"), 12);
  EXPECT_EQ(parse_int("5.9"), 5);
  EXPECT_EQ(parse_int("1e3"), 1);
  EXPECT_EQ(parse_int("0x10"), 0) << "not hexadecimal";
}

TEST(ParsedInt, OfTextWithoutDigitsIsNothing) {
  for (const char *text : {"", " ", "-", "+", "abc", "abc12", "--5", "- 5", ".5", "nan", "inf"})
    EXPECT_EQ(parse_int(text), 0) << '"' << text << '"';
}

TEST(ParsedInt, ReachesBothLimits) {
  EXPECT_EQ(parse_int("2147483647"), kMost);
  EXPECT_EQ(parse_int("-2147483648"), kLeast);
}

TEST(ParsedInt, IsTheNearestOneBeyondTheLimits) {
  const std::string thousand_digits(1000, '9');
  for (const std::string &digits : {std::string{"2147483649"}, std::string{"4294967296"},
                                    std::string{"9223372036854775809"}, thousand_digits}) {
    EXPECT_EQ(parse_int(digits.c_str()), kMost) << digits;
    EXPECT_EQ(parse_int(("-" + digits).c_str()), kLeast) << digits;
  }
}

}  // namespace
