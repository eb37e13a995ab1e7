#include "led/light_illumination.h"

#include <syslog.h>

#include <algorithm>
#include <string>
#include <vector>

#include "daemon/debug.h"
#include "daemon/util.h"
#include "led/board_file.h"
#include "led/illumination_levels.h"
#include "led/light_error.h"
#include "led/power_client.h"

namespace {

constexpr gint kFirstAngle = 0;
constexpr gint kLastAngle = 100;

constexpr IlluminationTexts kTexts = {"failed reading file", "Failed to get number of leds %s", false};

gint read_led_count(GKeyFile *key_file, const IlluminationTexts &texts) {
  g_autoptr(GError) error = nullptr;
  const gint leds = illumination_table_led_count(key_file, &error);
  if (error != nullptr)
    syslog(LOG_ERR, texts.leds, error->message);
  if (texts.mismatch != nullptr && leds != texts.expected_leds)
    syslog(LOG_ERR, "%s", texts.mismatch);
  return leds;
}

void check_angle(const std::vector<ListedRow> &rows, gsize index, bool lone_row_lacks_last_angle) {
  const bool is_first = index == 0;
  const bool is_last = index + 1 == rows.size();
  const gint angle = rows[index].angle;
  if (is_first && angle != kFirstAngle)
    syslog(LOG_ERR, "The first angle in illumination.conf should always be 0");

  const bool lacks_last_angle =
      is_first ? lone_row_lacks_last_angle || angle == kFirstAngle : angle != kLastAngle;
  if (is_last && lacks_last_angle)
    syslog(LOG_ERR, "The last angle in illumination.conf should always be 100");
}

void check_rows(const std::vector<ListedRow> &rows, gint leds, bool lone_row_lacks_last_angle) {
  for (gsize index = 0; index < rows.size(); ++index) {
    check_angle(rows, index, lone_row_lacks_last_angle);
    for (const auto &point : rows[index].points)
      if (point.levels.size() != static_cast<gsize>(leds))
        syslog(LOG_ERR, "Wrong number of leds in illumination.conf for intensity %s",
               point.intensity.c_str());
  }
}

bool detect_board(const LedBase *light, GError **error) {
  const auto path = board_file_path(light, "QXID");
  if (!path) {
    syslog(LOG_WARNING, "Failed find path to QXID ");
    return light_error_no_board(error, "No QXID fs detected");
  }

  char mark = '\0';
  if (read_first_byte(*path, &mark) == FirstByte::kNotOpened) {
    syslog(LOG_INFO, "No QXID fs detected");
    return light_error_no_board(error, "No QXID fs detected");
  }
  const bool is_present = mark != '0' && mark != '7';
  return is_present || light_error_no_board(error, "No IR light PCB found");
}

std::vector<gint> requested_intensities(LedBase *light) {
  std::vector<gint> requested(static_cast<gsize>(light->nbr_of_leds));
  for (gint led = 0; led < light->nbr_of_leds; ++led)
    requested[static_cast<gsize>(led)] = led_base_get_requested_intensity(light, led);
  return requested;
}

void log_levels(const LedBase *light, gint angle, std::span<const gint> levels) {
  if (BEAMD_DEBUG_FLAG != 1)
    return;
  std::string text;
  for (const gint level : levels)
    text += " " + std::to_string(level);
  debug_log("Levels of led%d at angle %d:%s", light->light_id, angle, text.c_str());
}

gdouble needed_watts(LedBase *light) {
  if (light->illumination_table == nullptr)
    return light->intensity / 1000.0;
  const gdouble sum = largest_sum_at_angle(light->illumination_table, light->angle_of_illumination,
                                           requested_intensities(light));
  return sum == 0.0 ? 0.0 : light->power_usage_factor * sum;  // whatever the factor is
}

}  // namespace

bool light_illumination_load(LedBase *light, const IlluminationTexts &texts) {
  g_autoptr(GKeyFile) key_file = g_key_file_new();
  if (!load_key_file_logging(
          kIlluminationFile, key_file,
          {LOG_ERR, "could not open %s: %s", texts.read, "Could not load data to GKeyFile"}))
    return false;

  light->nbr_of_leds = read_led_count(key_file, texts);
  const auto rows = illumination_table_list(key_file);
  if (!illumination_table_is_affordable(point_count(rows), light->nbr_of_leds))
    return false;
  check_rows(rows, light->nbr_of_leds, texts.lone_row_lacks_last_angle);
  light->illumination_table = illumination_table_new(rows, light->nbr_of_leds);
  light->led_intensities = g_new0(gint, light->nbr_of_leds);
  return true;
}

gint led_level(const LedBase *light, gint led) {
  return light->led_intensities != nullptr && led < light->nbr_of_leds ? light->led_intensities[led] : 0;
}

gdouble two_led_level(const LedBase *light) {
  return static_cast<gdouble>(led_level(light, 0)) + led_level(light, 1);
}

gboolean light_illumination_setup(LedBase *light, GError **error) {
  const bool has_board = detect_board(light, error);
  const bool has_table = light_illumination_load(light, kTexts);
  if (light->use_power_request)
    power_client_connect(light);
  return has_board && has_table;
}

void light_illumination_recalculate(LedBase *light, gint angle) {
  if (light->illumination_table == nullptr || light->led_intensities == nullptr)
    return;

  auto levels = levels_at_angle(light->illumination_table, angle, requested_intensities(light));
  if (light->use_power_request)
    limit_to_power(levels, light->power_usage_factor, light->power_intensity);
  log_levels(light, angle, levels);
  std::copy(levels.begin(), levels.end(), light->led_intensities);
}

void light_illumination_request_power(LedBase *light) {
  led_base_send_power_request(light, light->light_on != 0 ? needed_watts(light) : 0.0);
}
