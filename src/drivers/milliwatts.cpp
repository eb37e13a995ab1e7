#include "drivers/milliwatts.h"

#include <syslog.h>

#include <algorithm>
#include <numeric>

#include "daemon/debug.h"
#include "daemon/util.h"
#include "led/light_error.h"
#include "led/power_client.h"

bool load_led_count(LedBase *light, const char *file_name, GError **error) {
  g_autoptr(GKeyFile) key_file = g_key_file_new();
  if (!util_load_key_file(file_name, key_file))
    return light_error_no_board(error, "Unable to load LED driver configuration");
  light->nbr_of_leds = illumination_table_led_count(key_file, nullptr);
  if (light->nbr_of_leds < 1)
    syslog(LOG_ERR, "Unable to obtain number of LEDs from config");
  return light->nbr_of_leds >= 1;
}

std::vector<gdouble> requested_milliwatts(LedBase *light) {
  std::vector<gdouble> requested(static_cast<gsize>(light->nbr_of_leds));
  for (gint led = 0; led < light->nbr_of_leds; ++led)
    requested[static_cast<gsize>(led)] = led_base_get_requested_intensity(light, led);
  return requested;
}

gdouble granted_milliwatts(const LedBase *light) {
  const gdouble milliwatts = light->power_intensity * 1000.0;
  return milliwatts > 0 ? std::min(milliwatts, gdouble{G_MAXINT}) : 0.0;
}

void request_milliwatts(LedBase *light, bool is_on) {
  if (!is_on) {
    led_base_send_power_request(light, 0.0);
    return;
  }
  const auto requested = requested_milliwatts(light);
  const gdouble watts = std::accumulate(requested.begin(), requested.end(), 0.0) / 1000.0;
  light->requested_power = static_cast<gfloat>(watts);
  debug_log("request_power=%.2fW", watts);
  led_base_send_power_request(light, watts);
}
