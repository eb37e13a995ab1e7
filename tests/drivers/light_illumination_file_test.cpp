// What a light makes of the content of its illumination file.

#include "support/light_illumination_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using Line = SyslogCapture::Line;

const Line kFirstAngle{LOG_ERR, "The first angle in illumination.conf should always be 0"};
const Line kLastAngle{LOG_ERR, "The last angle in illumination.conf should always be 100"};

Line wrong_number(const std::string &intensity) {
  return {LOG_ERR, "Wrong number of leds in illumination.conf for intensity " + intensity};
}

Line no_count(const std::string &reason) { return {LOG_ERR, "Failed to get number of leds " + reason}; }

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

/// A file with @p points intensities, spread over two rows.
std::string file_with(gint leds, gint points) {
  std::string text = "[info]\nleds=" + std::to_string(leds) + "\n[0]\n";
  for (gint point = 0; point < points; ++point)
    text += (point == points / 2 ? "[100]\n" : "") + std::to_string(point) + "=0\n";
  return text;
}

struct Size {
  gint leds, points;
};

TEST_F(LightIllumination, TableMayHave65536IntensitiesAndAMillionLevels) {
  for (const auto &[leds, points] : {Size{16, 65536}, Size{1024, 1024}}) {
    renew_light("/sys/light");
    EXPECT_EQ(probe_with(file_with(leds, points)), kFine) << leds;
    ASSERT_NE(light_->illumination_table, nullptr) << leds;
    EXPECT_EQ(light_->illumination_table[0].points[points / 2].levels, nullptr) << leds;
    EXPECT_EQ(light_->illumination_table[1].points[points / 2].levels, nullptr) << leds;
  }
}

TEST_F(LightIllumination, TableThatIsLargerFailsWithoutAnError) {
  for (const auto &[leds, points] : {Size{0, 65537}, Size{17, 61681}, Size{1024, 1025}}) {
    renew_light("/sys/light");
    EXPECT_EQ(probe_with(file_with(leds, points)), kNoTable) << leds;
    EXPECT_THAT(
        log_.lines(),
        ElementsAre(Line{LOG_ERR, "Too many intensities in illumination.conf: " + std::to_string(points) +
                                      " for " + std::to_string(leds) + " leds"}));
    EXPECT_EQ(light_->illumination_table, nullptr) << leds;
    EXPECT_EQ(light_->led_intensities, nullptr) << leds;
  }
}

}  // namespace
