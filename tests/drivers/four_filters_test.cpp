// The filters of boards with up to four sensors.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <cstdarg>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "drivers/temperature.h"
#include "support/fake_status_cache.h"
#include "support/syslog_capture.h"
#include "support/test_light.h"

namespace {
bool memory_is_short = false;

int format(char **text, const char *format, std::va_list arguments) {
  return memory_is_short ? -1 : vasprintf(text, format, arguments);
}
}  // namespace

// In place of the C library's, under whose names the compiler would not take them.
extern "C" {
int test_asprintf(char **text, const char *format, ...) __asm__("asprintf");
int test_asprintf_chk(char **text, int flag, const char *format, ...) __asm__("__asprintf_chk");

int test_asprintf(char **text, const char *format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int length = ::format(text, format, arguments);
  va_end(arguments);
  return length;
}

int test_asprintf_chk(char **text, int, const char *format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int length = ::format(text, format, arguments);
  va_end(arguments);
  return length;
}
}

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using Line = SyslogCapture::Line;

constexpr double kNone = -9999.0;
const Line kUnread = {LOG_WARNING, "Could not read temperature"};

class Filters : public testing::Test {
 protected:
  Filters() {
    fake_status_cache() = {};
    watch({1, 2, 3, 4});
  }
  ~Filters() override { memory_is_short = false; }

  void watch(const std::vector<gint> &sensors) {
    g_free(light_->temp_sensor_ids);
    light_->temp_sensor_ids = g_new(gint, sensors.size());
    std::copy(sensors.begin(), sensors.end(), light_->temp_sensor_ids);
    light_->nbr_of_temp_sensors = static_cast<gint>(sensors.size());
  }

  /// Takes one more reading of each sensor, and these are the next ones.
  std::optional<double> tick(const std::deque<float> &readings) {
    fake_status_cache().calls.clear();
    fake_status_cache().readings = readings;
    log_.clear();
    return filter_highest_of_four(light_.get(), &filters_, "sensor %d is lost");
  }

  static std::vector<std::string> asked() {
    std::vector<std::string> groups;
    for (const auto &call : fake_status_cache().calls)
      groups.push_back(call.group);
    return groups;
  }

  static Line lost(int sensor) { return {LOG_WARNING, "sensor " + std::to_string(sensor) + " is lost"}; }

  LightPointer light_ = make_light(TEST_TYPE_LIGHT);
  FourFilters filters_ = kFourUnseeded;
  SyslogCapture log_;
};

TEST_F(Filters, BeginUnseeded) { EXPECT_THAT(kFourUnseeded, ElementsAre(kNone, kNone, kNone, kNone)); }

TEST_F(Filters, StartWithTwoReadingsOfASensor) {
  watch({7});
  EXPECT_EQ(tick({40.0F, 50.0F}), 42.0);
  EXPECT_THAT(asked(), ElementsAre("TEMPERATURE_7", "TEMPERATURE_7"));
  EXPECT_EQ(tick({52.0F}), 44.0);
  EXPECT_THAT(asked(), ElementsAre("TEMPERATURE_7"));
  EXPECT_THAT(filters_, ElementsAre(44.0, kNone, kNone, kNone));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Filters, TakeTheSensorsInTurn) {
  watch({4, 3, 2, 1});
  tick({20.0F});
  EXPECT_THAT(asked(), ElementsAre("TEMPERATURE_4", "TEMPERATURE_4", "TEMPERATURE_3", "TEMPERATURE_3",
                                   "TEMPERATURE_2", "TEMPERATURE_2", "TEMPERATURE_1", "TEMPERATURE_1"));
  EXPECT_EQ(tick({30.0F, 45.0F, 10.0F, 35.0F}), 25.0);
  EXPECT_THAT(asked(), ElementsAre("TEMPERATURE_4", "TEMPERATURE_3", "TEMPERATURE_2", "TEMPERATURE_1"));
  EXPECT_THAT(filters_, ElementsAre(22.0, 25.0, 18.0, 23.0));
}

TEST_F(Filters, GiveTheHighestOfTheFilteredAndNotOfTheReadings) {
  watch({1, 2});
  tick({60.0F, 60.0F, 20.0F, 20.0F});
  EXPECT_EQ(tick({30.0F, 90.0F}), 54.0);
}

