#include "drivers/led_bl_rules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <random>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Milliwatts = std::vector<gdouble>;
using Levels = std::vector<gint>;

constexpr gint kMost = std::numeric_limits<gint>::max();
constexpr gint kLeast = std::numeric_limits<gint>::min();
constexpr gdouble kInfinity = std::numeric_limits<gdouble>::infinity();
constexpr gdouble kNotANumber = std::numeric_limits<gdouble>::quiet_NaN();

/// Levels without limits that matter.
Levels shared(const Milliwatts &requested, gint budget, gdouble reduction = 0.0) {
  return shared_levels(requested, budget, reduction, kLeast, kMost);
}

TEST(SharedLevels, DivideTheBudgetInProportion) {
  EXPECT_THAT(shared_levels(Milliwatts{600, 200}, 1200, 0.0, 0, 1000), ElementsAre(900, 300));
  EXPECT_THAT(shared({600, 200, 0}, 1200), ElementsAre(900, 300, 0));
  EXPECT_THAT(shared({5}, 1200), ElementsAre(1200)) << "a lone LED gets all, whatever it asks for";
}

TEST(SharedLevels, HaveTheReductionTakenOffTheBudget) {
  EXPECT_THAT(shared({600, 200}, 1200, 400.0), ElementsAre(600, 200));
  EXPECT_THAT(shared({600, 200}, 1200, -400.0), ElementsAre(1200, 400));
  EXPECT_THAT(shared({600, 200}, 1200, 0.5), ElementsAre(899, 299));
}

TEST(SharedLevels, LoseTheirFractionDownwards) {
  EXPECT_THAT(shared({1, 1}, 3), ElementsAre(1, 1));
  EXPECT_THAT(shared({1, 1}, 1000, 1001.0), ElementsAre(-1, -1)) << "-0.5 is below zero";
  EXPECT_THAT(shared({3, 1}, 1000, 1001.0), ElementsAre(-1, -1)) << "-0.75 and -0.25";
}

TEST(SharedLevels, AreTheBudgetTimesTheShare) {
  EXPECT_THAT(shared({1, 48}, 49), ElementsAre(0, 48)) << "1 / 49 is rounded before it is multiplied by 49";
}

TEST(SharedLevels, StayBetweenTheLimits) {
  EXPECT_THAT(shared_levels(Milliwatts{600, 200}, 1200, 0.0, 0, 899), ElementsAre(899, 300));
  EXPECT_THAT(shared_levels(Milliwatts{600, 200}, 1200, 0.0, 0, 900), ElementsAre(900, 300));
  EXPECT_THAT(shared_levels(Milliwatts{600, 200}, 1200, 0.0, 301, 1000), ElementsAre(900, 301));
  EXPECT_THAT(shared_levels(Milliwatts{600, 200}, 1200, 0.0, 300, 1000), ElementsAre(900, 300));
  EXPECT_THAT(shared_levels(Milliwatts{600, 200}, 1200, 0.0, 500, 500), ElementsAre(500, 500));
}

TEST(SharedLevels, MeetTheLowLimitFirst) {
  EXPECT_THAT(shared_levels(Milliwatts{600, 200}, 1200, 0.0, 1000, 100), ElementsAre(1000, 1000));
  EXPECT_THAT(shared_levels(Milliwatts{600, 200}, 1200, 0.0, 500, 100), ElementsAre(100, 500));
}

TEST(SharedLevels, AreTheLowOnesOfAReductionBeyondTheBudget) {
  for (const gdouble reduction : {1200.0, 1201.0, 1e9, 1e300, kInfinity}) {
    EXPECT_THAT(shared_levels(Milliwatts{600, 200}, 1200, reduction, 0, 1000), ElementsAre(0, 0))
        << reduction;
    EXPECT_THAT(shared_levels(Milliwatts{600, 200}, 1200, reduction, 7, 1000), ElementsAre(7, 7))
        << reduction;
  }
}

TEST(SharedLevels, AreTheHighOnesOfANegativeReductionWithoutEnd) {
  EXPECT_THAT(shared_levels(Milliwatts{600, 200}, 1200, -kInfinity, 0, 1000), ElementsAre(1000, 1000));
  EXPECT_THAT(shared({600, 200}, 1200, -1e300), ElementsAre(kMost, kMost));
}

