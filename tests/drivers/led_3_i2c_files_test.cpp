// The configuration files of the light of three outputs: dimming.conf, and illumination.conf for its optics.

#include "support/temperature_service.h"
#include "support/three_outputs_fixture.h"

namespace {

using testing::ElementsAre;
using Line = SyslogCapture::Line;

const Line kDefaultConfig{LOG_INFO, kNoOptics};

Line outside(int angle, int intensity) {
  return {LOG_ERR, "Angle " + std::to_string(angle) + ", intensity " + std::to_string(intensity) +
                       " lies outside of the table in /etc/beamd/illumination.conf"};
}

class Led3I2cFiles : public ThreeOutputs {
 protected:
  static void SetUpTestSuite() { g_setenv("DBUS_SYSTEM_BUS_ADDRESS", private_bus_address(), TRUE); }

  Outcome outcome() { return set_up(light_); }

  /// What outputs 0 and 1 give.
  std::vector<std::string> shown_at(gint angle, gint intensity) {
    light_->intensity = intensity;
    auto values = ThreeOutputs::shown_at(light_, angle);
    EXPECT_EQ(values[2], values[0]);
    values.pop_back();
    return values;
  }

  std::vector<gint> sensor_ids() const {
    return {light_->temp_sensor_ids, light_->temp_sensor_ids + light_->nbr_of_temp_sensors};
  }

  LightPointer light_ = new_light();
  TemperatureService service_;
};

/// A file that cannot be loaded, and what is said of it.
struct BrokenFile {
  FoundFile file;
  std::string text;
};

void PrintTo(const BrokenFile &broken, std::ostream *stream) { *stream << broken.file.name; }

class BrokenDimming : public Led3I2cFiles, public testing::WithParamInterface<BrokenFile> {};

TEST_P(BrokenDimming, FailsSetup) {
  replace(kDimming, GetParam().file);
  EXPECT_EQ(outcome(), kFailed);
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, GetParam().text}));
}

INSTANTIATE_TEST_SUITE_P(
    Dimming, BrokenDimming,
    testing::Values(BrokenFile{missing_file(),
                               "could not open /etc/beamd/dimming.conf: No such file or directory"},
                    BrokenFile{folder(), "Failed reading file"},
                    BrokenFile{with_content("Nonsense", "nonsense\n"), "Could not load data to GKeyFile"},
                    BrokenFile{with_content("BrokenAtTheEnd", "[regulator]\nsample_time=5\nk_p\n"),
                               "Could not load data to GKeyFile"}),
    [](const auto &tested) { return tested.param.file.name; });

class BrokenIllumination : public Led3I2cFiles, public testing::WithParamInterface<BrokenFile> {};

TEST_P(BrokenIllumination, FailsSetup) {
  replace(kIllumination, GetParam().file);
  EXPECT_EQ(outcome(), kFailed);
  EXPECT_THAT(log_.lines(), ElementsAre(kDefaultConfig, Line{LOG_ERR, GetParam().text}));
  EXPECT_THAT(shown_at(0, 100), ElementsAre("0", "0")) << "the light has no table";
  EXPECT_FALSE(is_given(files_[0]));
}

INSTANTIATE_TEST_SUITE_P(
    Illumination, BrokenIllumination,
    testing::Values(BrokenFile{missing_file(),
                               "could not open /etc/beamd/illumination.conf: No such file or directory"},
                    BrokenFile{folder(), "Failed reading file"},
                    BrokenFile{with_content("Nonsense", "nonsense\n"), "Could not load data to GKeyFile"},
                    BrokenFile{with_content("BrokenAtTheEnd", "[info]\nangle_div=50\n[0]\n0=1;1;\n50\n"),
                               "Could not load data to GKeyFile"}),
    [](const auto &tested) { return tested.param.file.name; });

TEST_F(Led3I2cFiles, TableHasOneAngleAtLeast) {
  for (const char *text : {"[info]\nangle_div=50\nintensity_div=50\n", "", "# nothing\n"}) {
    write_file(kIllumination, text);
    light_ = new_light();
    log_.clear();
    EXPECT_EQ(outcome(), kFailed) << text;
    ASSERT_EQ(log_.lines().size(), 2U) << text;
    EXPECT_EQ(log_.lines()[1].priority, LOG_ERR);
    EXPECT_THAT(log_.lines()[1].text, testing::MatchesRegex("Error \\(.+\\) parsing key file"));
    EXPECT_THAT(shown_at(0, 100), ElementsAre("0", "0")) << text;
  }
}

TEST_F(Led3I2cFiles, OpticsBelongToTheName) {
  fake_bootblock().value = "wide";
  write_file("/etc/beamd/illumination.conf.wide",
             "[info]\nangle_div=100\nintensity_div=100\n[0]\n0=1;2;\n100=3;4;\n");
  EXPECT_EQ(outcome(), kDone);
  EXPECT_THAT(log_.lines(), testing::IsEmpty());
  EXPECT_THAT(fake_bootblock().asked, ElementsAre("OPTICS"));
  EXPECT_THAT(shown_at(0, 100), ElementsAre("3", "4"));
}

