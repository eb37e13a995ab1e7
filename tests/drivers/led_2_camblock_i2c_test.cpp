// Two LEDs on a camera block: what is not the same as for any number.

#include "support/camblock_fixture.h"
#include "support/temperature_service.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr gint kUnreadSampleTime = 180;
constexpr const char *kKeys[] = {"camblockI2Cbus",
                                 "camblockI2Caddress",
                                 "camblocksubdevice",
                                 "camblocksubdevice_led0_enable_disable_reg",
                                 "camblocksubdevice_led0_power_reg",
                                 "camblocksubdevice_led1_enable_disable_reg",
                                 "camblocksubdevice_led1_power_reg"};

class TwoCamblockLeds : public CamblockLight {
 protected:
  TwoCamblockLeds() : CamblockLight{kTwoLeds} {}

  static void SetUpTestSuite() { g_setenv("DBUS_SYSTEM_BUS_ADDRESS", private_bus_address(), TRUE); }

  /// camblock.conf with another text for the value of @p key; the whole line is left out if there is none.
  static std::string config_with(const std::string &key, const std::optional<std::string> &value) {
    auto config = camblock::single_config();
    const auto start = config.find("\n" + key + "=") + 1;
    return config.replace(start, config.find('\n', start) + 1 - start,
                          value ? key + "=" + *value + "\n" : "");
  }

  /// Sets a light up with this camblock.conf; nothing but @p text is said, and nothing read after it.
  void expect_end(const std::string &config, const std::string &text, const Outcome &outcome = kDone) {
    log_.clear();
    write_file(kCamblock, config);
    const auto light = new_light();
    EXPECT_EQ(set_up(light), outcome) << text;
    EXPECT_EQ(log_.lines(), errors({text}));
    EXPECT_EQ(light->illumination_table, nullptr) << text;
    EXPECT_EQ(light->nbr_of_leds, 0) << text;
    EXPECT_EQ(light->temp_sample_time, kUnreadSampleTime) << text;
  }

  static std::string missing(const std::string &key) {
    return "Failed to get " + key + " from file: Key file does not have key “" + key +
           "” in group “i2c_info”";
  }

  LightPointer light_ = new_light();
  TemperatureService service_;
};

// camblock.conf.

TEST_F(TwoCamblockLeds, EndTheirSetupWithTheNumberThatIsMissing) {
  for (const char *key : kKeys)
    expect_end(config_with(key, std::nullopt), missing(key));
}

TEST_F(TwoCamblockLeds, EndTheirSetupWithTheTextThatIsNoNumber) {
  for (const std::string key : kKeys)
    expect_end(config_with(key, "0x10"),
               "Failed to get " + key + " from file: Key file contains key “" + key +
                   "” in group “i2c_info” which has a value that cannot be interpreted.");
}

TEST_F(TwoCamblockLeds, NameTheFirstNumberThatIsMissing) {
  expect_end("", "Failed to get camblockI2Cbus from file: Key file does not have group “i2c_info”");
  std::string config = "[i2c_info]\n";
  for (const char *key : kKeys) {
    expect_end(config, missing(key));
    config += std::string{key} + "=2\n";
  }
}

TEST_F(TwoCamblockLeds, AreNotEnabledAlsoWithoutANumber) {
  fake_bootblock().value = "no";
  expect_end(config_with("camblocksubdevice_led1_power_reg", std::nullopt),
             missing("camblocksubdevice_led1_power_reg"), refused_board("IR light not enabled"));
}

TEST_F(TwoCamblockLeds, CannotBeSwitchedWithoutTheDevicesNumbers) {
  FakeI2c::plug_in(0);
  for (const char *key : {"camblockI2Cbus", "camblockI2Caddress", "camblocksubdevice"}) {
    write_file(kCamblock, config_with(key, std::nullopt));
    light_ = new_light();
    EXPECT_EQ(set_up(light_), kDone);
    for (const bool on : {false, true}) {
      forget();
      EXPECT_EQ(activate(light_, on), kFailed) << key;
      EXPECT_EQ(log_.lines(), errors({"Failed to open device No such device"})) << key;
      EXPECT_THAT(requests(), IsEmpty()) << key;
    }
  }
}

