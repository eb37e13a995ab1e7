// What a light does with its illumination board and its table when it is set up, with its own setup alone and
// as a part of led_base_setup().

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "led/led_interface.h"
#include "led/light_error.h"
#include "support/light_setup_fixture.h"
#include "support/published_light.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using Line = SyslogCapture::Line;

constexpr const char *kMark = "/sys/light/QXID";
constexpr const char *kFile = "/etc/beamd/illumination.conf";
constexpr const char *kTable = "[info]\nleds=2\n[0]\n0=0;0\n100=100;50\n[100]\n0=0;0\n100=50;100\n";

const Line kNotOpened{LOG_ERR, "could not open /etc/beamd/illumination.conf: No such file or directory"};
const Line kNotRead{LOG_ERR, "failed reading file"};
const Line kNotParsed{LOG_ERR, "Could not load data to GKeyFile"};
const Line kFirstAngle{LOG_ERR, "The first angle in illumination.conf should always be 0"};
const Line kLastAngle{LOG_ERR, "The last angle in illumination.conf should always be 100"};

Line wrong_number(const std::string &intensity) {
  return {LOG_ERR, "Wrong number of leds in illumination.conf for intensity " + intensity};
}

Line no_count(const std::string &reason) { return {LOG_ERR, "Failed to get number of leds " + reason}; }

/// A light of the base class, with a board and a table unless the test changes that.
class LightIllumination : public LightSetup {
 protected:
  LightIllumination() {
    for (const char *path : {kMark, kFile})
      std::filesystem::remove_all(path);
    write_file(kMark, "1");
    write_file(kFile, kTable);
    renew_light("/sys/light");
  }

  void renew_light(const char *basepath) {
    light_ = fresh_light(LED_TYPE_BASE);
    light_->basepath = g_strdup(basepath);
    light_->use_power_request = FALSE;
    log_.clear();
  }

  struct Result {
    bool is_fine;
    std::string error;  ///< "CODE TEXT" of an error of lights, "none"

    bool operator==(const Result &) const = default;
  };

  friend void PrintTo(const Result &result, std::ostream *stream) {
    *stream << (result.is_fine ? "fine" : "not fine") << " with error " << result.error;
  }

  /// Runs the light's own setup, without the rest of led_base_setup().
  Result probe() {
    g_autoptr(GError) error = nullptr;
    const bool is_fine = LED_BASE_GET_CLASS(light_.get())->setup(light_.get(), &error) != FALSE;
    if (error == nullptr)
      return {is_fine, "none"};
    EXPECT_EQ(error->domain, LIGHT_CONTROL_ERROR);
    return {is_fine, std::to_string(error->code) + " " + error->message};
  }

  /// Likewise with @p text as the illumination file.
  Result probe_with(const std::string &text) {
    write_file(kFile, text);
    return probe();
  }

  bool has_table() const {
    return light_->nbr_of_leds == 2 && light_->illumination_table != nullptr &&
           light_->illumination_table[0].points != nullptr &&
           light_->illumination_table[1].points != nullptr &&
           light_->illumination_table[2].points == nullptr && light_->led_intensities != nullptr;
  }

  bool has_no_table() const {
    return light_->nbr_of_leds == 0 && light_->illumination_table == nullptr &&
           light_->led_intensities == nullptr;
  }

  static inline const Result kFine{true, "none"};
  static inline const Result kNoTable{false, "none"};
  static inline const Result kNoBoard{false, "6 No IR light PCB found"};
  static inline const Result kNoMark{false, "6 No QXID fs detected"};
};

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

TEST_F(LightIllumination, LedCountMayBeMissing) {
  EXPECT_EQ(probe_with("[info]\n[0]\n0=1;2\n[100]\n0=\n"), kFine);
  EXPECT_THAT(log_.lines(),
              ElementsAre(no_count("Key file does not have key “leds” in group “info”"), wrong_number("0")));
  EXPECT_EQ(light_->nbr_of_leds, 0);
  EXPECT_NE(light_->illumination_table, nullptr);
}

TEST_F(LightIllumination, LedCountOfAnotherGroupDoesNotCount) {
  EXPECT_EQ(probe_with("[lamp]\nleds=2\n"), kFine);
  EXPECT_THAT(log_.lines(), ElementsAre(no_count("Key file does not have group “info”")));
  EXPECT_EQ(light_->nbr_of_leds, 0);
}

TEST_F(LightIllumination, EmptyFileHasNoLedCount) {
  EXPECT_EQ(probe_with(""), kFine);
  EXPECT_THAT(log_.lines(), ElementsAre(no_count("Key file does not have group “info”")));
}

TEST_F(LightIllumination, LedCountMayNotBeText) {
  for (const char *count : {"two", "2x", "", "2.5", "99999999999"}) {
    renew_light("/sys/light");
    EXPECT_EQ(probe_with("[info]\nleds=" + std::string{count} + "\n"), kFine) << count;
    ASSERT_EQ(log_.lines().size(), 1U) << count;
    EXPECT_EQ(log_.lines()[0].priority, LOG_ERR) << count;
    EXPECT_THAT(log_.lines()[0].text, StartsWith("Failed to get number of leds ")) << count;
    EXPECT_EQ(light_->nbr_of_leds, 0) << count;
  }
}

