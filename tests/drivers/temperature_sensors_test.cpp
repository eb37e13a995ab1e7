// A light's temperature sensors, with the temperature service on the bus.

#include "support/temperature_sensors_fixture.h"
#include "support/temperature_service.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using Line = SyslogCapture::Line;

constexpr const char *kOne = "[regulator]\ntemp_sensor_id=board\n";
constexpr const char *kTwo = "[regulator]\ntemp_sensor_id=board\ntemp_sensor_id2=lens\n";
constexpr const char *kUnmappedCode1 = "org.gtk.GDBus.UnmappedGError.Quark._temp.Code1";
constexpr const char *kAsked =
    "/com/velk/TemperatureController com.velk.TemperatureController.GetTemperatureIdFromName ";

std::string asked_for(const std::string &name) { return kAsked + ("('" + name + "',)"); }

class ServedSensors : public TemperatureSensors {
 protected:
  static void SetUpTestSuite() { g_setenv("DBUS_SYSTEM_BUS_ADDRESS", private_bus_address(), TRUE); }

  TemperatureService service_;
};

TEST_F(ServedSensors, AreLookedUpByName) {
  service_.has_sensor("board", 4);
  service_.has_sensor("lens", 0);
  EXPECT_EQ(configure(kTwo), 2);
  EXPECT_EQ(light_->nbr_of_temp_sensors, 2);
  EXPECT_THAT(ids(), ElementsAre(4, 0));
  EXPECT_EQ(light_->temp_sensor_temps[0], -1000.0);
  EXPECT_EQ(light_->temp_sensor_temps[1], -1000.0);
  EXPECT_THAT(service_.calls(), ElementsAre(asked_for("board"), asked_for("lens")));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ServedSensors, GapEndsTheCount) {
  service_.has_sensor("board", 4);
  EXPECT_EQ(configure("[regulator]\ntemp_sensor_id=board\ntemp_sensor_id3=third\n"), 1);
  EXPECT_THAT(ids(), ElementsAre(4));
  EXPECT_THAT(service_.calls(), ElementsAre(asked_for("board")));
}

TEST_F(ServedSensors, AreNoneWithoutTheFirstKey) {
  for (const char *text : {"", "[other]\ntemp_sensor_id=board\n", "[regulator]\nk_p=1\n",
                           "[regulator]\ntemp_sensor_id1=board\ntemp_sensor_id2=lens\n"}) {
    EXPECT_EQ(configure(text), 0) << text;
    EXPECT_EQ(light_->temp_sensor_ids, nullptr);
    EXPECT_EQ(light_->temp_sensor_temps, nullptr);
    EXPECT_EQ(light_->nbr_of_temp_sensors, 0);
  }
  EXPECT_THAT(service_.calls(), IsEmpty());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ServedSensors, CanBeMany) {
  std::string text = kOne;
  for (int i = 2; i <= 12; ++i)
    text += "temp_sensor_id" + std::to_string(i) + "=s" + std::to_string(i) + "\n";
  service_.has_sensor("s12", 99);
  EXPECT_EQ(configure(text), 12);
  EXPECT_EQ(ids()[11], 99);
}

TEST_F(ServedSensors, KeyWithoutAReadableTextEndsTheCount) {
  service_.has_sensor("board", 4);
  EXPECT_EQ(configure("[regulator]\ntemp_sensor_id=board\ntemp_sensor_id2=\xff\ntemp_sensor_id3=third\n"), 1);
}

TEST_F(ServedSensors, EmptyNameIsANameToo) {
  service_.has_sensor("", 7);
  EXPECT_EQ(configure("[regulator]\ntemp_sensor_id=\n"), 1);
  EXPECT_THAT(ids(), ElementsAre(7));
}

