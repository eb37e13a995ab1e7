#include "beamctl/light_properties.h"

#include <algorithm>
#include <array>

#include "beamctl/failure.h"
#include "beamctl/text.h"
#include "daemon/bus_names.h"

namespace {

Failure no_such_property(const std::vector<LightProperty> &properties, const std::string &name) {
  std::vector<std::string_view> names;
  std::ranges::transform(properties, std::back_inserter(names), &LightProperty::name);
  const std::string_view similar = most_similar(name, names);
  const std::string guess = similar.empty() ? "" : "did you mean \"" + std::string{similar} + "\"? ";
  return {kExitNotFound, "no-such-property", "there is no property \"" + name + "\"",
          guess + "there are: " + join(names)};
}

Failure not_of_type(const LightProperty &property, const std::string &text, const std::string &wanted) {
  return {kExitUsage, "invalid-value", "\"" + text + "\" is no value of " + property.name,
          property.name + " is " + wanted};
}

GVariant *parse_boolean(const LightProperty &property, const std::string &text) {
  static constexpr std::array<std::string_view, 4> kTrue = {"true", "yes", "on", "1"};
  static constexpr std::array<std::string_view, 4> kFalse = {"false", "no", "off", "0"};
  if (std::ranges::find(kTrue, text) != kTrue.end())
    return g_variant_new_boolean(TRUE);
  if (std::ranges::find(kFalse, text) != kFalse.end())
    return g_variant_new_boolean(FALSE);
  throw not_of_type(property, text, "true or false");
}

GVariant *parse_integer(const LightProperty &property, const std::string &text) {
  if (const auto number = parse_number(text))
    return g_variant_new_int32(*number);
  throw not_of_type(property, text, "a whole number of 32 bits");
}

void append_properties(const GDBusInterfaceInfo &interface, std::vector<LightProperty> &found) {
  if (!std::string_view{interface.name}.starts_with(BEAMD_BUS_NAME ".") || interface.properties == nullptr)
    return;
  for (GDBusPropertyInfo **at = interface.properties; *at != nullptr; ++at)
    found.push_back({interface.name, (*at)->name, (*at)->signature,
                     ((*at)->flags & G_DBUS_PROPERTY_INFO_FLAGS_WRITABLE) != 0});
}

}  // namespace

std::vector<LightProperty> properties_of(const Light &light) {
  const Variant reply = light.call("org.freedesktop.DBus.Introspectable", "Introspect", nullptr, "(s)");
  const char *xml = nullptr;
  g_variant_get(reply.get(), "(&s)", &xml);
  g_autoptr(GError) error = nullptr;
  g_autoptr(GDBusNodeInfo) node = g_dbus_node_info_new_for_xml(xml, &error);
  if (node == nullptr)
    throw Failure(kExitRefused, "refused",
                  std::string{"beamd describes the light in an unknown way: "} + error->message,
                  "do beamd and beamctl have the same version?");

  std::vector<LightProperty> found;
  for (GDBusInterfaceInfo **at = node->interfaces; at != nullptr && *at != nullptr; ++at)
    append_properties(**at, found);
  return found;
}

LightProperty find_property(const std::vector<LightProperty> &properties, const std::string &name) {
  const auto found = std::ranges::find(properties, name, &LightProperty::name);
  if (found == properties.end())
    throw no_such_property(properties, name);
  return *found;
}

GVariant *parse_value(const LightProperty &property, const std::string &text) {
  if (property.type == "b")
    return parse_boolean(property, text);
  if (property.type == "i")
    return parse_integer(property, text);
  throw not_of_type(property, text, "of a type that beamctl does not know: " + property.type);
}
