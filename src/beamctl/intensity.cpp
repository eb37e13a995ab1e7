#include "beamctl/commands.h"
#include "beamctl/failure.h"
#include "beamctl/json_output.h"
#include "beamctl/light_values.h"
#include "beamctl/table.h"
#include "beamctl/text.h"
#include "daemon/bus_names.h"

namespace {

/// What the options choose: the light's intensity, one LED's of a kind or all LEDs' of a kind.
struct Choice {
  std::optional<int> led;
  std::string kind;  ///< "manual", "automatic"; empty for the one that holds
};

Choice choice_of(const Invocation &invocation) {
  if (invocation.has("automatic") && invocation.has("manual"))
    throw Failure(kExitUsage, "usage", "an intensity is either automatic or manual",
                  "use one of --automatic and --manual");
  Choice choice;
  if (const auto led = invocation.value("led"))
    choice.led = number_argument(*led, "the number of an LED");
  choice.kind = invocation.has("automatic") ? "automatic" : invocation.has("manual") ? "manual" : "";
  return choice;
}

// The daemon applies the automatic intensities of the LEDs only to a light that supports it and where it is
// on.
std::string holding_kind(const Light &light) {
  return light.flag(LED_INTERFACE_COMMON, "AutomaticIntensity").value_or(false) ? "automatic" : "manual";
}

std::vector<int> read_leds(const Light &light, const Choice &choice) {
  const char *kind = choice.kind.c_str();
  if (choice.led) {
    const Variant reply = light.call(LED_INTERFACE_COMMON, "GetIndividualLEDIntensity",
                                     g_variant_new("(is)", *choice.led, kind), "(i)");
    int intensity = 0;
    g_variant_get(reply.get(), "(i)", &intensity);
    return {intensity};
  }
  const Variant reply =
      light.call(LED_INTERFACE_COMMON, "GetIndividualLEDIntensities", g_variant_new("(s)", kind), "(ai)");
  const Variant list{g_variant_get_child_value(reply.get(), 0)};
  gsize count = 0;
  const auto *values =
      static_cast<const gint32 *>(g_variant_get_fixed_array(list.get(), &count, sizeof(gint32)));
  return {values, values + count};
}

std::string no_leds(const Light &light) { return light.name() + " has no LEDs that can be set one by one"; }

void set_leds(const Light &light, const Choice &choice, int intensity) {
  const char *kind = choice.kind.c_str();
  if (choice.led) {
    light.call(LED_INTERFACE_COMMON, "SetIndividualLEDIntensity",
               g_variant_new("(iis)", *choice.led, intensity, kind), "()");
    return;
  }
  const std::vector<gint32> values(static_cast<size_t>(light.count_leds()), intensity);
  if (values.empty())
    throw Failure(kExitRefused, "not-supported", no_leds(light),
                  "\"beamctl intensity " + light.name() + " VALUE\" sets that of the whole light");
  GVariant *list =
      g_variant_new_fixed_array(G_VARIANT_TYPE_INT32, values.data(), values.size(), sizeof(gint32));
  light.call(LED_INTERFACE_COMMON, "SetIndividualLEDIntensities", g_variant_new("(@ais)", list, kind), "()");
}

void print_leds(const Invocation &invocation, const Light &light, const Choice &choice,
                const std::vector<int> &intensities) {
  const int first = choice.led.value_or(0);
  if (!invocation.json()) {
    Table table({{"LED", Align::kRight},
                 {choice.kind == "manual" ? "MANUAL INTENSITY" : "AUTOMATIC INTENSITY", Align::kRight}});
    for (size_t index = 0; index < intensities.size(); ++index)
      table.add({std::to_string(first + static_cast<int>(index)), std::to_string(intensities[index])});
    print(intensities.empty() ? no_leds(light) + "\n" : table.text());
    return;
  }
  JsonDocument document;
  document.begin_object();
  document.add("light", light.name());
  document.add("kind", choice.kind);
  document.begin_array("leds");
  for (size_t index = 0; index < intensities.size(); ++index) {
    document.begin_object();
    document.add("led", first + static_cast<int>(index));
    document.add("intensity", intensities[index]);
    document.end_object();
  }
  document.end_array();
  document.end_object();
  print(document.text());
}

}  // namespace

int intensity_command(const Invocation &invocation) {
  const auto &arguments = invocation.arguments;
  Choice choice = choice_of(invocation);
  const bool is_set = arguments.size() > 1;
  const int value = is_set ? number_argument(arguments[1], "an intensity") : 0;

  const Bus bus(invocation);
  const Light light(bus, arguments[0]);
  if (!choice.led && choice.kind.empty()) {
    if (is_set)
      light.call(LED_INTERFACE_COMMON, "SetIntensity", g_variant_new("(i)", value), "()");
    print_number(invocation, light, "intensity", light.integer(LED_INTERFACE_COMMON, "GetIntensity"));
    return kExitDone;
  }
  if (choice.kind.empty())
    choice.kind = holding_kind(light);
  if (is_set)
    set_leds(light, choice, value);
  print_leds(invocation, light, choice, read_leds(light, choice));
  return kExitDone;
}
