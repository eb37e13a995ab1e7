// Who is let through to a light on the bus, and what happens to calls for something that it does not have.

#include <gmock/gmock.h>

#include <cstring>

#include "led/led_service.h"
#include "support/served_light_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Line = SyslogCapture::Line;

struct Member {
  const char *interface;
  const char *name;
  const char *value;  ///< a method's arguments, or what is written to a property
};

std::string name_of(const testing::TestParamInfo<Member> &member) {
  return std::string{std::strrchr(member.param.interface, '.') + 1} + member.param.name;
}

const Member kMethods[] = {
    {kCommon, "ActivateLight", "(true,)"},
    {kCommon, "SetManualOn", "(true,)"},
    {kCommon, "SetIntensity", "(50,)"},
    {kCommon, "GetIntensity", "()"},
    {kCommon, "GetLightStatus", "()"},
    {kCommon, "SetEnabled", "(false,)"},
    {kCommon, "GetEnabled", "()"},
    {kCommon, "SetEnableSyncDayNight", "(false,)"},
    {kCommon, "GetEnableSyncDayNight", "()"},
    {kCommon, "GetLEDType", "()"},
    {kCommon, "GetIndividualLEDIntensity", "(0, 'manual')"},
    {kCommon, "GetIndividualLEDIntensities", "('manual',)"},
    {kCommon, "SetIndividualLEDIntensity", "(0, 50, 'manual')"},
    {kCommon, "SetIndividualLEDIntensities", "([50, 50], 'manual')"},
    {kCommon, "GetNumberOfLEDs", "()"},
    {kCommon, "GetValidIntensities", "()"},
    {kPower, "SetPower", "(2.5,)"},
    {kZoom, "ChangeAngleOfIllumination", "(45,)"},
    {kZoom, "GetCurrentAngleOfIllumination", "()"},
    {kZoom, "GetValidAngleOfViews", "()"},
};

const Member kWritableProperties[] = {
    {kCommon, "SyncDayNight", "false"},
    {kCommon, "ManualSetIntensity", "50"},
    {kCommon, "AutomaticIntensity", "true"},
    {kZoom, "AutomaticAngleOfIllumination", "false"},
    {kZoom, "ManualSetAngleOfIllumination", "20"},
};

const Member kReadOnlyProperties[] = {
    {kCommon, "UseDayNight", nullptr},
    {kZoom, "AutomaticAngleOfIlluminationSupp", nullptr},
};

class LedGate : public ServedLight, public testing::WithParamInterface<Member> {
 protected:
  void expect_refused(const LightReply &refusal, LightReply (*ask)(const PublishedLight &)) {
    EXPECT_EQ(ask(*bus_), refusal);
    EXPECT_THAT(recorded_calls(), IsEmpty());
    EXPECT_FALSE(state_file_was_written());
  }

  /// Asks without the board, without enough power, and without either.
  void expect_gate(LightReply (*ask)(const PublishedLight &)) {
    light_->card_detected = FALSE;
    expect_refused(kNoBoard, ask);
    light_->correct_poe = FALSE;
    expect_refused(kNoBoard, ask);
    light_->card_detected = TRUE;
    expect_refused(kWrongPoe, ask);
    EXPECT_THAT(log_.lines(), IsEmpty());
  }
};

class LedMethodGate : public LedGate {};

LightReply call_method(const PublishedLight &bus) {
  const auto &member = LedMethodGate::GetParam();
  return bus.call(member.interface, member.name, member.value);
}

TEST_P(LedMethodGate, NeedsBoardAndPower) { expect_gate(call_method); }

TEST_P(LedMethodGate, NeedsBoardAndPowerBeforeAnAngle) {
  light_->has_angle_of_illumination = FALSE;
  expect_gate(call_method);
}

TEST_P(LedMethodGate, IsOpenWithBoardAndPower) {
  EXPECT_EQ(call_method(*bus_).kind, LightReply::Kind::kValues);
}

TEST_P(LedMethodGate, IsAnnouncedInDebugMode) {
  light_->card_detected = FALSE;
  call_method(*bus_);
  EXPECT_THAT(log_.lines(), IsEmpty());
  BEAMD_DEBUG_FLAG = 1;
  call_method(*bus_);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_INFO, std::string{"Handle dbus method call: "} + GetParam().name}));
}

INSTANTIATE_TEST_SUITE_P(Method, LedMethodGate, testing::ValuesIn(kMethods), name_of);

class LedReadGate : public LedGate {};

LightReply read_property(const PublishedLight &bus) {
  const auto &member = LedReadGate::GetParam();
  return bus.get(member.interface, member.name);
}

TEST_P(LedReadGate, NeedsBoardAndPowerBeforeAnAngle) {
  light_->has_angle_of_illumination = FALSE;
  expect_gate(read_property);
}

TEST_P(LedReadGate, IsOpenWithBoardAndPower) {
  EXPECT_EQ(read_property(*bus_).kind, LightReply::Kind::kValues);
}

