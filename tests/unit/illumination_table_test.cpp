#include "led/illumination_table.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "support/key_files.h"

namespace {

constexpr gint kMost = std::numeric_limits<gint>::max();
constexpr gint kLeast = std::numeric_limits<gint>::min();

std::string text_of(const gint *levels, gsize count) {
  std::string text;
  for (gsize led = 0; led < count; ++led)
    text += (led == 0 ? "" : " ") + std::to_string(levels[led]);
  return text;
}

/// Each row as "ANGLE: INTENSITY=LEVELS, INTENSITY=LEVELS".
using RowTexts = std::vector<std::string>;

RowTexts listed(const std::string &file) {
  RowTexts texts;
  for (const auto &row : illumination_table_list(parsed(file).get())) {
    auto &text = texts.emplace_back(std::to_string(row.angle) + ":");
    for (const auto &point : row.points)
      text += (text.ends_with(":") ? " " : ", ") + point.intensity + "=" +
              text_of(point.levels.data(), point.levels.size());
  }
  return texts;
}

struct FreeTable {
  void operator()(IlluminationRow *table) const { illumination_table_free(table); }
};
using Table = std::unique_ptr<IlluminationRow, FreeTable>;

Table built(const std::string &file, gint leds) {
  return Table{illumination_table_new(illumination_table_list(parsed(file).get()), leds)};
}

/// Likewise up to where the table and its rows end, with the levels of @p leds LEDs.
RowTexts rows_of(const Table &table, gsize leds) {
  RowTexts texts;
  for (const IlluminationRow *row = table.get(); row->points != nullptr; ++row) {
    auto &text = texts.emplace_back(std::to_string(row->angle) + ":");
    for (const IlluminationPoint *point = row->points; point->levels != nullptr; ++point)
      text += (point == row->points ? " " : ", ") + std::to_string(point->intensity) + "=" +
              text_of(point->levels, leds);
  }
  return texts;
}

RowTexts rows_of_file(const std::string &file, gint leds) {
  return rows_of(built(file, leds), static_cast<gsize>(leds));
}

const char *const kThreeLeds = "[info]\nleds=3\n[0]\n0=0;0;0\n100=40;80;40\n[100]\n0=0;0;0\n100=90;20;90\n";

TEST(IlluminationTable, HasARowForEachAngleAndAPointForEachIntensity) {
  EXPECT_EQ(listed(kThreeLeds), (RowTexts{"0: 0=0 0 0, 100=40 80 40", "100: 0=0 0 0, 100=90 20 90"}));
  EXPECT_EQ(rows_of_file(kThreeLeds, 3),
            (RowTexts{"0: 0=0 0 0, 100=40 80 40", "100: 0=0 0 0, 100=90 20 90"}));
}

TEST(IlluminationTable, LeavesOutTheFirstGroupWhateverItsName) {
  for (const char *name : {"info", "0", "50", "anything"})
    EXPECT_EQ(listed("[" + std::string{name} + "]\n0=1;\n[70]\n0=2;\n"), RowTexts{"70: 0=2"}) << name;
}

TEST(IlluminationTable, TakesEveryLaterGroupAsARowWhateverItsName) {
  EXPECT_EQ(listed("[0]\n0=1;\n[info]\nleds=2\n[50]\n0=3;\n"), (RowTexts{"0: leds=2", "50: 0=3"}));
}

TEST(IlluminationTable, HasNoRowsWithoutFurtherGroups) {
  for (const char *file : {"", "# nothing\n", "[info]\nleds=3\n"}) {
    EXPECT_EQ(listed(file), RowTexts{}) << file;
    EXPECT_EQ(rows_of_file(file, 3), RowTexts{}) << file;
  }
}

TEST(IlluminationTable, KeepsTheOrderOfTheFile) {
  EXPECT_EQ(rows_of_file("[info]\n[100]\n60=1;\n20=2;\n40=3;\n[0]\n0=4;\n[50]\n9=5;\n8=6;\n", 1),
            (RowTexts{"100: 60=1, 20=2, 40=3", "0: 0=4", "50: 9=5, 8=6"}));
}

TEST(IlluminationTable, KeepsEqualAnglesAndIntensitiesApart) {
  EXPECT_EQ(rows_of_file("[info]\n[50]\n10=1;\n010=2;\n[050]\n10=3;\n", 1),
            (RowTexts{"50: 10=1, 10=2", "50: 10=3"}));
}

TEST(IlluminationTable, JoinsGroupsOfOneName) {
  EXPECT_EQ(rows_of_file("[info]\n[0]\n0=1;\n[100]\n0=2;\n[0]\n50=3;\n", 1),
            (RowTexts{"0: 0=1, 50=3", "100: 0=2"}));
}

TEST(IlluminationTable, TakesTheLastOfKeysOfOneName) {
  const auto table = built("[info]\n[0]\n0=1;\n50=2;\n0=3;\n", 1);
  for (const IlluminationPoint *point = table->points; point->levels != nullptr; ++point)
    EXPECT_EQ(*point->levels, point->intensity == 0 ? 3 : 2);
}

TEST(IlluminationTable, IsAlsoListedUnderTheNamesOfTheFile) {
  EXPECT_EQ(listed("[info]\n[0]\n010=1;\nhalf=2;\n-5=3;\n"), RowTexts{"0: 010=1, half=2, -5=3"});
}

TEST(IlluminationTable, TakesNamesThatAreNoNumberForNothing) {
  EXPECT_EQ(rows_of_file("[info]\n[wide]\nhalf=1;\nx50=2;\n[-]\n1=3;\n", 1),
            (RowTexts{"0: 0=1, 0=2", "0: 1=3"}));
}

TEST(IlluminationTable, ReadsTheNumberAtTheStartOfAName) {
  EXPECT_EQ(rows_of_file("[info]\n[50 degrees]\n12.9=1;\n-5=2;\n[-7]\n+5=3;\n", 1),
            (RowTexts{"50: 12=1, -5=2", "-7: 5=3"}));
}

TEST(IlluminationTable, TakesHugeNamesForTheLargestNumbers) {
  EXPECT_EQ(
      rows_of_file("[info]\n[99999999999]\n-99999999999999999999=1;\n[-2147483649]\n2147483648=2;\n", 1),
      (RowTexts{"2147483647: -2147483648=1", "-2147483648: 2147483647=2"}));
}

TEST(IlluminationTable, ReadsLevelsOfAnySign) {
  EXPECT_EQ(listed("[info]\n[0]\n0=-5;2147483647;-2147483648;0\n"),
            RowTexts{"0: 0=-5 2147483647 -2147483648 0"});
}

TEST(IlluminationTable, ListsLevelsAsManyAsThereAre) {
  EXPECT_EQ(listed("[info]\n[0]\n0=\n1=1\n2=1;\n3=1;2\n4=1;2;3;4;5;\n"),
            RowTexts{"0: 0=, 1=1, 2=1, 3=1 2, 4=1 2 3 4 5"});
}

TEST(IlluminationTable, ListsNoLevelsWhereNotAllAreNumbers) {
  EXPECT_EQ(listed("[info]\n[0]\n0=a;b\n1=1;x;3\n2=1.5;2\n3=0x10;\n4=99999999999;\n5=1,2\n"),
            RowTexts{"0: 0=, 1=, 2=, 3=, 4=, 5="});
}

TEST(IlluminationTable, FillsUpShortLists) {
  EXPECT_EQ(rows_of_file("[info]\n[0]\n0=\n1=5\n2=5;6\n3=5;x\n4=5;6;7\n", 3),
            RowTexts{"0: 0=0 0 0, 1=5 0 0, 2=5 6 0, 3=0 0 0, 4=5 6 7"});
}

TEST(IlluminationTable, CutsLongLists) {
  EXPECT_EQ(rows_of_file("[info]\n[0]\n0=5;6;7;8\n1=5;6\n", 2), RowTexts{"0: 0=5 6, 1=5 6"});
}

TEST(IlluminationTable, OfNoLedsHasItsRowsAndPoints) {
  for (const gint leds : {0, -1, kLeast})
    EXPECT_EQ(rows_of(built(kThreeLeds, leds), 0), (RowTexts{"0: 0=, 100=", "100: 0=, 100="})) << leds;
}

TEST(IlluminationTable, GoesOnAfterRowsWithoutPoints) {
  EXPECT_EQ(rows_of_file("[info]\n[0]\n[50]\n0=1;\n[70]\n[100]\n", 1),
            (RowTexts{"0:", "50: 0=1", "70:", "100:"}));
}

TEST(IlluminationTable, IsEndedByARowWithoutPointsAndEachRowByAPointWithoutLevels) {
  const auto table = built("[info]\n[50]\n20=1;\n[70]\n", 1);
  EXPECT_NE(table.get()[0].points, nullptr);
  EXPECT_NE(table.get()[0].points[0].levels, nullptr);
  EXPECT_EQ(table.get()[0].points[1].levels, nullptr);
  EXPECT_NE(table.get()[1].points, nullptr);
  EXPECT_EQ(table.get()[1].points[0].levels, nullptr);
  EXPECT_EQ(table.get()[2].points, nullptr);
}

TEST(IlluminationTable, MayHaveThousandsOfRowsAndPoints) {
  constexpr gint kCount = 5000;
  std::string file = "[info]\n";
  RowTexts rows;
  for (gint i = 0; i < kCount; ++i) {
    file += "[" + std::to_string(i) + "]\n7=" + std::to_string(3 * i) + ";1;\n";
    rows.push_back(std::to_string(i) + ": 7=" + std::to_string(3 * i) + " 1");
  }
  file += "[100]\n";
  for (gint i = 0; i < kCount; ++i) {
    file += std::to_string(10 + i) + "=" + std::to_string(i) + ";2;\n";
    rows[100] += ", " + std::to_string(10 + i) + "=" + std::to_string(i) + " 2";
  }
  EXPECT_EQ(rows_of_file(file, 2), rows);
}

TEST(IlluminationTable, MayHaveHugeLists) {
  std::string file = "[info]\n[0]\n0=";
  for (gint i = 0; i < 100000; ++i)
    file += std::to_string(i) + ";";
  const auto table = built(file + "\n", 1024);
  for (gint i = 0; i < 1024; ++i)
    ASSERT_EQ(table->points->levels[i], i);
  EXPECT_EQ(illumination_table_list(parsed(file).get())[0].points[0].levels.size(), 100000U);
}

TEST(IlluminationTable, OfRowsMadeByHandIsTheSame) {
  const std::vector<ListedRow> rows{{kMost, {{"100", {1, 2}}}}, {kLeast, {{"", {}}}}, {0, {}}};
  const Table table{illumination_table_new(rows, 2)};
  EXPECT_EQ(rows_of(table, 2), (RowTexts{"2147483647: 100=1 2", "-2147483648: 0=0 0", "0:"}));
}

TEST(IlluminationTable, MayBeFreedWhenThereIsNone) { illumination_table_free(nullptr); }

}  // namespace
