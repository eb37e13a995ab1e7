#include <optional>

#include "beamctl/bus_failure.h"
#include "beamctl/commands.h"
#include "beamctl/json_output.h"
#include "beamctl/light_values.h"
#include "beamctl/table.h"
#include "beamctl/text.h"
#include "daemon/bus_names.h"

namespace {

enum class Source { kMethod, kProperty };

/// One thing that the daemon tells of a light.
struct Fact {
  const char *key;  ///< in JSON
  const char *label;
  Source source;
  const char *interface;
  const char *member;
  const char *argument = nullptr;  ///< of the method
};

constexpr Fact kFacts[] = {
    {"type", "Type", Source::kMethod, LED_INTERFACE_COMMON, "GetLEDType"},
    {"leds", "LEDs", Source::kMethod, LED_INTERFACE_COMMON, "GetNumberOfLEDs"},
    {"board_detected", "Board detected", Source::kProperty, LED_INTERFACE_COMMON, "CardDetected"},
    {"correct_poe", "Power supply sufficient", Source::kProperty, LED_INTERFACE_COMMON, "CorrectPoe"},
    {"enabled", "Enabled", Source::kMethod, LED_INTERFACE_COMMON, "GetEnabled"},
    {"on", "On", Source::kMethod, LED_INTERFACE_COMMON, "GetLightStatus"},
    {"intensity", "Intensity", Source::kMethod, LED_INTERFACE_COMMON, "GetIntensity"},
    {"valid_intensities", "Valid intensities", Source::kMethod, LED_INTERFACE_COMMON, "GetValidIntensities"},
    {"automatic_intensity", "Automatic intensity", Source::kProperty, LED_INTERFACE_COMMON,
     "AutomaticIntensity"},
    {"manual_intensity", "Manual intensity", Source::kProperty, LED_INTERFACE_COMMON, "ManualSetIntensity"},
    {"led_intensities_manual", "Manual intensity of each LED", Source::kMethod, LED_INTERFACE_COMMON,
     "GetIndividualLEDIntensities", "manual"},
    {"led_intensities_automatic", "Automatic intensity of each LED", Source::kMethod, LED_INTERFACE_COMMON,
     "GetIndividualLEDIntensities", "automatic"},
    {"angle", "Angle of illumination", Source::kMethod, LED_INTERFACE_ZOOM, "GetCurrentAngleOfIllumination"},
    {"valid_angles", "Valid angles", Source::kMethod, LED_INTERFACE_ZOOM, "GetValidAngleOfViews"},
    {"automatic_angle_supported", "Automatic angle supported", Source::kProperty, LED_INTERFACE_ZOOM,
     "AutomaticAngleOfIlluminationSupp"},
    {"automatic_angle", "Automatic angle", Source::kProperty, LED_INTERFACE_ZOOM,
     "AutomaticAngleOfIllumination"},
    {"manual_angle", "Manual angle", Source::kProperty, LED_INTERFACE_ZOOM, "ManualSetAngleOfIllumination"},
    {"sync_day_night", "Follows day and night", Source::kProperty, LED_INTERFACE_COMMON, "SyncDayNight"},
    {"sync_day_night_now", "Following not suspended", Source::kMethod, LED_INTERFACE_COMMON,
     "GetEnableSyncDayNight"},
    {"use_day_night", "No manual override", Source::kProperty, LED_INTERFACE_COMMON, "UseDayNight"},
};

struct Answer {
  const Fact *fact;
  Variant value;  ///< none when it was refused
  std::optional<Failure> refusal;
};

// The only value of a reply, without the variant around it that some have.
Variant content_of(const Variant &reply) {
  Variant value{g_variant_get_child_value(reply.get(), 0)};
  if (g_variant_is_of_type(value.get(), G_VARIANT_TYPE_VARIANT))
    return Variant{g_variant_get_variant(value.get())};
  return value;
}

Variant ask(const Light &light, const Fact &fact) {
  if (fact.source == Source::kProperty)
    return light.get(fact.interface, fact.member);
  GVariant *arguments = fact.argument != nullptr ? g_variant_new("(s)", fact.argument) : nullptr;
  return content_of(light.call(fact.interface, fact.member, arguments, "(*)"));
}

// What a light refuses is told as well; without an answer there is nothing to show.
std::vector<Answer> ask_all(const Light &light) {
  std::vector<Answer> answers;
  for (const Fact &fact : kFacts) {
    try {
      answers.push_back({&fact, ask(light, fact), std::nullopt});
    } catch (const Failure &failure) {
      if (failure.exit() != kExitRefused)
        throw;
      answers.push_back({&fact, nullptr, failure});
    }
  }
  return answers;
}

std::string numbers(GVariant *list) {
  std::string words;
  for (gsize index = 0; index < g_variant_n_children(list); ++index) {
    gint32 number = 0;
    g_variant_get_child(list, index, "i", &number);
    words += (index > 0 ? " " : "") + std::to_string(number);
  }
  return words.empty() ? "none" : words;
}

std::string words_of(GVariant *value) {
  if (g_variant_is_of_type(value, G_VARIANT_TYPE_BOOLEAN))
    return yes_no(g_variant_get_boolean(value));
  if (g_variant_is_of_type(value, G_VARIANT_TYPE("ai")))
    return numbers(value);
  if (g_variant_is_of_type(value, G_VARIANT_TYPE("(ii)"))) {
    gint32 low = 0;
    gint32 high = 0;
    g_variant_get(value, "(ii)", &low, &high);
    return std::to_string(low) + " to " + std::to_string(high);
  }
  return value_text(value);
}

Cell cell_of(const Answer &answer) {
  if (!answer.refusal)
    return {words_of(answer.value.get())};
  const std::string reason = answer.refusal->what();
  return is_unsupported(*answer.refusal) ? Cell("not supported: " + reason, Style::kDim)
                                         : Cell("refused: " + reason, Style::kBad);
}

void print_table(const Light &light, const std::vector<Answer> &answers) {
  Table table({{light.name()}, {"METHOD OR PROPERTY"}, {"VALUE"}});
  for (const Answer &answer : answers) {
    const Fact &fact = *answer.fact;
    std::string asked = fact.member;
    if (fact.argument != nullptr)
      asked += " " + std::string{fact.argument};
    table.add({fact.label, asked, cell_of(answer)});
  }
  print(table.text());
}

void print_json(const Light &light, const std::vector<Answer> &answers) {
  JsonDocument document;
  document.begin_object();
  document.add("light", light.name());
  document.add("path", light.path());
  document.begin_object("values");
  for (const Answer &answer : answers)
    if (answer.refusal)
      document.add_null(answer.fact->key);
    else
      document.add(answer.fact->key, answer.value.get());
  document.end_object();
  document.begin_object("refused");
  for (const Answer &answer : answers) {
    if (!answer.refusal)
      continue;
    document.begin_object(answer.fact->key);
    document.add("code", answer.refusal->code());
    document.add("message", answer.refusal->what());
    document.end_object();
  }
  document.end_object();
  document.end_object();
  print(document.text());
}

}  // namespace

int show_command(const Invocation &invocation) {
  const Bus bus(invocation);
  const Light light(bus, invocation.arguments[0]);
  const std::vector<Answer> answers = ask_all(light);
  if (invocation.json())
    print_json(light, answers);
  else
    print_table(light, answers);
  return kExitDone;
}
