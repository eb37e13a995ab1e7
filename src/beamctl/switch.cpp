#include "beamctl/commands.h"
#include "beamctl/failure.h"
#include "beamctl/json_output.h"
#include "beamctl/light.h"
#include "beamctl/style.h"
#include "beamctl/text.h"
#include "daemon/bus_names.h"

namespace {

struct State {
  bool on;
  bool enabled;
};

State state_of(const Light &light) {
  return {light.boolean(LED_INTERFACE_COMMON, "GetLightStatus"),
          light.boolean(LED_INTERFACE_COMMON, "GetEnabled")};
}

void print_state(const Invocation &invocation, const Light &light, const State &state,
                 const std::string &remark) {
  if (!invocation.json()) {
    const std::string on = state.on ? styled(Style::kGood, "on") : "off";
    print(light.name() + " is " + on + " and " + (state.enabled ? "enabled" : "disabled") + remark + "\n");
    return;
  }
  JsonDocument document;
  document.begin_object();
  document.add("light", light.name());
  document.add("on", state.on);
  document.add("enabled", state.enabled);
  document.end_object();
  print(document.text());
}

Failure not_switched(const Light &light, bool on) {
  return {kExitRefused, "not-switched", "beamd could not switch " + light.name() + (on ? " on" : " off"),
          "beamd's log tells why: journalctl -u beamd"};
}

// The daemon refuses neither what the hardware does not do nor a light that stays dark because it is
// disabled.
int activate(const Invocation &invocation, bool on) {
  const Bus bus(invocation);
  const Light light(bus, invocation.arguments[0]);
  light.call(LED_INTERFACE_COMMON, "ActivateLight", g_variant_new("(b)", on), "()", kSwitchingMs);
  const State state = state_of(light);
  if (state.on != (on && state.enabled))
    throw not_switched(light, on && state.enabled);
  const std::string remark =
      on && !state.enabled ? ": it shines once it is enabled (beamctl enable " + light.name() + ")" : "";
  print_state(invocation, light, state, remark);
  return kExitDone;
}

int set_enabled(const Invocation &invocation, bool enabled) {
  const Bus bus(invocation);
  const Light light(bus, invocation.arguments[0]);
  light.call(LED_INTERFACE_COMMON, "SetEnabled", g_variant_new("(b)", enabled), "()", kSwitchingMs);
  const State state = state_of(light);
  if (state.on && !enabled)
    throw not_switched(light, false);
  print_state(invocation, light, state, "");
  return kExitDone;
}

}  // namespace

int on_command(const Invocation &invocation) { return activate(invocation, true); }
int off_command(const Invocation &invocation) { return activate(invocation, false); }
int enable_command(const Invocation &invocation) { return set_enabled(invocation, true); }
int disable_command(const Invocation &invocation) { return set_enabled(invocation, false); }
