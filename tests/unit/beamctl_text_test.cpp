#include "beamctl/text.h"

#include <gtest/gtest.h>

#include <string_view>
#include <vector>

namespace {

TEST(Printable, KeepsTextAndReplacesTheRest) {
  EXPECT_EQ(printable("Weiß 白 é"), "Weiß 白 é");
  EXPECT_EQ(printable(""), "");
  EXPECT_EQ(printable("a\033[31mb"), "a\uFFFD[31mb");
  EXPECT_EQ(printable("a\u2028b\u2029c\u202Ed"), "a\uFFFDb\uFFFDc\uFFFDd");
  EXPECT_EQ(printable("a\nb\tc\x7f"), "a\uFFFDb\uFFFDc\uFFFD");
  EXPECT_EQ(printable("\xff\xfe"), "\uFFFD\uFFFD");
  EXPECT_EQ(printable(std::string_view{"a\0b", 3}), "a\uFFFDb");
}

TEST(DisplayWidth, CountsColumns) {
  EXPECT_EQ(display_width(""), 0u);
  EXPECT_EQ(display_width("abc"), 3u);
  EXPECT_EQ(display_width("Weiß"), 4u);
  EXPECT_EQ(display_width("白色"), 4u);
  EXPECT_EQ(display_width("e\u0301"), 1u);
}

TEST(EditDistance, CountsChanges) {
  EXPECT_EQ(edit_distance("", ""), 0u);
  EXPECT_EQ(edit_distance("abc", "abc"), 0u);
  EXPECT_EQ(edit_distance("", "abc"), 3u);
  EXPECT_EQ(edit_distance("abc", ""), 3u);
  EXPECT_EQ(edit_distance("abc", "abd"), 1u);
  EXPECT_EQ(edit_distance("abc", "ac"), 1u);
  EXPECT_EQ(edit_distance("abc", "abxc"), 1u);
  EXPECT_EQ(edit_distance("abc", "acb"), 1u);
  EXPECT_EQ(edit_distance("ABC", "abc"), 0u);
  EXPECT_EQ(edit_distance("kitten", "sitting"), 3u);
}

TEST(MostSimilar, IsTheNearestOrNone) {
  const std::vector<std::string_view> known = {"list", "show", "on", "off", "intensity", "angle"};
  EXPECT_EQ(most_similar("lst", known), "list");
  EXPECT_EQ(most_similar("SHOW", known), "show");
  EXPECT_EQ(most_similar("shwo", known), "show");
  EXPECT_EQ(most_similar("intesnty", known), "intensity");
  EXPECT_EQ(most_similar("o", known), "on");
  EXPECT_EQ(most_similar("dance", known), "");
  EXPECT_EQ(most_similar("", known), "");
  EXPECT_EQ(most_similar("list", {}), "");
}

TEST(Join, PutsCommasBetween) {
  EXPECT_EQ(join({}), "");
  EXPECT_EQ(join(std::vector<std::string_view>{"a"}), "a");
  EXPECT_EQ(join(std::vector<std::string_view>{"a", "b", "c"}), "a, b, c");
  EXPECT_EQ(join(std::vector<std::string_view>{"a", "b"}, " or "), "a or b");
}

}  // namespace
