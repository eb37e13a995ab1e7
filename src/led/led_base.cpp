#include "led/led_base.h"

#include <syslog.h>

#include <algorithm>
#include <cmath>

#include "daemon/util.h"
#include "led/light_events.h"
#include "led/light_illumination.h"
#include "led/power_client.h"

namespace {

constexpr gint kDefaultTempSampleTime = 180;  // seconds

bool is_led(const LedBase *self, gint led) { return led >= 0 && led < self->nbr_of_leds; }

bool is_lit(const LedBase *self) { return self->light_on == 1; }

// NULL for another type, and until setup has made the arrays.
gint *levels_of_type(const LedBase *self, gint type) {
  if (type == LED_INTENSITY_TYPE_MANUAL)
    return self->manual_intensities;
  return type == LED_INTENSITY_TYPE_AUTOMATIC ? self->automatic_intensities : nullptr;
}

// A grant that is no number is no power.
gdouble comparable(gdouble watts) { return std::isnan(watts) ? 0.0 : watts; }

void reactivate_if_lit(LedBase *self) {
  if (is_lit(self))
    led_base_activate_light(self, TRUE, nullptr);
}

void request_power_if_lit(LedBase *self) {
  if (is_lit(self))
    led_base_request_power(self);
}

void apply_intensity(LedBase *self) {
  request_power_if_lit(self);
  led_base_recalculate_angle_of_illumination(self, self->angle_of_illumination);
  reactivate_if_lit(self);
}

gint get_intensity(LedBase *self) { return self->intensity; }

void set_intensity(LedBase *self, gint value) {
  self->intensity = value;
  apply_intensity(self);
}

gint get_current_angle_of_illumination(LedBase *self) { return self->angle_of_illumination; }

// Unlike a new intensity, a new angle changes the levels before power is asked for.
void set_angle_of_illumination(LedBase *self, gint angle) {
  self->angle_of_illumination = angle;
  led_base_recalculate_angle_of_illumination(self, angle);
  request_power_if_lit(self);
  reactivate_if_lit(self);

  if (self->state != nullptr)
    g_key_file_set_integer(self->state, "zoom", "angleofillumination", angle);
  led_base_store_state(self);
}

bool store_manual_intensities(LedBase *self) {
  if (self->state == nullptr)
    return false;
  g_key_file_set_integer_list(self->state, "common", "intensities", self->manual_intensities,
                              static_cast<gsize>(self->nbr_of_leds));
  return led_base_store_state(self);
}

gboolean set_individual_led_intensity(LedBase *self, gint led, gint value, gint type) {
  if (!is_led(self, led) || !self->individual_intensity_support)
    return FALSE;

  gint *levels = levels_of_type(self, type);
  if (levels == nullptr)
    return FALSE;

  levels[led] = value;
  if (type == LED_INTENSITY_TYPE_MANUAL && !store_manual_intensities(self))
    return FALSE;
  apply_intensity(self);
  return TRUE;
}

gint get_individual_led_intensity(LedBase *self, gint led, gint type) {
  if (!is_led(self, led))
    return LED_INTENSITY_INVALID;
  if (!self->individual_intensity_support)
    return LED_INTENSITY_NOT_SUPPORTED;
  const gint *levels = levels_of_type(self, type);
  return levels != nullptr ? levels[led] : LED_INTENSITY_INVALID;
}

}  // namespace

G_DEFINE_TYPE(LedBase, led_base, G_TYPE_OBJECT)

static void led_base_init(LedBase *self) {
  self->use_power_request = TRUE;
  self->power_usage_factor = LED_DEFAULT_POWER_USAGE_FACTOR;
  self->temp_sample_time = kDefaultTempSampleTime;
}

