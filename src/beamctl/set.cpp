#include "beamctl/commands.h"
#include "beamctl/failure.h"
#include "beamctl/light_values.h"
#include "beamctl/text.h"

namespace {

void check_writable(const LightProperty &property, const std::vector<LightProperty> &properties) {
  if (property.writable)
    return;
  std::vector<std::string_view> names;
  for (const LightProperty &other : properties)
    if (other.writable)
      names.push_back(other.name);
  throw Failure(kExitUsage, "read-only-property", property.name + " can only be read",
                "these can be set: " + join(names));
}

}  // namespace

int set_command(const Invocation &invocation) {
  const Bus bus(invocation);
  const Light light(bus, invocation.arguments[0]);
  const std::vector<LightProperty> properties = properties_of(light);
  const LightProperty property = find_property(properties, invocation.arguments[1]);
  check_writable(property, properties);
  const Variant value{g_variant_ref_sink(parse_value(property, invocation.arguments[2]))};
  light.set(property.interface.c_str(), property.name.c_str(), value.get());
  const Variant held = light.get(property.interface.c_str(), property.name.c_str());
  print_property(invocation, light, property, held.get());
  return kExitDone;
}