TEST_F(ServedSensors, NegativeIdIsNotFound) {
  service_.has_sensor("board", -7);
  EXPECT_EQ(configure(kOne), 1);
  EXPECT_THAT(ids(), ElementsAre(-1));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ServedSensors, OneThatIsNotThereCountsToo) {
  service_.has_sensor("lens", 5);
  service_.fails("board", kUnmappedCode1, "no such sensor");
  EXPECT_EQ(configure(kTwo), 2);
  EXPECT_THAT(ids(), ElementsAre(-1, 5));
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "Unavailable Temperature sensor name 'board'"}));
}

TEST_F(ServedSensors, ErrorOfCodeOneIsUnavailabilityInEveryDomain) {
  service_.fails("board", "org.freedesktop.DBus.Error.NoMemory", "none left");
  EXPECT_EQ(configure(kOne), 1);
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "Unavailable Temperature sensor name 'board'"}));
}

TEST_F(ServedSensors, OtherErrorsAreWarnedAbout) {
  service_.fails("board", "org.gtk.GDBus.UnmappedGError.Quark._temp.Code3", "bus is stuck");
  service_.has_sensor("lens", 5);
  EXPECT_EQ(configure(kTwo), 2);
  EXPECT_THAT(ids(), ElementsAre(-1, 5));
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_WARNING,
                               "Failed to look up temperature sensor name 'board': "
                               "GDBus.Error:org.gtk.GDBus.UnmappedGError.Quark._temp.Code3: bus is stuck"}));
}

TEST_F(ServedSensors, ReplyOfAnotherTypeIsNotFound) {
  for (const char *reply : {"()", "('4',)", "(int64 4,)", "(4, 5)"}) {
    log_.clear();
    service_.replies("board", reply);
    EXPECT_EQ(configure(kOne), 1) << reply;
    EXPECT_THAT(ids(), ElementsAre(-1)) << reply;
    ASSERT_EQ(log_.lines().size(), 1U) << reply;
    EXPECT_EQ(log_.lines()[0].priority, LOG_WARNING);
  }
}

TEST_F(ServedSensors, AreNotLookedUpWhenLightControlIsSwitchedOff) {
  fake_bootblock().value = "no";
  service_.has_sensor("board", 4);
  service_.has_sensor("lens", 5);
  EXPECT_EQ(configure(kTwo), 2);
  EXPECT_THAT(ids(), ElementsAre(-1, -1));
  EXPECT_FALSE(led_base_get_temp_card_detected(light_.get()));
  EXPECT_THAT(service_.calls(), IsEmpty());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ServedSensors, AreLookedUpWithAnyOtherBootParameter) {
  service_.has_sensor("board", 4);
  for (const char *value : {"yes", "No", "", "no "}) {
    fake_bootblock().value = value;
    EXPECT_EQ(configure(kOne), 1);
    EXPECT_THAT(ids(), ElementsAre(4)) << value;
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ServedSensors, BootParameterIsReadForEach) {
  EXPECT_EQ(configure(kTwo), 2);
  EXPECT_THAT(fake_bootblock().asked, ElementsAre("LIGHT_CONTROL_ENABLED", "LIGHT_CONTROL_ENABLED"));
}

TEST_F(ServedSensors, AreLookedUpWhenTheBootParameterCannotBeRead) {
  fake_bootblock().error = EIO;
  service_.has_sensor("board", 4);
  EXPECT_EQ(configure(kOne), 1);
  EXPECT_THAT(ids(), ElementsAre(4));
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{
                  LOG_INFO, "Could not read bootblock parameter LIGHT_CONTROL_ENABLED: Input/output error"}));
}

TEST_F(ServedSensors, LookupIsToldInDebugMode) {
  BEAMD_DEBUG_FLAG = 1;
  service_.has_sensor("board", 4);
  EXPECT_EQ(configure(kTwo), 2);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_INFO, "Trying to get temperature sensor name board"},
                          Line{LOG_INFO, "Found matching sensor_id 4"},
                          Line{LOG_INFO, "Trying to get temperature sensor name lens"},
                          Line{LOG_INFO, "Unavailable Temperature sensor name 'lens'"},
                          Line{LOG_INFO, "Cannot find sensor id for: 'lens' (temp_sensor_id2)"}));
}

