// A light as a consumer of the power daemon: registration, requests, and a daemon that comes and goes.

#include <limits>
#include <string_view>

#include "support/power_client_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Line = SyslogCapture::Line;

const Line kCannotRegister{LOG_INFO, "Can not register at wattd: wattd is down"};
const Line kCannotRequest{LOG_INFO, "Can not request at wattd: wattd is down"};

void expect_proxy(GDBusProxy *proxy, const char *name, const char *path) {
  ASSERT_NE(proxy, nullptr);
  EXPECT_STREQ(g_dbus_proxy_get_name(proxy), name);
  EXPECT_STREQ(g_dbus_proxy_get_object_path(proxy), path);
  EXPECT_STREQ(g_dbus_proxy_get_interface_name(proxy), name);
  EXPECT_EQ(g_dbus_proxy_get_flags(proxy), G_DBUS_PROXY_FLAGS_NONE);
  EXPECT_EQ(g_dbus_proxy_get_interface_info(proxy), nullptr);
}

std::string owner_of(GDBusProxy *proxy) {
  g_autofree gchar *owner = g_dbus_proxy_get_name_owner(proxy);
  return owner != nullptr ? owner : "nobody";
}

TEST_F(PowerClient, HasAProxyForItsRequestsAndOneForTheSupply) {
  power_client_connect(light_.get());

  expect_proxy(light_->consumer_proxy, "com.velk.PowerControl.Consumer", "/com/velk/PowerControl/Consumer");
  expect_proxy(light_->status_proxy, "com.velk.PowerControl.Status", "/com/velk/PowerControl/Status");
  EXPECT_TRUE(g_signal_handler_is_connected(light_->consumer_proxy, light_->owner_handler));
  EXPECT_TRUE(g_signal_handler_is_connected(light_->status_proxy, light_->props_handler));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PowerClient, IsOnTheSystemBus) {
  power_client_connect(light_.get());

  const BusConnection system_bus{g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr)};
  EXPECT_EQ(g_dbus_proxy_get_connection(light_->consumer_proxy), system_bus.get());
  EXPECT_EQ(g_dbus_proxy_get_connection(light_->status_proxy), system_bus.get());
}

TEST_F(PowerClient, KnowsTheDaemonAsSoonAsItIsConnected) {
  wattd_.has_status("{'PsePoeClass': <3>}");
  wattd_.come_up();

  power_client_connect(light_.get());

  EXPECT_EQ(owner_of(light_->consumer_proxy), wattd_.bus_name());
  EXPECT_EQ(owner_of(light_->status_proxy), wattd_.bus_name());
  g_autoptr(GVariant) cached = g_dbus_proxy_get_cached_property(light_->status_proxy, "PsePoeClass");
  EXPECT_NE(cached, nullptr);
}

TEST_F(PowerClient, ConnectingCallsNothing) {
  wattd_.come_up();
  power_client_connect(light_.get());
  wattd_.settle();
  EXPECT_THAT(wattd_.calls(), IsEmpty());
}

TEST_F(PowerClient, RegistersUnderItsNumber) {
  wattd_.come_up();
  for (const int id : {0, 7, 15}) {
    light_->light_id = id;
    power_client_register(light_.get());
  }
  wattd_.settle();
  EXPECT_THAT(wattd_.calls(), ElementsAre(registration(0), registration(7), registration(15)));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PowerClient, ConnectsOnItsFirstRegistration) {
  wattd_.come_up();
  power_client_register(light_.get());
  ASSERT_NE(light_->consumer_proxy, nullptr);
  ASSERT_NE(light_->status_proxy, nullptr);
  wattd_.settle();
  EXPECT_THAT(wattd_.calls(), ElementsAre(registration(0)));

  GDBusProxy *consumer = light_->consumer_proxy;
  GDBusProxy *status = light_->status_proxy;
  power_client_register(light_.get());
  EXPECT_EQ(light_->consumer_proxy, consumer);
  EXPECT_EQ(light_->status_proxy, status);
  wattd_.settle();
  EXPECT_THAT(wattd_.calls(), ElementsAre(registration(0), registration(0)));
}

TEST_F(PowerClient, ConnectsEvenWhereItCannotRegister) {
  power_client_register(light_.get());
  EXPECT_NE(light_->consumer_proxy, nullptr);
  EXPECT_NE(light_->status_proxy, nullptr);
  EXPECT_THAT(log_.lines(), ElementsAre(kCannotRegister));
}

