#include "drivers/led_1_i2c.h"

#include <syslog.h>

#include <string>

#include "daemon/debug.h"
#include "drivers/attribute_file.h"
#include "drivers/led_1_i2c_rules.h"
#include "drivers/mcu_board.h"
#include "drivers/regulator.h"
#include "led/board_file.h"
#include "led/light_illumination.h"
#include "led/power_client.h"

struct _Led_1_I2C {
  LedBase parent;
  gint effective_intensity;  // what the granted power leaves
  gboolean regulator_enabled;
  RegulatorGains gains;
};

G_DEFINE_FINAL_TYPE(Led_1_I2C, led_1_i2c, LED_TYPE_BASE)

namespace {

constexpr const char *kChannel = "led0";
constexpr IlluminationTexts kIlluminationTexts = {"Failed reading file",
                                                  "Failed to get number of leds from file: %s", true};
constexpr SensorLimit kSensors = {1, "sensor"};

// Of the class, not of the light.
RegulatorState regulator;
double filtered_temp = kUnseeded;

bool configure_dimming(Led_1_I2C *self) {
  g_autoptr(GKeyFile) dimming = g_key_file_new();
  if (!load_dimming_config(dimming))
    return false;
  self->regulator_enabled = g_key_file_get_boolean(dimming, "regulator", "enabled", nullptr);
  configure_regulator(&self->parent, dimming, kSensors, &self->gains);
  return true;
}

gboolean led_1_i2c_setup(LedBase *light, GError **error) {
  const bool is_present = is_mcu_board_present(light, error);
  return light_illumination_load(light, kIlluminationTexts) && give_mcu_file_to_light(light, kChannel) &&
         configure_dimming(LED_1_I2C(light)) && is_present;
}

gboolean led_1_i2c_activate_light(LedBase *light, gboolean on, GError **) {
  const auto path = board_file_path(light, kChannel);
  if (!path) {
    syslog(LOG_WARNING, "Failed find path to led 0");
    return FALSE;
  }
  const UniqueFd channel = open_attribute(*path);
  if (!channel) {
    syslog(LOG_WARNING, "Failed to open fd for led 0");
    return FALSE;
  }

  const gint value = channel_value(on, LED_1_I2C(light)->effective_intensity, light->power_reduce);
  debug_log("led0 %d", value);
  if (!write_attribute(channel, std::to_string(value))) {
    syslog(LOG_ERR, "Write failure to led 0");
    return FALSE;
  }
  return TRUE;
}

// The angle changes nothing: what is calculated is what the granted power allows.
void led_1_i2c_recalculate(LedBase *light, gint) {
  const auto granted = granted_intensity(light->intensity, light->power_usage_factor, light->power_intensity);
  LED_1_I2C(light)->effective_intensity = granted.intensity;
  debug_log("intensity = %d, intensity_factor = %.2f, power_calc = %.2f, power_intensity=%.2f",
            light->intensity, granted.factor, granted.watts, light->power_intensity);
}

void led_1_i2c_request_power(LedBase *light) {
  gdouble watts = 0.0;
  if (light->light_on != 0) {
    light->requested_power = static_cast<gfloat>(light->intensity) * light->power_usage_factor;
    watts = light->requested_power;
  }
  led_base_send_power_request(light, watts);
}

gint32 sensor_of(const LedBase *light) {
  return light->nbr_of_temp_sensors == 1 ? light->temp_sensor_ids[0] : -1;
}

void led_1_i2c_update_temperature(LedBase *light) {
  const auto *self = LED_1_I2C(light);
  if (self->effective_intensity == 0)
    return;

  if (self->regulator_enabled) {
    debug_log("Regulator enabled");
    const double temperature = filter_temperature(sensor_of(light), &filtered_temp);
    regulate(light, &regulator, self->gains, temperature, self->effective_intensity);
    debug_log("power_reduce = %.2f, temp = %.2f", light->power_reduce, temperature);
  } else {
    light->power_reduce = 0.0;
    debug_log("No power reduction. Regulator is disabled.");
  }
  if (light->light_on == 1)
    led_base_activate_light(light, TRUE, nullptr);
}

}  // namespace

static void led_1_i2c_class_init(Led_1_I2CClass *klass) {
  auto *base = LED_BASE_CLASS(klass);
  base->activate_light = led_1_i2c_activate_light;
  base->setup = led_1_i2c_setup;
  base->recalculate_angle_of_illumination = led_1_i2c_recalculate;
  base->request_power = led_1_i2c_request_power;
  base->update_temperature = led_1_i2c_update_temperature;
}

static void led_1_i2c_init(Led_1_I2C *self) { self->parent.power_reduce = 0.0; }
