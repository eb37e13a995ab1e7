#include "daemon/light_controller.h"

#include <syslog.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "daemon/led_types.h"
#include "daemon/numbers.h"
#include "drivers/led_1_i2c.h"
#include "drivers/led_1_pwm.h"
#include "drivers/led_2_camblock_i2c.h"
#include "drivers/led_2_i2c.h"
#include "drivers/led_2_uart.h"
#include "drivers/led_3_i2c.h"
#include "drivers/led_bl.h"
#include "drivers/led_camblock_i2c.h"
#include "drivers/led_dummy.h"
#include "drivers/led_fisheye_i2c.h"
#include "drivers/led_serial_link.h"
#include "drivers/led_sysfs.h"
#include "led/led_setup.h"
#include "led/light_error.h"
#include "platform/kvreader.h"

int light_controller_shutdown = 0;

G_DEFINE_TYPE(LightController, light_controller, G_TYPE_OBJECT)

namespace {

constexpr const char *kConfigFile = "/etc/beamd/beamd.conf";
constexpr std::string_view kGroupPrefix = "LED.L";
constexpr int kEventKind = 1;

struct LedType {
  std::string_view name;
  GType (*get_type)();
};

// A getter registers its class, so only the configured classes are ever registered.
constexpr LedType kLedTypes[] = {
    {led_type::kDummy, led_dummy_get_type},
    {led_type::kTarsil, led_3_i2c_get_type},
    {led_type::kLed1I2c, led_1_i2c_get_type},
    {led_type::kLed2I2c, led_2_i2c_get_type},
    {led_type::kLed2Uart, led_2_uart_get_type},
    {led_type::kLed2CamblockI2c, led_2_camblock_i2c_get_type},
    {led_type::kLedCamblockI2c, led_camblock_i2c_get_type},
    {led_type::kLedBl, led_bl_get_type},
    {led_type::kLedFisheyeI2c, led_fisheye_i2c_get_type},
    {led_type::kLedSysfs, led_sysfs_get_type},
    {led_type::kLed1Pwm, led_1_pwm_get_type},
    {led_type::kLedSerialLink, led_serial_link_get_type},
};

const LedType *find_led_type(std::string_view name) {
  const auto *type = std::find_if(std::begin(kLedTypes), std::end(kLedTypes),
                                  [&](const LedType &candidate) { return candidate.name == name; });
  return type != std::end(kLedTypes) ? type : nullptr;
}

// Made once and never again: the controller's dispose frees it, and the process ends soon after.
EventProducer *get_event_producer() {
  static EventProducer *producer = event_producer_new("light_control");
  return producer;
}

void parse_count(const char *text, gint32 *count) {
  char *end = nullptr;
  const long long value = strtoll(text, &end, 10);
  if (end != text)
    *count = to_int(gint64{value});
}

// Text without digits is group 0, and only the low 32 bits of what strtoll makes of a number count.
gint32 group_number(const char *digits) { return static_cast<gint32>(strtoll(digits, nullptr, 10)); }

bool is_configured_group(const LightController *self, gint32 group) {
  if (group < 0 || group >= self->nbr_of_leds)
    return false;
  if (group >= LIGHT_CONTROLLER_MAX_LEDS)
    syslog(LOG_ERR, "LED group %d is skipped: there is room for %d groups", group, LIGHT_CONTROLLER_MAX_LEDS);
  return group < LIGHT_CONTROLLER_MAX_LEDS;
}

// A group that is configured twice counts twice, and its first light stays behind unowned.
void create_light(LightController *self, gint32 group, const LedType &type) {
  self->leds[group] = LED_BASE(g_object_new(type.get_type(), nullptr));
  led_base_set_light_id(self->leds[group], group);
}

/// Returns how many lights it made.
gint32 create_configured_lights(LightController *self) {
  gint32 created = 0;
  while (const KvreaderTriple *triple = kvreader_getcfg()) {
    const std::string_view section{triple->section};
    if (section == "LED") {
      if (std::string_view{triple->key} == "NbrOfLeds")
        parse_count(triple->value, &self->nbr_of_leds);
      continue;
    }
    if (!section.starts_with(kGroupPrefix))
      continue;
    const gint32 group = group_number(triple->section + kGroupPrefix.size());
    if (std::string_view{triple->key} != "Type" || !is_configured_group(self, group))
      continue;
    if (const auto *type = find_led_type(triple->value)) {
      create_light(self, group, *type);
      ++created;
    }
  }
  return created;
}

// The counts may agree although one group is configured twice and another not at all.
bool every_group_has_a_light(const LightController *self) {
  for (gint32 group = 0; group < self->nbr_of_leds; ++group)
    if (group >= LIGHT_CONTROLLER_MAX_LEDS || self->leds[group] == nullptr) {
      syslog(LOG_ERR, "LED group %d has no light", group);
      return false;
    }
  return true;
}

bool create_lights(LightController *self) {
  const gint32 created = create_configured_lights(self);
  if (self->nbr_of_leds > created) {
    syslog(LOG_ERR, "LEDs missing config");
    return false;
  }
  if (self->nbr_of_leds < created) {
    syslog(LOG_ERR, "To many LED configs compared to nbr_of_leds,");
    return false;
  }
  return every_group_has_a_light(self);
}

void switch_off(LedBase *light) {
  g_autoptr(GError) error = nullptr;
  if (!led_base_activate_light(light, FALSE, &error))
    syslog(LOG_ERR, "Unable to deactivate light");
}

bool set_up_light(LightController *self, gint32 group) {
  LedBase *light = self->leds[group];
  g_autoptr(GError) error = nullptr;
  led_base_set_event_producer(light, self->event_producer);
  if (led_base_setup(light, &error)) {
    switch_off(light);
    return true;
  }
  if (g_error_matches(error, LIGHT_CONTROL_ERROR, LIGHT_CONTROL_ERROR_NO_BOARD)) {
    syslog(LOG_INFO, "PCB card for led group %d, not detected", group);
    return true;
  }
  if (g_error_matches(error, LIGHT_CONTROL_ERROR, LIGHT_CONTROL_ERROR_WRONG_POE)) {
    syslog(LOG_INFO, "Wrong poe class for led group %d", group);
    return true;
  }
  return false;
}

bool set_up_lights(LightController *self) {
  for (gint32 group = 0; group < self->nbr_of_leds; ++group)
    if (!set_up_light(self, group))
      return false;
  return true;
}

bool has_event_producer(const LightController *self) {
  if (self->event_producer == nullptr)
    syslog(LOG_ERR, "Unable to create event producer");
  return self->event_producer != nullptr;
}

bool declare_event(LightController *self) {
  const std::unique_ptr<EventDeclaration, decltype(&event_declaration_free)> declaration{
      event_declaration_new(kEventKind), &event_declaration_free};
  if (!declaration) {
    syslog(LOG_ERR, "Unable to create event declaration");
    return false;
  }
  if (!event_declaration_add_key_value(declaration.get(), "light.app", "beamd", EVENT_VALUE_TEXT)) {
    syslog(LOG_ERR, "Unable to add key value: (%s)", "light.app");
    return false;
  }
  self->declaration_id = event_producer_declare(self->event_producer, declaration.get());
  return true;
}

}  // namespace

