#include "drivers/led_2_camblock_i2c.h"

#include <syslog.h>

#include "daemon/debug.h"
#include "drivers/camblock_light.h"
#include "drivers/camblock_rules.h"
#include "led/light_illumination.h"

struct _Led_2_CAMBLOCK_I2C {
  LedBase parent;
  CamblockDevice device;
  CamblockRegisters registers[2];
  RegulatorConfig regulator;
};

G_DEFINE_FINAL_TYPE(Led_2_CAMBLOCK_I2C, led_2_camblock_i2c, LED_TYPE_BASE)

namespace {

constexpr LightControlTexts kLightControl = {"IR light not enabled",
                                             "Could not read bootblock parameter LIGHT_CONTROL_ENABLED: %m"};
constexpr IlluminationTexts kIllumination = {"failed reading file", "Failed to get number of leds: %s", true};
constexpr SensorLimit kSensors = {1, "sensor"};

// Of the class, not of the light.
CamblockRegulator regulator_state;

bool read_hardware(Led_2_CAMBLOCK_I2C *self, GKeyFile *key_file) {
  constexpr const char *kComplaint = "Failed to get %s from file: %s";
  const CamblockKey registers[] = {
      {"camblocksubdevice_led0_enable_disable_reg", &self->registers[0].enable_register},
      {"camblocksubdevice_led0_power_reg", &self->registers[0].power_register},
      {"camblocksubdevice_led1_enable_disable_reg", &self->registers[1].enable_register},
      {"camblocksubdevice_led1_power_reg", &self->registers[1].power_register},
  };
  return read_camblock_device(key_file, &self->device, kComplaint) &&
         read_camblock_keys(key_file, registers, kComplaint);
}

gboolean led_2_camblock_i2c_setup(LedBase *light, GError **error) {
  auto *self = LED_2_CAMBLOCK_I2C(light);
  g_autoptr(GKeyFile) key_file = g_key_file_new();
  bool is_enabled = false;
  if (!load_camblock_config(key_file, kLightControl, &is_enabled, error))
    return FALSE;
  // A light that lacks a register is kept, and stays dark.
  if (!read_hardware(self, key_file))
    return is_enabled;
  return light_illumination_load(light, kIllumination) &&
         set_up_regulator(light, kSensors, &self->regulator) && is_enabled;
}

bool light_leds(const Led_2_CAMBLOCK_I2C *self, const CamblockLink &link, gdouble sum) {
  const LedBase *light = &self->parent;
  const gint powers[] = {reduced_camblock_power(light, 0, sum), reduced_camblock_power(light, 1, sum)};
  const guint8 levels[] = {camblock_level(powers[0], light->intensity_high),
                           camblock_level(powers[1], light->intensity_high)};
  debug_log("led0 %d (%d) led1 %d (%d)", powers[0], levels[0], powers[1], levels[1]);
  for (gint led = 0; led < 2; ++led)
    if (link.light(self->registers[led], levels[led]) != CamblockLink::Result::kDone) {
      syslog(LOG_ERR, "Write failure to led %d", led);
      return false;
    }
  return true;
}

bool darken_leds(const Led_2_CAMBLOCK_I2C *self, const CamblockLink &link) {
  for (gint led = 0; led < 2; ++led)
    if (!link.darken(self->registers[led])) {
      syslog(LOG_ERR, "Write failure shut to LED %d", led);
      return false;
    }
  return true;
}

gboolean led_2_camblock_i2c_activate_light(LedBase *light, gboolean on, GError **) {
  const auto *self = LED_2_CAMBLOCK_I2C(light);
  const CamblockLink link{self->device};
  if (!link) {
    syslog(LOG_ERR, "Failed to open device %m");
    return FALSE;
  }
  const gdouble sum = two_led_level(light);
  return on && sum > 0 ? light_leds(self, link, sum) : darken_leds(self, link);
}

void led_2_camblock_i2c_update_temperature(LedBase *light) {
  regulate_camblock(light, LED_2_CAMBLOCK_I2C(light)->regulator.gains, &regulator_state, kTemperatureTexts,
                    "power_reduce = %.2f, temp = %.2f");
}

}  // namespace

static void led_2_camblock_i2c_class_init(Led_2_CAMBLOCK_I2CClass *klass) {
  auto *base = LED_BASE_CLASS(klass);
  base->activate_light = led_2_camblock_i2c_activate_light;
  base->setup = led_2_camblock_i2c_setup;
  base->update_temperature = led_2_camblock_i2c_update_temperature;
}

static void led_2_camblock_i2c_init(Led_2_CAMBLOCK_I2C *) {}