TEST_F(PowerClient, AsksForWattsInNormalMode) {
  wattd_.come_up();
  light_->light_id = 3;
  power_client_register(light_.get());
  constexpr double kHuge = std::numeric_limits<double>::infinity();
  constexpr double kTiny = std::numeric_limits<double>::denorm_min();
  for (const double watts : {2.5, kTiny, kHuge})
    led_base_send_power_request(light_.get(), watts);
  wattd_.settle();
  EXPECT_THAT(wattd_.calls(), ElementsAre(registration(3), request(3, "normal", 2.5),
                                          request(3, "normal", kTiny), request(3, "normal", kHuge)));
}

TEST_F(PowerClient, WhatIsNotAboveZeroIsAskedForInModeOff) {
  wattd_.come_up();
  power_client_connect(light_.get());
  constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();
  for (const double watts : {0.0, -0.0, -2.5, kNotANumber})
    led_base_send_power_request(light_.get(), watts);
  wattd_.settle();
  EXPECT_THAT(wattd_.calls(), ElementsAre(request(0, "off", 0.0), request(0, "off", -0.0),
                                          request(0, "off", -2.5), request(0, "off", kNotANumber)));
}

TEST_F(PowerClient, WantsNoReplies) {
  wattd_.come_up();
  power_client_register(light_.get());
  led_base_send_power_request(light_.get(), 2.5);
  wattd_.settle();
  EXPECT_THAT(wattd_.calls(), ElementsAre(registration(0), request(0, "normal", 2.5)));
  EXPECT_FALSE(wattd_.is_waited_for());
}

TEST_F(PowerClient, IgnoresErrors) {
  wattd_.refuse_calls();
  wattd_.come_up();
  power_client_register(light_.get());
  led_base_send_power_request(light_.get(), 2.5);
  wattd_.settle();
  led_base_send_power_request(light_.get(), 0.0);
  wattd_.settle();
  EXPECT_THAT(wattd_.calls(),
              ElementsAre(registration(0), request(0, "normal", 2.5), request(0, "off", 0.0)));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PowerClient, TellsOfItsRequestsInDebugMode) {
  wattd_.come_up();
  power_client_register(light_.get());
  BEAMD_DEBUG_FLAG = 1;
  for (const double watts : {2.5, 10.006, 0.0})
    led_base_send_power_request(light_.get(), watts);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_INFO, "Requesting power 2.50"}, Line{LOG_INFO, "Requesting power 10.01"},
                          Line{LOG_INFO, "Requesting power 0.00"}));
}

TEST_F(PowerClient, DoesNotTellOfThemOtherwise) {
  wattd_.come_up();
  power_client_register(light_.get());
  led_base_send_power_request(light_.get(), 2.5);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PowerClient, CannotAskWhileTheDaemonIsDown) {
  power_client_connect(light_.get());
  BEAMD_DEBUG_FLAG = 1;
  led_base_send_power_request(light_.get(), 2.5);
  EXPECT_THAT(log_.lines(), ElementsAre(kCannotRequest));
}

TEST_F(PowerClient, CannotAskBeforeItIsConnected) {
  wattd_.come_up();
  led_base_send_power_request(light_.get(), 2.5);
  wattd_.settle();
  EXPECT_EQ(light_->consumer_proxy, nullptr);
  EXPECT_THAT(wattd_.calls(), IsEmpty());
  EXPECT_THAT(log_.lines(), ElementsAre(kCannotRequest));
}

class PowerDaemonThatComesAndGoes : public PowerClient {
 protected:
  void SetUp() override {
    power_client_connect(light_.get());
    light_->light_on = 1;
    light_->intensity = 2500;
  }

  void wait_for_calls(gsize count) {
    wait_until([&] { return wattd_.calls().size() >= count; });
    wattd_.settle();
  }
};