TEST_F(TwoCamblockLeds, FindTheirNumbersWhereverTheirGroupIs) {
  write_file(kCamblock, "[first]\ncamblockI2Cbus=7\n" + camblock::single_config() + "[last]\n");
  light_ = ready_light({10, 20});
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(requests(), lit(10, 20));
}

TEST_F(TwoCamblockLeds, AreSetUpWithoutTheBus) {
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_THAT(requests(), IsEmpty());
  FakeI2c::unplug_all();
  EXPECT_EQ(set_up(new_light()), kDone);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

// The number of LEDs.

TEST_F(TwoCamblockLeds, TellWhyTheirNumberIsMissing) {
  write_file(kIllumination, "[info]\n[0]\n[100]\n");
  EXPECT_EQ(set_up(light_), kDone);
  write_file(kIllumination, "[other]\nleds=2\n[0]\n[100]\n");
  EXPECT_EQ(set_up(new_light()), kDone);
  EXPECT_EQ(log_.lines(),
            errors({"Failed to get number of leds: Key file does not have key “leds” in group “info”",
                    "Failed to get number of leds: Key file does not have group “info”"}));
}

TEST_F(TwoCamblockLeds, AreTwoWhateverTheTableSays) {
  for (const std::vector<gint> &milliwatts : {std::vector<gint>{10, 20, 30}, {10}, {}}) {
    fake_i2c().registers.clear();
    write_leds(static_cast<int>(milliwatts.size()));
    EXPECT_EQ(set_up(light_ = new_light()), kDone);
    EXPECT_THAT(log_.lines(), IsEmpty());
    give(light_, milliwatts);
    EXPECT_EQ(activate(light_, TRUE), kDone);
    EXPECT_EQ(requests(), milliwatts.empty() ? opened({disables(0), disables(1)})
                                             : lit(10, milliwatts.size() > 1 ? 20 : 0));
    EXPECT_EQ(activate(light_, FALSE), kDone);
    EXPECT_EQ(requests(), opened({disables(0), disables(1)}));
  }
}

TEST_F(TwoCamblockLeds, DoNotCountTheThird) {
  write_leds(3);
  light_ = ready_light({0, 0, 30});
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(requests(), opened({disables(0), disables(1)}));

  give(light_, {20, 10, 30});
  light_->power_reduce = 15.0;
  EXPECT_EQ(activate(light_, TRUE), kDone);
  EXPECT_EQ(requests(), lit(10, 5));
}

TEST_F(TwoCamblockLeds, ArePrintedTogether) {
  light_ = ready_light({600, 300});
  light_->intensity_high = 1000;
  light_->power_reduce = 90.0;
  BEAMD_DEBUG_FLAG = 1;
  fake_i2c().answer_transfer(1, {-1, EIO});
  activate(light_, TRUE);
  auto expected = prints({"led0 540 (137) led1 270 (68)"});
  for (const auto &line : errors({"read_reg(read): ret = -1, Input/output error", "Write failure to led 0"}))
    expected.push_back(line);
  EXPECT_EQ(log_.lines(), expected);

  log_.clear();
  activate(light_, FALSE);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

// The sensors.

TEST_F(TwoCamblockLeds, HaveASensor) {
  service_.has_sensor("board", 4);
  write_dimming("temp_sensor_id=board\n");
  EXPECT_EQ(set_up(light_), kDone);
  EXPECT_THAT(log_.lines(), IsEmpty());
  ASSERT_EQ(light_->nbr_of_temp_sensors, 1);
  EXPECT_EQ(light_->temp_sensor_ids[0], 4);
}

TEST_F(TwoCamblockLeds, WarnOfAnotherSensor) {
  service_.has_sensor("board", 4);
  std::string sensors = "temp_sensor_id=board\n";
  for (const int count : {2, 3}) {
    log_.clear();
    sensors += "temp_sensor_id" + std::to_string(count) + "=board\n";
    write_dimming(sensors);
    light_ = new_light();
    EXPECT_EQ(set_up(light_), kDone);
    EXPECT_THAT(log_.lines(),
                ElementsAre(Line{LOG_WARNING, "Expected at most 1 temperature sensor, but found " +
                                                  std::to_string(count) + "."}));
    EXPECT_EQ(light_->nbr_of_temp_sensors, count);
  }
}

}  // namespace
