// A light's temperature sensors where there is no bus. An executable of its own: GDBus keeps a bus connection
// for the whole process.

#include "support/temperature_sensors_fixture.h"

namespace {

using testing::ElementsAre;
using Line = SyslogCapture::Line;

class SensorsWithoutBus : public TemperatureSensors {
 protected:
  static void SetUpTestSuite() { g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/run/no/such/bus", TRUE); }
};

const Line kNoBus{LOG_WARNING,
                  "Failed to connect to TemperatureController: Could not connect: No such file or directory"};

TEST_F(SensorsWithoutBus, AreNotFound) {
  EXPECT_EQ(configure("[regulator]\ntemp_sensor_id=board\ntemp_sensor_id2=lens\n"), 2);
  EXPECT_THAT(ids(), ElementsAre(-1, -1));
  EXPECT_FALSE(led_base_get_temp_card_detected(light_.get()));
  EXPECT_THAT(log_.lines(), ElementsAre(kNoBus, kNoBus));
}

TEST_F(SensorsWithoutBus, AreNotTriedInDebugMode) {
  BEAMD_DEBUG_FLAG = 1;
  EXPECT_EQ(configure("[regulator]\ntemp_sensor_id=board\n"), 1);
  EXPECT_THAT(log_.lines(),
              ElementsAre(kNoBus, Line{LOG_INFO, "Cannot find sensor id for: 'board' (temp_sensor_id)"}));
}

TEST_F(SensorsWithoutBus, NeedNoneWhenLightControlIsSwitchedOff) {
  fake_bootblock().value = "no";
  EXPECT_EQ(configure("[regulator]\ntemp_sensor_id=board\n"), 1);
  EXPECT_THAT(log_.lines(), ElementsAre());
}

}  // namespace
