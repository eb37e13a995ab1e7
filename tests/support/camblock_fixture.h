#pragma once

#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "drivers/led_2_camblock_i2c.h"
#include "drivers/led_camblock_i2c.h"
#include "support/fake_i2c.h"
#include "support/led_driver_fixture.h"

/// A class of lights on a camera block, and in what its two LEDs differ from those of the other one.
struct CamblockClass {
  const char *name;
  GType (*type)();
  std::string (*config)();  ///< camblock.conf
  std::string (*unread)(int led);
  std::string (*unwritten)(int led);
  std::string (*undarkened)(int led);
  const char *end;                             ///< of some lines
  std::vector<SyslogCapture::Line> unwatched;  ///< what its setup says when there are no sensors
};

inline void PrintTo(const CamblockClass &kind, std::ostream *stream) { *stream << kind.name; }

namespace camblock {

constexpr const char *kDevice = "[i2c_info]\ncamblockI2Cbus=2\ncamblockI2Caddress=33\ncamblocksubdevice=5\n";

// The registers of the fixture's LEDs.
inline int enable_register(int led) { return 0x10 * (led + 1); }
inline int power_register(int led) { return enable_register(led) + 1; }

/// camblock.conf with a group for each LED.
inline std::string grouped_config(int leds) {
  std::string text = kDevice;
  for (int led = 0; led < leds; ++led) {
    const auto name = std::to_string(led);
    text += "[led_" + name + "]\nenable_disable_reg=" + std::to_string(enable_register(led)) +
            "\npower_reg=" + std::to_string(power_register(led)) + "\n";
  }
  return text;
}

/// camblock.conf with all in one group.
inline std::string single_config() {
  std::string text = kDevice;
  for (const int led : {0, 1}) {
    const std::string name = "camblocksubdevice_led" + std::to_string(led);
    text += name + "_enable_disable_reg=" + std::to_string(enable_register(led)) + "\n" + name +
            "_power_reg=" + std::to_string(power_register(led)) + "\n";
  }
  return text;
}

}  // namespace camblock

inline const CamblockClass kAnyNumberOfLeds = {
    "Led_CAMBLOCK_I2C",
    [] { return LED_TYPE_CAMBLOCK_I2C; },
    [] { return camblock::grouped_config(2); },
    [](int led) { return "Read failure to led:" + std::to_string(led); },
    [](int led) { return "Write failure to led:" + std::to_string(led); },
    [](int led) { return "Write failure shut to LED:" + std::to_string(led); },
    "\n",
    {{LOG_WARNING, "Expected at most 2 temperature sensors, but found 0."}},
};

inline const CamblockClass kTwoLeds = {
    "Led_2_CAMBLOCK_I2C",
    [] { return LED_TYPE_2_CAMBLOCK_I2C; },
    camblock::single_config,
    [](int led) { return "Write failure to led " + std::to_string(led); },
    [](int led) { return "Write failure to led " + std::to_string(led); },
    [](int led) { return "Write failure shut to LED " + std::to_string(led); },
    "",
    {},
};

/// Device 0x21 on bus 2, of whose sub-device 5 the LEDs are, and the configuration files of a light of two
/// LEDs without sensors.
class CamblockLight : public LedDriver {
 protected:
  static constexpr const char *kCamblock = "/etc/beamd/camblock.conf";
  static constexpr const char *kAddressed[] = {"i2c-2 funcs", "i2c-2 slave 21"};

  explicit CamblockLight(const CamblockClass &kind) : kind_{kind} {
    fake_i2c() = {};
    FakeI2c::plug_in(2);
    write_file(kCamblock, kind_.config());
    write_leds(2);
    write_dimming("sample_time=5\nk_p=0.1\nref_temp=60\n");
  }

  ~CamblockLight() override {
    EXPECT_EQ(open_i2c_buses(), 0U);
    FakeI2c::unplug_all();
  }

  /// illumination.conf for as many LEDs, all of the same levels.
  static void write_leds(int leds) {
    const auto levels = [leds](const std::string &level) {
      std::string list;
      for (int led = 0; led < leds; ++led)
        list += level + ";";
      return list + "\n";
    };
    write_file(kIllumination, "[info]\nleds=" + std::to_string(leds) + "\n[0]\n0=" + levels("0") + "100=" +
                                  levels("100") + "[100]\n0=" + levels("0") + "100=" + levels("200"));
  }

  static void write_dimming(const std::string &lines) { write_file(kDimming, "[regulator]\n" + lines); }

  LightPointer new_light() const { return new_light_of(kind_); }
  /// A light whose levels are its milliwatts.
  static LightPointer new_light_of(const CamblockClass &kind) {
    auto light = make_light(kind.type());
    light->use_power_request = FALSE;
    light->intensity_high = 255;
    return light;
  }

  LightPointer ready_light(const std::vector<gint> &milliwatts) { return ready_light_of(kind_, milliwatts); }
  /// A light that has been set up.
  LightPointer ready_light_of(const CamblockClass &kind, const std::vector<gint> &milliwatts) {
    auto light = new_light_of(kind);
    EXPECT_EQ(set_up(light), kDone);
    give(light, milliwatts);
    forget();
    return light;
  }

  static void give(const LightPointer &light, const std::vector<gint> &milliwatts) {
    g_free(light->led_intensities);
    light->led_intensities = g_new(gint, milliwatts.size());
    std::copy(milliwatts.begin(), milliwatts.end(), light->led_intensities);
    light->nbr_of_leds = static_cast<gint>(milliwatts.size());
  }

  void forget() {
    requests();
    log_.clear();
  }

  /// The requests to the bus since this was asked last.
  static std::vector<std::string> requests() { return std::exchange(fake_i2c().requests, {}); }

  // These requests as they should be.
  static std::vector<std::string> opened(const std::vector<std::string> &transfers) {
    std::vector<std::string> all{std::begin(kAddressed), std::end(kAddressed)};
    all.insert(all.end(), transfers.begin(), transfers.end());
    return all;
  }
  static std::string asks(int led) {
    return "i2c-2 21<85 " + hexadecimal(camblock::enable_register(led)) + " 21>2";
  }
  static std::string enables(int led) { return written_to(camblock::enable_register(led), 1); }
  static std::string disables(int led) { return written_to(camblock::enable_register(led), 0); }
  static std::string powers(int led, int level) { return written_to(camblock::power_register(led), level); }
  /// Both LEDs, which were not enabled, are lit.
  static std::vector<std::string> lit(int level0, int level1) {
    return opened({asks(0), enables(0), powers(0, level0), asks(1), enables(1), powers(1, level1)});
  }
  /// Both LEDs are lit, which they have been before.
  static std::vector<std::string> adjusted(int level0, int level1) {
    return opened({asks(0), powers(0, level0), asks(1), powers(1, level1)});
  }

  const CamblockClass &kind_;

 private:
  static std::string hexadecimal(int byte) {
    g_autofree gchar *text = g_strdup_printf("%02x", static_cast<unsigned>(byte));
    return text;
  }
  static std::string written_to(int reg, int value) {
    return "i2c-2 21<05 " + hexadecimal(reg) + " " + hexadecimal(value) + " 00";
  }
};

/// Tests of what holds for both classes.
class CamblockLights : public CamblockLight, public testing::WithParamInterface<CamblockClass> {
 protected:
  CamblockLights() : CamblockLight{GetParam()} {}
};

inline std::string class_name(const testing::TestParamInfo<CamblockClass> &info) { return info.param.name; }
