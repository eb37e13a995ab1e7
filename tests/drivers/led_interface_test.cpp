// What a light's bus object announces of itself.

#include "led/led_interface.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using Members = std::vector<std::string>;

/// "Name(in type name, out type name)", "Name type access".
std::string shown(const GDBusMethodInfo &method) {
  std::string text = std::string{method.name} + "(";
  const char *separator = "";
  const auto add = [&](const char *direction, GDBusArgInfo **arguments) {
    for (; arguments != nullptr && *arguments != nullptr; ++arguments) {
      text += std::string{separator} + direction + " " + (*arguments)->signature + " " + (*arguments)->name;
      separator = ", ";
    }
  };
  add("in", method.in_args);
  add("out", method.out_args);
  return text + ")";
}

std::string shown(const GDBusPropertyInfo &property) {
  std::string text = std::string{property.name} + " " + property.signature + " ";
  if ((property.flags & G_DBUS_PROPERTY_INFO_FLAGS_READABLE) != 0)
    text += "read";
  if ((property.flags & G_DBUS_PROPERTY_INFO_FLAGS_WRITABLE) != 0)
    text += "write";
  return text;
}

template <typename Info>
Members shown(Info *const *infos) {
  Members texts;
  for (; infos != nullptr && *infos != nullptr; ++infos)
    texts.push_back(shown(**infos));
  return texts;
}

class LedInterface : public testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(node_, nullptr); }

  Members methods_of(const char *interface) const {
    return shown(g_dbus_node_info_lookup_interface(node_.get(), interface)->methods);
  }
  Members properties_of(const char *interface) const {
    return shown(g_dbus_node_info_lookup_interface(node_.get(), interface)->properties);
  }

  std::unique_ptr<GDBusNodeInfo, decltype(&g_dbus_node_info_unref)> node_{led_interface_new(),
                                                                          &g_dbus_node_info_unref};
};

TEST_F(LedInterface, HasThreeInterfacesInTheirOrder) {
  Members names;
  for (auto **interface = node_->interfaces; *interface != nullptr; ++interface) {
    names.emplace_back((*interface)->name);
    EXPECT_EQ((*interface)->signals == nullptr || (*interface)->signals[0] == nullptr, true);
  }
  EXPECT_THAT(names, ElementsAre("com.velk.LightController.Common", "com.velk.LightController.Power",
                                 "com.velk.LightController.Zoom"));
  EXPECT_TRUE(node_->nodes == nullptr || node_->nodes[0] == nullptr);
}

TEST_F(LedInterface, Common) {
  EXPECT_THAT(methods_of(LED_INTERFACE_COMMON),
              ElementsAre("ActivateLight(in b activate)", "SetManualOn(in b activate)",
                          "SetIntensity(in i intensity)", "GetIntensity(out i intensity)",
                          "GetLightStatus(out b status)", "SetEnabled(in b enable)",
                          "GetEnabled(out b enable)", "SetEnableSyncDayNight(in b enable)",
                          "GetEnableSyncDayNight(out b enable)", "GetLEDType(out s ledtyp)",
                          "GetIndividualLEDIntensity(in i ledid, in s intensity_type, out i intensity)",
                          "GetIndividualLEDIntensities(in s intensity_type, out ai intensities)",
                          "SetIndividualLEDIntensity(in i ledid, in i intensity, in s intensity_type)",
                          "SetIndividualLEDIntensities(in ai intensities, in s intensity_type)",
                          "GetNumberOfLEDs(out i nleds)", "GetValidIntensities(out v values)"));
  EXPECT_THAT(properties_of(LED_INTERFACE_COMMON),
              ElementsAre("SyncDayNight b readwrite", "ManualSetIntensity i readwrite",
                          "AutomaticIntensity b readwrite", "UseDayNight b read", "CardDetected b read",
                          "CorrectPoe b read"));
}

TEST_F(LedInterface, Power) {
  EXPECT_THAT(methods_of(LED_INTERFACE_POWER), ElementsAre("SetPower(in d intensity)"));
  EXPECT_THAT(properties_of(LED_INTERFACE_POWER), ElementsAre());
}

TEST_F(LedInterface, Zoom) {
  EXPECT_THAT(methods_of(LED_INTERFACE_ZOOM),
              ElementsAre("ChangeAngleOfIllumination(in i zoom)", "GetCurrentAngleOfIllumination(out i zoom)",
                          "GetValidAngleOfViews(out v values)"));
  EXPECT_THAT(properties_of(LED_INTERFACE_ZOOM), ElementsAre("AutomaticAngleOfIlluminationSupp b read",
                                                             "AutomaticAngleOfIllumination b readwrite",
                                                             "ManualSetAngleOfIllumination i readwrite"));
}

}  // namespace