static void led_base_dispose(GObject *object) {
  auto *self = LED_BASE(object);
  power_client_disconnect(self);
  g_clear_pointer(&self->illumination_table, illumination_table_free);
  g_clear_pointer(&self->led_intensities, g_free);
  g_clear_pointer(&self->manual_intensities, g_free);
  g_clear_pointer(&self->automatic_intensities, g_free);
  g_clear_pointer(&self->state, g_key_file_unref);
  g_clear_pointer(&self->defaults, g_key_file_unref);
  g_clear_pointer(&self->introspection, g_dbus_node_info_unref);
  self->nbr_of_temp_sensors = 0;
  g_clear_pointer(&self->temp_sensor_ids, g_free);
  g_clear_pointer(&self->temp_sensor_temps, g_free);
  light_events_undeclare(self);
  G_OBJECT_CLASS(led_base_parent_class)->dispose(object);
}

static void led_base_finalize(GObject *object) {
  auto *self = LED_BASE(object);
  g_free(self->ledtype);
  g_free(self->defaults_filename);
  g_free(self->state_filename);
  g_free(self->basepath);
  G_OBJECT_CLASS(led_base_parent_class)->finalize(object);
}

static void led_base_class_init(LedBaseClass *klass) {
  klass->get_intensity = get_intensity;
  klass->set_intensity = set_intensity;
  klass->get_current_angle_of_illumination = get_current_angle_of_illumination;
  klass->setup = light_illumination_setup;
  klass->set_angle_of_illumination = set_angle_of_illumination;
  klass->recalculate_angle_of_illumination = light_illumination_recalculate;
  klass->request_power = light_illumination_request_power;
  klass->set_individual_led_intensity = set_individual_led_intensity;
  klass->get_individual_led_intensity = get_individual_led_intensity;
  G_OBJECT_CLASS(klass)->dispose = led_base_dispose;
  G_OBJECT_CLASS(klass)->finalize = led_base_finalize;
}

void led_base_class_remove_angle(LedBaseClass *klass) {
  klass->get_current_angle_of_illumination = nullptr;
  klass->set_angle_of_illumination = nullptr;
  klass->recalculate_angle_of_illumination = nullptr;
}

void led_base_set_light_id(LedBase *self, gint id) {
  g_return_if_fail(LED_IS_BASE(self));
  self->light_id = id;
}

void led_base_set_event_producer(LedBase *self, EventProducer *producer) {
  g_return_if_fail(LED_IS_BASE(self));
  self->event_producer = producer;
}

GDBusNodeInfo *led_base_get_introspect(LedBase *self) {
  g_return_val_if_fail(LED_IS_BASE(self), nullptr);
  const auto get = LED_BASE_GET_CLASS(self)->get_introspect;
  return get != nullptr ? get(self) : self->introspection;
}

gint led_base_get_nbr_of_interfaces(LedBase *self) {
  g_return_val_if_fail(LED_IS_BASE(self), 0);
  const auto get = LED_BASE_GET_CLASS(self)->get_nbr_of_interfaces;
  return get != nullptr ? get(self) : self->nbr_of_interfaces;
}

gint led_base_get_intensity(LedBase *self) {
  g_return_val_if_fail(LED_IS_BASE(self), -1);
  const auto get = LED_BASE_GET_CLASS(self)->get_intensity;
  return get != nullptr ? get(self) : -1;
}

void led_base_set_intensity(LedBase *self, gint value) {
  g_return_if_fail(LED_IS_BASE(self));
  if (const auto set = LED_BASE_GET_CLASS(self)->set_intensity)
    set(self, value);
}

gint led_base_get_requested_intensity(LedBase *self, gint led) {
  g_return_val_if_fail(LED_IS_BASE(self), 0);
  if (!is_led(self, led))
    return 0;
  if (!self->individual_intensity_support)
    return self->intensity;

  const bool automatic = self->has_automatic_intensity && self->automatic_intensity;
  const gint *levels =
      levels_of_type(self, automatic ? LED_INTENSITY_TYPE_AUTOMATIC : LED_INTENSITY_TYPE_MANUAL);
  return levels != nullptr ? std::min(levels[led], self->intensity) : 0;
}

gint led_base_get_individual_led_intensity(LedBase *self, gint led, gint type) {
  g_return_val_if_fail(LED_IS_BASE(self), LED_INTENSITY_NOT_SUPPORTED);
  const auto get = LED_BASE_GET_CLASS(self)->get_individual_led_intensity;
  return get != nullptr ? get(self, led, type) : LED_INTENSITY_NOT_SUPPORTED;
}

