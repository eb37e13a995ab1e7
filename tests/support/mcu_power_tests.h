#pragma once

#include "support/power_client_fixture.h"

/// The power that a light asks for by its own rule. Asking has
///   new_light()   such a light of full intensity,
///   kWatts        what it needs then.
template <typename Asking>
class McuPower : public PowerClient {
 protected:
  McuPower() { serve(Asking::new_light()); }

  /// Lets @p light be lit and known to the daemon.
  void serve(LightPointer light) {
    light_ = std::move(light);
    light_->light_on = 1;
    wattd_.come_up();
    power_client_connect(light_.get());
  }

  /// The requests so far, after one more.
  std::vector<std::string> requests() {
    led_base_request_power(light_.get());
    wattd_.settle();
    return wattd_.calls();
  }

  static std::string request_for(gfloat watts) { return request(0, "normal", watts); }
  static std::string nothing() { return request(0, "off", 0.0); }
};

TYPED_TEST_SUITE_P(McuPower);

TYPED_TEST_P(McuPower, IsAskedForWhileTheLightIsOn) {
  EXPECT_THAT(this->requests(), testing::ElementsAre(this->request_for(TypeParam::kWatts)));
  EXPECT_EQ(this->light_->requested_power, TypeParam::kWatts);
}

TYPED_TEST_P(McuPower, IsAskedForWhateverIsGrantedAndReduced) {
  this->light_->power_intensity = 0.1;
  this->light_->power_reduce = 700.0;
  led_base_recalculate_angle_of_illumination(this->light_.get(), 0);
  EXPECT_THAT(this->requests(), testing::ElementsAre(this->request_for(TypeParam::kWatts)));
}

TYPED_TEST_P(McuPower, IsGivenBackWhenTheLightIsOffWhileTheLastRequestIsKept) {
  this->requests();
  this->light_->light_on = 0;
  EXPECT_THAT(this->requests(), testing::ElementsAre(this->request_for(TypeParam::kWatts), this->nothing()));
  EXPECT_EQ(this->light_->requested_power, TypeParam::kWatts);
}

TYPED_TEST_P(McuPower, IsNotAskedForWhenThatIsSwitchedOff) {
  this->light_->use_power_request = FALSE;
  EXPECT_THAT(this->requests(), testing::IsEmpty());
}

REGISTER_TYPED_TEST_SUITE_P(McuPower, IsAskedForWhileTheLightIsOn, IsAskedForWhateverIsGrantedAndReduced,
                            IsGivenBackWhenTheLightIsOffWhileTheLastRequestIsKept,
                            IsNotAskedForWhenThatIsSwitchedOff);
