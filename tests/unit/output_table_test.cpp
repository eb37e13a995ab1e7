#include "drivers/output_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <ostream>
#include <random>
#include <vector>

namespace {

using Cell = OutputTable::Cell;
using Requested = std::array<gint, 2>;

constexpr gint kMost = std::numeric_limits<gint>::max();
constexpr gint kLeast = std::numeric_limits<gint>::min();
constexpr gdouble kInfinity = std::numeric_limits<gdouble>::infinity();
constexpr gdouble kNotANumber = std::numeric_limits<gdouble>::quiet_NaN();

/// Two angles in steps of 50 and three intensities in steps of 20; the cell at row r and column c holds 10r +
/// c, and that a hundredfold.
OutputTable small_table() {
  OutputTable table{2, 3, 50, 20};
  for (gint row = 0; row < 2; ++row)
    for (gint column = 0; column < 3; ++column)
      EXPECT_TRUE(table.set(row, column, {10 * row + column, 100 * (10 * row + column)}));
  return table;
}

/// One row of a column for each of these cells, one step of intensity apart.
OutputTable row_of_cells(const std::vector<Cell> &cells) {
  OutputTable table{1, static_cast<gint>(cells.size()), 1, 1};
  for (gint column = 0; column < static_cast<gint>(cells.size()); ++column)
    table.set(0, column, cells[static_cast<gsize>(column)]);
  return table;
}

TEST(OutputTable, FindsRowAndColumnByDivision) {
  const OutputTable table{5, 6, 25, 20};
  EXPECT_EQ(table.row_of(0), 0);
  EXPECT_EQ(table.row_of(24), 0);
  EXPECT_EQ(table.row_of(25), 1);
  EXPECT_EQ(table.row_of(100), 4);
  EXPECT_EQ(table.column_of(19), 0);
  EXPECT_EQ(table.column_of(20), 1);
  EXPECT_EQ(table.column_of(100), 5);
  EXPECT_EQ(table.column_of(-19), 0);
  EXPECT_EQ(table.column_of(-20), -1);
  EXPECT_EQ(table.last_column(), 5);
}

TEST(OutputTable, DivisorOfZeroGivesTheFirstPlace) {
  const OutputTable table{5, 6, 0, 0};
  for (const gint value : {kLeast, -1, 0, 1, 100, kMost}) {
    EXPECT_EQ(table.row_of(value), 0) << value;
    EXPECT_EQ(table.column_of(value), 0) << value;
  }
}

TEST(OutputTable, DivisorMayBeNegative) {
  const OutputTable table{5, 6, -25, -1};
  EXPECT_EQ(table.row_of(100), -4);
  EXPECT_EQ(table.row_of(-100), 4);
  EXPECT_EQ(table.row_of(24), 0);
  EXPECT_EQ(table.column_of(100), -100);
  EXPECT_EQ(table.column_of(-5), 5);
  EXPECT_EQ(table.column_of(kMost), -kMost);
}

TEST(OutputTable, QuotientThatIsNoIntIsZero) {
  const OutputTable table{5, 6, -1, -1};
  EXPECT_EQ(table.row_of(kLeast), 0);
  EXPECT_EQ(table.column_of(kLeast), 0);
}

TEST(OutputTable, KeepsCells) {
  const auto table = small_table();
  EXPECT_EQ(table.at(0, 0), (Cell{0, 0}));
  EXPECT_EQ(table.at(0, 2), (Cell{2, 200}));
  EXPECT_EQ(table.at(1, 1), (Cell{11, 1100}));
}

TEST(OutputTable, LastCellSetAtAPlaceCounts) {
  auto table = small_table();
  EXPECT_TRUE(table.set(1, 1, {7, 8}));
  EXPECT_EQ(table.at(1, 1), (Cell{7, 8}));
}

TEST(OutputTable, HasZerosWhereNothingWasSet) {
  OutputTable table{2, 2, 50, 20};
  EXPECT_TRUE(table.set(0, 1, {5, 6}));
  EXPECT_EQ(table.at(0, 0), Cell{});
  EXPECT_EQ(table.at(1, 1), Cell{});
}

TEST(OutputTable, RefusesCellsOutsideOfIt) {
  auto table = small_table();
  for (const auto &[row, column] : {std::pair{2, 0}, {0, 3}, {-1, 0}, {0, -1}, {kMost, kMost}, {kLeast, 0}})
    EXPECT_FALSE(table.set(row, column, {77, 77})) << row << ", " << column;
  for (gint row = 0; row < 2; ++row)
    for (gint column = 0; column < 3; ++column)
      EXPECT_EQ(table.at(row, column)[0], 10 * row + column);
}

TEST(OutputTable, LooksUpTheNearestCell) {
  const auto table = small_table();
  EXPECT_EQ(table.at(2, 1), (Cell{11, 1100}));
  EXPECT_EQ(table.at(kMost, kMost), (Cell{12, 1200}));
  EXPECT_EQ(table.at(0, 3), (Cell{2, 200}));
  EXPECT_EQ(table.at(-1, 1), (Cell{1, 100}));
  EXPECT_EQ(table.at(1, -1), (Cell{10, 1000}));
  EXPECT_EQ(table.at(kLeast, kLeast), (Cell{0, 0}));
}

TEST(OutputTable, MayBeEmpty) {
  for (OutputTable table : {OutputTable{}, OutputTable{0, 3, 50, 20}, OutputTable{2, 0, 50, 20}}) {
    EXPECT_FALSE(table.set(0, 0, {1, 1}));
    for (const gint place : {kLeast, -1, 0, 1, kMost})
      EXPECT_EQ(table.at(place, place), Cell{});
    EXPECT_EQ(granted_outputs(table, 100, 100, {100, 100}, 1000.0), Outputs{});
    EXPECT_EQ(needed_watts(table, 100, 100), 0.0);
  }
}

TEST(TotalOfOutputs, MayBeBeyondAnInt) {
  EXPECT_EQ(total_of({40, 20, 41}), 101);
  EXPECT_EQ(total_of({kMost, kMost, kMost}), 3 * gint64{kMost});
  EXPECT_EQ(total_of({kLeast, kLeast, kLeast}), 3 * gint64{kLeast});
}

TEST(GrantedOutputs, FirstIntensityIsThatOfTheOuterOutputs) {
  const auto table = small_table();
  EXPECT_EQ(granted_outputs(table, 0, 40, {40, 20}, 1000.0), (Outputs{2, 100, 2}));
  EXPECT_EQ(granted_outputs(table, 0, 40, {20, 40}, 1000.0), (Outputs{1, 200, 1}));
  EXPECT_EQ(granted_outputs(table, 50, 40, {0, 40}, 1000.0), (Outputs{10, 1200, 10}));
}

TEST(GrantedOutputs, NoneIsRequestedBeyondTheIntensity) {
  EXPECT_EQ(granted_outputs(small_table(), 0, 20, {40, 1000}, 1000.0), (Outputs{1, 100, 1}));
}

TEST(GrantedOutputs, RowIsThatOfTheAngle) {
  const auto table = small_table();
  for (const auto &[angle, outer] : {std::pair{0, 2}, {49, 2}, {50, 12}, {99, 12}, {1000, 12}, {-60, 2}})
    EXPECT_EQ(granted_outputs(table, angle, 40, {40, 40}, 1000.0)[0], outer) << angle;
}

// 0.0018 W a unit: 18 W, 9 W, 3.6 W and 0.9 W.
const std::vector<Cell> kSteps = {{100, 300}, {500, 1000}, {1500, 2000}, {3000, 4000}};

TEST(GrantedOutputs, StepDownToTheGrant) {
  const auto table = row_of_cells(kSteps);
  const auto first = [&](gdouble granted) { return granted_outputs(table, 0, 3, {3, 3}, granted)[0]; };
  EXPECT_EQ(first(18.1), 3000);
  EXPECT_EQ(first(17.9), 1500);
  EXPECT_EQ(first(9.1), 1500);
  EXPECT_EQ(first(8.9), 500);
  EXPECT_EQ(first(3.7), 500);
  EXPECT_EQ(first(3.5), 100);
}

TEST(GrantedOutputs, GrantOfExactlyTheirNeedIsEnough) {
  const auto table = row_of_cells(kSteps);
  for (gsize column = 1; column < kSteps.size(); ++column) {
    const gdouble need = (2 * kSteps[column][0] + kSteps[column][1]) * 0.0018;
    EXPECT_EQ(granted_outputs(table, 0, 3, {3, 3}, need)[0], kSteps[column][0]);
    EXPECT_EQ(granted_outputs(table, 0, 3, {3, 3}, std::nextafter(need, 0.0))[0], kSteps[column - 1][0]);
  }
}

TEST(GrantedOutputs, LowerRequestStaysUntilTheStepsReachIt) {
  const auto table = row_of_cells(kSteps);
  const auto at = [&](gdouble granted) { return granted_outputs(table, 0, 3, {3, 1}, granted); };
  EXPECT_EQ(at(12.7), (Outputs{3000, 1000, 3000}));
  EXPECT_EQ(at(12.5), (Outputs{1500, 1000, 1500}));
  EXPECT_EQ(at(7.1), (Outputs{500, 1000, 500}));
  EXPECT_EQ(at(3.5), (Outputs{100, 300, 100}));
}

TEST(GrantedOutputs, NeverGoBelowTheFirstColumn) {
  const auto table = row_of_cells(kSteps);
  const Outputs least = {100, 300, 100};
  for (const gdouble granted : {0.8, 0.0, -0.0, -1.0, -1e300, -kInfinity, kNotANumber})
    for (const gint intensity : {0, 1, 3, 100})
      EXPECT_EQ(granted_outputs(table, 0, intensity, {intensity, intensity}, granted), least) << granted;
}

TEST(GrantedOutputs, NegativeIntensitiesAreTheFirstColumn) {
  const auto table = row_of_cells(kSteps);
  for (const gdouble granted : {1000.0, 0.0}) {
    EXPECT_EQ(granted_outputs(table, 0, -1, {-1, -1}, granted), (Outputs{100, 300, 100}));
    EXPECT_EQ(granted_outputs(table, 0, kLeast, {kLeast, kMost}, granted), (Outputs{100, 300, 100}));
  }
  EXPECT_EQ(granted_outputs(table, 0, 3, {-1, 2}, 1000.0), (Outputs{100, 2000, 100}));
}

// Counted down one by one, the columns of these would not come to an end in this test's time.
TEST(GrantedOutputs, HugeIntensitiesEndSoon) {
  const auto table = row_of_cells(kSteps);
  for (const gint other : {0, 3, kMost})
    EXPECT_EQ(granted_outputs(table, 0, kMost, {kMost, other}, 0.0), (Outputs{100, 300, 100}));
  EXPECT_EQ(granted_outputs(table, 0, kMost, {kMost, kMost}, kInfinity), (Outputs{3000, 4000, 3000}));
  EXPECT_EQ(granted_outputs(table, kMost, kMost, {kMost, 2}, 1000.0), (Outputs{3000, 2000, 3000}));

  OutputTable backwards{1, 2, 1, -1};
  EXPECT_TRUE(backwards.set(0, 0, {1, 2}));
  EXPECT_TRUE(backwards.set(0, 1, {1000, 2000}));
  EXPECT_EQ(granted_outputs(backwards, 0, -kMost, {-kMost, -kMost}, 0.0), (Outputs{1, 2, 1}));
}

TEST(GrantedOutputs, TotalMayBeBeyondAnInt) {
  const auto table = row_of_cells({{1, 1}, {kMost, kMost}});
  EXPECT_EQ(granted_outputs(table, 0, 1, {1, 1}, 11.5e6), (Outputs{1, 1, 1}));
  EXPECT_EQ(granted_outputs(table, 0, 1, {1, 1}, 11.7e6), (Outputs{kMost, kMost, kMost}));
}

/// What the outputs are to be, told in another way: of all columns that may be taken the highest one that the
/// grant allows.
struct PlainTable {
  std::vector<std::vector<Cell>> rows;
  gint angle_div;
  gint intensity_div;

