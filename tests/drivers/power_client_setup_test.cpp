// What a light's setup does about the power daemon: with a driver that does not connect by itself, and with
// the base's own probing, which does.

#include "drivers/led_dummy.h"
#include "support/light_setup_fixture.h"
#include "support/power_client_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const char *const kCannotRegister = "Can not register at wattd: wattd is down";

class PowerAtSetup : public LightSetup {
 protected:
  void SetUp() override {
    write_file("/sys/light/QXID", "1");
    write_file("/etc/beamd/illumination.conf", "[info]\nleds=1\n[0]\n0=0;\n100=50;\n[100]\n0=0;\n100=50;\n");
  }

  static StateOverrides settings(bool requests, const char *required_power = "0.0") {
    return {{{"common", "usepowerrequest"}, requests ? "true" : "false"},
            {{"common", "required_total_power"}, required_power}};
  }

  void set_up_probing(const StateOverrides &overrides) {
    light_ = fresh_light(LED_TYPE_DUMMY);
    EXPECT_TRUE(set_up_with(overrides));
    wattd_.settle();
  }

  void set_up_not_probing(const StateOverrides &overrides) {
    light_ = fresh_light(TEST_TYPE_LIGHT);
    EXPECT_TRUE(set_up_with(overrides));
    wattd_.settle();
  }

  PowerDaemon wattd_;
};

TEST_F(PowerAtSetup, LightWithPowerRequestsRegistersOnce) {
  wattd_.come_up();
  set_up_not_probing(settings(true));
  EXPECT_THAT(wattd_.calls(), ElementsAre(registration(0)));

  set_up_probing(settings(true));
  EXPECT_THAT(wattd_.calls(), ElementsAre(registration(0), registration(0)));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PowerAtSetup, LightWithoutThemDoesNot) {
  wattd_.come_up();
  set_up_not_probing(settings(false));
  EXPECT_EQ(light_->consumer_proxy, nullptr);
  EXPECT_EQ(light_->status_proxy, nullptr);

  set_up_probing(settings(false));
  EXPECT_THAT(wattd_.calls(), IsEmpty());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PowerAtSetup, DaemonThatIsDownIsTold) {
  set_up_not_probing(settings(true));
  EXPECT_THAT(logged_at(LOG_INFO), ElementsAre(kCannotRegister));
  set_up_probing(settings(true));
  EXPECT_THAT(logged_at(LOG_INFO), ElementsAre(kCannotRegister, kCannotRegister));
  set_up_probing(settings(false));
  EXPECT_EQ(log_.lines().size(), 2U);
}

TEST_F(PowerAtSetup, ProbingConnectsBeforeTheLightIsKnownToMakeNoRequests) {
  set_up_probing(settings(false));
  ASSERT_NE(light_->consumer_proxy, nullptr);
  ASSERT_NE(light_->status_proxy, nullptr);

  wattd_.come_up();
  wait_until([this] { return !wattd_.calls().empty(); });
  wattd_.settle();
  EXPECT_THAT(wattd_.calls(), ElementsAre(registration(0)));
}

TEST_F(PowerAtSetup, RequirementIsCheckedWhenTheRegistrationConnects) {
  wattd_.has_status("{'PowerReceived': <10.0>}");
  wattd_.come_up();
  set_up_not_probing(settings(true, "10.0"));
  EXPECT_TRUE(light_->correct_poe);
  EXPECT_THAT(log_.lines(), IsEmpty());

  set_up_not_probing(settings(true, "10.5"));
  EXPECT_FALSE(light_->correct_poe);
  EXPECT_THAT(
      logged_at(LOG_ERR),
      ElementsAre("Too little power for IR leds, received power: 10.000000, required power: 10.500000"));
}

// It was made when the light did not know yet what it requires.
TEST_F(PowerAtSetup, FirstLookOfAProbingLightDoesNotCount) {
  wattd_.has_status("{'PowerReceived': <20.0>}");
  wattd_.come_up();
  set_up_probing(settings(true, "10.0"));
  EXPECT_FALSE(light_->correct_poe);
  EXPECT_THAT(log_.lines(), IsEmpty());

  wattd_.announce("{'PowerRecieved': <10.0>}");
  wattd_.settle();
  EXPECT_TRUE(light_->correct_poe);
}

TEST_F(PowerAtSetup, LightWithoutARequirementIsCorrectlyPowered) {
  wattd_.has_status("{'PowerReceived': <0.0>, 'LldpPoeClass': <0>}");
  wattd_.come_up();
  for (const bool requests : {true, false}) {
    set_up_probing(settings(requests));
    EXPECT_TRUE(light_->correct_poe);
    set_up_not_probing(settings(requests));
    EXPECT_TRUE(light_->correct_poe);
  }
}

}  // namespace
