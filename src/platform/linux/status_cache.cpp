#include "platform/status_cache.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

namespace {

constexpr std::string_view kTemperatureGroup = "TEMPERATURE_";
constexpr std::string_view kCelsiusKey = "CELSIUS";
constexpr int kFloatType = 2;

std::optional<int> parse_integer(std::string_view text) {
  int value = 0;
  const char *end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc{} || stop != end)
    return std::nullopt;
  return value;
}

/// The number of the thermal zone that `group` names; each zone has one name only.
std::optional<int> thermal_zone(std::string_view group) {
  if (!group.starts_with(kTemperatureGroup))
    return std::nullopt;
  const std::string_view text = group.substr(kTemperatureGroup.size());
  const std::optional<int> zone = parse_integer(text);
  if (!zone || *zone < 0 || std::to_string(*zone) != text)
    return std::nullopt;
  return zone;
}

std::optional<float> read_celsius(int zone) {
  std::ifstream file("/sys/class/thermal/thermal_zone" + std::to_string(zone) + "/temp");
  std::array<char, 32> buffer;
  file.read(buffer.data(), buffer.size());
  std::string_view text(buffer.data(), static_cast<std::size_t>(file.gcount()));
  if (text.ends_with('\n'))
    text.remove_suffix(1);
  const std::optional<int> millidegrees = parse_integer(text);
  if (!millidegrees)
    return std::nullopt;
  return static_cast<float>(*millidegrees / 1000.0);
}

bool is_end(const ScItem &item) {
  return item.key == nullptr && item.size == 0 && item.destination == nullptr && item.type == 0;
}

bool is_celsius(const ScItem &item) {
  return item.key != nullptr && item.key == kCelsiusKey && item.size == sizeof(float) &&
         item.destination != nullptr && item.type == kFloatType;
}

}  // namespace

int sc_get_group(const char *group, ScItem *items, int flags) {
  const std::optional<int> zone = thermal_zone(group);
  if (!zone || flags != 0)
    return 0;
  for (const ScItem *item = items; !is_end(*item); item++) {
    if (!is_celsius(*item))
      return 0;
  }
  const std::optional<float> celsius = read_celsius(*zone);
  if (!celsius)
    return 0;
  for (const ScItem *item = items; !is_end(*item); item++)
    std::memcpy(item->destination, &*celsius, sizeof(float));
  return 1;
}
