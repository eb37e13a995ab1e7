// The configuration files of a light of attribute files: dimming, the hardware's own variants, the table.

#include "support/led_sysfs_setup_fixture.h"

namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

const Outcome kNoTable = refused_board("Unable to load illumination configuration");

class SysfsConfig : public SysfsSetup {};

// Dimming.

TEST_F(SysfsConfig, TakesSampleTimeAndSensorsFromDimmingFile) {
  service_.has_sensor("board", 4);
  service_.has_sensor("lens", 0);
  write_file(kDimming, "[regulator]\nsample_time=30\ntemp_sensor_id=board\ntemp_sensor_id2=lens\n");
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(light_->temp_sample_time, 30);
  ASSERT_EQ(light_->nbr_of_temp_sensors, 2);
  EXPECT_EQ(light_->temp_sensor_ids[0], 4);
  EXPECT_EQ(light_->temp_sensor_ids[1], 0);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(SysfsConfig, TakesAnyNumberOfSensors) {
  std::string dimming = "[regulator]\nsample_time=30\ntemp_sensor_id=board\n";
  for (const char *number : {"2", "3", "4", "5", "6", "7"})
    dimming += std::string{"temp_sensor_id"} + number + "=board\n";
  service_.has_sensor("board", 4);
  write_file(kDimming, dimming);
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(light_->nbr_of_temp_sensors, 7);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(SysfsConfig, MissingDimmingFileOnlyDisablesDimming) {
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(log_.lines(), prints({kNoDimming}));
  EXPECT_EQ(light_->temp_sample_time, 180);
  EXPECT_EQ(light_->nbr_of_temp_sensors, 0);
}

TEST_F(SysfsConfig, DanglingLinkIsAMissingDimmingFile) {
  std::filesystem::create_symlink("/etc/beamd/nothing", kDimming);
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(log_.lines(), prints({kNoDimming}));
}

TEST_F(SysfsConfig, MissingKeysAreZero) {
  for (const char *text :
       {"", "[other]\nsample_time=30\n", "[regulator]\n", "[regulator]\nsample_time=often\n"}) {
    const auto light = new_light();
    write_file(kDimming, text);
    EXPECT_EQ(set_up(light), kDone) << text;
    EXPECT_EQ(light->temp_sample_time, 0) << text;
    EXPECT_EQ(light->nbr_of_temp_sensors, 0) << text;
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(SysfsConfig, BrokenDimmingFileIsAnEmptyOne) {
  write_file(kDimming, "[regulator]\nsample_time=30\ntemp_sensor_id=board\nno key\n");
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_THAT(log_.lines(), SizeIs(1));
  EXPECT_EQ(log_.lines().at(0).priority, LOG_ERR);
  EXPECT_THAT(log_.lines().at(0).text, StartsWith("Could not parse key file /etc/beamd/dimming.conf: "));
  EXPECT_EQ(light_->temp_sample_time, 0);
  EXPECT_EQ(light_->nbr_of_temp_sensors, 0);
}

TEST_F(SysfsConfig, FolderIsABrokenDimmingFile) {
  std::filesystem::create_directory(kDimming);
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_THAT(log_.lines(), SizeIs(1));
  EXPECT_THAT(log_.lines().at(0).text, StartsWith("Could not read /etc/beamd/dimming.conf: "));
  EXPECT_EQ(light_->temp_sample_time, 0);
}

// The hardware's own files.

TEST_F(SysfsConfig, PrefersTheFilesOfItsHardware) {
  fake_bootblock().value = "X1";
  write_file(std::string{kDimming} + ".X1", "[regulator]\nsample_time=31\n");
  write_file(std::string{kIllumination} + ".X1", "[info]\nleds=2\n[10]\n0=0;0;\n100=1;2;\n");
  write_file(kDimming, "[regulator]\nsample_time=30\n");
  BEAMD_DEBUG_FLAG = 1;
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(light_->temp_sample_time, 31);
  EXPECT_EQ(table_text(), "[10] 0: 0 0 100: 1 2\n");
  EXPECT_THAT(fake_bootblock().asked, ElementsAre("HWID", "HWID"));
  EXPECT_THAT(log_.lines(), testing::IsSupersetOf(
                                prints({"Using dimming config file /etc/beamd/dimming.conf.X1",
                                        "Using illumination config file /etc/beamd/illumination.conf.X1"})));
}

TEST_F(SysfsConfig, TakesTheFilesForAllWhereItsHardwareHasNone) {
  fake_bootblock().value = "X1";
  write_file(kDimming, "[regulator]\nsample_time=30\n");
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(light_->temp_sample_time, 30);
  EXPECT_EQ(light_->nbr_of_leds, 3);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(SysfsConfig, TakesTheFilesForAllWhenItsHardwareCannotBeTold) {
  fake_bootblock().error = EIO;
  write_file(std::string{kIllumination} + ".", "[info]\nleds=2\n");
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(light_->nbr_of_leds, 3);
  const char *unread = "Could not read bootblock parameter HWID: Input/output error";
  EXPECT_EQ(log_.lines(), prints({unread, kNoDimming, unread}));
}

TEST_F(SysfsConfig, NamesTheFilesForAllInItsComplaints) {
  fake_bootblock().value = "X1";
  write_file(std::string{kIllumination} + ".X1", "[info]\nleds=2\n[10]\n0=0;0;0;\n");
  EXPECT_EQ(set_up(light_), kFailed);
  expect_wrong_count(3, 2);
}

// The table.

TEST_F(SysfsConfig, NeedsATable) {
  std::filesystem::remove(kIllumination);
  EXPECT_EQ(set_up(light_), kNoTable);
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(Line{LOG_INFO, kNoDimming},
                  Line{LOG_ERR, "Could not open /etc/beamd/illumination.conf: No such file or directory"}));
  EXPECT_EQ(light_->illumination_table, nullptr);
  expect_untouched();
}

TEST_F(SysfsConfig, NeedsATableThatIsNotBroken) {
  write_file(kIllumination, "[info]\nleds=3\n[10]\n0=0;0;0;\nno key\n");
  EXPECT_EQ(set_up(light_), kNoTable);
  EXPECT_THAT(log_.lines(), SizeIs(2));
  EXPECT_THAT(log_.lines().at(1).text, StartsWith("Could not parse key file /etc/beamd/illumination.conf: "));
  EXPECT_EQ(light_->nbr_of_leds, 0);
  expect_untouched();
}

TEST_F(SysfsConfig, NeedsTheNumberOfLeds) {
  const std::pair<const char *, const char *> cases[] = {
      {"", "Key file does not have group “info”"},
      {"[info]\n", "Key file does not have key “leds” in group “info”"},
      {"[info]\nleds=three\n",
       "Key file contains key “leds” in group “info” which has a value that cannot be interpreted."},
      {"[10]\n0=0;0;0;\n", "Key file does not have group “info”"},
  };
  for (const auto &[text, reason] : cases) {
    const auto light = new_light();
    log_.clear();
    write_file(kIllumination, text);
    EXPECT_EQ(set_up(light), kFailed) << text;
    EXPECT_THAT(log_.lines(),
                ElementsAre(Line{LOG_INFO, kNoDimming},
                            Line{LOG_ERR, std::string{"Could not get number of leds: "} + reason}));
  }
  expect_untouched();
}

TEST_F(SysfsConfig, RefusesAnImpossibleNumberOfLeds) {
  for (const int leds : {-1, 1025}) {
    const auto light = new_light();
    log_.clear();
    write_table("", leds);
    EXPECT_EQ(set_up(light), kFailed) << leds;
    EXPECT_THAT(log_.lines(), SizeIs(2));
    EXPECT_EQ(log_.lines().back().priority, LOG_ERR);
    EXPECT_THAT(log_.lines().back().text, StartsWith("Could not get number of leds: "));
  }
}

TEST_F(SysfsConfig, MakesARowOfEachGroupAfterTheFirst) {
  write_table("[60]\n100=1;2;3;\n0=4;5;6;\n[010]\n50=7;8;9;\n[-5]\n[7up]\n1x=1;1;1;\n[up]\nfull=2;2;2;\n");
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(table_text(), "[60] 100: 1 2 3 0: 4 5 6\n[10] 50: 7 8 9\n[-5]\n[7] 1: 1 1 1\n[0] 0: 2 2 2\n");
}

TEST_F(SysfsConfig, TakesTheFirstGroupForTheInfoWhateverItsName) {
  write_file(kIllumination, "[10]\n100=1;\n[info]\nleds=1\n[20]\n100=2;\n");
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(table_text(), "[0] 0: 1\n[20] 100: 2\n");
}

TEST_F(SysfsConfig, RefusesATableThatNoBoardNeeds) {
  std::string rows = "[10]\n";
  for (int intensity = 0; intensity <= 1 << 16; ++intensity)
    rows += std::to_string(intensity) + "=\n";
  write_table(rows);
  EXPECT_EQ(set_up(light_), kFailed);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_INFO, kNoDimming},
                          Line{LOG_ERR, "Too many intensities in illumination.conf: 65537 for 3 leds"}));
  EXPECT_EQ(light_->illumination_table, nullptr);
  expect_untouched();
}

TEST_F(SysfsConfig, IsRefusedAWrongNumberOfLevels) {
  const std::pair<const char *, int> cases[] = {
      {"[10]\n0=0;0;0;\n100=1;2;\n", 2},
      {"[10]\n0=0;0;0;\n[20]\n100=1;2;3;4;\n", 4},
      {"[10]\n0=\n", 0},
      {"[10]\n0=1;two;3;\n", 0},
  };
  for (const auto &[rows, found] : cases) {
    light_ = new_light();
    log_.clear();
    write_table(rows);
    EXPECT_EQ(set_up(light_), kFailed) << rows;
    expect_wrong_count(found, 3);
    expect_untouched();
  }
}

TEST_F(SysfsConfig, StopsAtTheFirstWrongNumberOfLevels) {
  write_table("[10]\n0=0;0;\n100=0;\n");
  EXPECT_EQ(set_up(light_), kFailed);
  expect_wrong_count(2, 3);
}

TEST_F(SysfsConfig, DoesWithoutRows) {
  write_table("");
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_THAT(texts(), ElementsAre("0", "0", "0"));
}

TEST_F(SysfsConfig, DoesWithoutLeds) {
  write_table("[10]\n", 0);
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(given_files(), 0);
  EXPECT_THAT(written(), IsEmpty());
}

TEST_F(SysfsConfig, TouchesOnlyAsManyFilesAsThereAreLeds) {
  write_table("[10]\n0=0;0;\n", 2);
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(given_files(), 2);
  EXPECT_THAT(texts(), ElementsAre("0", "0"));
}

TEST_F(SysfsConfig, DrivesTheFirstSixteenOfMoreLeds) {
  make_leds(20);
  write_table("", 20);
  attribute_writes().tried.clear();
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_THAT(texts(), AllOf(SizeIs(16), Each("0")));
  EXPECT_EQ(access_of(led_file(15)), given_access());
}

}  // namespace
