// What a light does about its illumination board and its table when it is set up: by its own setup alone and
// by all of led_base_setup().

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "led/led_interface.h"
#include "led/light_error.h"
#include "support/light_illumination_fixture.h"
#include "support/published_light.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Line = SyslogCapture::Line;

const Line kNotOpened{LOG_ERR, "could not open /etc/beamd/illumination.conf: No such file or directory"};
const Line kNotRead{LOG_ERR, "failed reading file"};
const Line kNotParsed{LOG_ERR, "Could not load data to GKeyFile"};

TEST_F(LightIllumination, BoardIsMissingWithAMarkOf0Or7AndPresentWithEveryOther) {
  for (int byte = 0; byte < 256; ++byte) {
    renew_light("/sys/light");
    write_file(kMark, std::string(1, static_cast<char>(byte)));
    EXPECT_EQ(probe(), byte == '0' || byte == '7' ? kNoBoard : kFine) << "byte " << byte;
    EXPECT_TRUE(has_table()) << "byte " << byte;
    EXPECT_THAT(log_.lines(), IsEmpty());
  }
}

TEST_F(LightIllumination, OnlyTheFirstByteOfTheMarkCounts) {
  for (const char *mark : {"7\n", "0x3", "71"}) {
    renew_light("/sys/light");
    write_file(kMark, mark);
    EXPECT_EQ(probe(), kNoBoard) << mark;
  }
  for (const char *mark : {"17", "\n0", " 7"}) {
    renew_light("/sys/light");
    write_file(kMark, mark);
    EXPECT_EQ(probe(), kFine) << mark;
  }
}

TEST_F(LightIllumination, BoardIsPresentWithAnEmptyMark) {
  write_file(kMark, "");
  EXPECT_EQ(probe(), kFine);
  EXPECT_TRUE(has_table());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LightIllumination, BoardIsPresentWithAMarkThatOpensAndCannotBeRead) {
  std::filesystem::remove(kMark);
  std::filesystem::create_directory(kMark);
  EXPECT_EQ(probe(), kFine);
  EXPECT_TRUE(has_table());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LightIllumination, MarkThatNobodyWritesDoesNotHoldUpTheSetup) {
  std::filesystem::remove(kMark);
  ASSERT_EQ(mkfifo(kMark, 0600), 0);
  EXPECT_EQ(probe(), kFine);
  EXPECT_TRUE(has_table());
}

TEST_F(LightIllumination, BoardIsMissingWithoutAMark) {
  std::filesystem::remove(kMark);
  EXPECT_EQ(probe(), kNoMark);
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "No QXID fs detected"}));
  EXPECT_TRUE(has_table());
}

TEST_F(LightIllumination, BoardIsMissingWithoutItsFolder) {
  renew_light("/sys/elsewhere");
  EXPECT_EQ(probe(), kNoMark);
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "No QXID fs detected"}));
  EXPECT_TRUE(has_table());
}

TEST_F(LightIllumination, BoardIsMissingWithoutABasepath) {
  renew_light(nullptr);
  EXPECT_EQ(probe(), kNoMark);
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_WARNING, "Failed find path to QXID "}));
  EXPECT_TRUE(has_table());
}

TEST_F(LightIllumination, MissingBoardNeedsNobodyToTell) {
  write_file(kMark, "7");
  EXPECT_FALSE(LED_BASE_GET_CLASS(light_.get())->setup(light_.get(), nullptr));
  EXPECT_TRUE(has_table());
}

TEST_F(LightIllumination, MissingFileFailsWithoutAnError) {
  std::filesystem::remove(kFile);
  EXPECT_EQ(probe(), kNoTable);
  EXPECT_THAT(log_.lines(), ElementsAre(kNotOpened));
  EXPECT_TRUE(has_no_table());
}

TEST_F(LightIllumination, FileThatCannotBeReadFailsWithoutAnError) {
  std::filesystem::remove(kFile);
  std::filesystem::create_directory(kFile);
  EXPECT_EQ(probe(), kNoTable);
  EXPECT_THAT(log_.lines(), ElementsAre(kNotRead));
  EXPECT_TRUE(has_no_table());
}

TEST_F(LightIllumination, FileThatIsNoKeyFileFailsWithoutAnError) {
  for (const char *text : {"leds=3\n", "[info\n", "\x7f\x45\x4c\x46\x02\x01"}) {
    renew_light("/sys/light");
    EXPECT_EQ(probe_with(text), kNoTable) << text;
    EXPECT_THAT(log_.lines(), ElementsAre(kNotParsed)) << text;
    EXPECT_TRUE(has_no_table()) << text;
  }
}

