#include "beamctl/light_values.h"

#include "beamctl/json_output.h"
#include "beamctl/text.h"

namespace {

// Asked for, it is the value alone.
std::string sentence(const Light &light, const std::string &name, const std::string &value, bool changed) {
  return changed ? light.name() + ": " + name + " is now " + value + "\n" : value + "\n";
}

}  // namespace

std::string value_text(GVariant *value) {
  if (g_variant_is_of_type(value, G_VARIANT_TYPE_STRING))
    return printable(g_variant_get_string(value, nullptr));
  g_autofree gchar *text = g_variant_print(value, FALSE);
  return printable(text);
}

void print_property(const Invocation &invocation, const Light &light, const LightProperty &property,
                    GVariant *value) {
  if (!invocation.json()) {
    print(sentence(light, property.name, value_text(value), invocation.arguments.size() > 2));
    return;
  }
  JsonDocument document;
  document.begin_object();
  document.add("light", light.name());
  document.add("property", property.name);
  document.add("value", value);
  document.end_object();
  print(document.text());
}

void print_number(const Invocation &invocation, const Light &light, const char *name, int value) {
  if (!invocation.json()) {
    print(sentence(light, name, std::to_string(value), invocation.arguments.size() > 1));
    return;
  }
  JsonDocument document;
  document.begin_object();
  document.add("light", light.name());
  document.add(name, value);
  document.end_object();
  print(document.text());
}
