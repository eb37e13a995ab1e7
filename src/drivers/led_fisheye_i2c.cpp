#include "drivers/led_fisheye_i2c.h"

#include <syslog.h>

#include <cerrno>
#include <numeric>
#include <string>

#include "daemon/debug.h"
#include "daemon/numbers.h"
#include "daemon/util.h"
#include "drivers/attribute_file.h"
#include "drivers/hardware_config.h"
#include "drivers/led_fisheye_i2c_rules.h"
#include "drivers/led_path.h"
#include "drivers/milliwatts.h"
#include "drivers/regulator.h"
#include "drivers/temperature.h"
#include "led/light_error.h"
#include "led/temperature_sensors.h"

struct _Led_Fisheye_I2C {
  LedBase parent;
  gint *levels;  // milliwatts last written, per LED; NULL until setup has come that far
  RegulatorGains gains;
};

G_DEFINE_FINAL_TYPE(Led_Fisheye_I2C, led_fisheye_i2c, LED_TYPE_BASE)

namespace {

constexpr gint kMostSensors = 4;
constexpr const char *kUnreadableSensor = "update_temperature: unable to read temperature from sensor %d";

// Of the class, not of the light.
RegulatorState regulator_state;
FourFilters filters = kFourUnseeded;

bool complain(const char *text) {
  syslog(LOG_ERR, "%s", text);
  return false;
}

bool read_led_count(LedBase *light, GError **error) {
  const auto file_name = hardware_config(kIlluminationFile, "Using illumination config file %s");
  return load_led_count(light, file_name.c_str(), error);
}

bool make_levels(Led_Fisheye_I2C *self, GError **error) {
  self->levels = g_try_new0(gint, static_cast<gsize>(self->parent.nbr_of_leds));
  return self->levels != nullptr ||
         light_error_no_board(error, "Unable to allocate memory for requested LED intensities");
}

bool read_gain(GKeyFile *dimming, const char *key, double *gain, const char *complaint) {
  g_autoptr(GError) error = nullptr;
  *gain = g_key_file_get_double(dimming, "regulator", key, &error);
  return error == nullptr || complain(complaint);
}

// Unlike other boards this one does not do without any of the settings.
bool configure_dimming(Led_Fisheye_I2C *self, GError **error) {
  LedBase *light = &self->parent;
  g_autoptr(GKeyFile) dimming = g_key_file_new();
  const auto file_name = hardware_config(kDimmingFile, "Using dimming config file %s");
  if (!util_load_key_file(file_name.c_str(), dimming))
    return light_error_no_board(error, "Unable to load LED driver configuration");
  const gint sensors = led_base_conf_temp_sensor_ids(light, dimming, nullptr);
  if (sensors > kMostSensors) {
    syslog(LOG_ERR, "Expected at most %d temperature sensors, but found %d.", kMostSensors, sensors);
    return false;
  }
  light->temp_sample_time = g_key_file_get_integer(dimming, "regulator", "sample_time", nullptr);
  if (light->temp_sample_time < 1)
    return complain("Missing sample_time parameter");
  return read_gain(dimming, "k_p", &self->gains.k_p, "missing k_p parameter") &&
         read_gain(dimming, "k_i", &self->gains.k_i, "missing k_i parameter") &&
         read_gain(dimming, "k_d", &self->gains.k_d, "missing k_d parameter") &&
         read_gain(dimming, "ref_temp", &self->gains.ref_temp, "Missing ref_temp parameter") &&
         (self->gains.ref_temp > 0.0 || complain("Missing ref_temp parameter"));
}

gboolean led_fisheye_i2c_setup(LedBase *light, GError **error) {
  auto *self = LED_FISHEYE_I2C(light);
  return probe_first_led(light, error) && read_led_count(light, error) && make_levels(self, error) &&
         configure_dimming(self, error) &&
         (give_led_files_to_light(light, light->nbr_of_leds, "Failed to set r/w group to fd: %s") ||
          light_error_no_board(error, "IR light PCB is not accessible"));
}

bool write_led(const LedBase *light, gint led, const std::string &text) {
  const auto path = expand_led_path(light->basepath, {led});
  if (!path)
    return complain("activate_light: failed to allocate led path");
  const UniqueFd file = open_attribute(*path);
  if (!file) {
    syslog(LOG_ERR, "activate_light: failed to open %s: %m", path->c_str());
    return false;
  }
  bool is_written = false;
  do {
    is_written = write_attribute(file, text);
  } while (!is_written && errno == EINTR);
  if (!is_written)
    syslog(LOG_ERR, "activate_light: write failure to led %d", led);
  return is_written;
}

// An LED that fails does not keep the others from being written.
gboolean led_fisheye_i2c_activate_light(LedBase *light, gboolean on, GError **) {
  auto *self = LED_FISHEYE_I2C(light);
  const gdouble budget = light->power_intensity * 1000.0;
  debug_log("activate_light: total_power:%.2f power_reduce:%.2f", budget, light->power_reduce);
  if (self->levels == nullptr)
    return TRUE;

  const auto requested = requested_milliwatts(light);
  const gdouble total = std::accumulate(requested.begin(), requested.end(), 0.0);
  const bool is_lit = on && to_int(budget) > 0;
  gboolean is_done = TRUE;
  for (gint led = 0; led < light->nbr_of_leds; ++led) {
    const gdouble share = is_lit ? share_of(requested[static_cast<gsize>(led)], total) : 0.0;
    const gint level = is_lit ? shared_level(budget, light->power_reduce, share, light->intensity_high) : 0;
    self->levels[led] = level;
    const std::string text = std::to_string(level);
    debug_log("activate_light: led%d: %s (%.2f)", led, text.c_str(), share);
    if (!write_led(light, led, text))
      is_done = FALSE;
  }
  return is_done;
}

void led_fisheye_i2c_request_power(LedBase *light) { request_milliwatts(light, light->light_on != 0); }

void led_fisheye_i2c_update_temperature(LedBase *light) {
  const auto temperature = filter_highest_of_four(light, &filters, kUnreadableSensor);
  if (!temperature)
    return;
  const gdouble budget = granted_milliwatts(light);
  light->power_reduce =
      advance_regulator(light, &regulator_state, LED_FISHEYE_I2C(light)->gains, *temperature, budget);
  debug_log("total_power=%.2f power_reduce = %.2f, temp = %.2f", budget, light->power_reduce, *temperature);
  rewrite_if_lit(light);
}

}  // namespace

static void led_fisheye_i2c_finalize(GObject *object) {
  g_free(LED_FISHEYE_I2C(object)->levels);
  G_OBJECT_CLASS(led_fisheye_i2c_parent_class)->finalize(object);
}

static void led_fisheye_i2c_class_init(Led_Fisheye_I2CClass *klass) {
  auto *base = LED_BASE_CLASS(klass);
  led_base_class_remove_angle(base);
  base->activate_light = led_fisheye_i2c_activate_light;
  base->setup = led_fisheye_i2c_setup;
  base->request_power = led_fisheye_i2c_request_power;
  base->update_temperature = led_fisheye_i2c_update_temperature;
  G_OBJECT_CLASS(klass)->finalize = led_fisheye_i2c_finalize;
}

static void led_fisheye_i2c_init(Led_Fisheye_I2C *) {}
