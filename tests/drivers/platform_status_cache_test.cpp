// Runs in a private view of /sys.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "platform/status_cache.h"

namespace {

using namespace std::string_literals;

constexpr float kUntouched = -9999.0F;
constexpr ScItem kEnd = {nullptr, 0, nullptr, 0};

class StatusCache : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(getenv("BEAMD_TEST_WORK"), nullptr) << "needs a private view of the file system";
    std::filesystem::remove_all("/sys/class/thermal");
    std::filesystem::create_directories("/sys/class/thermal/thermal_zone3");
  }

  static void write_temperature(std::string_view text, const std::string &zone = "thermal_zone3") {
    std::filesystem::create_directories("/sys/class/thermal/" + zone);
    std::ofstream("/sys/class/thermal/" + zone + "/temp", std::ios::binary) << text;
  }

  /// The temperature of sensor 3, or kUntouched when it cannot be read.
  static float celsius() {
    float value = kUntouched;
    ScItem items[] = {{"CELSIUS", sizeof value, &value, 2}, kEnd};
    const int result = sc_get_group("TEMPERATURE_3", items, 0);
    EXPECT_EQ(result, value == kUntouched ? 0 : 1);
    return value;
  }
};

TEST_F(StatusCache, ReturnsMillidegreesAsDegrees) {
  write_temperature("45678\n");
  EXPECT_EQ(celsius(), 45.678F);
}

TEST_F(StatusCache, ReadsNegativeTemperatures) {
  write_temperature("-12500\n");
  EXPECT_EQ(celsius(), -12.5F);
}

TEST_F(StatusCache, ReadsZero) {
  write_temperature("0\n");
  EXPECT_EQ(celsius(), 0.0F);
}

TEST_F(StatusCache, ReadsANumberWithoutANewline) {
  write_temperature("100000");
  EXPECT_EQ(celsius(), 100.0F);
}

TEST_F(StatusCache, ReadsTheFileEachTime) {
  write_temperature("1000\n");
  EXPECT_EQ(celsius(), 1.0F);
  write_temperature("2000\n");
  EXPECT_EQ(celsius(), 2.0F);
}

TEST_F(StatusCache, DoesNotReadWhatIsNoNumber) {
  for (const std::string &text :
       {""s, "\n"s, " 45000\n"s, "45000 \n"s, "45.0\n"s, "0x10\n"s, "nan\n"s, "+1\n"s, "45000\n\n"s,
        "99999999999\n"s, "4\0005\n"s, std::string(100'000, '1')}) {
    write_temperature(text);
    EXPECT_EQ(celsius(), kUntouched) << text.substr(0, 100);
  }
}

TEST_F(StatusCache, DoesNotReadAMissingFile) { EXPECT_EQ(celsius(), kUntouched); }

TEST_F(StatusCache, DoesNotReadAFolder) {
  std::filesystem::create_directory("/sys/class/thermal/thermal_zone3/temp");
  EXPECT_EQ(celsius(), kUntouched);
}

TEST_F(StatusCache, ReadsTheSensorThatTheGroupNamesOnly) {
  for (const char *zone : {"thermal_zone3", "thermal_zone-3", "thermal_zone03", "thermal_zone"})
    write_temperature("45000\n", zone);
  for (const char *group : {"TEMPERATURE_4", "TEMPERATURE_33", "TEMPERATURE_03", "TEMPERATURE_3 ",
                            "TEMPERATURE_3x", "TEMPERATURE_-3", "TEMPERATURE_", "HUMIDITY_3", ""}) {
    float value = kUntouched;
    ScItem items[] = {{"CELSIUS", sizeof value, &value, 2}, kEnd};
    EXPECT_EQ(sc_get_group(group, items, 0), 0) << group;
    EXPECT_EQ(value, kUntouched) << group;
  }
}

TEST_F(StatusCache, StoresFloatsInFloatsOnly) {
  write_temperature("45000\n");
  double value = kUntouched;
  for (const ScItem &item :
       {ScItem{"CELSIUS", sizeof(double), &value, 2}, ScItem{"CELSIUS", 0, &value, 2},
        ScItem{"CELSIUS", 3, &value, 2}, ScItem{"CELSIUS", sizeof(float), &value, 1},
        ScItem{"CELSIUS", sizeof(float), &value, 4}, ScItem{"CELSIUS", sizeof(float), nullptr, 2},
        ScItem{"KELVIN", sizeof(float), &value, 2}, ScItem{nullptr, sizeof(float), &value, 2}}) {
    ScItem items[] = {item, kEnd};
    EXPECT_EQ(sc_get_group("TEMPERATURE_3", items, 0), 0);
    EXPECT_EQ(value, kUntouched);
  }
}

TEST_F(StatusCache, StoresAllItemsOrNone) {
  write_temperature("45000\n");
  float first = kUntouched;
  float second = kUntouched;
  ScItem bad[] = {{"CELSIUS", sizeof first, &first, 2}, {"KELVIN", sizeof second, &second, 2}, kEnd};
  EXPECT_EQ(sc_get_group("TEMPERATURE_3", bad, 0), 0);
  EXPECT_EQ(first, kUntouched);
  ScItem good[] = {{"CELSIUS", sizeof first, &first, 2}, {"CELSIUS", sizeof second, &second, 2}, kEnd};
  EXPECT_EQ(sc_get_group("TEMPERATURE_3", good, 0), 1);
  EXPECT_EQ(first, 45.0F);
  EXPECT_EQ(second, 45.0F);
}

TEST_F(StatusCache, KnowsNoFlags) {
  write_temperature("45000\n");
  float value = kUntouched;
  ScItem items[] = {{"CELSIUS", sizeof value, &value, 2}, kEnd};
  EXPECT_EQ(sc_get_group("TEMPERATURE_3", items, 1), 0);
  EXPECT_EQ(value, kUntouched);
}

}  // namespace