TEST_F(Led3I2cFiles, OpticsNeedAFileOfTheirOwn) {
  fake_bootblock().value = "wide";
  EXPECT_EQ(outcome(), kFailed);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{
                  LOG_ERR, "could not open /etc/beamd/illumination.conf.wide: No such file or directory"}));
}

TEST_F(Led3I2cFiles, OpticsThatAreNotToldAreTheDefault) {
  EXPECT_EQ(outcome(), kDone);
  EXPECT_THAT(fake_bootblock().asked, ElementsAre("OPTICS"));
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_INFO, "No optics bootblock parameter found - using default config"}));
  EXPECT_THAT(shown_at(0, 100), ElementsAre("40", "20"));
}

TEST_F(Led3I2cFiles, OpticsThatCannotBeToldAreTheDefault) {
  for (const int error : {EIO, EACCES}) {
    log_.clear();
    light_ = new_light();
    fake_bootblock().error = error;
    EXPECT_EQ(outcome(), kDone);
    EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_WARNING,
                                               "Error reading optics bootblock parameter - using "
                                               "default config"}));
    EXPECT_THAT(shown_at(0, 100), ElementsAre("40", "20"));
  }
}

TEST_F(Led3I2cFiles, OpticsMayHaveALongName) {
  const std::string optics(200, 'x');
  fake_bootblock().value = optics;
  write_file("/etc/beamd/illumination.conf." + optics, "[info]\n[0]\n0=7;8;\n");
  EXPECT_EQ(outcome(), kDone);
  EXPECT_THAT(shown_at(0, 0), ElementsAre("7", "8"));
}

TEST_F(Led3I2cFiles, EveryCellOfTheTableIsFound) {
  EXPECT_EQ(outcome(), kDone);
  EXPECT_THAT(shown_at(0, 0), ElementsAre("4", "2"));
  EXPECT_THAT(shown_at(49, 99), ElementsAre("20", "10"));
  EXPECT_THAT(shown_at(50, 100), ElementsAre("50", "30"));
  EXPECT_THAT(shown_at(99, 49), ElementsAre("5", "3"));
  EXPECT_THAT(shown_at(100, 50), ElementsAre("30", "20"));
  EXPECT_THAT(shown_at(100, 100), ElementsAre("60", "40"));
}

TEST_F(Led3I2cFiles, AngleAndIntensityBeyondTheTableAreItsLast) {
  EXPECT_EQ(outcome(), kDone);
  EXPECT_THAT(shown_at(1000, 1000), ElementsAre("60", "40"));
  EXPECT_THAT(shown_at(0, -1000), ElementsAre("4", "2"));
}

struct OddTable {
  const char *name;
  const char *text;
  std::vector<Line> lines;
  std::vector<std::string> last_cell;  ///< at angle 100 and intensity 100
};

void PrintTo(const OddTable &table, std::ostream *stream) { *stream << table.name; }

class OddTables : public Led3I2cFiles, public testing::WithParamInterface<OddTable> {};

TEST_P(OddTables, AreLoaded) {
  write_file(kIllumination, GetParam().text);
  EXPECT_EQ(outcome(), kDone);
  std::vector<Line> expected = {kDefaultConfig};
  expected.insert(expected.end(), GetParam().lines.begin(), GetParam().lines.end());
  EXPECT_EQ(log_.lines(), expected);
  EXPECT_EQ(shown_at(100, 100), GetParam().last_cell);
}

