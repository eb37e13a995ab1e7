#include "drivers/led_1_i2c.h"

#include "daemon/debug.h"
#include "drivers/led_1_i2c_rules.h"
#include "drivers/mcu_board.h"
#include "drivers/temperature.h"
#include "led/power_client.h"

struct _Led_1_I2C {
  LedBase parent;
  gint effective_intensity;  // what the granted power leaves
  RegulatorConfig regulator;
};

G_DEFINE_FINAL_TYPE(Led_1_I2C, led_1_i2c, LED_TYPE_BASE)

namespace {

constexpr const char *kChannels[] = {"led0"};
constexpr McuBoard kBoard = {
    kChannels,
    {"Failed reading file", "Failed to get number of leds from file: %s", true},
    {1, "sensor"},
};

// Of the class, not of the light.
RegulatorState regulator_state;
double filtered_temp = kUnseeded;

gboolean led_1_i2c_setup(LedBase *light, GError **error) {
  return set_up_mcu_board(light, kBoard, &LED_1_I2C(light)->regulator, error);
}

gboolean led_1_i2c_activate_light(LedBase *light, gboolean on, GError **) {
  const UniqueFd channel = open_mcu_channel(light, 0);
  if (!channel)
    return FALSE;

  const gint value = channel_value(on, LED_1_I2C(light)->effective_intensity, light->power_reduce);
  debug_log("led0 %d", value);
  return write_mcu_channel(channel, 0, value);
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

void led_1_i2c_update_temperature(LedBase *light) {
  const auto *self = LED_1_I2C(light);
  if (!begin_tick(light, self->regulator.enabled, self->effective_intensity))
    return;
  const gint32 sensor = light->nbr_of_temp_sensors == 1 ? sensor_id(light, 0) : -1;
  const double temperature = filter_temperature(sensor, &filtered_temp);
  regulate(light, &regulator_state, self->regulator.gains, temperature, self->effective_intensity);
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

static void led_1_i2c_init(Led_1_I2C *) {}
