#include "drivers/led_1_pwm.h"

#include <fcntl.h>
#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <optional>
#include <string>

#include "daemon/debug.h"
#include "daemon/numbers.h"
#include "daemon/util.h"
#include "drivers/attribute_file.h"
#include "drivers/brightness.h"
#include "drivers/device_access.h"
#include "drivers/gpio_lines.h"
#include "drivers/led_1_pwm_rules.h"
#include "drivers/milliwatts.h"
#include "drivers/regulator.h"
#include "drivers/temperature.h"

struct _Led_1_PWM {
  LedBase parent;
  RegulatorConfig regulator;
  gint last_brightness;
  PwmTiming timing;
  gint gpio_lines;
};

G_DEFINE_FINAL_TYPE(Led_1_PWM, led_1_pwm, LED_TYPE_BASE)

namespace {

constexpr const char *kPwmFile = "/etc/beamd/pwm.conf";
constexpr SensorLimit kSensors = {1, "sensor"};

constexpr const char *kExport = "/export";
constexpr const char *kEnable = "/pwm1/enable";
constexpr const char *kPeriod = "/pwm1/period";
constexpr const char *kDutyCycle = "/pwm1/duty_cycle";

// Of the class, not of the light.
RegulatorState regulator_state;
double filtered_temp = kUnseeded;

std::optional<std::string> device_file(const LedBase *light, const char *name) {
  return light->basepath != nullptr ? std::optional{std::string{light->basepath} + name} : std::nullopt;
}

std::string text_of(const std::optional<std::string> &path) { return path.value_or("unknown path"); }

bool read_timing_key(GKeyFile *key_file, const char *key, gint *value) {
  *value = g_key_file_get_integer(key_file, "pwm", key, nullptr);
  if (*value == 0)
    syslog(LOG_ERR, "Could not read %s from pwm.conf", key);
  return *value != 0;
}

bool read_timing(PwmTiming *timing) {
  g_autoptr(GKeyFile) key_file = g_key_file_new();
  return load_key_file_logging(kPwmFile, key_file,
                               {LOG_INFO, "could not open %s: %s", "Failed reading pwm.conf file",
                                "Could not load data to GKeyFile from pwm.conf"}) &&
         read_timing_key(key_file, "ld_period", &timing->period) &&
         read_timing_key(key_file, "duty_high", &timing->duty_high) &&
         read_timing_key(key_file, "duty_low", &timing->duty_low);
}

void give_file_to_light(const LedBase *light, const char *name, gid_t group) {
  const auto path = device_file(light, name);
  if (!open_to_group(path, group))
    syslog(LOG_ERR, "Failed to set %s permissions to %s [gid %d]", name, text_of(path).c_str(),
           static_cast<int>(group));
}

// A channel that is exported already answers EBUSY.
void export_channel(const LedBase *light) {
  const auto path = device_file(light, kExport);
  const UniqueFd file = open_attribute(path);
  if (!file)
    syslog(LOG_WARNING, "Failed to open pwm export fd for led 0 (%s),(%d)", text_of(path).c_str(), errno);
  else if (!write_attribute(file, "1") && errno != EBUSY)
    syslog(LOG_ERR, "Write failure to led 0 (pwm export)(%d)", errno);
}

// The channel's own files are there once it is exported.
void give_channel_to_light(const LedBase *light, gid_t group) {
  give_file_to_light(light, kExport, group);
  export_channel(light);
  for (const char *name : {kEnable, kPeriod, kDutyCycle})
    give_file_to_light(light, name, group);
}

gboolean led_1_pwm_setup(LedBase *light, GError **) {
  auto *self = LED_1_PWM(light);
  if (!set_up_regulator(light, kSensors, &self->regulator))
    return FALSE;
  self->last_brightness = 0;
  if (!read_timing(&self->timing))
    return FALSE;
  const auto group = light_group();
  if (!group)
    return FALSE;
  give_channel_to_light(light, *group);
  const auto lines = set_up_gpio_lines(light->light_id);
  self->gpio_lines = lines.value_or(0);
  return lines.has_value();
}

gint limited_intensity(const LedBase *light) {
  gint intensity = to_int(light->intensity - light->power_reduce);
  const gint granted = to_int(granted_milliwatts(light));
  debug_log("manual intensity %d", intensity);
  if (intensity < light->intensity_low) {
    intensity = light->intensity_low;
    debug_log("min limit intensity %d", intensity);
  } else if (intensity > light->intensity_high) {
    intensity = light->intensity_high;
    debug_log("max limit intensity %d", intensity);
  }
  if (light->use_power_request && intensity > granted) {
    debug_log("Wattd limits the power. Requested: %d, allocated: %d", intensity, granted);
    intensity = granted;
  }
  return intensity;
}

gint wanted_brightness(const LedBase *light) {
  return brightness_of(limited_intensity(light), light->intensity_low, light->intensity_high,
                       light->max_brightness_level);
}

/// FALSE when the file cannot be opened; a failing write is only logged.
bool write_timing(const LedBase *light, const char *name, gint value) {
  const auto path = device_file(light, name);
  const UniqueFd file = open_attribute(path);
  if (!file) {
    syslog(LOG_WARNING, "Failed to open fd for %s (%s)(%d)", name, text_of(path).c_str(), errno);
    return false;
  }
  char text[8];  // longer numbers are cut
  snprintf(text, sizeof text, "%d", value);
  if (!write_attribute(file, text))
    syslog(LOG_ERR, "Write failure to %s (%d)", name, errno);
  return true;
}

bool write_brightness(const LedBase *light, const PwmTiming &timing, gint brightness) {
  debug_log("brightness %d", brightness);
  return write_timing(light, kDutyCycle, duty_cycle(timing, brightness)) &&
         write_timing(light, kPeriod, timing.period);
}

UniqueFd open_enable(const LedBase *light, const char *purpose) {
  const auto path = device_file(light, kEnable);
  UniqueFd file = open_attribute(path, O_RDWR);
  if (!file)
    syslog(LOG_WARNING, "Failed to open pwm1 %s fd for led 0 (%s),(%d)", purpose, text_of(path).c_str(),
           errno);
  return file;
}

// EBUSY: the channel is as it should be.
bool write_enable(const UniqueFd &file, const char *text) {
  return write_attribute(file, text) || errno == EBUSY;
}

bool enable_channel(const LedBase *light, bool on) {
  const char *purpose = on ? "enable" : "disable";
  const UniqueFd file = open_enable(light, purpose);
  if (!file)
    return false;
  const bool is_written = write_enable(file, on ? "1" : "0");
  if (!is_written)
    syslog(LOG_ERR, "Write failure to led 0 (pwm %s)(%d)", purpose, errno);
  return is_written;
}

// The channel takes a new duty cycle when it starts.
void restart_channel(const LedBase *light) {
  const UniqueFd file = open_enable(light, "reenable");
  if (!file)
    return;
  const bool is_stopped = write_enable(file, "0");
  const bool is_started = write_enable(file, "1");
  if (!is_stopped && !is_started)
    syslog(LOG_ERR, "Write failure to led 0 (pwm disable)(%d)", errno);
}

bool switch_gpio_lines(const Led_1_PWM *self, bool on) {
  for (gint line = 0; line < self->gpio_lines; ++line)
    if (!switch_gpio_line(self->parent.light_id, line, on))
      return false;
  return true;
}

bool switch_on(Led_1_PWM *self) {
  LedBase *light = &self->parent;
  const gint brightness = wanted_brightness(light);
  if (!write_brightness(light, self->timing, brightness))
    return false;
  if (brightness != self->last_brightness) {
    restart_channel(light);
    self->last_brightness = brightness;
  }
  if (enable_channel(light, true) && switch_gpio_lines(self, true))
    return true;
  enable_channel(light, false);
  return false;
}

bool switch_off(const Led_1_PWM *self) {
  const LedBase *light = &self->parent;
  const bool is_dark = switch_gpio_lines(self, false) && write_brightness(light, self->timing, 0);
  return enable_channel(light, false) && is_dark;
}

gboolean led_1_pwm_activate_light(LedBase *light, gboolean on, GError **) {
  auto *self = LED_1_PWM(light);
  return on ? switch_on(self) : switch_off(self);
}

void led_1_pwm_update_temperature(LedBase *light) {
  if (!begin_tick(light, TRUE, light->intensity))
    return;
  const double temperature = filter_temperature(sensor_id(light, 0), &filtered_temp);
  regulate(light, &regulator_state, LED_1_PWM(light)->regulator.gains, temperature, light->intensity);
}

}  // namespace

static void led_1_pwm_class_init(Led_1_PWMClass *klass) {
  auto *base = LED_BASE_CLASS(klass);
  led_base_class_remove_angle(base);
  base->activate_light = led_1_pwm_activate_light;
  base->setup = led_1_pwm_setup;
  base->update_temperature = led_1_pwm_update_temperature;
}

static void led_1_pwm_init(Led_1_PWM *) {}
