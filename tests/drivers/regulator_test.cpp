// What the drivers' regulators share: reading temperatures, filtering them, dimming.conf, and the tick.

#include "drivers/regulator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "daemon/debug.h"
#include "drivers/temperature.h"
#include "support/fake_bootblock.h"
#include "support/fake_status_cache.h"
#include "support/key_files.h"
#include "support/light_files.h"
#include "support/syslog_capture.h"
#include "support/temperature_service.h"
#include "support/test_light.h"

namespace {
bool memory_is_short = false;
}

// In place of the C library's, under whose names the compiler would not take them.
extern "C" {
int test_asprintf(char **text, const char *format, ...) __asm__("asprintf");
int test_asprintf_chk(char **text, int flag, const char *format, ...) __asm__("__asprintf_chk");

int test_asprintf(char **text, const char *format, ...) {
  if (memory_is_short)
    return -1;
  std::va_list arguments;
  va_start(arguments, format);
  const int length = vasprintf(text, format, arguments);
  va_end(arguments);
  return length;
}

int test_asprintf_chk(char **text, int, const char *format, ...) {
  if (memory_is_short)
    return -1;
  std::va_list arguments;
  va_start(arguments, format);
  const int length = vasprintf(text, format, arguments);
  va_end(arguments);
  return length;
}
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Call = FakeStatusCache::Call;
using Item = FakeStatusCache::Item;
using Line = SyslogCapture::Line;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr const char *kDimming = "/etc/beamd/dimming.conf";
constexpr SensorLimit kOneSensor = {1, "sensor"};

const Line kInvalid = {LOG_ERR, "Could not read invalid temperature sensor"};
const Line kUnread = {LOG_WARNING, "Could not read temperature"};

class Temperature : public testing::Test {
 protected:
  Temperature() { fake_status_cache() = {}; }
  ~Temperature() override { memory_is_short = false; }

  SyslogCapture log_;
};

TEST_F(Temperature, IsOneItemOfTheSensorsGroup) {
  fake_status_cache().readings = {41.5F};
  EXPECT_EQ(read_temperature(7), 41.5);
  EXPECT_THAT(fake_status_cache().calls, ElementsAre(Call{"TEMPERATURE_7", {{"CELSIUS", 4, 2}}, 0}));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Temperature, IsAskedForUnderTheWholeId) {
  read_temperature(0);
  read_temperature(2147483647);
  const std::vector<Item> item = {{"CELSIUS", 4, 2}};
  EXPECT_THAT(fake_status_cache().calls,
              ElementsAre(Call{"TEMPERATURE_0", item, 0}, Call{"TEMPERATURE_2147483647", item, 0}));
}

TEST_F(Temperature, IsWidenedFromSinglePrecision) {
  fake_status_cache().readings = {45.678F};
  EXPECT_EQ(read_temperature(1), static_cast<double>(45.678F));
  EXPECT_NE(read_temperature(1), 45.678);
}

TEST_F(Temperature, IsWhateverTheCacheTells) {
  constexpr auto kFloatInfinity = std::numeric_limits<float>::infinity();
  fake_status_cache().readings = {-40.0F, -0.0F, kFloatInfinity, -kFloatInfinity, NAN};
  EXPECT_EQ(read_temperature(1), -40.0);
  EXPECT_TRUE(std::signbit(read_temperature(1)));
  for (int reading = 0; reading < 3; ++reading)
    EXPECT_EQ(read_temperature(1), kNoReading) << "a filter would never forget it";
}

TEST_F(Temperature, IsReadBySuccessOnly) {
  for (const int result : {0, -1, 2, std::numeric_limits<int>::min()}) {
    log_.clear();
    fake_status_cache().result = result;
    EXPECT_EQ(read_temperature(3), -9999.0) << result;
    EXPECT_THAT(log_.lines(), ElementsAre(kUnread)) << result;
  }
}

TEST_F(Temperature, IsNotAskedForWithANegativeId) {
  for (const int id : {-1, std::numeric_limits<int>::min()}) {
    log_.clear();
    EXPECT_EQ(read_temperature(id), -9999.0) << id;
    EXPECT_THAT(log_.lines(), ElementsAre(kInvalid)) << id;
  }
  EXPECT_THAT(fake_status_cache().calls, IsEmpty());
}

TEST_F(Temperature, IsNotAskedForWithoutMemoryForTheGroup) {
  memory_is_short = true;
  EXPECT_EQ(read_temperature(3), -9999.0);
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "Could not allocate for temperature"}));
  EXPECT_THAT(fake_status_cache().calls, IsEmpty());
}