gboolean led_base_set_individual_led_intensity(LedBase *self, gint led, gint value, gint type) {
  g_return_val_if_fail(LED_IS_BASE(self), FALSE);
  const auto set = LED_BASE_GET_CLASS(self)->set_individual_led_intensity;
  return set != nullptr && set(self, led, value, type);
}

gboolean led_base_activate_light(LedBase *self, gboolean on, GError **error) {
  g_return_val_if_fail(LED_IS_BASE(self), FALSE);
  const auto activate = LED_BASE_GET_CLASS(self)->activate_light;
  return activate != nullptr && activate(self, on, error);
}

void led_base_update_light_state(LedBase *self, GError **error) {
  g_return_if_fail(LED_IS_BASE(self));
  const bool on = self->activate && self->enabled;
  if (!led_base_activate_light(self, on, error)) {
    syslog(LOG_ERR, on ? "Unable to activate light" : "Unable to deactivate light");
    return;
  }

  // Power is asked for once the light is known to be on, and given back before anybody hears that it is off.
  if (on && !is_lit(self)) {
    self->light_on = 1;
    light_events_send(self, true);
    led_base_request_power(self);
  } else if (!on && is_lit(self)) {
    self->light_on = 0;
    led_base_request_power(self);
    light_events_send(self, false);
  }
}

gint led_base_get_current_angle_of_illumination(LedBase *self) {
  g_return_val_if_fail(LED_IS_BASE(self), -1);
  const auto get = LED_BASE_GET_CLASS(self)->get_current_angle_of_illumination;
  return get != nullptr ? get(self) : -1;
}

void led_base_set_angle_of_illumination(LedBase *self, gint angle) {
  g_return_if_fail(LED_IS_BASE(self));
  if (const auto set = LED_BASE_GET_CLASS(self)->set_angle_of_illumination)
    set(self, angle);
}

void led_base_recalculate_angle_of_illumination(LedBase *self, gint angle) {
  g_return_if_fail(LED_IS_BASE(self));
  if (const auto recalculate = LED_BASE_GET_CLASS(self)->recalculate_angle_of_illumination)
    recalculate(self, angle);
}

void led_base_request_power(LedBase *self) {
  g_return_if_fail(LED_IS_BASE(self));
  const auto request = LED_BASE_GET_CLASS(self)->request_power;
  if (self->use_power_request && request != nullptr)
    request(self);
}

void led_base_set_power_intensity(LedBase *self, gdouble watts) {
  g_return_if_fail(LED_IS_BASE(self));
  const gdouble old = self->power_intensity;
  if (const auto set = LED_BASE_GET_CLASS(self)->set_power_intensity) {
    set(self, watts);
  } else {
    self->power_intensity = watts;
    led_base_recalculate_angle_of_illumination(self, self->angle_of_illumination);
    reactivate_if_lit(self);
  }

  // The power daemon may hand the watts on once it has the reply: by then the LEDs must have ramped down.
  if (comparable(self->power_intensity) < comparable(old) && self->rampdown_time > 0)
    g_usleep(static_cast<gulong>(self->rampdown_time));
}

void led_base_set_automatic_intensity(LedBase *self) {
  g_return_if_fail(LED_IS_BASE(self));
  if (!self->has_automatic_intensity || !self->has_manual_intensity)
    return;

  if (const auto set = LED_BASE_GET_CLASS(self)->set_automatic_intensity)
    set(self);
  else
    led_base_set_intensity(self, self->automatic_intensity ? self->intensity : self->manual_intensity);
}

void led_base_update_temperature(LedBase *self) {
  g_return_if_fail(LED_IS_BASE(self));
  if (const auto update = LED_BASE_GET_CLASS(self)->update_temperature)
    update(self);
}

gboolean led_base_store_state(LedBase *self) {
  g_return_val_if_fail(LED_IS_BASE(self), FALSE);
  return self->state_filename != nullptr && self->state != nullptr &&
         util_store_key_file(self->state_filename, self->state);
}
