// Files: missing, unused and hostile ones.

#include <sys/stat.h>
#include <unistd.h>

#include "beamctl/check/check.h"
#include "support/configuration_tree.h"

namespace {

const std::string kMain = "/etc/beamd/beamd.conf";
const std::string kState = "/etc/beamd/led0.conf";
const std::string kDefaults = "/usr/share/beamd/led0.conf";
const std::string kTable = "/etc/beamd/illumination.conf";
const std::string kDimming = "/etc/beamd/dimming.conf";

const std::string kNul(1, '\0');

const std::vector<Mistake> kMistakes = known({
    {"NoSign", "Dummy", kState, "enable=true", "enable true", "error does-not-parse refuses-to-start"},
    {"CommentOfTheOtherKind", "Dummy", kState, "enable=true", "; on\nenable=true",
     "error does-not-parse refuses-to-start"},
    {"KeyAheadOfTheGroup", "Dummy", kState, "[common]\n", "enable=true\n[common]\n",
     "error does-not-parse refuses-to-start", "enable=true\n[common]"},
    {"TextBehindTheGroup", "Dummy", kState, "[common]", "[common] first",
     "error does-not-parse refuses-to-start"},
    {"ByteOrderMark", "LEDBL", kTable, "[info]", "\xEF\xBB\xBF[info]", "error does-not-parse undetected"},
    {"BrokenDimming", "LEDSYSFS", kDimming, "k_d=0", "k_d", "error does-not-parse unregulated"},
    {"NulByte", "Dummy", kState, "intensity=50", "intensity=5" + kNul + "0", "error nul-byte misread"},
    {"NulByteInTheMainFile", "Dummy", kMain, "Type=Dummy", "Type=Dum" + kNul + "my",
     "error nul-byte misread"},
});

class CheckFiles : public MistakeTest {};
TEST_P(CheckFiles, FindsTheMistakeAlone) { expect_found(GetParam()); }
INSTANTIATE_TEST_SUITE_P(All, CheckFiles, testing::ValuesIn(kMistakes), name_of_mistake);

/// A tree of a light of a Type.
class CheckedFiles : public testing::Test {
 protected:
  void fill(const std::string &type) const { tree_.write(valid_configuration(type)); }
  std::string found() const { return tree_.findings(); }
  void remove(const std::string &file) const { std::filesystem::remove(tree_.path(file)); }

  std::string without(const std::string &type, const std::string &file) const {
    fill(type);
    EXPECT_EQ(found(), "");
    remove(file);
    return found();
  }