TEST_F(Temperature, MayBeMissedInOtherWords) {
  constexpr TemperatureTexts kTexts = {"Could not read invalid temperature sensor (id: %d)",
                                       "Could not allocate for temperature\n",
                                       "Could not read temperature\n"};
  EXPECT_EQ(read_temperature(-5, kTexts), -9999.0);
  fake_status_cache().result = 0;
  EXPECT_EQ(read_temperature(5, kTexts), -9999.0);
  memory_is_short = true;
  EXPECT_EQ(read_temperature(5, kTexts), -9999.0);
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "Could not read invalid temperature sensor (id: -5)"},
                                        Line{LOG_WARNING, "Could not read temperature\n"},
                                        Line{LOG_ERR, "Could not allocate for temperature\n"}));
}

class FilteredTemperature : public Temperature {
 protected:
  /// Takes one more reading of sensor 3; the number of readings that took.
  std::size_t readings_taken() {
    fake_status_cache().calls.clear();
    returned_ = filter_temperature(3, &filtered_);
    return fake_status_cache().calls.size();
  }

  double filtered_ = -1000.0;
  double returned_ = 0.0;
};

TEST_F(FilteredTemperature, StartsWithTwoReadings) {
  fake_status_cache().readings = {40.0F, 50.0F, 60.0F};
  EXPECT_EQ(readings_taken(), 2U);
  EXPECT_EQ(filtered_, 42.0);
  EXPECT_EQ(returned_, 42.0);
  EXPECT_EQ(readings_taken(), 1U);
  EXPECT_DOUBLE_EQ(filtered_, 45.6);
  EXPECT_EQ(returned_, filtered_);
  EXPECT_THAT(fake_status_cache().calls, ElementsAre(Call{"TEMPERATURE_3", {{"CELSIUS", 4, 2}}, 0}));
}

TEST_F(FilteredTemperature, IsTheReadingThatStays) {
  fake_status_cache().readings = {40.0F, 40.0F};
  EXPECT_EQ(readings_taken(), 2U);
  EXPECT_EQ(filtered_, 40.0);
}

TEST_F(FilteredTemperature, IsNotRoundedTwice) {
  filtered_ = 22.0;
  fake_status_cache().readings = {37.0F};
  readings_taken();
  EXPECT_EQ(filtered_, 0x1.9000000000001p+4);  // 25 when 37 x 0.2 is rounded by itself
}

TEST_F(FilteredTemperature, TakesFailedReadingsForTemperatures) {
  fake_status_cache().result = 0;
  EXPECT_EQ(readings_taken(), 2U);
  EXPECT_EQ(filtered_, -9999.0);
  EXPECT_THAT(log_.lines(), ElementsAre(kUnread, kUnread));
  EXPECT_EQ(readings_taken(), 1U);
  EXPECT_EQ(filtered_, -9999.0);
  EXPECT_THAT(log_.lines(), SizeIs(3));

  filtered_ = 40.0;
  readings_taken();
  EXPECT_DOUBLE_EQ(filtered_, -1967.8);
}

