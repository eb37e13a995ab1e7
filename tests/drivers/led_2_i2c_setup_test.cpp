// Setup of the two-channel light: what is its own of what it shares with the single-channel one, and what
// comes after what.

#include "led/led_setup.h"
#include "support/temperature_service.h"
#include "support/two_channels_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Line = SyslogCapture::Line;

constexpr gint kUnreadSampleTime = 180;

const Line kNoDriver{LOG_INFO, "Could not find MCU driver"};
const Line kNoIllumination{LOG_ERR, "could not open /etc/beamd/illumination.conf: No such file or directory"};
const Line kNoDimming{LOG_ERR, "could not open /etc/beamd/dimming.conf: No such file or directory"};
const Line kNoUser{LOG_ERR, "Beamd failed getting passwd for user light"};

class Led2I2cSetup : public TwoChannels {
 protected:
  static void SetUpTestSuite() { g_setenv("DBUS_SYSTEM_BUS_ADDRESS", private_bus_address(), TRUE); }

  Outcome outcome() { return set_up(light_); }

  bool has_table() const { return light_->illumination_table != nullptr && light_->nbr_of_leds == 2; }
  bool has_read_dimming() const { return light_->temp_sample_time != kUnreadSampleTime; }

  std::vector<gint> sensor_ids() const {
    return {light_->temp_sensor_ids, light_->temp_sensor_ids + light_->nbr_of_temp_sensors};
  }

  LightPointer light_ = new_light();
  TemperatureService service_;
};

TEST_F(Led2I2cSetup, SucceedsWithAllInOrder) {
  EXPECT_EQ(outcome(), kDone);
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_TRUE(has_table());
  EXPECT_TRUE(are_all_given());
  EXPECT_EQ(light_->temp_sample_time, 5);
  EXPECT_THAT(fake_bootblock().asked, IsEmpty()) << "there are no optics to be told";
}

/// The board's mark, what is made of it and what is said.
struct Mark {
  FoundFile file;
  Outcome outcome;
  std::vector<Line> lines;
};

void PrintTo(const Mark &mark, std::ostream *stream) { *stream << mark.file.name; }

class Marks : public Led2I2cSetup, public testing::WithParamInterface<Mark> {};

TEST_P(Marks, DecideTheResultWhileTheRestIsLoaded) {
  replace(kMark, GetParam().file);
  EXPECT_EQ(outcome(), GetParam().outcome);
  EXPECT_EQ(log_.lines(), GetParam().lines);
  EXPECT_TRUE(has_table());
  EXPECT_TRUE(are_all_given());
  EXPECT_TRUE(has_read_dimming());
}

INSTANTIATE_TEST_SUITE_P(QXID, Marks,
                         testing::Values(Mark{with_content("Zero", "0"), kNoBoard, {kNoDriver}},
                                         Mark{unopenable_file(), kNoBoard, {kNoDriver}},
                                         Mark{with_content("Empty", ""), kFailed, {}},
                                         Mark{with_content("One", "1"), kDone, {}},
                                         Mark{with_content("Two", "2"), kDone, {}}, Mark{folder(), kDone, {}},
                                         Mark{missing_file(), kDone, {}}),
                         [](const auto &tested) { return tested.param.file.name; });

/// A file that cannot be loaded, and what is said of it.
struct BrokenFile {
  const char *path;
  FoundFile file;
  std::string text;
};

void PrintTo(const BrokenFile &broken, std::ostream *stream) { *stream << broken.file.name; }

class BrokenFiles : public Led2I2cSetup, public testing::WithParamInterface<BrokenFile> {};

TEST_P(BrokenFiles, FailSetup) {
  replace(GetParam().path, GetParam().file);
  EXPECT_EQ(outcome(), kFailed);
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, GetParam().text}));
}

constexpr const char *kTableFile = "/etc/beamd/illumination.conf";
constexpr const char *kRegulatorFile = "/etc/beamd/dimming.conf";

INSTANTIATE_TEST_SUITE_P(
    Illumination, BrokenFiles,
    testing::Values(BrokenFile{kTableFile, missing_file(), kNoIllumination.text},
                    BrokenFile{kTableFile, folder(), "failed reading file"},
                    BrokenFile{kTableFile, with_content("BrokenAtTheEnd", "[info]\nleds=2\n[0]\n0\n"),
                               "Could not load data to GKeyFile"}),
    [](const auto &tested) { return tested.param.file.name; });

INSTANTIATE_TEST_SUITE_P(
    Dimming, BrokenFiles,
    testing::Values(BrokenFile{kRegulatorFile, missing_file(), kNoDimming.text},
                    BrokenFile{kRegulatorFile, folder(), "Failed reading file"},
                    BrokenFile{kRegulatorFile, with_content("BrokenAtTheEnd", "[regulator]\nk_p=1\nk_i\n"),
                               "Could not load data to GKeyFile"}),
    [](const auto &tested) { return tested.param.file.name; });

