#include "beamctl/table.h"

#include <gtest/gtest.h>

namespace {

TEST(Table, AlignsItsColumns) {
  Table table({{"NAME"}, {"COUNT", Align::kRight}, {"NOTE"}});
  table.add({"a", "5", "short"});
  table.add({"longer one", "123456", "x"});
  EXPECT_EQ(table.text(),
            "NAME         COUNT  NOTE\n"
            "a                5  short\n"
            "longer one  123456  x\n");
}

TEST(Table, CountsColumnsOfTheTerminal) {
  Table table({{"A"}, {"B"}});
  table.add({"白色", "1"});
  table.add({"Weiß", "2"});
  table.add({"e\u0301", "3"});
  EXPECT_EQ(table.text(),
            "A     B\n"
            "白色  1\n"
            "Weiß  2\n"
            "e\u0301     3\n");
}

TEST(Table, LeavesNoBlanksAtTheEnds) {
  Table table({{"A"}, {"B"}, {"C"}});
  table.add({"1", "", ""});
  table.add({"1"});
  table.add({"1", "2 ", "  "});
  table.add({"", "", ""});
  table.add({"", "22", ""});
  EXPECT_EQ(table.text(),
            "A  B   C\n"
            "1\n"
            "1\n"
            "1  2\n"
            "\n"
            "   22\n");
}

TEST(Table, WithoutHeadingsHasNoLineForThem) {
  Table table({{""}, {""}});
  EXPECT_EQ(table.text(), "");
  table.add({"a", "b"});
  EXPECT_EQ(table.text(), "a  b\n");
}

TEST(Table, WithoutRowsIsItsHeadings) { EXPECT_EQ(Table({{"A"}, {"B"}}).text(), "A  B\n"); }

TEST(Table, KeepsARowOnItsLine) {
  Table table({{"A"}, {"B"}});
  table.add({"two\nlines", "x"});
  EXPECT_EQ(table.text(),
            "A          B\n"
            "two\uFFFDlines  x\n");
}

}  // namespace
