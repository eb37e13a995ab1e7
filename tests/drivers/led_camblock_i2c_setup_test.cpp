// How a light of any number of LEDs on a camera block finds what it needs: what is not the same as for two.

#include "support/camblock_fixture.h"
#include "support/temperature_service.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const Outcome kNoDevice = refused_board("No IR light MCU found\n");
constexpr const char *kNoDeviceText = "Could not find MCU hardware\n";
constexpr const char *kOtherNumber =
    "Number of leds in illumination.conf does not match that in camblock.conf";

class CamblockLedsSetup : public CamblockLight {
 protected:
  CamblockLedsSetup() : CamblockLight{kAnyNumberOfLeds} {}

  static void SetUpTestSuite() { g_setenv("DBUS_SYSTEM_BUS_ADDRESS", private_bus_address(), TRUE); }

  bool has_table() const { return light_->illumination_table != nullptr; }

  /// Sets a light up with this camblock.conf, in vain; nothing but @p text is said, and the bus left alone.
  void expect_missing(const std::string &config, const std::string &text) {
    log_.clear();
    write_file(kCamblock, config);
    EXPECT_EQ(set_up(new_light()), kFailed) << config;
    EXPECT_EQ(log_.lines(), errors({text})) << config;
    EXPECT_THAT(requests(), IsEmpty()) << config;
  }

  /// The same with one line of the usual file left out, and with one that is no number.
  void expect_needed(const std::string &line, const std::string &text) {
    auto config = kind_.config();
    const auto start = config.find("\n" + line) + 1;
    ASSERT_NE(start, 0U) << line;
    expect_missing(std::string{config}.erase(start, line.size()), text);
    expect_missing(config.insert(config.find('=', start) + 1, "x"), text);
  }

  /// The settings with as many sensors, none of which can be found.
  static void write_sensors(int count) {
    std::string lines = "sample_time=5\n";
    for (int sensor = 1; sensor <= count; ++sensor)
      lines += "temp_sensor_id" + (sensor == 1 ? "" : std::to_string(sensor)) + "=board\n";
    write_dimming(lines);
  }

  Line other_number_of_sensors(int leds, int sensors) {
    return {LOG_WARNING, "Expected at most " + std::to_string(leds) + " temperature sensors, but found " +
                             std::to_string(sensors) + "."};
  }

  LightPointer light_ = new_light();
  TemperatureService service_;
};

// camblock.conf.

TEST_F(CamblockLedsSetup, NeedsTheRegistersOfEachLed) {
  expect_needed("enable_disable_reg=16\n", "Could not read param 'enable_disable_reg' for led:0");
  expect_needed("power_reg=17\n", "Could not read param 'power_reg' for led:0");
  expect_needed("enable_disable_reg=32\n", "Could not read param 'enable_disable_reg' for led:1");
  expect_needed("power_reg=33\n", "Could not read param 'power_reg' for led:1");
}

TEST_F(CamblockLedsSetup, NeedsTheDevicesNumbers) {
  expect_needed("camblockI2Cbus=2\n", "Could not read param 'camblockI2Cbus'");
  expect_needed("camblockI2Caddress=33\n", "Could not read param 'camblockI2Caddress'");
  expect_needed("camblocksubdevice=5\n", "Could not read param 'camblocksubdevice'");
}

TEST_F(CamblockLedsSetup, NamesTheFirstNumberThatIsMissing) {
  expect_missing("[i2c_info]\n[a]\n", "Could not read param 'enable_disable_reg' for led:0");
  expect_missing("[i2c_info]\n[a]\nenable_disable_reg=1\npower_reg=1\n[b]\npower_reg=1\n",
                 "Could not read param 'enable_disable_reg' for led:1");
  expect_missing("[i2c_info]\n", "Could not read param 'camblockI2Cbus'");
  expect_missing("[i2c_info]\ncamblockI2Cbus=2\n", "Could not read param 'camblockI2Caddress'");
  expect_missing("", "Could not read param 'camblockI2Cbus'");
}

TEST_F(CamblockLedsSetup, IsNotEnabledAlsoWithoutANumber) {
  fake_bootblock().value = "no";
  write_file(kCamblock, "[i2c_info]\n");
  EXPECT_EQ(set_up(light_), refused_board("IR light not enabled\n"));
}

TEST_F(CamblockLedsSetup, TakesTheGroupsAfterTheFirstForLeds) {
  write_file(kCamblock,
             "[first]\nenable_disable_reg=99\npower_reg=99\n"
             "[9]\nenable_disable_reg=16\npower_reg=17\n" +
                 std::string{camblock::kDevice} + "enable_disable_reg=32\npower_reg=33\n");
  light_ = ready_light({10, 20});
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(requests(), lit(10, 20));
}