  ConfigurationTree tree_;
};

TEST_F(CheckedFiles, HaveToBeThere) {
  EXPECT_EQ(without("Dummy", kMain), kMain + " error file-missing refuses-to-start\n");
  EXPECT_EQ(without("Dummy", kState), kState + " error file-missing refuses-to-start\n");
  EXPECT_EQ(without("Dummy", kDefaults), kDefaults + " error file-missing undetected\n");
  EXPECT_EQ(without("Dummy", kTable), kTable + " error file-missing refuses-to-start\n");
}

TEST_F(CheckedFiles, ThatAreOnlyComplainedAboutAreWarnings) {
  EXPECT_EQ(without("LED2UART", kDefaults), kDefaults + " warning file-missing unused\n");
}

TEST_F(CheckedFiles, OfNearlyTheRightNameAreNamedOnce) {
  fill("LEDBL");
  std::filesystem::rename(tree_.path(kTable), tree_.path("/etc/beamd/ilumination.conf"));
  EXPECT_EQ(found(), kTable + " error file-missing undetected\n");
}

TEST_F(CheckedFiles, ThatNobodyReadsAreWarnedAbout) {
  fill("Dummy");
  for (const char *file : {"/etc/beamd/led1.conf", "/usr/share/beamd/led1.conf", "/etc/beamd/dimming.conf",
                           "/etc/beamd/dimming.conf.X1", "/etc/beamd/extra.conf"}) {
    tree_.write(file, "");
    EXPECT_EQ(found(), std::string{file} + " warning file-unused unused\n");
    remove(file);
  }
  for (const char *file : {"/etc/beamd/README", "/etc/beamd/led0.conf.tmp", "/usr/share/beamd/x/led9.conf"}) {
    tree_.write(file, "");
    EXPECT_EQ(found(), "") << file;
  }
}

TEST_F(CheckedFiles, ThatNeedNotBeThereAreMissedWhenTheyAreMisspelt) {
  fill("LEDSYSFS");
  std::filesystem::rename(tree_.path(kDimming), tree_.path("/etc/beamd/dimmming.conf"));
  EXPECT_EQ(found(), kDimming + " error file-missing unregulated\n");
}

TEST_F(CheckedFiles, OfLightsMayBeMisspelt) {
  for (const char *name : {"/etc/beamd/led_0.conf", "/etc/beamd/led00.conf"}) {
    fill("Dummy");
    std::filesystem::rename(tree_.path(kState), tree_.path(name));
    const auto findings = check::check_tree(tree_.root()).all;
    ASSERT_EQ(findings.size(), 1U) << name;
    EXPECT_NE(findings[0].message.find(name), std::string::npos) << findings[0].message;
    remove(name);
  }
}

TEST_F(CheckedFiles, ThatNobodyReadsAreMeantToBeWhatIsNotThere) {
  fill("Dummy");
  const auto finding = [this](const char *file) {
    tree_.write(file, "");
    const auto findings = check::check_tree(tree_.root()).all;
    remove(file);
    return findings.size() == 1 ? findings[0] : check::Finding{};
  };
  EXPECT_EQ(finding("/etc/beamd/pwm2.conf").suggestion, "pwm.conf");
  EXPECT_EQ(finding("/etc/beamd/illumination2.conf").suggestion, "") << "that one is there";
  EXPECT_EQ(finding("/usr/share/beamd/dimming.conf").suggestion, "") << "its own name";
  EXPECT_NE(finding("/usr/share/beamd/dimming.conf").message.find("/etc/beamd"), std::string::npos);
}

TEST_F(CheckedFiles, OfNoKindThatCanBeReadAreNoDanger) {
  fill("Dummy");
  for (const std::string &file : {kMain, kState, kTable}) {
    const std::string text = valid_configuration("Dummy").at(file);
    remove(file);
    mkfifo(tree_.path(file).c_str(), 0600);
    EXPECT_EQ(found(), file + " error file-unreadable refuses-to-start\n");
    remove(file);
    std::filesystem::create_directory(tree_.path(file));
    EXPECT_EQ(found(), file + " error file-unreadable refuses-to-start\n");
    remove(file);
    std::filesystem::create_symlink(tree_.path(file).filename(), tree_.path(file));
    EXPECT_EQ(found(), file + " error file-unreadable refuses-to-start\n");
    remove(file);
    tree_.write(file, text);
  }
  EXPECT_EQ(found(), "");
}

TEST_F(CheckedFiles, AreNotReadBeyondTheirLimit) {
  fill("Dummy");
  for (const std::string &file : {kMain, kState}) {
    const auto size = std::filesystem::file_size(tree_.path(file));
    std::filesystem::resize_file(tree_.path(file), std::uintmax_t{1} << 40);
    EXPECT_EQ(found(), file + " error file-too-large refuses-to-start\n");
    std::filesystem::resize_file(tree_.path(file), size);
  }
}

TEST_F(CheckedFiles, AreLookedForWhereLinksLeadOnTheCamera) {
  fill("Dummy");
  std::filesystem::create_directory(tree_.root() / "data");
  std::filesystem::rename(tree_.path(kState), tree_.path("/data/led0.conf"));
  std::filesystem::create_symlink("/data/led0.conf", tree_.path(kState));
  EXPECT_EQ(found(), "");
  remove(kState);
  std::filesystem::create_symlink("../../../../../data/led0.conf", tree_.path(kState));
  EXPECT_EQ(found(), "");
  remove(kState);
  std::filesystem::create_symlink("/etc/passwd", tree_.path(kState));
  EXPECT_EQ(found(), kState + " error file-missing refuses-to-start\n");
}

TEST_F(CheckedFiles, FullOfAnythingAreNoDanger) {
  fill("Dummy");
  std::string noise;
  unsigned state = 1;
  for (int byte = 0; byte < 100000; ++byte)
    noise += static_cast<char>((state = state * 1103515245 + 12345) >> 16 | 1);
  for (const auto &[file, text] : valid_configuration("Dummy")) {
    tree_.write(file, noise);
    EXPECT_NE(found(), "") << file;
    tree_.write(file, text);
  }
}

TEST_F(CheckedFiles, AreNoneInAnEmptyTree) {
  EXPECT_EQ(found(), kMain + " error file-missing refuses-to-start\n");
}

}  // namespace