TEST_P(LedReadGate, IsAnnouncedInDebugMode) {
  read_property(*bus_);
  EXPECT_THAT(log_.lines(), IsEmpty());
  BEAMD_DEBUG_FLAG = 1;
  read_property(*bus_);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_INFO, std::string{"Handle get property: "} + GetParam().name}));
}

INSTANTIATE_TEST_SUITE_P(WritableProperty, LedReadGate, testing::ValuesIn(kWritableProperties), name_of);
INSTANTIATE_TEST_SUITE_P(ReadOnlyProperty, LedReadGate, testing::ValuesIn(kReadOnlyProperties), name_of);

class LedWriteGate : public LedGate {};

LightReply write_property(const PublishedLight &bus) {
  const auto &member = LedWriteGate::GetParam();
  return bus.set(member.interface, member.name, member.value);
}

TEST_P(LedWriteGate, NeedsBoardAndPower) { expect_gate(write_property); }

TEST_P(LedWriteGate, IsOpenWithBoardAndPower) { EXPECT_EQ(write_property(*bus_), answered()); }

TEST_P(LedWriteGate, IsAnnouncedInDebugMode) {
  write_property(*bus_);
  EXPECT_THAT(log_.lines(), IsEmpty());
  BEAMD_DEBUG_FLAG = 1;
  write_property(*bus_);
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_INFO, std::string{"Handle set property: "} + GetParam().name}));
}

INSTANTIATE_TEST_SUITE_P(WritableProperty, LedWriteGate, testing::ValuesIn(kWritableProperties), name_of);

class LedAccess : public ServedLight {
 protected:
  GVariant *read(const char *interface, const char *name, GError **error) const {
    return led_base_handle_dbus_get_property(nullptr, nullptr, nullptr, interface, name, error, light_.get());
  }

  std::string read_text(const char *interface, const char *name) const {
    g_autoptr(GVariant) value = read(interface, name, nullptr);
    g_autofree gchar *text = value != nullptr ? g_variant_print(value, FALSE) : g_strdup("none");
    return text;
  }

  void expect_no_value(const char *interface, const char *name) const {
    g_autoptr(GError) error = nullptr;
    EXPECT_EQ(read(interface, name, &error), nullptr);
    EXPECT_EQ(error, nullptr);
  }

  void expect_not_written(const char *interface, const char *name) const {
    g_autoptr(GVariant) value = g_variant_ref_sink(g_variant_new_boolean(FALSE));
    g_autoptr(GError) error = nullptr;
    EXPECT_FALSE(led_base_handle_dbus_set_property(nullptr, nullptr, nullptr, interface, name, value, &error,
                                                   light_.get()));
    EXPECT_EQ(error, nullptr);
    EXPECT_FALSE(state_file_was_written());
  }

  /// Publishes the light with members that it does not know.
  void publish(const char *xml) {
    bus_.reset();
    node_.reset(g_dbus_node_info_new_for_xml(xml, nullptr));
    bus_ = std::make_unique<PublishedLight>(light_.get(), node_.get());
  }

 private:
  // Released after the light left the bus.
  struct NodeUnref {
    void operator()(GDBusNodeInfo *node) const { g_dbus_node_info_unref(node); }
  };
  std::unique_ptr<GDBusNodeInfo, NodeUnref> node_;

 protected:
  void TearDown() override { bus_.reset(); }
};

constexpr const char *kUnknownMembers = R"(
<node>
  <interface name="com.velk.LightController.Common">
    <method name="Fly"/>
    <property name="CardDetected" type="b" access="read"/>
  </interface>
  <interface name="com.velk.LightController.Power"><method name="Fly"/></interface>
  <interface name="com.velk.LightController.Zoom"><method name="Fly"/></interface>
  <interface name="com.velk.LightController.Other"><method name="Fly"/></interface>
</node>)";

TEST_F(LedAccess, CardDetectedIsToldByALightWithoutItsBoard) {
  light_->card_detected = FALSE;
  EXPECT_EQ(bus_->get(kCommon, "CardDetected"), answered("(<false>,)"));
  EXPECT_EQ(bus_->get(kCommon, "CorrectPoe"), answered("(<true>,)"));
  EXPECT_EQ(bus_->get(kCommon, "UseDayNight"), kNoBoard);
  EXPECT_EQ(bus_->call(kCommon, "GetIntensity"), kNoBoard);
}

TEST_F(LedAccess, CorrectPoeIsToldByALightWithoutPower) {
  light_->correct_poe = FALSE;
  EXPECT_EQ(bus_->get(kCommon, "CardDetected"), answered("(<true>,)"));
  EXPECT_EQ(bus_->get(kCommon, "CorrectPoe"), answered("(<false>,)"));
  EXPECT_EQ(bus_->get(kCommon, "UseDayNight"), kWrongPoe);
}