TEST(SharedLevels, AreNothingOfAReductionThatIsNoNumber) {
  EXPECT_THAT(shared({600, 200}, 1200, kNotANumber), ElementsAre(0, 0));
  EXPECT_THAT(shared_levels(Milliwatts{600, 200}, 1200, kNotANumber, 7, 1000), ElementsAre(7, 7));
}

TEST(SharedLevels, NeedABudget) {
  for (const gint budget : {0, -1, -1200, kLeast})
    EXPECT_THAT(shared({600, 200}, budget), IsEmpty()) << budget;
  EXPECT_THAT(shared({600, 200}, 0, -1000.0), IsEmpty()) << "a negative reduction is no budget";
  EXPECT_THAT(shared({600, 200}, 1), SizeIs(2));
}

TEST(SharedLevels, NeedSomebodyWhoWantsThem) {
  EXPECT_THAT(shared({}, 1200), IsEmpty());
  EXPECT_THAT(shared({0}, 1200), IsEmpty());
  EXPECT_THAT(shared({0, 0, 0}, 1200), IsEmpty());
  EXPECT_THAT(shared({-1}, 1200), IsEmpty());
  EXPECT_THAT(shared({100, -100}, 1200), IsEmpty());
  EXPECT_THAT(shared({1, 0}, 1200), SizeIs(2));
}

TEST(SharedLevels, OfWhatIsAskedForBelowZeroGoBelowZero) {
  EXPECT_THAT(shared({300, -100}, 1200), ElementsAre(1800, -600));
  EXPECT_THAT(shared_levels(Milliwatts{300, -100}, 1200, 0.0, 0, 1000), ElementsAre(1000, 0));
}

TEST(SharedLevels, AreOfATotalWithoutFractions) {
  EXPECT_THAT(shared({0.9, 0.9}, 1200), IsEmpty());
  EXPECT_THAT(shared({1.5, 0.5, 0.5}, 1200), ElementsAre(1800, 600, 600));
}

TEST(SharedLevels, OfATotalThatDoesNotFitAreOfTheNearestThatDoes) {
  EXPECT_THAT(shared({static_cast<gdouble>(kMost), static_cast<gdouble>(kMost)}, 1000),
              ElementsAre(1000, 1000));
  EXPECT_THAT(shared({static_cast<gdouble>(kMost), 1, -1}, 1000), ElementsAre(1000, 0, -1))
      << "INT_MAX - 1 is the total";
}

/// The rule in one piece with plain arithmetic, for numbers that fit.
std::optional<gint> level_of(const std::vector<gint> &requested, std::size_t led, gint budget,
                             gdouble reduction, gint low, gint high) {
  gint64 total = 0;
  for (const gint milliwatts : requested)
    total += milliwatts;
  if (budget < 1 || total < 1)
    return std::nullopt;

  const gdouble part = static_cast<gdouble>(requested[led]) / static_cast<gdouble>(total);
  const gdouble level = part * (static_cast<gdouble>(budget) - reduction);
  if (level < low)
    return low;
  if (level >= high)
    return high;
  gint below = low;
  for (gint step = 1 << 20; step > 0; step /= 2)
    while (below + step <= level)
      below += step;
  return below;
}

TEST(SharedLevels, FollowTheRule) {
  std::mt19937 random{3'500'005};
  std::uniform_int_distribution<gint> milliwatts{-20, 3000};
  std::uniform_int_distribution<gint> budgets{-100, 20'000};
  std::uniform_real_distribution<gdouble> reductions{-100.0, 20'000.0};
  std::uniform_int_distribution<gint> limits{-50, 5000};
  std::uniform_int_distribution<std::size_t> counts{1, 6};
  for (int i = 0; i < 20'000; ++i) {
    std::vector<gint> requested(counts(random));
    for (gint &each : requested)
      each = milliwatts(random);
    const gint budget = budgets(random);
    const gdouble reduction = reductions(random);
    const auto [low, high] = std::minmax({limits(random), limits(random)});

    const auto levels =
        shared_levels(Milliwatts(requested.begin(), requested.end()), budget, reduction, low, high);
    for (std::size_t led = 0; led < requested.size(); ++led) {
      const auto expected = level_of(requested, led, budget, reduction, low, high);
      ASSERT_EQ(led < levels.size() ? std::optional{levels[led]} : std::nullopt, expected)
          << "run " << i << ", LED " << led;
    }
  }
}

}  // namespace