TEST_F(LightIllumination, LedCountOutOfItsRangeIsAnError) {
  for (const char *count : {"-1", "1025", "-2147483648", "2147483647"}) {
    renew_light("/sys/light");
    EXPECT_EQ(probe_with("[info]\nleds=" + std::string{count} + "\n"), kFine) << count;
    ASSERT_EQ(log_.lines().size(), 1U) << count;
    EXPECT_EQ(log_.lines()[0].priority, LOG_ERR) << count;
    EXPECT_THAT(log_.lines()[0].text, StartsWith("Failed to get number of leds ")) << count;
    EXPECT_EQ(light_->nbr_of_leds, 0) << count;
  }
}

TEST_F(LightIllumination, LedCountReachesFrom0To1024) {
  for (const gint count : {0, 1, 1024}) {
    renew_light("/sys/light");
    EXPECT_EQ(probe_with("[info]\nleds=" + std::to_string(count) + "\n"), kFine);
    EXPECT_THAT(log_.lines(), IsEmpty()) << count;
    EXPECT_EQ(light_->nbr_of_leds, count);
  }
}

struct RowComplaints {
  const char *name;
  const char *rows;
  std::vector<Line> lines;
};

void PrintTo(const RowComplaints &complaints, std::ostream *stream) { *stream << complaints.name; }

class IlluminationRows : public LightIllumination, public testing::WithParamInterface<RowComplaints> {};

TEST_P(IlluminationRows, AreComplainedAboutInTheirOrderAndLoaded) {
  EXPECT_EQ(probe_with("[info]\nleds=2\n" + std::string{GetParam().rows}), kFine);
  EXPECT_EQ(log_.lines(), GetParam().lines);
  EXPECT_EQ(light_->nbr_of_leds, 2);
  EXPECT_NE(light_->illumination_table, nullptr);
  EXPECT_NE(light_->led_intensities, nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Files, IlluminationRows,
    testing::Values(
        RowComplaints{"None", "", {}}, RowComplaints{"From0To100", "[0]\n0=0;0\n[100]\n0=0;0\n", {}},
        RowComplaints{"WithoutPoints", "[0]\n[50]\n[100]\n", {}},
        RowComplaints{"From10To100", "[10]\n[100]\n", {kFirstAngle}},
        RowComplaints{"From0To80", "[0]\n[80]\n", {kLastAngle}},
        RowComplaints{"From10To80", "[10]\n[80]\n", {kFirstAngle, kLastAngle}},
        RowComplaints{"Backward", "[100]\n[50]\n[0]\n", {kFirstAngle, kLastAngle}},
        RowComplaints{"TwiceTheFirst", "[0]\n[00]\n", {kLastAngle}},
        RowComplaints{"WrongInTheMiddle", "[0]\n[200]\n[-5]\n[100]\n", {}},
        RowComplaints{"LoneAt0", "[0]\n", {kLastAngle}}, RowComplaints{"LoneAt50", "[50]\n", {kFirstAngle}},
        RowComplaints{"LoneAt100", "[100]\n", {kFirstAngle}},
        RowComplaints{"Words", "[wide]\n", {kLastAngle}},
        RowComplaints{"TooShort", "[0]\n0=0\n100=1;2\n[100]\n0=\n", {wrong_number("0"), wrong_number("0")}},
        RowComplaints{"TooLong", "[0]\n0=0;0;0\n[100]\n", {wrong_number("0")}},
        RowComplaints{
            "NoNumbers", "[0]\n007=0;x\nfull=1;2;3\n[100]\n", {wrong_number("007"), wrong_number("full")}},
        RowComplaints{"AllAtOnce",
                      "[5]\n0=0;0\n10=0\n20=\n[50]\n30=1;2;3\n40=1;2\n[90]\n50=x\n",
                      {kFirstAngle, wrong_number("10"), wrong_number("20"), wrong_number("30"), kLastAngle,
                       wrong_number("50")}}),
    [](const auto &tested) { return tested.param.name; });

TEST_F(LightIllumination, RowsFrom0To80AreComplainedAboutAndStillLoaded) {
  EXPECT_EQ(probe_with("[info]\nleds=2\n[0]\n0=0;0\n100=10;20\n[80]\n0=0;0\n100=30;40\n"), kFine);
  EXPECT_THAT(log_.lines(), ElementsAre(kLastAngle));
  ASSERT_TRUE(has_table());
  EXPECT_EQ(light_->illumination_table[1].angle, 80);
  EXPECT_EQ(light_->illumination_table[1].points[1].levels[1], 40);
}

TEST_F(LightIllumination, WrongNumbersOfLevelsAreFilledUpAndCut) {
  EXPECT_EQ(probe_with("[info]\nleds=2\n[0]\n0=7\n100=1;2;3\n[100]\n0=\n100=5;x\n"), kFine);
  ASSERT_TRUE(has_table());
  const auto *rows = light_->illumination_table;
  EXPECT_EQ(rows[0].points[0].levels[0], 7);
  EXPECT_EQ(rows[0].points[0].levels[1], 0);
  EXPECT_EQ(rows[0].points[1].levels[1], 2);
  EXPECT_EQ(rows[1].points[0].levels[0], 0);
  EXPECT_EQ(rows[1].points[1].levels[0], 0);
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
