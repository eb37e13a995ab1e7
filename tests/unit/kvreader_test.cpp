#include "platform/kvreader.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace std::string_literals;

struct Triple {
  std::string section, key, value;
  bool operator==(const Triple &) const = default;
};

std::ostream &operator<<(std::ostream &stream, const Triple &triple) {
  return stream << '[' << triple.section << "] \"" << triple.key << "\" = \"" << triple.value << '"';
}

class Kvreader : public testing::Test {
 protected:
  Kvreader() {
    std::string pattern = testing::TempDir() + "kvreader-XXXXXX";
    folder_ = mkdtemp(pattern.data());
  }

  ~Kvreader() override {
    kvreader_closecfg();
    std::filesystem::remove_all(folder_);
  }

  std::string write(std::string_view text, const std::string &name = "a.conf") const {
    const std::string path = folder_ / name;
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }

  std::vector<Triple> read(std::string_view text) const {
    EXPECT_NE(kvreader_opencfg(write(text).c_str()), 0);
    std::vector<Triple> triples;
    while (const KvreaderTriple *triple = kvreader_getcfg())
      triples.push_back({triple->section, triple->key, triple->value});
    return triples;
  }

  std::filesystem::path folder_;
};

using Triples = std::vector<Triple>;

TEST_F(Kvreader, YieldsTriplesInFileOrder) {
  EXPECT_EQ(read("[common]\nNbrOfLeds = 2\n\n[group1]\ntype=pwm\nname=front\n[group0]\ntype = sysfs\n"),
            (Triples{{"common", "NbrOfLeds", "2"},
                     {"group1", "type", "pwm"},
                     {"group1", "name", "front"},
                     {"group0", "type", "sysfs"}}));
}

TEST_F(Kvreader, KeepsRepeatedKeys) {
  EXPECT_EQ(read("[a]\nk=1\nk=2\nk=1\n"), (Triples{{"a", "k", "1"}, {"a", "k", "2"}, {"a", "k", "1"}}));
}

TEST_F(Kvreader, KeepsRepeatedSections) {
  EXPECT_EQ(read("[a]\nk=1\n[b]\nk=2\n[a]\nk=3\n"),
            (Triples{{"a", "k", "1"}, {"b", "k", "2"}, {"a", "k", "3"}}));
}

TEST_F(Kvreader, GivesKeysAheadOfTheFirstSectionAnEmptySection) {
  EXPECT_EQ(read("k=1\n[a]\nk=2\n"), (Triples{{"", "k", "1"}, {"a", "k", "2"}}));
}

TEST_F(Kvreader, KeepsAnEmptyValue) {
  EXPECT_EQ(read("[a]\nk=\nl = \n"), (Triples{{"a", "k", ""}, {"a", "l", ""}}));
}

TEST_F(Kvreader, DropsBlanksAroundKeysAndValuesButNotInside) {
  EXPECT_EQ(read("[a]\n\tsome key \t=  some value \t\r\n"), (Triples{{"a", "some key", "some value"}}));
}

TEST_F(Kvreader, SplitsAtTheFirstSeparatorOnly) {
  EXPECT_EQ(read("[a]\nk=b=c:d\nl: e=f\n"), (Triples{{"a", "k", "b=c:d"}, {"a", "l", "e=f"}}));
}

TEST_F(Kvreader, SkipsCommentsAndEmptyLines) {
  EXPECT_EQ(read("# one=1\n; two=2\n[a]\n\n   \n  # three=3\nk=1\n"), (Triples{{"a", "k", "1"}}));
}

TEST_F(Kvreader, DropsACommentBehindAValue) {
  EXPECT_EQ(read("[a] ; here\nk=1 ; first\nl=1;2;3\nm=1 # 2\n"),
            (Triples{{"a", "k", "1"}, {"a", "l", "1;2;3"}, {"a", "m", "1 # 2"}}));
}

TEST_F(Kvreader, SkipsLinesThatAreNoSectionKeyOrComment) {
  EXPECT_EQ(read("[a]\nnonsense\nk=1\n= nameless\n]\nl=2\n"), (Triples{{"a", "k", "1"}, {"a", "l", "2"}}));
}

TEST_F(Kvreader, TakesAnIndentedLineForItselfAndNotForMoreOfTheValueAbove) {
  EXPECT_EQ(read("[a]\nk=1\n  l=2\n  more\n  [b]\n\tm=3\n"),
            (Triples{{"a", "k", "1"}, {"a", "l", "2"}, {"b", "m", "3"}}));
}

