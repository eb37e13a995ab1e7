#include "drivers/camblock_rules.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

constexpr gint kMost = std::numeric_limits<gint>::max();
constexpr gint kLeast = std::numeric_limits<gint>::min();

TEST(CamblockLevel, IsTheShareOf255WithoutItsFraction) {
  EXPECT_EQ(camblock_level(500, 1000), 127) << "of 127.5";
  EXPECT_EQ(camblock_level(1000, 1000), 255);
  EXPECT_EQ(camblock_level(999, 1000), 254);
  EXPECT_EQ(camblock_level(4, 1000), 1);
  EXPECT_EQ(camblock_level(3, 1000), 0);
  EXPECT_EQ(camblock_level(0, 1000), 0);
  for (gint level = 0; level <= 255; ++level)
    EXPECT_EQ(camblock_level(level, 255), level);
}

TEST(CamblockLevel, IsCalculatedInSinglePrecision) {
  EXPECT_EQ(camblock_level(7, 7), 254) << "255 / 7 is rounded downwards";
  EXPECT_EQ(camblock_level(41, 41), 254);
  EXPECT_EQ(camblock_level(25, 25), 255) << "254 in double precision";
  EXPECT_EQ(camblock_level(21, 105), 51);
  EXPECT_EQ(camblock_level((1 << 24) + 1, 255), 0) << "the nearest number of 24 bits is 1 less";
}

TEST(CamblockLevel, IsTheLowEightBits) {
  EXPECT_EQ(camblock_level(1500, 1000), 126) << "of 382";
  EXPECT_EQ(camblock_level(256, 255), 0);
  EXPECT_EQ(camblock_level(600, 255), 88);
  EXPECT_EQ(camblock_level(kMost, 200), 0) << "so ends the nearest number of 24 bits to 2738041651";
}

TEST(CamblockLevel, IsTheLowEightBitsBelowZeroToo) {
  EXPECT_EQ(camblock_level(-1, 255), 255);
  EXPECT_EQ(camblock_level(-500, 1000), 129) << "of -127";
  EXPECT_EQ(camblock_level(500, -1000), 129);
}

TEST(CamblockLevel, OfNumbersThatAreTooBigIsThatOfTheNearest) {
  EXPECT_EQ(camblock_level(kMost, 1), 0xFF) << "of what 32 bits do not hold";
  EXPECT_EQ(camblock_level(kLeast, 1), 0);
  EXPECT_EQ(camblock_level(kMost, kMost), 0xFF);
}

TEST(CamblockLevel, IsNothingWithoutAScale) {
  for (const gint milliwatts : {0, 1, -1, kMost, kLeast})
    EXPECT_EQ(camblock_level(milliwatts, 0), 0) << milliwatts;
}

}  // namespace