TEST_F(LightIllumination, FileThatIsBrokenAtItsEndFailsWhole) {
  EXPECT_EQ(probe_with(std::string{kTable} + "no key file line\n"), kNoTable);
  EXPECT_THAT(log_.lines(), ElementsAre(kNotParsed));
  EXPECT_TRUE(has_no_table());
}

TEST_F(LightIllumination, MissingFileKeepsTheErrorOfTheMissingBoard) {
  std::filesystem::remove(kFile);
  write_file(kMark, "7");
  EXPECT_EQ(probe(), kNoBoard);
  EXPECT_THAT(log_.lines(), ElementsAre(kNotOpened));
}

TEST_F(LightIllumination, BoardIsReportedBeforeTheFile) {
  std::filesystem::remove(kFile);
  std::filesystem::remove(kMark);
  EXPECT_EQ(probe(), kNoMark);
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "No QXID fs detected"}, kNotOpened));
  renew_light(nullptr);
  EXPECT_EQ(probe(), kNoMark);
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_WARNING, "Failed find path to QXID "}, kNotOpened));
}

TEST_F(LightIllumination, PowerDaemonIsConnectedToWhateverElseFails) {
  std::filesystem::remove(kFile);
  std::filesystem::remove(kMark);
  light_->use_power_request = TRUE;
  EXPECT_EQ(probe(), kNoMark);
  EXPECT_NE(light_->consumer_proxy, nullptr);
  EXPECT_NE(light_->status_proxy, nullptr);
}

TEST_F(LightIllumination, PowerDaemonIsLeftAloneWithoutPowerRequests) {
  EXPECT_EQ(probe(), kFine);
  EXPECT_EQ(light_->consumer_proxy, nullptr);
  EXPECT_EQ(light_->status_proxy, nullptr);
}

TEST_F(LightIllumination, TableIsTakenFromTheFile) {
  EXPECT_EQ(probe(), kFine);
  EXPECT_THAT(log_.lines(), IsEmpty());
  ASSERT_TRUE(has_table());
  EXPECT_EQ(light_->illumination_table[0].angle, 0);
  EXPECT_EQ(light_->illumination_table[1].angle, 100);
  EXPECT_EQ(light_->illumination_table[1].points[1].intensity, 100);
  EXPECT_EQ(light_->illumination_table[1].points[1].levels[0], 50);
  EXPECT_EQ(light_->illumination_table[1].points[1].levels[1], 100);
}

/// The same as a part of the whole setup, which reads the basepath and everything else from its files.
class IlluminatedSetup : public LightIllumination {
 protected:
  IlluminatedSetup() { light_ = fresh_light(LED_TYPE_BASE); }

  bool set_up_whole() {
    g_autoptr(GError) error = nullptr;
    const bool is_set_up = led_base_setup(light_.get(), &error) != FALSE;
    EXPECT_EQ(error, nullptr);
    return is_set_up;
  }
};

TEST_F(IlluminatedSetup, EndsWithLevelsForTheAngleAndTheIntensities) {
  EXPECT_TRUE(set_up_whole());
  EXPECT_TRUE(light_->card_detected);
  EXPECT_THAT(log_.lines(), IsEmpty());
  ASSERT_TRUE(has_table());
  // At angle 50: between 20 and 10 for the first LED's 20, between 20 and 40 for the second one's 40.
  EXPECT_EQ(light_->led_intensities[0], 15);
  EXPECT_EQ(light_->led_intensities[1], 30);
}

TEST_F(IlluminatedSetup, FailsWithoutAnErrorWhenOnlyTheTableIsMissing) {
  std::filesystem::remove(kFile);
  EXPECT_FALSE(set_up_whole());
  EXPECT_THAT(log_.lines(), ElementsAre(kNotOpened));
}

TEST_F(IlluminatedSetup, GoesOnWithoutATableWhenTheBoardIsMissing) {
  std::filesystem::remove(kFile);
  write_file(kMark, "0");
  EXPECT_TRUE(set_up_whole());
  EXPECT_FALSE(light_->card_detected);
  EXPECT_EQ(light_->illumination_table, nullptr);
  EXPECT_EQ(light_->led_intensities, nullptr);
  EXPECT_EQ(light_->aoi_high, 90) << "everything was read";
}

TEST_F(IlluminatedSetup, MarkOf7IsReportedOnTheBusWhileTheTableIsLoaded) {
  write_file(kMark, "7");
  ASSERT_TRUE(set_up_whole());
  EXPECT_TRUE(has_table());
  const PublishedLight bus{light_.get()};
  const auto missing = refused(LIGHT_CONTROL_ERROR_NO_BOARD, "No IR light PCB found");
  EXPECT_EQ(bus.call(LED_INTERFACE_COMMON, "GetIntensity"), missing);
  EXPECT_EQ(bus.call(LED_INTERFACE_ZOOM, "GetCurrentAngleOfIllumination"), missing);
}

}  // namespace
