// What the check knows of the daemon's files, and how it reads them.

#include "beamctl/check/schema.h"

#include <algorithm>
#include <set>

#include "beamctl/check/key_file.h"
#include "support/configuration_tree.h"

namespace {

using check::KeyFile;

TEST(Schema, NamesEachKeyOnce) {
  std::set<std::tuple<check::FileKind, std::string_view, std::string_view>> seen;
  for (const check::KeySchema &row : check::schema()) {
    EXPECT_TRUE(seen.emplace(row.file, row.group, row.key).second) << row.key;
    EXPECT_NE(row.used_by, 0U) << row.key;
    EXPECT_EQ(row.required_by & ~row.used_by, 0U) << row.key << " is required where it is not used";
  }
}

TEST(Schema, FindsNumberedSensors) {
  const auto is_known = [](const char *key) {
    return check::find_key(check::FileKind::kDimming, "regulator", key) != nullptr;
  };
  EXPECT_TRUE(is_known("temp_sensor_id"));
  EXPECT_TRUE(is_known("temp_sensor_id2"));
  EXPECT_TRUE(is_known("temp_sensor_id12"));
  EXPECT_FALSE(is_known("temp_sensor_id1"));
  EXPECT_FALSE(is_known("temp_sensor_id02"));
  EXPECT_FALSE(is_known("temp_sensor_id2x"));
}

TEST(Schema, EachTypeHasAConfigurationThatIsAllRight) {
  for (const check::LightType &type : check::light_types()) {
    ConfigurationTree tree;
    tree.write(valid_configuration(type.name));
    EXPECT_EQ(tree.findings(), "") << type.name;
  }
}

TEST(Rules, EachHasANameAndAMistakeThatBreaksIt) {
  // Those that are no single text of a file have tests of their own.
  std::set<std::string_view> broken = {"file-missing", "file-unreadable", "file-too-large", "file-unused",
                                       "basepath-shared"};
  std::vector<Mistake> mistakes = known_mistakes();
  for (const check::RuleName &rule : check::rule_names()) {
    EXPECT_EQ(check::name_of(rule.rule), rule.name);
    const bool is_broken = std::any_of(mistakes.begin(), mistakes.end(), [&](const Mistake &mistake) {
      return mistake.expected.find(" " + std::string{rule.name} + " ") != std::string::npos;
    });
    EXPECT_TRUE(is_broken || broken.contains(rule.name)) << rule.name;
  }
}

TEST(KeyFileLines, TellWhereGroupsAndKeysStand) {
  check::SyntaxProblem problem;
  const auto file = KeyFile::parse("# first\n[a]\nx=1\n\n y = 2\r\n[b]\nx=3\n[a]\nx=4\n", &problem);
  ASSERT_TRUE(file);
  EXPECT_EQ(file->line_of("a", "y"), 5);
  EXPECT_EQ(file->line_of("b", "x"), 7);
  EXPECT_EQ(file->line_of("a", "x"), 9) << "the value that counts";
  EXPECT_EQ(file->integer("a", "x"), 4);
  EXPECT_EQ(file->line_near("b", "z"), 6);
  EXPECT_EQ(file->line_near("c", "z"), 0);
  EXPECT_EQ(file->groups().size(), 2U);
  ASSERT_EQ(file->repetitions().size(), 2U);
  EXPECT_EQ(file->repetitions()[0].line, 8);
  EXPECT_EQ(file->repetitions()[1].first_line, 3);
}

TEST(KeyFileLines, TellWhereTheSyntaxEnds) {
  for (const auto &[text, line] :
       {std::pair{"[a]\nx=1\ny\nz=1\n", 3}, {"x=1\n", 1}, {"[a]\n\n[b\n", 3}, {"[a]\n=1", 2}}) {
    check::SyntaxProblem problem;
    EXPECT_FALSE(KeyFile::parse(text, &problem)) << text;
    EXPECT_EQ(problem.line, line) << text;
    EXPECT_NE(problem.reason, "");
  }
}

}  // namespace