  static gint64 quotient(gint value, gint divisor) { return divisor == 0 ? 0 : gint64{value} / divisor; }

  const Cell &nearest(gint64 row, gint64 column) const {
    const auto last_row = static_cast<gint64>(rows.size()) - 1;
    const auto last_column = static_cast<gint64>(rows[0].size()) - 1;
    return rows[static_cast<gsize>(std::clamp<gint64>(row, 0, last_row))]
               [static_cast<gsize>(std::clamp<gint64>(column, 0, last_column))];
  }

  Outputs outputs(gint angle, gint intensity, const Requested &requested, gdouble granted) const {
    const gint64 row = quotient(angle, angle_div);
    Outputs best{};
    for (gint64 step = 0; step <= std::max<gint64>(quotient(intensity, intensity_div), 0); ++step) {
      const gint outer = nearest(row, std::min(quotient(requested[0], intensity_div), step))[0];
      const gint inner = nearest(row, std::min(quotient(requested[1], intensity_div), step))[1];
      if (step == 0 || (outer + inner + outer) * 0.0018 <= granted)
        best = {outer, inner, outer};
    }
    return best;
  }
};

class AnyTable : public testing::TestWithParam<unsigned> {
 protected:
  gint number(gint least, gint most) { return std::uniform_int_distribution{least, most}(engine_); }

