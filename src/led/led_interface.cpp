#include "led/led_interface.h"

namespace {

constexpr const char *kXml = R"xml(
<node>
  <interface name="com.velk.LightController.Common">
    <method name="ActivateLight">
      <arg name="activate" type="b" direction="in"/>
    </method>
    <method name="SetManualOn">
      <arg name="activate" type="b" direction="in"/>
    </method>
    <method name="SetIntensity">
      <arg name="intensity" type="i" direction="in"/>
    </method>
    <method name="GetIntensity">
      <arg name="intensity" type="i" direction="out"/>
    </method>
    <method name="GetLightStatus">
      <arg name="status" type="b" direction="out"/>
    </method>
    <method name="SetEnabled">
      <arg name="enable" type="b" direction="in"/>
    </method>
    <method name="GetEnabled">
      <arg name="enable" type="b" direction="out"/>
    </method>
    <method name="SetEnableSyncDayNight">
      <arg name="enable" type="b" direction="in"/>
    </method>
    <method name="GetEnableSyncDayNight">
      <arg name="enable" type="b" direction="out"/>
    </method>
    <method name="GetLEDType">
      <arg name="ledtyp" type="s" direction="out"/>
    </method>
    <method name="GetIndividualLEDIntensity">
      <arg name="ledid" type="i" direction="in"/>
      <arg name="intensity_type" type="s" direction="in"/>
      <arg name="intensity" type="i" direction="out"/>
    </method>
    <method name="GetIndividualLEDIntensities">
      <arg name="intensity_type" type="s" direction="in"/>
      <arg name="intensities" type="ai" direction="out"/>
    </method>
    <method name="SetIndividualLEDIntensity">
      <arg name="ledid" type="i" direction="in"/>
      <arg name="intensity" type="i" direction="in"/>
      <arg name="intensity_type" type="s" direction="in"/>
    </method>
    <method name="SetIndividualLEDIntensities">
      <arg name="intensities" type="ai" direction="in"/>
      <arg name="intensity_type" type="s" direction="in"/>
    </method>
    <method name="GetNumberOfLEDs">
      <arg name="nleds" type="i" direction="out"/>
    </method>
    <method name="GetValidIntensities">
      <arg name="values" type="v" direction="out"/>
    </method>
    <property name="SyncDayNight" type="b" access="readwrite"/>
    <property name="ManualSetIntensity" type="i" access="readwrite"/>
    <property name="AutomaticIntensity" type="b" access="readwrite"/>
    <property name="UseDayNight" type="b" access="read"/>
    <property name="CardDetected" type="b" access="read"/>
    <property name="CorrectPoe" type="b" access="read"/>
  </interface>
  <interface name="com.velk.LightController.Power">
    <method name="SetPower">
      <arg name="intensity" type="d" direction="in"/>
    </method>
  </interface>
  <interface name="com.velk.LightController.Zoom">
    <method name="ChangeAngleOfIllumination">
      <arg name="zoom" type="i" direction="in"/>
    </method>
    <method name="GetCurrentAngleOfIllumination">
      <arg name="zoom" type="i" direction="out"/>
    </method>
    <method name="GetValidAngleOfViews">
      <arg name="values" type="v" direction="out"/>
    </method>
    <property name="AutomaticAngleOfIlluminationSupp" type="b" access="read"/>
    <property name="AutomaticAngleOfIllumination" type="b" access="readwrite"/>
    <property name="ManualSetAngleOfIllumination" type="i" access="readwrite"/>
  </interface>
</node>
)xml";

}  // namespace

GDBusNodeInfo *led_interface_new() { return g_dbus_node_info_new_for_xml(kXml, nullptr); }