TEST_F(FilteredTemperature, FailsWithEachReadingOfNoSensor) {
  EXPECT_EQ(filter_temperature(-1, &filtered_), -9999.0);
  EXPECT_EQ(filtered_, -9999.0);
  EXPECT_THAT(log_.lines(), ElementsAre(kInvalid, kInvalid));
}

TEST_F(FilteredTemperature, IsUnseededAtMinusThousandOnly) {
  fake_status_cache().readings = {-1000.0F, -1000.0F, 40.0F};
  EXPECT_EQ(readings_taken(), 2U);
  EXPECT_EQ(filtered_, -1000.0);
  EXPECT_EQ(readings_taken(), 2U);
  EXPECT_EQ(filtered_, 40.0);
  filtered_ = -999.0;
  EXPECT_EQ(readings_taken(), 1U);
}

class RegulatorSettings : public testing::Test {
 protected:
  static void SetUpTestSuite() { g_setenv("DBUS_SYSTEM_BUS_ADDRESS", private_bus_address(), TRUE); }

  RegulatorSettings() {
    fake_bootblock() = {};
    service_.has_sensor("board", 4);
    service_.has_sensor("lens", 5);
  }

  /// Configures the light with group "regulator" of the given lines.
  void configure(const std::string &lines, const SensorLimit &limit = kOneSensor) {
    configure_regulator(light_.get(), parsed("[regulator]\n" + lines).get(), limit, &config_);
  }

  std::vector<double> gains() const {
    return {config_.gains.k_p, config_.gains.k_i, config_.gains.k_d, config_.gains.ref_temp};
  }
  std::vector<int> sensors() const {
    return {light_->temp_sensor_ids, light_->temp_sensor_ids + light_->nbr_of_temp_sensors};
  }

  TemperatureService service_;
  LightPointer light_ = make_light(TEST_TYPE_LIGHT);
  RegulatorConfig config_{TRUE, {9.0, 9.0, 9.0, 9.0}};
  SyslogCapture log_;
};

constexpr const char *kComplete =
    "sample_time=30\ntemp_sensor_id=board\nk_p=0.05\nk_i=-0.5\nk_d=1e-3\nref_temp=65.5\n";

std::string without(const std::string &key) {
  std::string text = kComplete;
  const auto start = text.find(key + "=");
  return text.erase(start, text.find('\n', start) + 1 - start);
}