TEST_F(CamblockLedsSetup, TakesADeviceWithoutLeds) {
  write_file(kCamblock, camblock::kDevice);
  write_leds(0);
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(requests(), opened({}));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

// The device.

TEST_F(CamblockLedsSetup, AsksEachLed) {
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(requests(), opened({asks(0), asks(1)}));
}

TEST_F(CamblockLedsSetup, AsksLedsThatTheTableDoesNotHave) {
  write_file(kCamblock, camblock::grouped_config(4));
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(requests(), opened({asks(0), asks(1), asks(2), asks(3)}));
}

TEST_F(CamblockLedsSetup, IsRefusedWithoutTheBus) {
  FakeI2c::unplug_all();
  EXPECT_EQ(set_up(light_), kNoDevice);
  auto expected = errors({"Error opening i2c device. No such file or directory. Path: /dev/i2c-2"});
  expected.push_back(prints({kNoDeviceText})[0]);
  EXPECT_EQ(log_.lines(), expected);
  EXPECT_FALSE(has_table());
}

TEST_F(CamblockLedsSetup, IsRefusedWithoutTheAddress) {
  fake_i2c().slave_answer = {-1, EBUSY};
  EXPECT_EQ(set_up(light_), kNoDevice);
  EXPECT_EQ(requests(), opened({}));
  EXPECT_EQ(log_.lines().back(), prints({kNoDeviceText})[0]);
}

TEST_F(CamblockLedsSetup, IsRefusedWhenAnLedDoesNotAnswer) {
  for (const int led : {0, 1}) {
    for (const FakeI2c::Answer &answer : {FakeI2c::Answer{-1, ENXIO}, {1, ENXIO}}) {
      forget();
      light_ = new_light();
      fake_i2c().answer_transfer(static_cast<std::size_t>(led) + 1, answer);
      EXPECT_EQ(set_up(light_), kNoDevice);
      auto expected =
          errors({"read_reg(read): ret = " + std::to_string(answer.result) + ", No such device or address",
                  "Failure to access led:" + std::to_string(led)});
      expected.push_back(prints({kNoDeviceText})[0]);
      EXPECT_EQ(log_.lines(), expected);
      EXPECT_EQ(requests().back(), asks(led)) << "and no other after it";
      EXPECT_EQ(open_i2c_buses(), 0U);
      EXPECT_FALSE(has_table());
    }
  }
}

TEST_F(CamblockLedsSetup, SurvivesTwoReasonsToBeRefused) {
  fake_bootblock().value = "no";
  FakeI2c::unplug_all();
  const auto outcome = set_up(light_);
  EXPECT_FALSE(outcome.result);
  EXPECT_EQ(outcome.code, LIGHT_CONTROL_ERROR_NO_BOARD);
}

// The number of LEDs.

TEST_F(CamblockLedsSetup, ComplainsOfAnotherNumberOfLeds) {
  write_leds(3);
  write_sensors(2);
  fake_bootblock().value = "no";
  EXPECT_EQ(set_up(light_).text, "IR light not enabled\n");
  EXPECT_EQ(log_.lines(), errors({kOtherNumber}));
  EXPECT_EQ(light_->nbr_of_leds, 3);
  EXPECT_TRUE(has_table());
  EXPECT_EQ(light_->temp_sample_time, 5);
}

TEST_F(CamblockLedsSetup, ComplainsOfAMissingNumberOfLeds) {
  for (const char *text :
       {"[info]\n[0]\n[100]\n", "[info]\nleds=two\n[0]\n[100]\n", "[other]\n[0]\n[100]\n"}) {
    log_.clear();
    write_file(kIllumination, text);
    light_ = new_light();
    EXPECT_EQ(set_up(light_), kDone);
    auto expected = errors({"Could not read param 'leds'", kOtherNumber});
    expected.push_back(other_number_of_sensors(2, 0));
    EXPECT_EQ(log_.lines(), expected) << text;
    EXPECT_EQ(light_->nbr_of_leds, 0);
  }
}

TEST_F(CamblockLedsSetup, ComplainsOfTheNumberBeforeTheTable) {
  write_leds(3);
  write_file(kIllumination, "[info]\nleds=3\n[1]\n");
  EXPECT_EQ(set_up(light_), kDone);
  auto expected = errors({kOtherNumber, "The first angle in illumination.conf should always be 0",
                          "The last angle in illumination.conf should always be 100"});
  expected.push_back(other_number_of_sensors(2, 0));
  EXPECT_EQ(log_.lines(), expected);
}

// The sensors.

TEST_F(CamblockLedsSetup, TakesASensorForEachLed) {
  service_.has_sensor("board", 4);
  service_.has_sensor("lens", 7);
  write_dimming("temp_sensor_id=lens\ntemp_sensor_id2=board\n");
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_THAT(log_.lines(), IsEmpty());
  ASSERT_EQ(light_->nbr_of_temp_sensors, 2);
  EXPECT_EQ(light_->temp_sensor_ids[0], 7);
  EXPECT_EQ(light_->temp_sensor_ids[1], 4);
}

TEST_F(CamblockLedsSetup, WarnsOfAnyOtherNumberOfSensors) {
  service_.has_sensor("board", 4);
  for (const int sensors : {0, 1, 3}) {
    log_.clear();
    write_sensors(sensors);
    light_ = new_light();
    EXPECT_EQ(set_up(light_), kDone);
    EXPECT_THAT(log_.lines(), ElementsAre(other_number_of_sensors(2, sensors)));
    EXPECT_EQ(light_->nbr_of_temp_sensors, sensors);
  }
}

TEST_F(CamblockLedsSetup, WarnsByTheNumberOfLedsOnTheDevice) {
  write_file(kCamblock, camblock::grouped_config(1));
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_EQ(log_.lines().back(), other_number_of_sensors(1, 0));
}

}  // namespace