TEST_F(Filters, MayAllBeBelowZero) { EXPECT_EQ(tick({-40.0F, -40.0F, -50.0F}), -40.0); }

// 23 x 4 / 5 and -20 / 5, where 0.8 x 23 - 0.2 x 20 gives the next number, rounded once or twice.
TEST_F(Filters, AreRoundedAfterEachOfFourOperations) {
  watch({1});
  filters_[0] = 23.0;
  EXPECT_EQ(tick({-20.0F}), 0x1.cccccccccccccp+3);
}

TEST_F(Filters, LeaveOutASensorThatGivesNothingToStartWith) {
  watch({1, 2});
  EXPECT_EQ(tick({-9999.0F, 30.0F, 30.0F}), 30.0);
  EXPECT_THAT(log_.lines(), ElementsAre(lost(1)));
  EXPECT_THAT(asked(), ElementsAre("TEMPERATURE_1", "TEMPERATURE_2", "TEMPERATURE_2"));
  EXPECT_THAT(filters_, ElementsAre(kNone, 30.0, kNone, kNone));

  EXPECT_EQ(tick({31.0F, 31.0F, 30.0F}), 31.0) << "it is tried again each time";
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Filters, GiveNothingWhenNoSensorDoes) {
  fake_status_cache().result = 0;
  EXPECT_EQ(tick({20.0F}), std::nullopt);
  EXPECT_THAT(log_.lines(),
              ElementsAre(kUnread, lost(1), kUnread, lost(2), kUnread, lost(3), kUnread, lost(4)));
  EXPECT_THAT(asked(), ElementsAre("TEMPERATURE_1", "TEMPERATURE_2", "TEMPERATURE_3", "TEMPERATURE_4"));
  EXPECT_THAT(filters_, Each(kNone));
}

TEST_F(Filters, TakeLaterFailuresForTemperatures) {
  watch({1});
  EXPECT_EQ(tick({40.0F}), 40.0);
  fake_status_cache().result = 0;
  EXPECT_DOUBLE_EQ(tick({40.0F}).value(), -1967.8);
  EXPECT_THAT(log_.lines(), ElementsAre(kUnread)) << "it is not lost";
  EXPECT_THAT(asked(), ElementsAre("TEMPERATURE_1"));
}

TEST_F(Filters, TakeAFailureOfTheSecondReadingForATemperature) {
  watch({1});
  EXPECT_DOUBLE_EQ(tick({40.0F, -9999.0F}).value(), -1967.8);
}

TEST_F(Filters, LeaveOutSensorsThatWereNotFound) {
  watch({-1, 5, -2});
  EXPECT_EQ(tick({20.0F}), 20.0);
  EXPECT_THAT(asked(), ElementsAre("TEMPERATURE_5", "TEMPERATURE_5"));
  EXPECT_THAT(filters_, ElementsAre(kNone, 20.0, kNone, kNone)) << "each sensor has a place of its own";
  watch({-1, -1, -1, -1});
  EXPECT_EQ(tick({20.0F}), std::nullopt);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Filters, LeaveOutAFifthSensor) {
  watch({1, 2, 3, 4, 5});
  EXPECT_EQ(tick({20.0F}), 20.0);
  EXPECT_EQ(asked().size(), 8U);
  EXPECT_EQ(asked().back(), "TEMPERATURE_4");
}

TEST_F(Filters, GiveNothingWithoutSensors) {
  watch({});
  EXPECT_EQ(tick({20.0F}), std::nullopt);
  g_clear_pointer(&light_->temp_sensor_ids, g_free);
  EXPECT_EQ(tick({20.0F}), std::nullopt);
  EXPECT_THAT(asked(), IsEmpty());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Filters, GiveNothingWithoutMemory) {
  watch({1});
  memory_is_short = true;
  EXPECT_EQ(tick({20.0F}), std::nullopt);
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "Could not allocate for temperature"}, lost(1)));
}

TEST_F(Filters, GoWithTextsThatNameTheSensor) {
  EXPECT_EQ(read_temperature(-5, kTemperatureTextsWithId), kNone);
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "Could not read invalid temperature sensor (id: -5)"}));
  EXPECT_THAT(asked(), IsEmpty());
}

}  // namespace
