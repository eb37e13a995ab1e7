#pragma once

#include "support/mcu_setup_fixture.h"
#include "support/temperature_service.h"

/// Setup of a light that has a use for two sensors.
template <typename Board>
class McuTwoSensorSettings : public McuSetup<Board> {
 protected:
  McuTwoSensorSettings() {
    service_.has_sensor("board", 4);
    service_.has_sensor("lens", 5);
    service_.has_sensor("case", 6);
  }

  std::vector<gint> sensor_ids() const {
    return {this->light_->temp_sensor_ids, this->light_->temp_sensor_ids + this->light_->nbr_of_temp_sensors};
  }

  TemperatureService service_;
};

TYPED_TEST_SUITE_P(McuTwoSensorSettings);

TYPED_TEST_P(McuTwoSensorSettings, TwoSensorsAreOfUse) {
  write_file(this->kDimming, "[regulator]\ntemp_sensor_id=board\ntemp_sensor_id2=lens\n");
  EXPECT_EQ(this->outcome(), kDone);
  EXPECT_THAT(this->sensor_ids(), testing::ElementsAre(4, 5));
  EXPECT_EQ(this->log_.lines(), this->lines({}, {}));
}

TYPED_TEST_P(McuTwoSensorSettings, ThreeSensorsAreOneTooMany) {
  write_file(
      this->kDimming,
      "[regulator]\ntemp_sensor_id=board\ntemp_sensor_id2=lens\ntemp_sensor_id3=case\nsample_time=7\n");
  EXPECT_EQ(this->outcome(), kDone);
  EXPECT_EQ(this->log_.lines(),
            this->lines({{LOG_WARNING, "Expected at most 2 temperature sensors, but found 3."}}, {}));
  EXPECT_EQ(this->light_->temp_sample_time, 7) << "setup goes on";
}

REGISTER_TYPED_TEST_SUITE_P(McuTwoSensorSettings, TwoSensorsAreOfUse, ThreeSensorsAreOneTooMany);