  PlainTable make_plain() {
    constexpr std::array kDivisors = {1, 2, 5, 10, 20, 25, 0, -1, -10};
    PlainTable plain;
    plain.angle_div = kDivisors[static_cast<gsize>(number(0, kDivisors.size() - 1))];
    plain.intensity_div = kDivisors[static_cast<gsize>(number(0, kDivisors.size() - 1))];
    plain.rows.resize(static_cast<gsize>(number(1, 6)));
    const auto columns = static_cast<gsize>(number(1, 8));
    for (auto &row : plain.rows)
      for (gsize column = 0; column < columns; ++column)
        row.push_back({number(-50, 3000), number(-50, 3000)});
    return plain;
  }

  static OutputTable make_table(const PlainTable &plain) {
    OutputTable table{static_cast<gint>(plain.rows.size()), static_cast<gint>(plain.rows[0].size()),
                      plain.angle_div, plain.intensity_div};
    for (gsize row = 0; row < plain.rows.size(); ++row)
      for (gsize column = 0; column < plain.rows[row].size(); ++column)
        EXPECT_TRUE(table.set(static_cast<gint>(row), static_cast<gint>(column), plain.rows[row][column]));
    return table;
  }

  /// Nothing, plenty, or about what a cell of the table needs.
  gdouble grant(const PlainTable &plain) {
    const auto &row = plain.rows[static_cast<gsize>(number(0, static_cast<gint>(plain.rows.size()) - 1))];
    const auto &cell = row[static_cast<gsize>(number(0, static_cast<gint>(row.size()) - 1))];
    const gdouble need = (2 * cell[0] + cell[1]) * 0.0018;
    const std::array grants = {0.0,          -1.0,    kNotANumber, 1e9, need, std::nextafter(need, -1.0),
                               need + 0.001, need / 2};
    return grants[static_cast<gsize>(number(0, grants.size() - 1))];
  }

