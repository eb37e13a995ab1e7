// The two files of a light: what happens when one cannot be used.

#include <gmock/gmock.h>

#include "support/light_setup_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Line = SyslogCapture::Line;

const Line kNoCommonGroup{LOG_ERR, "Key file does not have group “common”"};
const Line kNoBasepathGroup{LOG_ERR, "Failed to get basepath: Key file does not have group “common”"};
constexpr size_t kTenMegabytes = size_t{10} * 1024 * 1024;

std::string garbage(size_t size) {
  std::string bytes(size, '\0');
  for (size_t i = 0; i < size; ++i)
    bytes[i] = static_cast<char>((i * 167 + 13) % 256);
  return bytes;
}

class LightFilesRead : public LightSetup {
 protected:
  static void make_folder(const std::string &path) {
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
  }
};

TEST_F(LightFilesRead, AreNamedAfterTheLightId) {
  const LightFiles files{12};
  files.write_state(state_text());
  files.write_defaults("[common]\nbasepath=/sys/twelve\n");
  led_base_set_light_id(light_.get(), 12);
  EXPECT_TRUE(set_up());
  EXPECT_STREQ(light_->state_filename, "/etc/beamd/led12.conf");
  EXPECT_STREQ(light_->defaults_filename, "/usr/share/beamd/led12.conf");
  EXPECT_STREQ(light_->basepath, "/sys/twelve");
}

TEST_F(LightFilesRead, AreKeptInTheLight) {
  EXPECT_TRUE(set_up());
  ASSERT_NE(light_->state, nullptr);
  ASSERT_NE(light_->defaults, nullptr);
  EXPECT_EQ(g_key_file_get_integer(light_->state, "common", "intensityHIGH", nullptr), 100);
  g_autofree gchar *basepath = g_key_file_get_string(light_->defaults, "common", "basepath", nullptr);
  EXPECT_STREQ(basepath, "/sys/light");
}

TEST_F(LightFilesRead, BasepathComesFromTheDefaultsOnly) {
  files_.write_defaults("[common]\nbasepath=/sys/default\nledtype=other\nenable=false\n");
  EXPECT_TRUE(set_up_with({{{"common", "basepath"}, "/sys/state"}}));
  EXPECT_STREQ(light_->basepath, "/sys/default");
  EXPECT_STREQ(light_->ledtype, "IR");
  EXPECT_TRUE(light_->enabled);
}

TEST_F(LightFilesRead, MissingStateFileFailsSetup) {
  std::filesystem::remove(files_.state_path());
  EXPECT_FALSE(set_up());
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_ERR, "could not open /etc/beamd/led0.conf: No such file or directory"},
                          kNoCommonGroup));
  EXPECT_NE(light_->state, nullptr);
  EXPECT_STREQ(light_->basepath, "/sys/light");
  EXPECT_THAT(recorded_calls(), IsEmpty());
}

TEST_F(LightFilesRead, EmptyStateFileFailsSetup) {
  files_.write_state("");
  EXPECT_FALSE(set_up());
  EXPECT_THAT(log_.lines(), ElementsAre(kNoCommonGroup));
}

TEST_F(LightFilesRead, StateFolderInPlaceOfTheFileFailsSetup) {
  make_folder(files_.state_path());
  EXPECT_FALSE(set_up());
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "failed reading file"}, kNoCommonGroup));
}

TEST_F(LightFilesRead, StateFileThatIsNoKeyFileFailsSetup) {
  files_.write_state("intensityHIGH=100\n");
  EXPECT_FALSE(set_up());
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "Could not load data to GKeyFile"}, kNoCommonGroup));
}

TEST_F(LightFilesRead, StateFileBrokenAtItsEndCountsAsEmpty) {
  files_.write_state(state_text() + "no key file line\n");
  EXPECT_FALSE(set_up());
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "Could not load data to GKeyFile"}, kNoCommonGroup));
  EXPECT_EQ(light_->intensity_high, 0);
}

TEST_F(LightFilesRead, BinaryGarbageFailsSetup) {
  files_.write_state(garbage(kTenMegabytes));
  EXPECT_FALSE(set_up());
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "Could not load data to GKeyFile"}, kNoCommonGroup));
}

