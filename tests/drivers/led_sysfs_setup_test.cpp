// How a light of attribute files finds and takes over what it needs, step by step.

#include "support/led_sysfs_setup_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::uint32_t kRegister = 0x801C2B00;
const Outcome kNoBoard = refused_board("No IR light PCB found");

TEST_F(SysfsSetup, TakesItsStepsInOrder) {
  write_table("[45]\n0=0;0;0;\n100=450;1000;2000;\n");
  write_file(kDimming, "[regulator]\nsample_time=5\n");
  fake_data_cache().on_request = [] { attribute_writes().tried.emplace_back("data cache"); };
  BEAMD_DEBUG_FLAG = 1;

  EXPECT_EQ(set_up(light_), kDone);

  EXPECT_EQ(
      log_.lines(),
      prints({"Using dimming config file /etc/beamd/dimming.conf",
              "Using illumination config file /etc/beamd/illumination.conf",
              "Angle: 45, intensity[0]:0 led[0] intensity:0", "Angle: 45, intensity[0]:0 led[1] intensity:0",
              "Angle: 45, intensity[0]:0 led[2] intensity:0",
              "Angle: 45, intensity[1]:100 led[0] intensity:450",
              "Angle: 45, intensity[1]:100 led[1] intensity:1000",
              "Angle: 45, intensity[1]:100 led[2] intensity:2000", "Subscribed to datacache: zoom"}));
  EXPECT_EQ(given_files(), 3);
  EXPECT_THAT(written(), ElementsAre("data cache", "leds/ir0/brightness=0", "leds/ir1/brightness=0",
                                     "leds/ir2/brightness=0"));
}

TEST_F(SysfsSetup, SaysOnlyWhatIsMissing) {
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(log_.lines(), prints({kNoDimming}));
}

// The probe.

TEST_F(SysfsSetup, NeedsTheFirstLedsFile) {
  std::filesystem::remove(led_file(0));
  EXPECT_EQ(set_up(light_), kNoBoard);
  EXPECT_EQ(log_.lines(), prints({"Could not find MCU hardware"}));
  EXPECT_EQ(light_->nbr_of_leds, 0);
  expect_untouched();
}

TEST_F(SysfsSetup, NeedsAByteInTheFirstLedsFile) {
  write_file(led_file(0), "");
  EXPECT_EQ(set_up(light_), kNoBoard);
  EXPECT_EQ(log_.lines(), prints({"Could not find MCU hardware"}));
}

TEST_F(SysfsSetup, IsRefusedAFolder) {
  std::filesystem::remove(led_file(0));
  std::filesystem::create_directory(led_file(0));
  EXPECT_EQ(set_up(light_), kNoBoard);
  EXPECT_EQ(log_.lines(), prints({"Could not find MCU hardware"}));
}

TEST_F(SysfsSetup, DoesNotWaitForTheWriterOfAFifo) {
  std::filesystem::remove(led_file(0));
  ASSERT_EQ(mkfifo(led_file(0).c_str(), 0600), 0);
  EXPECT_EQ(set_up(light_), kNoBoard);
}

TEST_F(SysfsSetup, IsRefusedWithAPathThatCannotBeBuilt) {
  for (const char *format : {"/sys/class/leds/ir%s/brightness", "/sys/class/leds/ir%n", "%", "%99999d",
                             "/sys/class/leds/ir%d/bright%dness", "/sys/class/leds/ir%lu/brightness"}) {
    const auto light = new_light();
    g_free(light->basepath);
    light->basepath = g_strdup(format);
    log_.clear();
    EXPECT_EQ(set_up(light), kNoBoard) << format;
    EXPECT_EQ(log_.lines(), prints({"Could not find MCU hardware"})) << format;
  }
}

TEST_F(SysfsSetup, NeedsABasepath) {
  g_clear_pointer(&light_->basepath, g_free);
  EXPECT_EQ(set_up(light_), kNoBoard);
}

TEST_F(SysfsSetup, NeedsNobodyWhoWantsToKnowWhy) {
  std::filesystem::remove(led_file(0));
  EXPECT_FALSE(LED_BASE_GET_CLASS(light_.get())->setup(light_.get(), nullptr));
}

// The files.