TEST_F(Led2I2cSetup, MissingLedCountIsToldAndNone) {
  write_file(kIllumination, "[info]\n[0]\n[100]\n");
  EXPECT_EQ(outcome(), kDone);
  EXPECT_EQ(light_->nbr_of_leds, 0);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_ERR,
                               "Failed to get number of leds: Key file does not have key “leds” "
                               "in group “info”"}));
}

TEST_F(Led2I2cSetup, OddTablesAreToldAndLoaded) {
  write_file(kIllumination, "[info]\nleds=2\n[50]\n0=0;0;\n30=1;2;3;\n");
  EXPECT_EQ(outcome(), kDone);
  EXPECT_EQ(log_.lines(), errors({"The first angle in illumination.conf should always be 0",
                                  "The last angle in illumination.conf should always be 100",
                                  "Wrong number of leds in illumination.conf for intensity 30"}));
  EXPECT_TRUE(has_table());
}

TEST_F(Led2I2cSetup, GivesItsFilesToTheGroupOfUserLightAndChangesNothingElse) {
  for (const auto &path : files_)
    set_access(path, {kFreshAccess.owner, 0, 0640});
  const auto mark = access_of(kMark);
  EXPECT_EQ(outcome(), kDone);
  for (const auto &path : files_)
    EXPECT_EQ(access_of(path), (FileAccess{kFreshAccess.owner, primary_group("light"), 0640})) << path;
  EXPECT_EQ(access_of(kMark), mark);
  EXPECT_THAT(written(), IsEmpty());
}

TEST_F(Led2I2cSetup, EndsAtTheFirstFileThatCannotBeGiven) {
  std::filesystem::remove(files_[0]);
  EXPECT_EQ(outcome(), kFailed);
  EXPECT_EQ(log_.lines(), errors({failed_chown(files_[0])}));
  EXPECT_EQ(access_of(files_[1]), kFreshAccess);
  EXPECT_FALSE(has_read_dimming());
}

TEST_F(Led2I2cSetup, EndsAtTheSecondFileThatCannotBeGiven) {
  std::filesystem::remove(files_[1]);
  EXPECT_EQ(outcome(), kFailed);
  EXPECT_EQ(log_.lines(), errors({failed_chown(files_[1])}));
  EXPECT_TRUE(is_given(files_[0]));
  EXPECT_FALSE(has_read_dimming());
}

TEST_F(Led2I2cSetup, EndsWithoutIlluminationTable) {
  const WithoutEntry nobody{"/etc/passwd", "light"};
  std::filesystem::remove(kIllumination);
  EXPECT_EQ(outcome(), kFailed);
  EXPECT_THAT(log_.lines(), ElementsAre(kNoIllumination));
}

TEST_F(Led2I2cSetup, EndsWithoutUserLight) {
  {
    const WithoutEntry nobody{"/etc/passwd", "light"};
    std::filesystem::remove(kDimming);
    EXPECT_EQ(outcome(), kFailed);
  }
  EXPECT_THAT(log_.lines(), ElementsAre(kNoUser));
  EXPECT_TRUE(has_table()) << "what has been read stays";
  EXPECT_FALSE(is_given(files_[0]));
}

TEST_F(Led2I2cSetup, EndsWithoutRegulatorConfiguration) {
  std::filesystem::remove(kDimming);
  EXPECT_EQ(outcome(), kFailed);
  EXPECT_THAT(log_.lines(), ElementsAre(kNoDimming));
  EXPECT_TRUE(are_all_given());
}

TEST_F(Led2I2cSetup, MissingBoardIsToldBeforeWhatElseIsMissing) {
  write_file(kMark, "0");
  std::filesystem::remove(kDimming);
  EXPECT_EQ(outcome(), kNoBoard);
  EXPECT_THAT(log_.lines(), ElementsAre(kNoDriver, kNoDimming));
}

TEST_F(Led2I2cSetup, TwoSensorsAreOfUse) {
  service_.has_sensor("board", 4);
  service_.has_sensor("lens", 5);
  write_file(kDimming, "[regulator]\ntemp_sensor_id=board\ntemp_sensor_id2=lens\n");
  EXPECT_EQ(outcome(), kDone);
  EXPECT_THAT(sensor_ids(), ElementsAre(4, 5));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Led2I2cSetup, ThreeSensorsAreOneTooMany) {
  service_.has_sensor("board", 4);
  service_.has_sensor("lens", 5);
  service_.has_sensor("case", 6);
  write_file(
      kDimming,
      "[regulator]\ntemp_sensor_id=board\ntemp_sensor_id2=lens\ntemp_sensor_id3=case\nsample_time=7\n");
  EXPECT_EQ(outcome(), kDone);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_WARNING, "Expected at most 2 temperature sensors, but found 3."}));
  EXPECT_EQ(light_->temp_sample_time, 7) << "setup goes on";
}

}  // namespace