TEST_F(LedAccess, BoardAndPowerAreToldOnEveryInterface) {
  light_->card_detected = FALSE;
  light_->has_angle_of_illumination = FALSE;
  for (const char *interface : {kCommon, kZoom}) {
    EXPECT_EQ(read_text(interface, "CardDetected"), "false") << interface;
    EXPECT_EQ(read_text(interface, "CorrectPoe"), "true") << interface;
  }
}

TEST_F(LedAccess, EveryCallIsRefusedForLackOfPowerAfterSetupWithARequirement) {
  serve({{{"common", "required_total_power"}, "5.0"}});
  for (const auto &method : kMethods)
    EXPECT_EQ(bus_->call(method.interface, method.name, method.value), kWrongPoe) << method.name;
}

TEST_F(LedAccess, AllReadablePropertiesAtOnce) {
  EXPECT_EQ(bus_->get_all(kCommon),
            answered("({'SyncDayNight': <true>, 'ManualSetIntensity': <60>, 'AutomaticIntensity': <false>, "
                     "'UseDayNight': <false>, 'CardDetected': <true>, 'CorrectPoe': <true>},)"));
  EXPECT_EQ(bus_->get_all(kPower), answered("(@a{sv} {},)"));
  EXPECT_EQ(bus_->get_all(kZoom),
            answered("({'AutomaticAngleOfIlluminationSupp': <true>, 'AutomaticAngleOfIllumination': <true>, "
                     "'ManualSetAngleOfIllumination': <35>},)"));
}

TEST_F(LedAccess, AllReadablePropertiesAtOnceWithoutTheBoard) {
  light_->card_detected = FALSE;
  EXPECT_EQ(bus_->get_all(kCommon), answered("({'CardDetected': <false>, 'CorrectPoe': <true>},)"));
  EXPECT_EQ(bus_->get_all(kZoom), answered("(@a{sv} {},)"));
}

TEST_F(LedAccess, UnknownMethodOfCommonIsLoggedAndLeftUnanswered) {
  publish(kUnknownMembers);
  EXPECT_TRUE(bus_->leaves_unanswered(kCommon, "Fly"));
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_WARNING, "No such method: Fly"}));
}

TEST_F(LedAccess, UnknownMethodsOfPowerAndZoomAreLeftUnanswered) {
  publish(kUnknownMembers);
  EXPECT_TRUE(bus_->leaves_unanswered(kPower, "Fly"));
  EXPECT_TRUE(bus_->leaves_unanswered(kZoom, "Fly"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LedAccess, UnknownInterfaceIsLoggedAndLeftUnanswered) {
  publish(kUnknownMembers);
  EXPECT_TRUE(bus_->leaves_unanswered("com.velk.LightController.Other", "Fly"));
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_WARNING, "No such interface: com.velk.LightController.Other"}));
}

TEST_F(LedAccess, UnknownMembersAreRefusedWithoutTheBoard) {
  publish(kUnknownMembers);
  light_->card_detected = FALSE;
  EXPECT_EQ(bus_->call(kCommon, "Fly"), kNoBoard);
  EXPECT_EQ(bus_->call("com.velk.LightController.Other", "Fly"), kNoBoard);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LedAccess, AnsweredCallsAreNotTakenForUnanswered) {
  EXPECT_FALSE(bus_->leaves_unanswered(kCommon, "GetIntensity"));
}

TEST_F(LedAccess, UnknownPropertyHasNoValueAndNoError) {
  for (const char *interface : {kCommon, kZoom}) {
    expect_no_value(interface, "Altitude");
    expect_not_written(interface, "Altitude");
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LedAccess, PropertyOfAnotherInterfaceIsUnknown) {
  expect_no_value(kCommon, "ManualSetAngleOfIllumination");
  expect_no_value(kZoom, "SyncDayNight");
  expect_not_written(kCommon, "AutomaticAngleOfIllumination");
  expect_not_written(kZoom, "SyncDayNight");
}

TEST_F(LedAccess, ReadOnlyPropertiesAreNotWritten) {
  for (const char *name : {"UseDayNight", "CardDetected", "CorrectPoe"})
    expect_not_written(kCommon, name);
  expect_not_written(kZoom, "AutomaticAngleOfIlluminationSupp");
}

TEST_F(LedAccess, PropertyOfAnUnknownInterfaceIsLogged) {
  for (const char *interface : {kPower, "com.velk.LightController.Other"}) {
    const Line complaint{LOG_ERR, std::string{"No such interface: "} + interface};
    log_.clear();
    expect_no_value(interface, "SyncDayNight");
    expect_not_written(interface, "SyncDayNight");
    EXPECT_THAT(log_.lines(), ElementsAre(complaint, complaint));
  }
}

TEST_F(LedAccess, PropertyIsRefusedToACallerThatTakesNoError) {
  light_->card_detected = FALSE;
  EXPECT_EQ(read(kCommon, "SyncDayNight", nullptr), nullptr);
  light_->card_detected = TRUE;
  light_->has_sync_day_night = FALSE;
  EXPECT_EQ(read(kCommon, "SyncDayNight", nullptr), nullptr);
}

}  // namespace
