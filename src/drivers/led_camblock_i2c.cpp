#include "drivers/led_camblock_i2c.h"

#include <syslog.h>

#include <algorithm>
#include <vector>

#include "daemon/debug.h"
#include "drivers/camblock_light.h"
#include "drivers/camblock_rules.h"
#include "led/light_error.h"
#include "led/light_illumination.h"

struct _Led_CAMBLOCK_I2C {
  LedBase parent;
  CamblockDevice device;
  CamblockRegisters *registers;  // one per LED
  gint register_count;
  RegulatorConfig regulator;
};

G_DEFINE_FINAL_TYPE(Led_CAMBLOCK_I2C, led_camblock_i2c, LED_TYPE_BASE)

namespace {

constexpr LightControlTexts kLightControl = {
    "IR light not enabled\n", "Could not read bootblock parameter LIGHT_CONTROL_ENABLED: %m\n"};
constexpr TemperatureTexts kTemperature = {"Could not read invalid temperature sensor\n",
                                           "Could not allocate for temperature\n",
                                           "Could not read temperature\n"};

// Of the class, not of the light.
CamblockRegulator regulator_state;

bool read_register(GKeyFile *key_file, const gchar *group, const char *key, gint led, gint *number) {
  g_autoptr(GError) error = nullptr;
  *number = g_key_file_get_integer(key_file, group, key, &error);
  if (error != nullptr)
    syslog(LOG_ERR, "Could not read param '%s' for led:%d", key, led);
  return error == nullptr;
}

// Every group after the first is an LED, whatever its name.
bool read_registers(Led_CAMBLOCK_I2C *self, GKeyFile *key_file) {
  gsize count = 0;
  g_auto(GStrv) groups = g_key_file_get_groups(key_file, &count);
  std::vector<CamblockRegisters> leds;
  for (gsize group = 1; group < count; ++group) {
    const auto led = static_cast<gint>(group - 1);
    CamblockRegisters &registers = leds.emplace_back();
    if (!read_register(key_file, groups[group], "enable_disable_reg", led, &registers.enable_register) ||
        !read_register(key_file, groups[group], "power_reg", led, &registers.power_register))
      return false;
  }
  self->registers = g_new(CamblockRegisters, leds.size());
  std::copy(leds.begin(), leds.end(), self->registers);
  self->register_count = static_cast<gint>(leds.size());
  return true;
}

bool probe_leds(const Led_CAMBLOCK_I2C *self) {
  const CamblockLink link{self->device};
  if (!link)
    return false;
  for (gint led = 0; led < self->register_count; ++led) {
    guint16 is_enabled = 0;
    if (!link.read(self->registers[led].enable_register, &is_enabled)) {
      syslog(LOG_ERR, "Failure to access led:%d", led);
      return false;
    }
  }
  return true;
}

bool find_hardware(const Led_CAMBLOCK_I2C *self, GError **error) {
  if (probe_leds(self))
    return true;
  syslog(LOG_INFO, "Could not find MCU hardware\n");
  return light_error_no_board(error, "No IR light MCU found\n");
}

bool load_illumination(Led_CAMBLOCK_I2C *self) {
  return light_illumination_load(
      &self->parent, {"failed reading file", "Could not read param 'leds'", true, self->register_count,
                      "Number of leds in illumination.conf does not match that in camblock.conf"});
}

gboolean led_camblock_i2c_setup(LedBase *light, GError **error) {
  auto *self = LED_CAMBLOCK_I2C(light);
  g_autoptr(GKeyFile) key_file = g_key_file_new();
  bool is_enabled = false;
  return load_camblock_config(key_file, kLightControl, &is_enabled, error) &&
         read_registers(self, key_file) &&
         read_camblock_device(key_file, &self->device, "Could not read param '%s'") &&
         find_hardware(self, error) && load_illumination(self) &&
         set_up_regulator(light, {self->register_count, "sensors", true}, &self->regulator) && is_enabled;
}

// The files may disagree on how many LEDs there are.
gint driven_leds(const Led_CAMBLOCK_I2C *self) {
  return std::min(self->register_count, self->parent.nbr_of_leds);
}

gdouble total_power(const LedBase *light) {
  gdouble sum = 0.0;
  for (gint led = 0; led < light->nbr_of_leds; ++led)
    sum += led_level(light, led);
  return sum;
}

bool light_led(const Led_CAMBLOCK_I2C *self, const CamblockLink &link, gint led, gdouble sum) {
  const LedBase *light = &self->parent;
  const gint reduced = reduced_camblock_power(light, led, sum);
  const guint8 level = camblock_level(reduced, light->intensity_high);
  debug_log("led %d (%d) ", reduced, level);
  const auto result = link.light(self->registers[led], level);
  if (result != CamblockLink::Result::kDone)
    syslog(LOG_ERR,
           result == CamblockLink::Result::kNotRead ? "Read failure to led:%d" : "Write failure to led:%d",
           led);
  return result == CamblockLink::Result::kDone;
}

bool darken_led(const Led_CAMBLOCK_I2C *self, const CamblockLink &link, gint led) {
  const bool is_dark = link.darken(self->registers[led]);
  if (!is_dark)
    syslog(LOG_ERR, "Write failure shut to LED:%d", led);
  return is_dark;
}

// An LED that fails leaves the ones after it as they are.
gboolean led_camblock_i2c_activate_light(LedBase *light, gboolean on, GError **) {
  const auto *self = LED_CAMBLOCK_I2C(light);
  if (driven_leds(self) < 1)
    return TRUE;
  const CamblockLink link{self->device};
  if (!link) {
    syslog(LOG_ERR, "Failed to open device %m");
    return FALSE;
  }
  const gdouble sum = total_power(light);
  const bool is_lit = on && sum > 0;
  for (gint led = 0; led < driven_leds(self); ++led)
    if (!(is_lit ? light_led(self, link, led, sum) : darken_led(self, link, led)))
      return FALSE;
  return TRUE;
}

void led_camblock_i2c_update_temperature(LedBase *light) {
  regulate_camblock(light, LED_CAMBLOCK_I2C(light)->regulator.gains, &regulator_state, kTemperature,
                    "power_reduce = %.2f, temp = %.2f\n");
}

}  // namespace

static void led_camblock_i2c_finalize(GObject *object) {
  g_free(LED_CAMBLOCK_I2C(object)->registers);
  G_OBJECT_CLASS(led_camblock_i2c_parent_class)->finalize(object);
}

static void led_camblock_i2c_class_init(Led_CAMBLOCK_I2CClass *klass) {
  auto *base = LED_BASE_CLASS(klass);
  base->activate_light = led_camblock_i2c_activate_light;
  base->setup = led_camblock_i2c_setup;
  base->update_temperature = led_camblock_i2c_update_temperature;
  G_OBJECT_CLASS(klass)->finalize = led_camblock_i2c_finalize;
}

static void led_camblock_i2c_init(Led_CAMBLOCK_I2C *) {}
