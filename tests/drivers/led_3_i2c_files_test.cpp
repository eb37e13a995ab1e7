// The configuration files of the light of three outputs: its sensors, and the illumination file of its
// optics.

#include "support/mcu_two_sensor_tests.h"
#include "support/three_outputs_fixture.h"

namespace {

using testing::ElementsAre;
using Line = SyslogCapture::Line;

const Line kDefaultConfig{LOG_INFO, kNoOptics};

Line outside(int angle, int intensity, const std::string &optics = "") {
  return {LOG_ERR, "Angle " + std::to_string(angle) + ", intensity " + std::to_string(intensity) +
                       " lies outside of the table in /etc/beamd/illumination.conf" + optics};
}

INSTANTIATE_TYPED_TEST_SUITE_P(Led3I2c, McuTwoSensorSettings, ThreeOutputs);

class Led3I2cFiles : public McuSetup<ThreeOutputs> {
 protected:
  /// What outputs 0 and 1 give.
  std::vector<std::string> shown_at(gint angle, gint intensity) {
    light_->intensity = intensity;
    auto values = ThreeOutputs::shown_at(light_, angle);
    EXPECT_EQ(values[2], values[0]);
    values.pop_back();
    return values;
  }
};

TEST_F(Led3I2cFiles, TableHasOneAngleAtLeast) {
  for (const char *text : {"[info]\nangle_div=50\nintensity_div=50\n", "", "# nothing\n"}) {
    write_file(kIllumination, text);
    EXPECT_EQ(outcome_anew(), kFailed) << text;
    EXPECT_THAT(log_.lines(),
                ElementsAre(kDefaultConfig,
                            Line{LOG_ERR, "Error (Key file does not have group “”) parsing key file"}))
        << text;
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

TEST_F(Led3I2cFiles, FileOfTheOpticsIsTheOneComplainedAbout) {
  fake_bootblock().value = "wide";
  write_file("/etc/beamd/illumination.conf.wide", "[info]\nangle_div=50\n[0]\n0=1;2;\n[100]\n0=3;4;\n");
  EXPECT_EQ(outcome(), kDone);
  EXPECT_THAT(log_.lines(), ElementsAre(outside(100, 0, ".wide")));
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
    fake_bootblock().error = error;
    EXPECT_EQ(outcome_anew(), kDone);
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

/// A table of two angles and as many intensities as it takes for that number of cells.
std::string table_of_cells(int cells) {
  std::string text = "[info]\nangle_div=100\nintensity_div=1\n[0]\n";
  for (int column = 0; column < cells / 2; ++column)
    text += std::to_string(column) + "=7;8;\n";
  return text + "[100]\n0=7;8;\n";
}

TEST_F(Led3I2cFiles, TableMayHave65536Cells) {
  write_file(kIllumination, table_of_cells(65536));
  EXPECT_EQ(outcome(), kDone);
  EXPECT_THAT(log_.lines(), ElementsAre(kDefaultConfig));
  EXPECT_THAT(shown_at(0, 32767), ElementsAre("7", "8"));
}

TEST_F(Led3I2cFiles, TableOfMoreCellsIsRefused) {
  write_file(kIllumination, table_of_cells(65538));
  EXPECT_EQ(outcome(), kFailed);
  EXPECT_THAT(log_.lines(),
              ElementsAre(kDefaultConfig,
                          Line{LOG_ERR, "Too many intensities in illumination.conf: 65538 for 2 leds"}));
  EXPECT_FALSE(is_given(files_[0]));

  light_->light_on = 1;
  led_base_set_power_intensity(light_.get(), 2.0);
  led_base_request_power(light_.get());
  led_base_update_temperature(light_.get());
  EXPECT_EQ(light_->requested_power, 0.0F);
  EXPECT_THAT(shown_at(100, 100), ElementsAre("0", "0"));
}

}  // namespace
