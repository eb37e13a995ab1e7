#include "beamctl/light.h"

#include <algorithm>
#include <charconv>

#include "beamctl/bus_failure.h"
#include "daemon/bus_names.h"

namespace {

std::string light_name(int number) { return "led" + std::to_string(number); }

Failure no_such_light(const std::string &name, int count) {
  std::string known;
  for (int number = 0; number < count; ++number)
    known += (number > 0 ? ", " : "") + light_name(number);
  return {kExitNotFound, "no-such-light", "there is no light \"" + name + "\"",
          count == 0 ? "beamd has no lights at all; its log may tell why: journalctl -u beamd"
                     : "there are: " + known};
}

constexpr int kMostLights = 255;
constexpr int kMostLeds = 1024;

// Whoever answers, it is counted up to this.
int checked_count(int count, int most, const std::string &what) {
  if (count < 0 || count > most)
    throw odd_answer("tells of " + std::to_string(count) + " " + what);
  return count;
}

int find_light(const Bus &bus, const std::string &name) {
  const int count = count_lights(bus);
  const auto number = parse_light(name);
  if (!number || *number >= count)
    throw no_such_light(name, count);
  return *number;
}

}  // namespace

std::optional<int> parse_number(std::string_view text) {
  int number = 0;
  const char *end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc{} && stop == end ? std::optional{number} : std::nullopt;
}

std::optional<int> parse_light(std::string_view text) {
  if (text.starts_with("led"))
    text.remove_prefix(3);
  const auto number = parse_number(text);
  // There is one way to write it.
  return number && *number >= 0 && std::to_string(*number) == text ? number : std::nullopt;
}

int number_argument(const std::string &text, const std::string &what) {
  const auto number = parse_number(text);
  if (!number)
    throw Failure(kExitUsage, "usage", "\"" + text + "\" is no whole number", what + " is a whole number");
  return *number;
}

int count_lights(const Bus &bus) {
  const Variant reply =
      bus.call({BEAMD_CONTROLLER_PATH, LED_INTERFACE_COMMON, "GetNbrOfLEDs"}, nullptr, "(i)");
  int count = 0;
  g_variant_get(reply.get(), "(i)", &count);
  return checked_count(count, kMostLights, "lights");
}

Light::Light(const Bus &bus, const std::string &name) : Light(bus, find_light(bus, name)) {}

Light::Light(const Bus &bus, int number)
    : bus_(bus), name_(light_name(number)), path_(BEAMD_LIGHT_PATH_PREFIX + std::to_string(number)) {}

Variant Light::call(const char *interface, const char *method, GVariant *arguments, const char *reply_type,
                    int timeout_ms) const {
  return bus_.call({path_.c_str(), interface, method}, arguments, reply_type, timeout_ms);
}

Variant Light::get(const char *interface, const char *property) const {
  return bus_.get({path_.c_str(), interface, property});
}

void Light::set(const char *interface, const char *property, GVariant *value) const {
  bus_.set({path_.c_str(), interface, property}, value);
}

std::optional<bool> Light::flag(const char *interface, const char *property) const {
  try {
    const Variant value = get(interface, property);
    if (!g_variant_is_of_type(value.get(), G_VARIANT_TYPE_BOOLEAN))
      throw odd_answer(std::string{"gives "} + property + " another type than true or false");
    return g_variant_get_boolean(value.get()) != FALSE;
  } catch (const Failure &failure) {
    if (!is_unsupported(failure))
      throw;
    return std::nullopt;
  }
}

bool Light::boolean(const char *interface, const char *method) const {
  gboolean value = FALSE;
  g_variant_get(call(interface, method, nullptr, "(b)").get(), "(b)", &value);
  return value;
}

int Light::integer(const char *interface, const char *method) const {
  int value = 0;
  g_variant_get(call(interface, method, nullptr, "(i)").get(), "(i)", &value);
  return value;
}

int Light::count_leds() const {
  return checked_count(integer(LED_INTERFACE_COMMON, "GetNumberOfLEDs"), kMostLeds, "LEDs of " + name_);
}
