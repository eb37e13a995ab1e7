#include "beamctl/commands.h"
#include "beamctl/json_output.h"
#include "beamctl/light.h"
#include "beamctl/text.h"
#include "daemon/bus_names.h"

namespace {

void print_angle(const Invocation &invocation, const Light &light, int angle) {
  if (!invocation.json()) {
    print(std::to_string(angle) + "\n");
    return;
  }
  JsonDocument document;
  document.begin_object();
  document.add("light", light.name());
  document.add("angle", angle);
  document.end_object();
  print(document.text());
}

}  // namespace

int angle_command(const Invocation &invocation) {
  const auto &arguments = invocation.arguments;
  const auto value =
      arguments.size() > 1 ? std::optional{number_argument(arguments[1], "an angle")} : std::nullopt;

  const Bus bus(invocation);
  const Light light(bus, arguments[0]);
  if (value)
    light.call(LED_INTERFACE_ZOOM, "ChangeAngleOfIllumination", g_variant_new("(i)", *value), "()");
  print_angle(invocation, light,
              value ? *value : light.integer(LED_INTERFACE_ZOOM, "GetCurrentAngleOfIllumination"));
  return kExitDone;
}