INSTANTIATE_TEST_SUITE_P(
    Illumination, OddTables,
    testing::Values(
        OddTable{"EveryGroupButTheFirstIsAnAngle",
                 "[other]\n0=9;9;\n[0]\n0=1;2;\n[info]\n0=7;8;\nangle_div=1000\n",
                 {},
                 {"7", "8"}},
        OddTable{"WithoutDivisorsAllIsOneCell",
                 "[info]\n[0]\n0=1;2;\n100=3;4;\n[100]\n0=5;6;\n100=7;8;\n",
                 {},
                 {"7", "8"}},
        OddTable{"DivisorsOfZeroLikewise",
                 "[info]\nangle_div=0\nintensity_div=0\n[0]\n0=1;2;\n[100]\n100=7;8;\n",
                 {},
                 {"7", "8"}},
        OddTable{"DivisorsThatAreNoNumbersLikewise",
                 "[info]\nangle_div=wide\nintensity_div=\n[0]\n0=1;2;\n[100]\n100=7;8;\n",
                 {},
                 {"7", "8"}},
        OddTable{"TooFewRows",
                 "[info]\nangle_div=50\nintensity_div=100\n[0]\n0=1;2;\n100=3;4;\n[100]\n0=5;6;\n100=7;8;\n",
                 {outside(100, 0), outside(100, 100)},
                 {"0", "0"}},
        OddTable{"TooFewColumns",
                 "[info]\nangle_div=100\nintensity_div=50\n[0]\n0=1;2;\n100=3;4;\n[100]\n0=5;6;\n50=7;8;\n",
                 {outside(0, 100)},
                 {"7", "8"}},
        OddTable{"NegativePlaces",
                 "[info]\nangle_div=100\nintensity_div=100\n"
                 "[-100]\n0=1;2;\n100=1;2;\n[100]\n-100=5;6;\n100=7;8;\n",
                 {outside(-100, 0), outside(-100, 100), outside(100, -100)},
                 {"7", "8"}},
        OddTable{"LaterRowsAreNoLongerThanTheFirst",
                 "[info]\nangle_div=100\nintensity_div=100\n"
                 "[0]\n0=1;2;\n100=3;4;\n[100]\n0=5;6;\n100=7;8;\n100000=9;9;\n101=9;9;\n",
                 {},
                 {"7", "8"}},
        OddTable{"ShorterRowsEndInDarkness",
                 "[info]\nangle_div=100\nintensity_div=100\n[0]\n0=1;2;\n100=3;4;\n[100]\n0=5;6;\n",
                 {},
                 {"0", "0"}},
        OddTable{"FirstRowWithoutIntensities",
                 "[info]\nangle_div=100\nintensity_div=100\n[0]\n[100]\n0=5;6;\n100=7;8;\n",
                 {},
                 {"0", "0"}},
        OddTable{"SecondValueMissing", "[info]\n[0]\n0=7;\n", {}, {"7", "0"}},
        OddTable{"BothValuesMissing", "[info]\n[0]\n0=\n", {}, {"0", "0"}},
        OddTable{"MoreThanTwoValues", "[info]\n[0]\n0=7;8;9;10;\n", {}, {"7", "8"}},
        OddTable{"ValuesThatAreNoNumbers", "[info]\n[0]\n0=bright;dark;\n", {}, {"0", "0"}},
        OddTable{"NamesThatAreNoNumbersAreZero",
                 "[info]\nangle_div=100\nintensity_div=100\n[wide]\nfull=7;8;\n",
                 {},
                 {"7", "8"}},
        OddTable{"HugeNames",
                 "[info]\nangle_div=1\nintensity_div=1\n[0]\n0=7;8;\n[99999999999]\n0=1;2;\n",
                 {outside(2147483647, 0)},
                 {"0", "0"}}),
    [](const auto &tested) { return tested.param.name; });

TEST_F(Led3I2cFiles, FirstGroupIsNoAngle) {
  write_file(kIllumination, "[info]\nangle_div=100\nintensity_div=100\n[0]\n100=3;4;\n150=7;8;\n");
  EXPECT_EQ(outcome(), kDone);
  EXPECT_THAT(shown_at(0, 0), ElementsAre("0", "0")) << "no cell is made of the divisors";
  EXPECT_THAT(shown_at(0, 100), ElementsAre("7", "8"));
}

TEST_F(Led3I2cFiles, SampleTimeComesFromTheRegulator) {
  write_file(kDimming, "[regulator]\nsample_time=7\n");
  EXPECT_EQ(outcome(), kDone);
  EXPECT_EQ(light_->temp_sample_time, 7);
}

TEST_F(Led3I2cFiles, SampleTimeThatIsMissingIsZero) {
  write_file(kDimming, "");
  EXPECT_EQ(outcome(), kDone);
  EXPECT_EQ(light_->temp_sample_time, 0);
  EXPECT_THAT(log_.lines(), ElementsAre(kDefaultConfig));
}

TEST_F(Led3I2cFiles, TwoSensorsAreOfUse) {
  service_.has_sensor("board", 4);
  service_.has_sensor("lens", 5);
  write_file(kDimming, "[regulator]\ntemp_sensor_id=board\ntemp_sensor_id2=lens\n");
  EXPECT_EQ(outcome(), kDone);
  EXPECT_THAT(sensor_ids(), ElementsAre(4, 5));
  EXPECT_THAT(log_.lines(), ElementsAre(kDefaultConfig));
}

TEST_F(Led3I2cFiles, ThreeSensorsAreOneTooMany) {
  service_.has_sensor("board", 4);
  service_.has_sensor("lens", 5);
  service_.has_sensor("case", 6);
  write_file(
      kDimming,
      "[regulator]\ntemp_sensor_id=board\ntemp_sensor_id2=lens\ntemp_sensor_id3=case\nsample_time=7\n");
  EXPECT_EQ(outcome(), kDone);
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(Line{LOG_WARNING, "Expected at most 2 temperature sensors, but found 3."}, kDefaultConfig));
  EXPECT_EQ(light_->temp_sample_time, 7) << "setup goes on";
}

}  // namespace
