// The configuration files of the single-channel light: illumination.conf and dimming.conf.

#include "support/mcu_one_channel_fixture.h"
#include "support/mcu_setup_fixture.h"
#include "support/temperature_service.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using Line = SyslogCapture::Line;

const Line kFirstNotZero{LOG_ERR, "The first angle in illumination.conf should always be 0"};
const Line kLastNotHundred{LOG_ERR, "The last angle in illumination.conf should always be 100"};

Line wrong_count(const std::string &intensity) {
  return {LOG_ERR, "Wrong number of leds in illumination.conf for intensity " + intensity};
}

class Led1I2cFiles : public McuSetup<OneChannel> {
 protected:
  std::vector<gint> sensor_ids() const {
    return {light_->temp_sensor_ids, light_->temp_sensor_ids + light_->nbr_of_temp_sensors};
  }

  TemperatureService service_;
};

TEST_F(Led1I2cFiles, IlluminationTableIsKeptInTheLight) {
  write_file(kIllumination, "[info]\nleds=2\n[0]\n0=0;0;\n80=40;20;\n[100]\n100=90;10;\n");
  EXPECT_EQ(outcome(), kDone);
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_EQ(light_->nbr_of_leds, 2);

  const auto *rows = light_->illumination_table;
  ASSERT_NE(rows, nullptr);
  EXPECT_EQ(rows[0].angle, 0);
  EXPECT_EQ(rows[0].points[1].intensity, 80);
  EXPECT_THAT(std::vector(rows[0].points[1].levels, rows[0].points[1].levels + 2), ElementsAre(40, 20));
  EXPECT_EQ(rows[0].points[2].levels, nullptr);
  EXPECT_EQ(rows[1].angle, 100);
  EXPECT_THAT(std::vector(rows[1].points[0].levels, rows[1].points[0].levels + 2), ElementsAre(90, 10));
  EXPECT_EQ(rows[2].points, nullptr);
}

TEST_F(Led1I2cFiles, ThereIsALevelForEachLed) {
  write_file(kIllumination, "[info]\nleds=3\n[0]\n0=0;0;0;\n[100]\n0=0;0;0;\n");
  EXPECT_EQ(outcome(), kDone);
  ASSERT_NE(light_->led_intensities, nullptr);
  EXPECT_THAT(std::vector(light_->led_intensities, light_->led_intensities + 3), ElementsAre(0, 0, 0));
}

struct OddTable {
  const char *name;
  std::string rows;  ///< of one LED
  std::vector<Line> lines;
};

void PrintTo(const OddTable &table, std::ostream *stream) { *stream << table.name; }

class OddTables : public Led1I2cFiles, public testing::WithParamInterface<OddTable> {};

TEST_P(OddTables, AreToldOfAndLoaded) {
  write_file(kIllumination, "[info]\nleds=1\n" + GetParam().rows);
  EXPECT_EQ(outcome(), kDone);
  EXPECT_EQ(log_.lines(), GetParam().lines);
  EXPECT_NE(light_->illumination_table, nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Illumination, OddTables,
    testing::Values(
        OddTable{"FirstAngle", "[10]\n0=0;\n[100]\n0=0;\n", {kFirstNotZero}},
        OddTable{"LastAngle", "[0]\n0=0;\n[80]\n0=0;\n", {kLastNotHundred}},
        OddTable{"BothAngles", "[10]\n0=0;\n[50]\n0=0;\n[80]\n0=0;\n", {kFirstNotZero, kLastNotHundred}},
        OddTable{"AngleThatIsNoNumber", "[wide]\n0=0;\n[100]\n0=0;\n", {}},
        OddTable{"LoneRowOf0", "[0]\n0=0;\n", {kLastNotHundred}},
        OddTable{"LoneRowOf50", "[50]\n0=0;\n", {kFirstNotZero, kLastNotHundred}},
        OddTable{"LoneRowOf100", "[100]\n0=0;\n", {kFirstNotZero, kLastNotHundred}},
        OddTable{"TooManyLevels", "[0]\n0=0;\n30=5;6;\n[100]\n0=0;\n", {wrong_count("30")}},
        OddTable{"NoLevels", "[0]\n0=\n[100]\n0=0;\n", {wrong_count("0")}},
        OddTable{"LevelsThatAreNoNumbers", "[0]\n0=0;\n[100]\n0=0;\n45=bright;\n", {wrong_count("45")}},
        OddTable{"EachWrongCount",
                 "[0]\n0=1;2;\n50=3;4;\n[100]\n0=5;\n80=6;7;\n",
                 {wrong_count("0"), wrong_count("50"), wrong_count("80")}}),
    [](const auto &tested) { return tested.param.name; });

TEST_F(Led1I2cFiles, TableMayHaveNoRows) {
  write_file(kIllumination, "[info]\nleds=1\n");
  EXPECT_EQ(outcome(), kDone);
  ASSERT_NE(light_->illumination_table, nullptr);
  EXPECT_EQ(light_->illumination_table[0].points, nullptr);
}

TEST_F(Led1I2cFiles, MissingLedCountIsNone) {
  write_file(kIllumination, "[info]\n[0]\n0=0;\n[100]\n100=60;\n");
  EXPECT_EQ(outcome(), kDone);
  EXPECT_EQ(light_->nbr_of_leds, 0);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_ERR,
                               "Failed to get number of leds from file: Key file does not have key “leds” in "
                               "group “info”"},
                          wrong_count("0"), wrong_count("100")));
}

TEST_F(Led1I2cFiles, UnusableLedCountIsNone) {
  for (const std::string count : {"many", "", "-1", "1025", "99999999999"}) {
    write_file(kIllumination, "[info]\nleds=" + count + "\n[0]\n[100]\n");
    EXPECT_EQ(outcome_anew(), kDone) << count;
    EXPECT_EQ(light_->nbr_of_leds, 0) << count;
    ASSERT_EQ(log_.lines().size(), 1U) << count;
    EXPECT_EQ(log_.lines()[0].priority, LOG_ERR);
    EXPECT_THAT(log_.lines()[0].text, StartsWith("Failed to get number of leds from file: "));
  }
}

TEST_F(Led1I2cFiles, OneSensorIsLookedUp) {
  service_.has_sensor("board", 4);
  write_file(kDimming, "[regulator]\ntemp_sensor_id=board\n");
  EXPECT_EQ(outcome(), kDone);
  EXPECT_THAT(sensor_ids(), ElementsAre(4));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Led1I2cFiles, TwoSensorsAreOneTooMany) {
  service_.has_sensor("board", 4);
  service_.has_sensor("lens", 5);
  write_file(kDimming, "[regulator]\ntemp_sensor_id=board\ntemp_sensor_id2=lens\nsample_time=7\n");
  EXPECT_EQ(outcome(), kDone);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_WARNING, "Expected at most 1 temperature sensor, but found 2."}));
  EXPECT_THAT(sensor_ids(), ElementsAre(4, 5));
  EXPECT_EQ(light_->temp_sample_time, 7) << "setup goes on";
}

TEST_F(Led1I2cFiles, TwoSensorsCountEvenWhenNoneIsFound) {
  fake_bootblock().value = "no";
  write_file(kDimming, "[regulator]\ntemp_sensor_id=board\ntemp_sensor_id2=lens\ntemp_sensor_id3=case\n");
  EXPECT_EQ(outcome(), kDone);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_WARNING, "Expected at most 1 temperature sensor, but found 3."}));
}

}  // namespace
