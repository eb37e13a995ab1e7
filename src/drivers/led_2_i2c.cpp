#include "drivers/led_2_i2c.h"

#include "daemon/debug.h"
#include "drivers/level_share.h"
#include "drivers/mcu_board.h"
#include "drivers/temperature.h"

struct _Led_2_I2C {
  LedBase parent;
  RegulatorConfig regulator;
};

G_DEFINE_FINAL_TYPE(Led_2_I2C, led_2_i2c, LED_TYPE_BASE)

namespace {

constexpr const char *kChannels[] = {"led0", "led1"};
constexpr McuBoard kBoard = {
    kChannels,
    {"failed reading file", "Failed to get number of leds: %s", true},
    {2, "sensors"},
};

// Of the class, not of the light.
RegulatorState regulator_state;
TwoFilters filters;

gboolean led_2_i2c_setup(LedBase *light, GError **error) {
  return set_up_mcu_board(light, kBoard, &LED_2_I2C(light)->regulator, error);
}

gint channel_value(const LedBase *light, gint channel, gboolean on) {
  const gdouble total = two_led_level(light);
  if (!on || !(total > 0))
    return 0;
  const gint level = led_level(light, channel);
  return reduced_level(level, level / total, light->power_reduce);
}

// A channel that fails leaves the one after it as it is.
gboolean led_2_i2c_activate_light(LedBase *light, gboolean on, GError **) {
  const UniqueFd first = open_mcu_channel(light, 0);
  if (!first)
    return FALSE;
  const UniqueFd second = open_mcu_channel(light, 1);
  if (!second)
    return FALSE;

  const gint values[] = {channel_value(light, 0, on), channel_value(light, 1, on)};
  debug_log("led0 %d led1 %d", values[0], values[1]);
  return write_mcu_channel(first, 0, values[0]) && write_mcu_channel(second, 1, values[1]);
}

void led_2_i2c_update_temperature(LedBase *light) {
  debug_log("Regulator enabled");
  const double temperature = filter_higher_of_two(light, &filters);
  filters.first = temperature;  // the hotter sensor carries on as the first one's filter
  regulate(light, &regulator_state, LED_2_I2C(light)->regulator.gains, temperature, two_led_level(light));
}

}  // namespace

static void led_2_i2c_class_init(Led_2_I2CClass *klass) {
  auto *base = LED_BASE_CLASS(klass);
  base->activate_light = led_2_i2c_activate_light;
  base->setup = led_2_i2c_setup;
  base->update_temperature = led_2_i2c_update_temperature;
}

static void led_2_i2c_init(Led_2_I2C *) {}