TEST_F(RegulatorSettings, AreTakenFromTheGroup) {
  configure(kComplete);
  EXPECT_EQ(light_->temp_sample_time, 30);
  EXPECT_THAT(gains(), ElementsAre(0.05, -0.5, 1e-3, 65.5));
  EXPECT_THAT(sensors(), ElementsAre(4));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(RegulatorSettings, AreNothingWhenMissing) {
  configure(without("sample_time"));
  EXPECT_EQ(light_->temp_sample_time, 0);
  EXPECT_THAT(gains(), ElementsAre(0.05, -0.5, 1e-3, 65.5));
  configure(without("k_p"));
  EXPECT_THAT(gains(), ElementsAre(0.0, -0.5, 1e-3, 65.5));
  EXPECT_EQ(light_->temp_sample_time, 30);
  configure(without("k_i"));
  EXPECT_THAT(gains(), ElementsAre(0.05, 0.0, 1e-3, 65.5));
  configure(without("k_d"));
  EXPECT_THAT(gains(), ElementsAre(0.05, -0.5, 0.0, 65.5));
  configure(without("ref_temp"));
  EXPECT_THAT(gains(), ElementsAre(0.05, -0.5, 1e-3, 0.0));
  EXPECT_THAT(sensors(), ElementsAre(4));
  configure(without("temp_sensor_id"));
  EXPECT_THAT(gains(), ElementsAre(0.05, -0.5, 1e-3, 65.5));
  EXPECT_EQ(light_->nbr_of_temp_sensors, 0);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(RegulatorSettings, AreNothingWithoutTheGroup) {
  configure_regulator(light_.get(), parsed("[other]\nk_p=1\nsample_time=30\n").get(), kOneSensor, &config_);
  EXPECT_EQ(light_->temp_sample_time, 0);
  EXPECT_THAT(gains(), ElementsAre(0.0, 0.0, 0.0, 0.0));
  EXPECT_EQ(light_->nbr_of_temp_sensors, 0);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(RegulatorSettings, AreNothingWhenTheyAreNoNumbers) {
  configure("sample_time=often\nk_p=much\nk_i=5abc\nk_d=\nref_temp=0.5 degrees\n");
  EXPECT_EQ(light_->temp_sample_time, 0);
  EXPECT_THAT(gains(), ElementsAre(0.0, 0.0, 0.0, 0.0));
  for (const char *text : {"1.5", "", "99999999999"}) {
    configure("sample_time=" + std::string{text});
    EXPECT_EQ(light_->temp_sample_time, 0) << text;
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(RegulatorSettings, MayBeInfiniteOrUndefined) {
  configure("sample_time=-5\nk_p=inf\nk_i=nan\nk_d=-inf\nref_temp=-0.0\n");
  EXPECT_EQ(light_->temp_sample_time, -5);
  EXPECT_EQ(config_.gains.k_p, kInfinity);
  EXPECT_TRUE(std::isnan(config_.gains.k_i));
  EXPECT_EQ(config_.gains.k_d, -kInfinity);
  EXPECT_TRUE(std::signbit(config_.gains.ref_temp));
}

TEST_F(RegulatorSettings, WarnAboutASecondSensor) {
  configure("temp_sensor_id=board\ntemp_sensor_id2=lens\nk_p=0.25\n");
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_WARNING, "Expected at most 1 temperature sensor, but found 2."}));
  EXPECT_THAT(sensors(), ElementsAre(4, 5));
  EXPECT_EQ(config_.gains.k_p, 0.25);
}

TEST_F(RegulatorSettings, WarnAboutAThirdSensorWhenTwoAreOfUse) {
  constexpr SensorLimit kTwo = {2, "sensors"};
  configure("temp_sensor_id=board\ntemp_sensor_id2=lens\n", kTwo);
  EXPECT_THAT(log_.lines(), IsEmpty());
  configure("temp_sensor_id=board\ntemp_sensor_id2=lens\ntemp_sensor_id3=board\n", kTwo);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_WARNING, "Expected at most 2 temperature sensors, but found 3."}));
  EXPECT_THAT(sensors(), ElementsAre(4, 5, 4));
}

class DimmingFile : public testing::Test {
 protected:
  DimmingFile() { remove(); }
  ~DimmingFile() override { remove(); }

  static void remove() { std::filesystem::remove_all(kDimming); }

  KeyFile dimming_ = new_key_file();
  SyslogCapture log_;
};

TEST_F(DimmingFile, IsLoaded) {
  write_file(kDimming, "[regulator]\nk_p=0.5\n");
  EXPECT_TRUE(load_dimming_config(dimming_.get()));
  EXPECT_EQ(raw_value(dimming_.get(), "regulator", "k_p"), "0.5");
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(DimmingFile, MayBeMissing) {
  EXPECT_FALSE(load_dimming_config(dimming_.get()));
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(Line{LOG_ERR, "could not open /etc/beamd/dimming.conf: No such file or directory"}));
}

TEST_F(DimmingFile, MayBeAFolder) {
  std::filesystem::create_directories(kDimming);
  EXPECT_FALSE(load_dimming_config(dimming_.get()));
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "Failed reading file"}));
}

TEST_F(DimmingFile, MayBeBroken) {
  write_file(kDimming, "[regulator]\nk_p=0.5\nno key\n");
  EXPECT_FALSE(load_dimming_config(dimming_.get()));
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "Could not load data to GKeyFile"}));
  EXPECT_EQ(raw_value(dimming_.get(), "regulator", "k_p"), "(none)");
}

