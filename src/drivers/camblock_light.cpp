#include "drivers/camblock_light.h"

#include <syslog.h>

#include <algorithm>
#include <cerrno>

#include "daemon/debug.h"
#include "daemon/util.h"
#include "drivers/camblock.h"
#include "drivers/level_share.h"
#include "led/light_control_switch.h"
#include "led/light_error.h"
#include "led/light_illumination.h"

namespace {

constexpr const char *kConfigFile = "/etc/beamd/camblock.conf";
constexpr KeyFileMessages kMessages = {LOG_ERR, "could not open %s: %s", "Failed reading file",
                                       "Could not load data to GKeyFile"};

UniqueFd open_device(const CamblockDevice &device) {
  if (!device.is_known) {
    errno = ENODEV;
    return {};
  }
  int descriptor = -1;
  const bool is_open = camblock_i2c_open(static_cast<guint8>(device.bus), static_cast<guint8>(device.address),
                                         &descriptor) == 0;
  return is_open ? UniqueFd{descriptor} : UniqueFd{};
}

}  // namespace

bool load_camblock_config(GKeyFile *key_file, const LightControlTexts &texts, bool *is_enabled,
                          GError **error) {
  const auto text = read_file_logging(kConfigFile, kMessages);
  if (!text)
    return false;
  *is_enabled = !is_light_control_disabled(texts.unreadable);
  if (!*is_enabled)
    light_error_no_board(error, texts.disabled);
  return parse_key_file_logging(kConfigFile, *text, key_file, kMessages);
}

bool read_camblock_keys(GKeyFile *key_file, std::span<const CamblockKey> keys, const char *complaint) {
  for (const CamblockKey &key : keys) {
    g_autoptr(GError) error = nullptr;
    *key.value = g_key_file_get_integer(key_file, "i2c_info", key.name, &error);
    if (error != nullptr) {
      syslog(LOG_ERR, complaint, key.name, error->message);
      return false;
    }
  }
  return true;
}

bool read_camblock_device(GKeyFile *key_file, CamblockDevice *device, const char *complaint) {
  const CamblockKey keys[] = {{"camblockI2Cbus", &device->bus},
                              {"camblockI2Caddress", &device->address},
                              {"camblocksubdevice", &device->subdevice}};
  device->is_known = read_camblock_keys(key_file, keys, complaint);
  return device->is_known;
}

CamblockLink::CamblockLink(const CamblockDevice &device) : device_{device}, file_{open_device(device)} {}

bool CamblockLink::read(gint reg, guint16 *value) const {
  return camblock_read_reg(file_.get(), static_cast<guint8>(device_.address),
                           static_cast<guint8>(device_.subdevice), static_cast<guint8>(reg), value) == 0;
}

bool CamblockLink::write(gint reg, guint16 value) const {
  return camblock_write_reg(file_.get(), static_cast<guint8>(device_.address),
                            static_cast<guint8>(device_.subdevice), static_cast<guint8>(reg), value) == 0;
}

CamblockLink::Result CamblockLink::light(const CamblockRegisters &led, guint8 level) const {
  guint16 is_enabled = 0;
  if (!read(led.enable_register, &is_enabled))
    return Result::kNotRead;
  const bool is_done = (is_enabled != 0 || write(led.enable_register, 1)) && write(led.power_register, level);
  return is_done ? Result::kDone : Result::kNotWritten;
}

gint reduced_camblock_power(const LedBase *light, gint led, gdouble sum) {
  return std::max(after_reduction(led_level(light, led), sum, light->power_reduce), 0);
}

void regulate_camblock(LedBase *light, const RegulatorGains &gains, CamblockRegulator *regulator,
                       const TemperatureTexts &temperature_texts, const char *summary) {
  const gint32 sensor = sensor_id(light, 0);
  if (regulator->temperature == kUnseeded)
    regulator->temperature = read_temperature(sensor, temperature_texts);
  regulator->temperature =
      low_pass_rounded_twice(regulator->temperature, read_temperature(sensor, temperature_texts));

  light->power_reduce =
      advance_regulator(light, &regulator->state, gains, regulator->temperature, two_led_level(light));
  debug_log(summary, light->power_reduce, regulator->temperature);
  rewrite_if_lit(light);
}
