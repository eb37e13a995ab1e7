// A light that is to ask for power where there is no bus. An executable of its own: GDBus keeps a bus
// connection for the whole process.

#include <gmock/gmock.h>

#include "drivers/led_dummy.h"
#include "led/power_client.h"
#include "support/criticals_capture.h"
#include "support/light_setup_fixture.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using Line = SyslogCapture::Line;

const Line kNoProxy{LOG_CRIT, "Failed to setup proxy Could not connect: No such file or directory"};
const Line kCannotRegister{LOG_INFO, "Can not register at wattd: wattd is down"};
const Line kCannotRequest{LOG_INFO, "Can not request at wattd: wattd is down"};

class PowerWithoutBus : public LightSetup {
 protected:
  static void SetUpTestSuite() { g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/run/no/such/bus", TRUE); }

  void expect_no_proxies() const {
    EXPECT_EQ(light_->consumer_proxy, nullptr);
    EXPECT_EQ(light_->status_proxy, nullptr);
    EXPECT_EQ(light_->owner_handler, 0U);
    EXPECT_EQ(light_->props_handler, 0U);
  }

  /// A probing light of one LED, each unit of whose level takes one watt, set up.
  bool set_up_probing(const char *requests) {
    write_file("/sys/light/QXID", "1");
    write_file("/etc/beamd/illumination.conf",
               "[info]\nleds=1\n[0]\n0=0;\n100=100;\n[100]\n0=0;\n100=100;\n");
    light_ = fresh_light(LED_TYPE_DUMMY);
    return set_up_with({{{"common", "usepowerrequest"}, requests},
                        {{"common", "individualintensitysupport"}, "false"},
                        {{"common", "powerusagefactor"}, "1"}});
  }

  CriticalsCapture criticals_;
};

TEST_F(PowerWithoutBus, CannotConnect) {
  power_client_connect(light_.get());
  EXPECT_THAT(log_.lines(), ElementsAre(kNoProxy));
  EXPECT_THAT(criticals_.texts(), ElementsAre(EndsWith("should not be reached")));
  expect_no_proxies();
}

TEST_F(PowerWithoutBus, RegistrationTriesAgain) {
  for (int i = 0; i < 2; ++i) {
    log_.clear();
    criticals_.clear();
    power_client_register(light_.get());
    EXPECT_THAT(log_.lines(), ElementsAre(kNoProxy, kCannotRegister));
    EXPECT_THAT(criticals_.texts(), ElementsAre(EndsWith("should not be reached")));
    expect_no_proxies();
  }
}

TEST_F(PowerWithoutBus, RequestsFindNobody) {
  led_base_send_power_request(light_.get(), 2.5);
  led_base_send_power_request(light_.get(), 0.0);
  EXPECT_THAT(log_.lines(), ElementsAre(kCannotRequest, kCannotRequest));
  EXPECT_THAT(criticals_.texts(), IsEmpty());
  expect_no_proxies();
}

TEST_F(PowerWithoutBus, SetupSucceeds) {
  EXPECT_TRUE(set_up_probing("true"));
  EXPECT_TRUE(light_->card_detected);
  EXPECT_TRUE(light_->correct_poe);
  EXPECT_THAT(log_.lines(), ElementsAre(kNoProxy, kNoProxy, kCannotRegister));
  EXPECT_EQ(criticals_.texts().size(), 2U);
  expect_no_proxies();
}

TEST_F(PowerWithoutBus, SetupWithoutPowerRequestsConnectsOnlyWhileProbing) {
  EXPECT_TRUE(set_up_probing("false"));
  EXPECT_THAT(log_.lines(), ElementsAre(kNoProxy));
  EXPECT_EQ(criticals_.texts().size(), 1U);
}

TEST_F(PowerWithoutBus, LightIsSwitchedAndTakesGrants) {
  ASSERT_TRUE(set_up_probing("true"));
  criticals_.clear();
  light_->enabled = TRUE;
  light_->activate = TRUE;

  log_.clear();
  led_base_update_light_state(light_.get(), nullptr);
  EXPECT_EQ(light_->light_on, 1);
  EXPECT_THAT(log_.lines(), ElementsAre(kCannotRequest));

  led_base_set_intensity(light_.get(), 40);
  EXPECT_EQ(light_->led_intensities[0], 0);
  led_base_set_power_intensity(light_.get(), 40.0);
  EXPECT_EQ(light_->led_intensities[0], 40);

  log_.clear();
  light_->activate = FALSE;
  led_base_update_light_state(light_.get(), nullptr);
  EXPECT_EQ(light_->light_on, 0);
  EXPECT_THAT(log_.lines(), ElementsAre(kCannotRequest));
  EXPECT_THAT(criticals_.texts(), IsEmpty());
}

}  // namespace
