// Levels that have to fit a grant.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "led/illumination_levels.h"

namespace {

using Levels = std::vector<gint>;

constexpr gint kMost = std::numeric_limits<gint>::max();
constexpr gint kLeast = std::numeric_limits<gint>::min();
constexpr gdouble kInfinity = std::numeric_limits<gdouble>::infinity();
constexpr gdouble kNotANumber = std::numeric_limits<gdouble>::quiet_NaN();
constexpr gfloat kInfiniteWatts = std::numeric_limits<gfloat>::infinity();
constexpr gfloat kWattsThatAreNoNumber = std::numeric_limits<gfloat>::quiet_NaN();

Levels limited(Levels levels, gfloat watts_per_unit, gdouble granted) {
  limit_to_power(levels, watts_per_unit, granted);
  return levels;
}

TEST(PowerLimit, ThatIsKeptExactlyChangesNothing) {
  EXPECT_EQ(limited({100, 50, 1}, 1.0F, 151.0), (Levels{100, 50, 1}));
  EXPECT_EQ(limited({100, 50, 1}, 0.5F, 75.5), (Levels{100, 50, 1}));
  EXPECT_EQ(limited({100, 50, 1}, 0.5F, 1e300), (Levels{100, 50, 1}));
}

TEST(PowerLimit, ThatIsMissedByTheLeastDimsEveryLed) {
  EXPECT_EQ(limited({100, 50, 1}, 0.5F, std::nextafter(75.5, 0.0)), (Levels{99, 49, 0}));
}

TEST(PowerLimit, CompoundsItsSteps) {
  EXPECT_EQ(limited({100}, 1.0F, 98.5), Levels{97}) << "98 % of 99: not 98 % of 100";
  EXPECT_EQ(limited({100}, 1.0F, 94.0), Levels{94});
  EXPECT_EQ(limited({100}, 1.0F, 91.0), Levels{90});
}

// Calculated apart from this program. From 562 on, 500 and 439 tell a factor that came down in steps of 0.01
// from one that is computed at once: that one would lead to 440.
const Levels kStepsOfAThousand{1000, 990, 970, 940, 902, 856, 804, 747, 687, 625, 562, 500,
                               439,  381, 327, 277, 232, 192, 157, 127, 101, 79,  61,  46,
                               34,   25,  18,  13,  9,   6,   4,   2,   1,   0};

TEST(PowerLimit, TakesTheFirstStepThatFits) {
  for (const gint level : kStepsOfAThousand)
    EXPECT_EQ(limited({1000}, 1.0F, level), Levels{level});
}

TEST(PowerLimit, TakesTheNextStepWhenOneMissesByTheLeast) {
  for (gsize step = 0; step + 1 < kStepsOfAThousand.size(); ++step)
    EXPECT_EQ(limited({1000}, 1.0F, std::nextafter(kStepsOfAThousand[step], 0.0)),
              Levels{kStepsOfAThousand[step + 1]});
}

// Calculated likewise.
TEST(PowerLimit, LosesTheFractionOfEachLedAtEachStep) {
  const Levels levels{40, 80, 41};
  EXPECT_EQ(limited(levels, 1.0F, 160.0), (Levels{39, 79, 40}));
  EXPECT_EQ(limited(levels, 1.0F, 157.0), (Levels{38, 77, 39}));
  EXPECT_EQ(limited(levels, 1.0F, 101.0), (Levels{24, 52, 25}));
  EXPECT_EQ(limited(levels, 1.0F, 10.0), (Levels{1, 5, 1}));
  EXPECT_EQ(limited(levels, 1.0F, 1.0), (Levels{0, 1, 0}));
}

TEST(PowerLimit, CountsTheSumInSinglePrecision) {
  // 2^24 + 1 is rounded down to 2^24, 2^24 + 3 up to 2^24 + 4.
  EXPECT_EQ(limited({16777217}, 1.0F, 16777216.0), Levels{16777217});
  EXPECT_EQ(limited({16777216, 1}, 1.0F, 16777216.0), (Levels{16777216, 1}));
  EXPECT_EQ(limited({16777219}, 1.0F, 16777219.0), Levels{16609446});
}

TEST(PowerLimit, CountsTheWattsInSinglePrecision) {
  // 0.02 is not quite 0.02 in single precision: 100 times that is rounded up to 2, 80 times that down.
  EXPECT_EQ(limited({100}, 0.02F, 1.99999998), Levels{99});
  EXPECT_EQ(limited({80}, 0.02F, 1.59999993), Levels{80});
}

TEST(PowerLimit, ByNothingIsDarkness) {
  EXPECT_EQ(limited({100, 50, 1}, 0.0018F, 0.0), (Levels{0, 0, 0}));
  EXPECT_EQ(limited({100, 50, 1}, 0.0018F, -0.0), (Levels{0, 0, 0}));
  EXPECT_EQ(limited({100, 50, 1}, 0.0018F, 0.0017), (Levels{0, 0, 0})) << "less than one unit needs";
}

TEST(PowerLimit, ThatNothingCanKeepIsDarkness) {
  for (const gdouble granted : {-1e-300, -1.0, -1e300, -kInfinity, kNotANumber, -kNotANumber})
    for (const auto &levels : {Levels{1}, Levels{100, 50, 1}, Levels{kMost, 0, kMost}, Levels(1024, 1000)})
      EXPECT_EQ(limited(levels, 0.0018F, granted), Levels(levels.size(), 0)) << granted;
}

TEST(PowerLimit, ByInfiniteWattsIsNone) {
  EXPECT_EQ(limited({100, kMost, 1}, 0.0018F, kInfinity), (Levels{100, kMost, 1}));
  EXPECT_EQ(limited(Levels(1024, kMost), 3e38F, kInfinity), Levels(1024, kMost));
}

TEST(PowerLimit, OfWhatCostsNothingIsNone) {
  EXPECT_EQ(limited({100, 50}, 0.0F, 0.0), (Levels{100, 50}));
  EXPECT_EQ(limited({100, 50}, 0.0F, -1.0), (Levels{0, 0}));
  EXPECT_EQ(limited({100, 50}, 0.0F, kNotANumber), (Levels{0, 0}));
}

TEST(PowerLimit, OfWhatGivesPowerComesFromItsNegativeSum) {
  EXPECT_EQ(limited({100}, -0.5F, 0.0), Levels{100});
  EXPECT_EQ(limited({100}, -0.5F, -50.0), Levels{100});
  EXPECT_EQ(limited({100}, -0.5F, -51.0), Levels{0}) << "dimming only makes it worse";
  EXPECT_EQ(limited({100}, -0.5F, kNotANumber), Levels{0});
}

TEST(PowerLimit, OfWattsThatAreNoNumberIsDarkness) {
  for (const gdouble granted : {0.0, 1e300, kInfinity, -kInfinity, kNotANumber})
    EXPECT_EQ(limited({100, 50}, kWattsThatAreNoNumber, granted), (Levels{0, 0})) << granted;
}

TEST(PowerLimit, OfInfiniteWattsIsDarknessUnlessAllIsGranted) {
  for (const gdouble granted : {0.0, 1e300, -kInfinity, kNotANumber})
    EXPECT_EQ(limited({100, 50}, kInfiniteWatts, granted), (Levels{0, 0})) << granted;
  EXPECT_EQ(limited({100, 50}, kInfiniteWatts, kInfinity), (Levels{100, 50}));
  EXPECT_EQ(limited({100, 50}, -kInfiniteWatts, 0.0), (Levels{100, 50}));
  EXPECT_EQ(limited({100, -100}, kInfiniteWatts, kInfinity), (Levels{0, 0})) << "of no sum at all";
}

TEST(PowerLimit, OfNegativeLevelsTakesThemOffTheSum) {
  EXPECT_EQ(limited({-100, 100}, 1.0F, 0.0), (Levels{-100, 100}));
  EXPECT_EQ(limited({-100}, 1.0F, 0.0), Levels{-100});
  EXPECT_EQ(limited({-100, 200}, 1.0F, 98.0), (Levels{-97, 194}));
  EXPECT_EQ(limited({-1, -100, kLeast}, 1.0F, -kInfinity), (Levels{0, 0, 0}));
}

TEST(PowerLimit, LeavesDarknessAsItIs) {
  for (const gfloat watts : {0.0F, 0.0018F, -1.0F, kInfiniteWatts, kWattsThatAreNoNumber})
    for (const gdouble granted : {0.0, 1.0, -1.0, kInfinity, -kInfinity, kNotANumber})
      EXPECT_EQ(limited({0, 0}, watts, granted), (Levels{0, 0})) << watts << ", " << granted;
}

TEST(PowerLimit, OfNoLedsEnds) {
  for (const gfloat watts : {0.0F, 0.0018F, -1.0F, kInfiniteWatts, kWattsThatAreNoNumber})
    for (const gdouble granted : {0.0, 1.0, -1.0, kInfinity, -kInfinity, kNotANumber})
      EXPECT_EQ(limited({}, watts, granted), Levels{}) << watts << ", " << granted;
}

TEST(PowerLimit, OfTheBrightestLightDoesNotOverflow) {
  const Levels brightest(1024, kMost);
  // 2^41 less 2^10 is rounded up to 2^41.
  EXPECT_EQ(limited(brightest, 1.0F, 2199023255552.0), brightest);
  EXPECT_EQ(limited(brightest, 1.0F, 2199023254528.0), Levels(1024, 2126008810)) << "99 %";
  EXPECT_EQ(limited(brightest, 1.0F, 0.0), Levels(1024, 0));
  EXPECT_EQ(limited(Levels(1024, kLeast), 1.0F, -2199023255552.0), Levels(1024, kLeast));
}

}  // namespace
