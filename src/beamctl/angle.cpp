#include "beamctl/commands.h"
#include "beamctl/light_values.h"
#include "daemon/bus_names.h"

int angle_command(const Invocation &invocation) {
  const auto &arguments = invocation.arguments;
  const auto value =
      arguments.size() > 1 ? std::optional{number_argument(arguments[1], "an angle")} : std::nullopt;

  const Bus bus(invocation);
  const Light light(bus, arguments[0]);
  if (value)
    light.call(LED_INTERFACE_ZOOM, "ChangeAngleOfIllumination", g_variant_new("(i)", *value), "()");
  print_number(invocation, light, "angle",
               light.integer(LED_INTERFACE_ZOOM, "GetCurrentAngleOfIllumination"));
  return kExitDone;
}
