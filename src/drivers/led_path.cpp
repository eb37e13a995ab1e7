#include "drivers/led_path.h"

#include <syslog.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "drivers/device_access.h"
#include "led/board_file.h"
#include "led/light_error.h"

namespace {

constexpr const char *kFlags = "-+ #0";
constexpr const char *kDigits = "0123456789";

/// The conversion at the start of @p text with its percent sign; empty when it is none that is expanded.
std::string_view conversion_at(const char *text) {
  const size_t flags = strspn(text + 1, kFlags);
  const size_t width = strspn(text + 1 + flags, kDigits);
  const size_t length = 1 + flags + width;
  const bool is_too_wide = strtoul(text + 1 + flags, nullptr, 10) >= PATH_MAX;
  const bool is_integer = text[length] != '\0' && strchr("diu", text[length]) != nullptr;
  return is_integer && !is_too_wide ? std::string_view{text, length + 1} : std::string_view{};
}

std::string format_number(std::string_view conversion, int number) {
  char text[PATH_MAX];
  const int length = snprintf(text, sizeof text, std::string{conversion}.c_str(), number);
  return {text, static_cast<size_t>(length)};
}

}  // namespace

std::optional<std::string> expand_led_path(const char *format, std::initializer_list<int> arguments) {
  if (format == nullptr)
    return std::nullopt;

  std::string path;
  const int *argument = arguments.begin();
  for (const char *text = format; *text != '\0';) {
    if (*text != '%') {
      path += *text++;
    } else if (text[1] == '%') {
      path += '%';
      text += 2;
    } else {
      const auto conversion = conversion_at(text);
      if (conversion.empty() || argument == arguments.end())
        return std::nullopt;
      path += format_number(conversion, *argument++);
      text += conversion.size();
    }
  }
  return path.size() < PATH_MAX ? std::optional{path} : std::nullopt;
}

bool give_led_files_to_light(const LedBase *light, gint leds, const char *mode_complaint) {
  const auto group = light_group();
  if (!group)
    return false;
  for (gint led = 0; led < leds; ++led) {
    const auto path = expand_led_path(light->basepath, {led});
    if (!give_to_group(path, *group))
      return false;
    if (!make_group_writable(path->c_str())) {
      syslog(LOG_ERR, mode_complaint, path->c_str());
      return false;
    }
  }
  return true;
}

bool probe_first_led(const LedBase *light, GError **error) {
  const auto path = expand_led_path(light->basepath, {0});
  char byte = '\0';
  if (path && read_first_byte(*path, &byte) == FirstByte::kRead)
    return true;
  syslog(LOG_INFO, "Could not find MCU hardware");
  return light_error_no_board(error, "No IR light PCB found");
}