GQuark light_controller_error_quark() { return g_quark_from_static_string("light-controller-error-quark"); }

gboolean light_controller_setup(LightController *self) {
  g_return_val_if_fail(IS_LIGHT_CONTROLLER(self), FALSE);

  if (!kvreader_opencfg(kConfigFile)) {
    syslog(LOG_ERR, "Unable to open config file %s for beamd: %m", kConfigFile);
    return FALSE;
  }
  self->event_producer = get_event_producer();
  bool ready = has_event_producer(self) && create_lights(self) && set_up_lights(self);
  if (ready) {
    self->day = FALSE;
    ready = declare_event(self);
  }
  kvreader_closecfg();
  return ready;
}

static void light_controller_init(LightController *self) {
  self->event_producer = nullptr;
  light_controller_shutdown = 0;
}

static void light_controller_dispose(GObject *object) {
  auto *self = LIGHT_CONTROLLER(object);
  for (LedBase *&light : self->leds) {
    if (light != nullptr && light->light_on == 1)
      switch_off(light);
    g_clear_object(&light);
  }
  self->nbr_of_leds = 0;
  g_clear_pointer(&self->key_file, g_key_file_unref);
  g_clear_pointer(&self->event_producer, event_producer_free);
  G_OBJECT_CLASS(light_controller_parent_class)->dispose(object);
}

static void light_controller_class_init(LightControllerClass *klass) {
  G_OBJECT_CLASS(klass)->dispose = light_controller_dispose;
}