TEST_F(SysfsSetup, GivesThePrimaryGroupOfTheUserAndNotTheOneOfThatName) {
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(access_of(led_file(2)).group, primary_group("light"));
  EXPECT_NE(primary_group("light"), group_id("light"));
}

TEST_F(SysfsSetup, NeedsTheUser) {
  {
    const WithoutEntry nobody{"/etc/passwd", "light"};
    EXPECT_EQ(set_up(light_), kFailed);
  }
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, kNoDimming},
                                        Line{LOG_ERR, "Beamd failed getting passwd for user light"}));
  expect_untouched();
}

TEST_F(SysfsSetup, StopsAtAFileThatIsNotThere) {
  std::filesystem::remove(led_file(1));
  EXPECT_EQ(set_up(light_), kFailed);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_INFO, kNoDimming},
                          Line{LOG_ERR, "Failed to chown /sys/class/leds/ir1/brightness to gid " +
                                            std::to_string(primary_group("light"))}));
  EXPECT_EQ(access_of(led_file(0)), given_access());
  EXPECT_EQ(access_of(led_file(2)), kFreshAccess);
  EXPECT_THAT(written(), IsEmpty());
  EXPECT_THAT(fake_data_cache().requests, IsEmpty());
}

TEST_F(SysfsSetup, StopsAtAFileWhoseModeStays) {
  write_file_of_fixed_mode(led_file(1));
  EXPECT_EQ(set_up(light_), kFailed);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_INFO, kNoDimming}, Line{LOG_ERR,
                                                           "Failed to set r/w for owner and group to fd: "
                                                           "/sys/class/leds/ir1/brightness"}));
  EXPECT_EQ(access_of(led_file(0)), given_access());
  EXPECT_EQ(access_of(led_file(2)), kFreshAccess);
  EXPECT_THAT(fake_data_cache().requests, IsEmpty());
}

// Paths of up to 4095 characters are taken: those of the LEDs 0 to 9 here.
TEST_F(SysfsSetup, StopsAtAPathThatCannotBeBuilt) {
  make_leds(11);
  write_table("", 11);
  std::string path = "/sys/class/leds/";
  const std::string end = "/ir%d/brightness";
  while (path.size() + end.size() < 4096)
    path += path.size() + end.size() + 2 <= 4096 ? "./" : "/";
  g_free(light_->basepath);
  light_->basepath = g_strdup((path + end).c_str());
  EXPECT_EQ(set_up(light_), kFailed);
  EXPECT_THAT(log_.lines(), SizeIs(2));
  EXPECT_EQ(log_.lines().back().priority, LOG_ERR);
  EXPECT_EQ(access_of(led_file(9)), given_access());
  EXPECT_EQ(access_of(led_file(10)), kFreshAccess);
}

// The data cache, and the end.

TEST_F(SysfsSetup, SubscribesOnce) {
  EXPECT_EQ(set_up(light_), kDone);
  ASSERT_THAT(fake_data_cache().requests, SizeIs(1));
  EXPECT_EQ(fake_data_cache().requests[0].number, kRegister);
}

TEST_F(SysfsSetup, SucceedsWithoutADataCache) {
  FakeDataCache::unplug();
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_INFO, kNoDimming},
                          Line{LOG_ERR, "Couldn't open datacache device: /dev/datacache0, error code -1"},
                          Line{LOG_ERR, "Failed to initialize data cache"}));
  EXPECT_THAT(texts(), ElementsAre("0", "0", "0"));
}

TEST_F(SysfsSetup, SucceedsWithADataCacheThatRefuses) {
  fake_data_cache().register_result = -1;
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, kNoDimming},
                                        Line{LOG_ERR, "Unable to do ioctl DC_IOC_DATA_CACHE_REGISTER"},
                                        Line{LOG_ERR, "Failed to initialize data cache"}));
  EXPECT_THAT(texts(), ElementsAre("0", "0", "0"));
}

TEST_F(SysfsSetup, SucceedsAlthoughAnLedCannotBeWritten) {
  fail_write(1, EIO);
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_INFO, kNoDimming}, Line{LOG_ERR, "Write failure to led 1 - 0mW"}));
  EXPECT_THAT(written(),
              ElementsAre("leds/ir0/brightness=0", "leds/ir1/brightness!", "leds/ir2/brightness=0"));
}

}  // namespace