TEST_F(Kvreader, ReadsAFileWithAByteOrderMark) {
  EXPECT_EQ(read("\xEF\xBB\xBF[a]\r\nk=1\r\n"), (Triples{{"a", "k", "1"}}));
}

TEST_F(Kvreader, ReadsALastLineWithoutANewline) { EXPECT_EQ(read("[a]\nk=1"), (Triples{{"a", "k", "1"}})); }

TEST_F(Kvreader, FindsNothingInAnEmptyFile) { EXPECT_EQ(read(""), Triples{}); }

TEST_F(Kvreader, KeepsAValueOfOrdinaryLengthWhole) {
  const std::string value(180, 'v');
  EXPECT_EQ(read("[a]\nk=" + value + "\nl=2\n"), (Triples{{"a", "k", value}, {"a", "l", "2"}}));
}

TEST_F(Kvreader, SkipsALineThatIsTooLongWhole) {
  for (std::size_t length = 190; length < 1000; length++) {
    const std::string value(length, 'v');
    const Triples triples = read("[a]\nk=" + value + "\nl=2\n");
    const Triples whole{{"a", "k", value}, {"a", "l", "2"}};
    const Triples skipped{{"a", "l", "2"}};
    EXPECT_TRUE(triples == whole || triples == skipped) << "length " << length;
  }
}

