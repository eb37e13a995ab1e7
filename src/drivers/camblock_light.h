#pragma once

#include <span>

#include "daemon/unique_fd.h"
#include "drivers/regulator.h"
#include "drivers/temperature.h"
#include "led/led_base.h"

/// What the lights on a camera block share: LEDs with two registers each on its light controller, named in
/// /etc/beamd/camblock.conf.

/// The light controller, as "i2c_info" of camblock.conf tells; the low bytes of its numbers count.
struct CamblockDevice {
  gboolean is_known;  ///< FALSE until all of it has been read: it then counts as one that is not there
  gint bus;
  gint address;
  gint subdevice;
};

/// The registers of an LED, of whose numbers the low bytes count.
struct CamblockRegisters {
  gint enable_register;
  gint power_register;
};

/// An integer in group "i2c_info" of camblock.conf and where it belongs.
struct CamblockKey {
  const char *name;
  gint *value;
};

/// What is said of the boot parameter LIGHT_CONTROL_ENABLED, see is_light_control_disabled().
struct LightControlTexts {
  const char *disabled;
  const char *unreadable;
};

/// Loads camblock.conf into @p key_file and looks whether there is a light to control: if not, @p is_enabled
/// is FALSE with error #LIGHT_CONTROL_ERROR_NO_BOARD, and setup goes on. FALSE, logged at LOG_ERR, when the
/// file cannot be loaded.
bool load_camblock_config(GKeyFile *key_file, const LightControlTexts &texts, bool *is_enabled,
                          GError **error);

/// Reads @p keys from group "i2c_info", in this order. FALSE at the first that cannot be read, logged at
/// LOG_ERR as @p complaint, which takes the key's name and the reason.
bool read_camblock_keys(GKeyFile *key_file, std::span<const CamblockKey> keys, const char *complaint);

/// Reads @p device likewise.
bool read_camblock_device(GKeyFile *key_file, CamblockDevice *device, const char *complaint);

/// An open light controller.
class CamblockLink {
 public:
  explicit CamblockLink(const CamblockDevice &device);

  /// FALSE when it could not be opened; errno tells why.
  explicit operator bool() const { return static_cast<bool>(file_); }

  bool read(gint reg, guint16 *value) const;
  bool write(gint reg, guint16 value) const;

  enum class Result { kDone, kNotRead, kNotWritten };
  /// Enables @p led if it is not, and sets its level.
  Result light(const CamblockRegisters &led, guint8 level) const;
  bool darken(const CamblockRegisters &led) const { return write(led.enable_register, 0); }

 private:
  CamblockDevice device_;
  UniqueFd file_;
};

/// What LED @p led of @p light gives, a part of the @p sum of all, when the reduction is taken off.
gint reduced_camblock_power(const LedBase *light, gint led, gdouble sum);

/// What a driver class remembers of the temperature; all its lights share it.
struct CamblockRegulator {
  RegulatorState state;
  double temperature = kUnseeded;
};

/// A tick: the reference is what the first two LEDs give together. @p temperature_texts are what is said of a
/// sensor that cannot be read, @p summary, which takes reduction and temperature, what is said in debug mode.
void regulate_camblock(LedBase *light, const RegulatorGains &gains, CamblockRegulator *regulator,
                       const TemperatureTexts &temperature_texts, const char *summary);