TEST_F(PowerDaemonThatComesAndGoes, ComingUpIsMetWithRegistrationThenRequest) {
  wattd_.come_up();
  wait_for_calls(2);
  EXPECT_THAT(wattd_.calls(), ElementsAre(registration(0), request(0, "normal", 2.5)));
  EXPECT_FALSE(wattd_.is_waited_for());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(PowerDaemonThatComesAndGoes, DarkLightAsksForNothing) {
  light_->light_on = 0;
  wattd_.come_up();
  wait_for_calls(2);
  EXPECT_THAT(wattd_.calls(), ElementsAre(registration(0), request(0, "off", 0.0)));
}

TEST_F(PowerDaemonThatComesAndGoes, LightWithoutPowerRequestsOnlyRegisters) {
  light_->use_power_request = FALSE;
  let_daemon_come_up();
  EXPECT_THAT(wattd_.calls(), ElementsAre(registration(0)));
}

TEST_F(PowerDaemonThatComesAndGoes, VanishingDoesNothing) {
  let_daemon_come_up();
  const auto calls = wattd_.calls();
  let_daemon_go_down();
  EXPECT_FALSE(sees_daemon());
  EXPECT_EQ(wattd_.calls(), calls);
  EXPECT_THAT(log_.lines(), IsEmpty());

  power_client_register(light_.get());
  led_base_send_power_request(light_.get(), 2.5);
  EXPECT_THAT(log_.lines(), ElementsAre(kCannotRegister, kCannotRequest));
  EXPECT_EQ(wattd_.calls(), calls);
}

TEST_F(PowerDaemonThatComesAndGoes, ComingBackIsMetLikeComingUp) {
  let_daemon_come_up();
  let_daemon_go_down();
  light_->intensity = 1000;
  wattd_.come_up();
  wait_for_calls(4);
  EXPECT_THAT(wattd_.calls(), ElementsAre(registration(0), request(0, "normal", 2.5), registration(0),
                                          request(0, "normal", 1.0)));
}

TEST_F(PowerDaemonThatComesAndGoes, SuccessorIsMetLikeOneThatComesUp) {
  let_daemon_come_up();
  PowerDaemon successor;
  successor.come_up();
  wattd_.go_down();
  wait_until([&] { return successor.calls().size() >= 2; });
  successor.settle();
  EXPECT_EQ(owner_of(light_->consumer_proxy), successor.bus_name());
  EXPECT_THAT(successor.calls(), ElementsAre(registration(0), request(0, "normal", 2.5)));
}

TEST_F(PowerDaemonThatComesAndGoes, RequestIsThatOfTheClass) {
  light_ = make_light(TEST_TYPE_LIGHT);
  power_client_connect(light_.get());
  recorded_calls().clear();
  let_daemon_come_up();
  EXPECT_THAT(recorded_calls(), ElementsAre("request_power"));
  EXPECT_THAT(wattd_.calls(), ElementsAre(registration(0)));

  recorded_calls().clear();
  light_->use_power_request = FALSE;
  let_daemon_go_down();
  let_daemon_come_up();
  EXPECT_THAT(recorded_calls(), IsEmpty());
}

TEST_F(PowerDaemonThatComesAndGoes, ClassWithoutARequestOnlyRegisters) {
  light_ = make_light(TEST_TYPE_BARE_LIGHT);
  power_client_connect(light_.get());
  let_daemon_come_up();
  EXPECT_THAT(wattd_.calls(), ElementsAre(registration(0)));
}

TEST_F(PowerDaemonThatComesAndGoes, EachLightRegistersAndAsks) {
  const auto second = make_light(LED_TYPE_BASE);
  second->light_id = 1;
  power_client_connect(second.get());
  wattd_.come_up();
  wait_for_calls(4);
  EXPECT_THAT(wattd_.calls(), testing::UnorderedElementsAre(registration(0), request(0, "normal", 2.5),
                                                            registration(1), request(1, "off", 0.0)));
}

class EndOfALight : public PowerClient {};

TEST_F(EndOfALight, LeavesNothingThatHearsOfTheDaemon) {
  power_client_connect(light_.get());
  let_daemon_come_up();
  const auto calls = wattd_.calls();

  // What somebody else still holds goes on telling of changes.
  g_autoptr(GDBusProxy) consumer = G_DBUS_PROXY(g_object_ref(light_->consumer_proxy));
  g_autoptr(GDBusProxy) status = G_DBUS_PROXY(g_object_ref(light_->status_proxy));
  light_.reset();

  wattd_.announce("{'LldpPoeClass': <4>, 'PowerRecieved': <9.5>}");
  wattd_.settle();
  let_daemon_go_down();
  EXPECT_EQ(owner_of(consumer), "nobody");
  wattd_.come_up();
  wait_until([&] { return owner_of(consumer) != "nobody" && owner_of(status) != "nobody"; });
  wattd_.settle();
  EXPECT_EQ(wattd_.calls(), calls);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(EndOfALight, IsTheEndOfItsProxies) {
  power_client_connect(light_.get());
  gpointer consumer = light_->consumer_proxy;
  gpointer status = light_->status_proxy;
  g_object_add_weak_pointer(G_OBJECT(consumer), &consumer);
  g_object_add_weak_pointer(G_OBJECT(status), &status);
  light_.reset();
  wattd_.settle();
  EXPECT_EQ(consumer, nullptr);
  EXPECT_EQ(status, nullptr);
}

TEST_F(EndOfALight, MayBeAnnouncedTwice) {
  power_client_connect(light_.get());
  g_object_run_dispose(G_OBJECT(light_.get()));
  EXPECT_EQ(light_->consumer_proxy, nullptr);
  EXPECT_EQ(light_->status_proxy, nullptr);
  g_object_run_dispose(G_OBJECT(light_.get()));

  led_base_send_power_request(light_.get(), 2.5);
  EXPECT_THAT(log_.lines(), ElementsAre(kCannotRequest));
}

}  // namespace
