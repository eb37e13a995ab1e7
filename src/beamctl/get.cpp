#include "beamctl/commands.h"
#include "beamctl/light_values.h"

int get_command(const Invocation &invocation) {
  const Bus bus(invocation);
  const Light light(bus, invocation.arguments[0]);
  const LightProperty property = find_property(properties_of(light), invocation.arguments[1]);
  const Variant value = light.get(property.interface.c_str(), property.name.c_str());
  print_property(invocation, light, property, value.get());
  return kExitDone;
}