TEST_F(Kvreader, DoesNotReadTheRestOfALongLineAsALineOfItsOwn) {
  EXPECT_EQ(read("[a]\nlong=" + std::string(10'000, ' ') + "[b]\n#" + std::string(300, '#') + "k=1\nl=2\n"),
            (Triples{{"a", "l", "2"}}));
}

TEST_F(Kvreader, KeepsAShortValueWithALongComment) {
  EXPECT_EQ(read("[a]\nk=1 ; " + std::string(500, 'c') + "\n"), (Triples{{"a", "k", "1"}}));
}

TEST_F(Kvreader, KeepsALongKeyWhole) {
  const std::string key(100, 'k');
  EXPECT_EQ(read("[a]\n" + key + "=1\n"), (Triples{{"a", key, "1"}}));
}

TEST_F(Kvreader, KeepsTheLongestSectionNameWhole) {
  const std::string name(49, 's');
  EXPECT_EQ(read("[" + name + "]\nk=1\n"), (Triples{{name, "k", "1"}}));
}

TEST_F(Kvreader, SkipsASectionWhoseNameIsTooLong) {
  for (const std::size_t length : {50, 51, 180, 250, 5000}) {
    EXPECT_EQ(read("[a]\nk=1\n[" + std::string(length, 's') + "]\nk=2\n[b]\nk=3\n"),
              (Triples{{"a", "k", "1"}, {"b", "k", "3"}}))
        << "length " << length;
  }
}

TEST_F(Kvreader, SkipsASectionWhoseNameIsTooLongBehindAByteOrderMark) {
  EXPECT_EQ(read("\xEF\xBB\xBF[" + std::string(60, 's') + "]\nk=1\n[b]\nk=2\n"), (Triples{{"b", "k", "2"}}));
}

TEST_F(Kvreader, SkipsLinesWithANul) {
  EXPECT_EQ(read("[a]\nk=1\0 2\nl=2\n\0m=3\n"s), (Triples{{"a", "l", "2"}}));
}

TEST_F(Kvreader, SkipsASectionWithANulInItsName) {
  EXPECT_EQ(read("[a]\nk=1\n[b\0]\nk=2\n[c]\nk=3\n"s), (Triples{{"a", "k", "1"}, {"c", "k", "3"}}));
}

TEST_F(Kvreader, FindsNothingInALargeFileOfNuls) {
  EXPECT_EQ(read(std::string(10'000'000, '\0')), Triples{});
}

TEST_F(Kvreader, FindsNothingInALargeFileOfOneLine) {
  EXPECT_EQ(read(std::string(10'000'000, 'x')), Triples{});
}

TEST_F(Kvreader, FindsNothingInALargeFileOfEmptyLines) {
  EXPECT_EQ(read(std::string(10'000'000, '\n')), Triples{});
}

TEST_F(Kvreader, ReadsALargeFileOfKeysToItsEnd) {
  std::string text = "[a]\n";
  while (text.size() < 10'000'000)
    text += "key=value\n";
  const std::size_t lines = (text.size() - 4) / 10;
  ASSERT_NE(kvreader_opencfg(write(text).c_str()), 0);
  std::size_t triples = 0;
  while (kvreader_getcfg() != nullptr)
    triples++;
  EXPECT_EQ(triples, lines);
}

TEST_F(Kvreader, SurvivesGarbage) {
  std::string text(10'000'000, '\0');
  unsigned int state = 1;
  for (char &byte : text) {
    state = state * 1664525 + 1013904223;
    byte = static_cast<char>(state >> 24);
  }
  EXPECT_GT(read(text + "\n[end]\nlast=1\n").size(), 0U);
  EXPECT_EQ(read(text + "\n[end]\nlast=1\n").back(), (Triple{"end", "last", "1"}));
}

TEST_F(Kvreader, FailsWithEnoentWithoutAFile) {
  errno = 0;
  EXPECT_EQ(kvreader_opencfg((folder_ / "none.conf").c_str()), 0);
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(Kvreader, FailsWithEisdirOnAFolder) {
  errno = 0;
  EXPECT_EQ(kvreader_opencfg(folder_.c_str()), 0);
  EXPECT_EQ(errno, EISDIR);
}

TEST_F(Kvreader, FailsWithEloopOnALinkToItself) {
  const std::filesystem::path link = folder_ / "loop.conf";
  std::filesystem::create_symlink(link, link);
  errno = 0;
  EXPECT_EQ(kvreader_opencfg(link.c_str()), 0);
  EXPECT_EQ(errno, ELOOP);
}

TEST_F(Kvreader, HasNothingToReturnBeforeOpening) { EXPECT_EQ(kvreader_getcfg(), nullptr); }

TEST_F(Kvreader, KeepsReturningNothingAtTheEnd) {
  EXPECT_EQ(read("[a]\nk=1\n").size(), 1U);
  EXPECT_EQ(kvreader_getcfg(), nullptr);
}

TEST_F(Kvreader, HasNothingToReturnAfterClosing) {
  ASSERT_NE(kvreader_opencfg(write("[a]\nk=1\n").c_str()), 0);
  kvreader_closecfg();
  EXPECT_EQ(kvreader_getcfg(), nullptr);
}

TEST_F(Kvreader, ClosesTwiceWithoutHarm) {
  kvreader_closecfg();
  kvreader_closecfg();
  EXPECT_EQ(read("[a]\nk=1\n"), (Triples{{"a", "k", "1"}}));
}

TEST_F(Kvreader, StartsFromTheTopWhenOpenedAgain) {
  const std::string first = write("[a]\nk=1\nl=2\n", "first.conf");
  ASSERT_NE(kvreader_opencfg(first.c_str()), 0);
  ASSERT_NE(kvreader_getcfg(), nullptr);
  EXPECT_EQ(read("[b]\nm=3\n"), (Triples{{"b", "m", "3"}}));
}

TEST_F(Kvreader, HasNothingOpenAfterAFailure) {
  ASSERT_NE(kvreader_opencfg(write("[a]\nk=1\n").c_str()), 0);
  ASSERT_EQ(kvreader_opencfg((folder_ / "none.conf").c_str()), 0);
  EXPECT_EQ(kvreader_getcfg(), nullptr);
}

TEST_F(Kvreader, KeepsTheKeysOfABrokenHeaderOutOfTheSectionBefore) {
  const Triples expected{{"LED.L0", "Type", "Dummy"}, {"LED.L2", "Type", "Other"}};
  for (const std::string &header : {"[LED.L1"s, "[LED.L1 ; x]"s, "[LED\0.L1]"s})
    EXPECT_EQ(read("[LED.L0]\nType=Dummy\n" + header + "\nType=Dummy\n[LED.L2]\nType=Other\n"), expected)
        << header;
}

TEST_F(Kvreader, ReadsAHeaderWithALongTail) {
  EXPECT_EQ(read("[LED.L0] # " + std::string(300, 'x') + "\nType=Dummy\n"),
            (Triples{{"LED.L0", "Type", "Dummy"}}));
}

TEST_F(Kvreader, RefusesWhatWouldKeepItWaiting) {
  const std::string path = folder_ / "fifo";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(kvreader_opencfg(path.c_str()), 0);
  EXPECT_EQ(errno, EINVAL);
}

}  // namespace