TEST_F(LightFilesRead, TenMegabytesOfStateAreReadWhole) {
  std::string remarks;
  while (remarks.size() < kTenMegabytes)
    remarks += "# " + std::string(998, 'x') + "\n";
  files_.write_state(remarks + state_text());
  EXPECT_TRUE(set_up());
  EXPECT_EQ(light_->aoi_high, 90);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LightFilesRead, MissingDefaultsFileLeavesNoBasepath) {
  std::filesystem::remove(files_.defaults_path());
  EXPECT_TRUE(set_up());
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(Line{LOG_INFO, "could not open /usr/share/beamd/led0.conf: No such file or directory"},
                  kNoBasepathGroup));
  EXPECT_EQ(light_->basepath, nullptr);
}

TEST_F(LightFilesRead, EmptyDefaultsFileLeavesNoBasepath) {
  files_.write_defaults("");
  EXPECT_TRUE(set_up());
  EXPECT_THAT(log_.lines(), ElementsAre(kNoBasepathGroup));
  EXPECT_EQ(light_->basepath, nullptr);
}

TEST_F(LightFilesRead, DefaultsFileWithoutBasepathLeavesNone) {
  files_.write_defaults("[common]\npath=/sys/light\n");
  EXPECT_TRUE(set_up());
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_ERR,
                               "Failed to get basepath: Key file does not have key “basepath” in group "
                               "“common”"}));
  EXPECT_EQ(light_->basepath, nullptr);
}

TEST_F(LightFilesRead, BasepathWithAnInvalidEscapeIsNone) {
  files_.write_defaults("[common]\nbasepath=/sys/\\q\n");
  EXPECT_TRUE(set_up());
  ASSERT_EQ(log_.lines().size(), 1U);
  EXPECT_EQ(log_.lines()[0].priority, LOG_ERR);
  EXPECT_THAT(log_.lines()[0].text, testing::StartsWith("Failed to get basepath: "));
  EXPECT_EQ(light_->basepath, nullptr);
}

TEST_F(LightFilesRead, DefaultsFolderInPlaceOfTheFileLeavesNoBasepath) {
  make_folder(files_.defaults_path());
  EXPECT_TRUE(set_up());
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "failed reading file"}, kNoBasepathGroup));
}

TEST_F(LightFilesRead, DefaultsFileThatIsNoKeyFileLeavesNoBasepath) {
  files_.write_defaults(garbage(1000));
  EXPECT_TRUE(set_up());
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "Could not load data to GKeyFile"}, kNoBasepathGroup));
}

TEST_F(LightFilesRead, BothMissingAreReportedInTheOrderOfReading) {
  std::filesystem::remove(files_.state_path());
  std::filesystem::remove(files_.defaults_path());
  EXPECT_FALSE(set_up());
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(Line{LOG_ERR, "could not open /etc/beamd/led0.conf: No such file or directory"},
                  Line{LOG_INFO, "could not open /usr/share/beamd/led0.conf: No such file or directory"},
                  kNoBasepathGroup, kNoCommonGroup));
}

TEST_F(LightFilesRead, AreAnnouncedInDebugMode) {
  BEAMD_DEBUG_FLAG = 1;
  std::filesystem::remove(files_.state_path());
  EXPECT_FALSE(set_up());
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(Line{LOG_INFO, "Reading state from file '/etc/beamd/led0.conf'"},
                  Line{LOG_ERR, "could not open /etc/beamd/led0.conf: No such file or directory"},
                  Line{LOG_INFO, "Reading state from file '/usr/share/beamd/led0.conf'"}, kNoCommonGroup));
}

TEST_F(LightFilesRead, AreNotAnnouncedWithoutDebugMode) {
  EXPECT_TRUE(set_up());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LightFilesRead, TheDefaultsFileIsNeverWritten) {
  const auto text = read_file(files_.defaults_path());
  EXPECT_TRUE(set_up());
  led_base_store_state(light_.get());
  EXPECT_EQ(read_file(files_.defaults_path()), text);
}

}  // namespace