class RegulatorTick : public testing::Test {
 protected:
  RegulatorTick() { recorded_calls().clear(); }

  SyslogCapture log_;
  LightPointer light_ = make_light(TEST_TYPE_LIGHT);
  RegulatorState state_;
};

TEST_F(RegulatorTick, ReducesThePowerOfTheLight) {
  light_->temp_sample_time = 180;
  for (const auto &[temperature, reduction] : {std::pair{70.0, 100.0}, {55.0, 50.0}, {50.0, 0.0}}) {
    light_->power_reduce = 33.0;
    state_ = {};
    regulate(light_.get(), &state_, {0.1, 0.0, 0.0, 60.0}, temperature, 100.0);
    EXPECT_EQ(light_->power_reduce, reduction);
  }
}

// The integral grows by 8 s x 0.125 x the previous error; the derivative is (4 - 2) / 8 s x 0.5 x 2.
TEST_F(RegulatorTick, GoesOnFromTheState) {
  light_->temp_sample_time = 8;
  state_ = {2.0, -1.75, 0.0};
  regulate(light_.get(), &state_, {0.0625, 0.125, 0.5, 60.0}, 56.0, 100.0);
  EXPECT_EQ(state_.prev_error, 4.0);
  EXPECT_EQ(state_.integral, 0.25);
  EXPECT_EQ(state_.prev_output, 75.0);
  EXPECT_EQ(light_->power_reduce, 25.0);
}

TEST_F(RegulatorTick, TakesNothingOffALightThatGivesLessThanNothing) {
  regulate(light_.get(), &state_, {0.1, 0.0, 0.0, 60.0}, 70.0, -100.0);
  EXPECT_EQ(light_->power_reduce, 0.0);
}

TEST_F(RegulatorTick, WritesALitLightAnew) {
  for (const int lit : {0, 1}) {
    light_->light_on = lit;
    recorded_calls().clear();
    regulate(light_.get(), &state_, {0.1, 0.0, 0.0, 60.0}, 70.0, 100.0);
    EXPECT_EQ(recorded_calls(), lit ? std::vector<std::string>{"activate 1"} : std::vector<std::string>{});
  }
}

TEST_F(RegulatorTick, TellsWhatItTakesOff) {
  BEAMD_DEBUG_FLAG = 1;
  regulate(light_.get(), &state_, {0.1, 0.0, 0.0, 60.0}, 55.0, 100.0);
  BEAMD_DEBUG_FLAG = 0;
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "power_reduce = 50.00, temp = 55.00"}));
}

TEST_F(RegulatorTick, OfALightThatGivesNothingChangesNothing) {
  light_->light_on = 1;
  light_->power_reduce = 33.0;
  for (const bool is_enabled : {false, true})
    EXPECT_FALSE(begin_tick(light_.get(), is_enabled, 0));
  EXPECT_EQ(light_->power_reduce, 33.0);
  EXPECT_THAT(recorded_calls(), IsEmpty());
}

TEST_F(RegulatorTick, OfADisabledRegulatorTakesNothingOff) {
  BEAMD_DEBUG_FLAG = 1;
  light_->light_on = 1;
  light_->power_reduce = 33.0;
  EXPECT_FALSE(begin_tick(light_.get(), FALSE, 100));
  BEAMD_DEBUG_FLAG = 0;
  EXPECT_EQ(light_->power_reduce, 0.0);
  EXPECT_THAT(recorded_calls(), ElementsAre("activate 1"));
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "No power reduction. Regulator is disabled."}));
}

TEST_F(RegulatorTick, OfAnEnabledRegulatorGoesOn) {
  BEAMD_DEBUG_FLAG = 1;
  EXPECT_TRUE(begin_tick(light_.get(), TRUE, -1));
  BEAMD_DEBUG_FLAG = 0;
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "Regulator enabled"}));
}

}  // namespace