TEST_F(ServedSensors, LookupThatIsNotMadeIsToldInDebugMode) {
  BEAMD_DEBUG_FLAG = 1;
  fake_bootblock().value = "no";
  EXPECT_EQ(configure(kOne), 1);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_INFO, "Cannot find sensor id for: 'board' (temp_sensor_id)"}));
}

TEST_F(ServedSensors, TemperaturesAreKeptPerSensor) {
  service_.has_sensor("board", 4);
  service_.has_sensor("lens", 5);
  configure(kTwo);
  EXPECT_EQ(led_base_get_temp_senor_temp(light_.get(), 0), -1000.0);
  led_base_set_temp_senor_temp(light_.get(), 0, 41.5);
  led_base_set_temp_senor_temp(light_.get(), 1, -12.25);
  EXPECT_EQ(led_base_get_temp_senor_temp(light_.get(), 0), 41.5);
  EXPECT_EQ(led_base_get_temp_senor_temp(light_.get(), 1), -12.25);
}

TEST_F(ServedSensors, TemperatureBeyondTheLastSensorIsNone) {
  service_.has_sensor("board", 4);
  configure(kOne);
  led_base_set_temp_senor_temp(light_.get(), 0, 41.5);
  for (const int index : {1, 2, -1, G_MAXINT, G_MININT}) {
    led_base_set_temp_senor_temp(light_.get(), index, 99.0);
    EXPECT_EQ(led_base_get_temp_senor_temp(light_.get(), index), -999.0) << index;
  }
  EXPECT_EQ(led_base_get_temp_senor_temp(light_.get(), 0), 41.5);
}

TEST_F(ServedSensors, TemperatureWithoutSensorsIsNone) {
  led_base_set_temp_senor_temp(light_.get(), 0, 41.5);
  EXPECT_EQ(led_base_get_temp_senor_temp(light_.get(), 0), -999.0);
  light_->nbr_of_temp_sensors = 1;
  led_base_set_temp_senor_temp(light_.get(), 0, 41.5);
  EXPECT_EQ(led_base_get_temp_senor_temp(light_.get(), 0), -999.0);
}

TEST_F(ServedSensors, CardIsDetectedWithOneUsableSensor) {
  EXPECT_FALSE(led_base_get_temp_card_detected(light_.get()));
  configure(kTwo);
  EXPECT_FALSE(led_base_get_temp_card_detected(light_.get()));
  service_.has_sensor("lens", 0);
  configure(kTwo);
  EXPECT_TRUE(led_base_get_temp_card_detected(light_.get()));
  light_->card_detected = FALSE;
  EXPECT_FALSE(led_base_get_temp_card_detected(light_.get()));
}

TEST_F(ServedSensors, SampleTimeIsThreeMinutesUnlessSet) {
  EXPECT_EQ(led_base_get_temp_sample_time(light_.get()), 180);
  light_->temp_sample_time = 5;
  EXPECT_EQ(led_base_get_temp_sample_time(light_.get()), 5);
}

class SensorsWithoutService : public TemperatureSensors {
 protected:
  static void SetUpTestSuite() { g_setenv("DBUS_SYSTEM_BUS_ADDRESS", private_bus_address(), TRUE); }
};

TEST_F(SensorsWithoutService, AreNotFound) {
  EXPECT_EQ(configure(kTwo), 2);
  EXPECT_THAT(ids(), ElementsAre(-1, -1));
  EXPECT_FALSE(led_base_get_temp_card_detected(light_.get()));
  ASSERT_EQ(log_.lines().size(), 2U);
  EXPECT_EQ(log_.lines()[0].priority, LOG_WARNING);
  EXPECT_THAT(log_.lines()[0].text, StartsWith("Failed to look up temperature sensor name 'board': "));
  EXPECT_THAT(log_.lines()[1].text, StartsWith("Failed to look up temperature sensor name 'lens': "));
}

}  // namespace