  std::mt19937 engine_{GetParam()};
};

TEST_P(AnyTable, GivesTheHighestColumnsThatTheGrantAllows) {
  const PlainTable plain = make_plain();
  const OutputTable table = make_table(plain);
  for (int i = 0; i < 200; ++i) {
    const gint angle = number(-20, 130);
    const gint intensity = number(-40, 300);
    const Requested requested = {std::min(number(-40, 300), intensity),
                                 std::min(number(-40, 300), intensity)};
    const gdouble granted = grant(plain);
    EXPECT_EQ(granted_outputs(table, angle, intensity, requested, granted),
              plain.outputs(angle, intensity, requested, granted))
        << "angle " << angle << ", intensity " << intensity << ", requested " << requested[0] << " and "
        << requested[1] << ", granted " << granted;
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, AnyTable, testing::Range(1U, 41U));

TEST(NeededWatts, AreThoseOfTwoOuterOutputsAndTheInnerOne) {
  OutputTable table{2, 2, 50, 20};
  EXPECT_TRUE(table.set(0, 1, {400, 200}));
  EXPECT_TRUE(table.set(1, 1, {100, 50}));
  EXPECT_EQ(needed_watts(table, 0, 20), 1000 * 0.0018);
  EXPECT_EQ(needed_watts(table, 99, 39), 250 * 0.0018);
  EXPECT_EQ(needed_watts(table, 0, 19), 0.0);
}

TEST(NeededWatts, AreThoseOfTheNearestCell) {
  const auto table = row_of_cells(kSteps);
  EXPECT_EQ(needed_watts(table, 0, 100), 10000 * 0.0018);
  EXPECT_EQ(needed_watts(table, -5, -5), 500 * 0.0018);
}

TEST(NeededWatts, MayBeBeyondAnInt) {
  EXPECT_EQ(needed_watts(row_of_cells({{kMost, kMost}}), 0, 0), 6442450941.0 * 0.0018);
}

TEST(ReducedOutputs, ShareTheWholePartOfTheReduction) {
  EXPECT_EQ(reduced_outputs({40, 20, 40}, 10.7), (Outputs{36, 18, 36}));
  EXPECT_EQ(reduced_outputs({40, 20, 40}, 10.0), (Outputs{36, 18, 36}));
  EXPECT_EQ(reduced_outputs({40, 20, 40}, 11.0), (Outputs{35, 17, 35}));
}

TEST(ReducedOutputs, OutputTwoCarriesTheShareOfOutputZero) {
  EXPECT_EQ(reduced_outputs({10, 20, 70}, 10.0), (Outputs{9, 18, 69})) << "63 would be a share of its own";
}

TEST(ReducedOutputs, ShareIsFormedFirst) {
  // 25 x 14 / 50 is 7, while 25 x (14 / 50) is a little more.
  EXPECT_EQ(reduced_outputs({14, 22, 14}, 25.0), (Outputs{6, 11, 6}));
  EXPECT_EQ(reduced_outputs({10, 36, 10}, 42.0), (Outputs{2, 8, 2}));
}

TEST(ReducedOutputs, AreTheOutputsWithoutAReduction) {
  for (const gdouble reduction : {0.0, -0.0, 0.99, -0.99})
    EXPECT_EQ(reduced_outputs({40, 20, 41}, reduction), (Outputs{40, 20, 41})) << reduction;
}

TEST(ReducedOutputs, AreNeverBelowZero) {
  EXPECT_EQ(reduced_outputs({10, 20, 70}, 100.0), (Outputs{0, 0, 60}));
  EXPECT_EQ(reduced_outputs({10, 20, 70}, 701.0), (Outputs{0, 0, 0}));
  EXPECT_EQ(reduced_outputs({-10, 20, 40}, 0.0), (Outputs{0, 20, 40}));
  for (const gdouble reduction : {1e9, 1e300, kInfinity})
    EXPECT_EQ(reduced_outputs({40, 20, 40}, reduction), Outputs{}) << reduction;
}

TEST(ReducedOutputs, AreNothingWhenTheyGiveNothingTogether) {
  for (const gdouble reduction : {0.0, 10.0, -10.0, kNotANumber}) {
    EXPECT_EQ(reduced_outputs({0, 0, 0}, reduction), Outputs{});
    EXPECT_EQ(reduced_outputs({-20, 40, -20}, reduction), Outputs{});
    EXPECT_EQ(reduced_outputs({-30, 40, -20}, reduction), Outputs{});
    EXPECT_EQ(reduced_outputs({kLeast, kMost, kLeast}, reduction), Outputs{});
  }
}

TEST(ReducedOutputs, ReductionThatIsNoNumberIsNone) {
  EXPECT_EQ(reduced_outputs({40, 20, 40}, kNotANumber), (Outputs{40, 20, 40}));
}

TEST(ReducedOutputs, MayBeHuge) {
  EXPECT_EQ(reduced_outputs({kMost, kMost, kMost}, 0.0), (Outputs{kMost, kMost, kMost}));
  EXPECT_EQ(reduced_outputs({kMost, kMost, kMost}, -1e300), (Outputs{kMost, kMost, kMost}));
}

}  // namespace
