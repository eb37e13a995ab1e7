#pragma once

#include <gio/gio.h>

#include "led/illumination_table.h"
#include "platform/event_producer.h"

G_BEGIN_DECLS

/// One light: a group of LEDs that is switched, dimmed and offered on the bus as one. The base owns what is
/// the same for all hardware; a driver class derives from it and fills the slots that touch its hardware. One
/// thread: nothing is locked.
#define LED_TYPE_BASE (led_base_get_type())
#define LED_BASE(object) (G_TYPE_CHECK_INSTANCE_CAST((object), LED_TYPE_BASE, LedBase))
#define LED_BASE_CLASS(klass) (G_TYPE_CHECK_CLASS_CAST((klass), LED_TYPE_BASE, LedBaseClass))
#define LED_IS_BASE(object) (G_TYPE_CHECK_INSTANCE_TYPE((object), LED_TYPE_BASE))
#define LED_BASE_GET_CLASS(object) (G_TYPE_INSTANCE_GET_CLASS((object), LED_TYPE_BASE, LedBaseClass))

/// Argument `type` of the individual intensities.
enum { LED_INTENSITY_TYPE_MANUAL = 0, LED_INTENSITY_TYPE_AUTOMATIC = 1 };

/// Negative results of get_individual_led_intensity.
enum { LED_INTENSITY_NOT_SUPPORTED = -1, LED_INTENSITY_INVALID = -2 };

/// Watts per intensity unit of a light that does not configure its own.
#define LED_DEFAULT_POWER_USAGE_FACTOR 0.0018F

typedef struct _LedBase LedBase;

/// The operations of a light. An empty slot means the base's own behaviour where there is one, otherwise that
/// the light does not support the operation: no caller fails on it.
typedef struct {
  GObjectClass parent_class;

  gint (*get_intensity)(LedBase *self);
  void (*set_intensity)(LedBase *self, gint value);
  gboolean (*activate_light)(LedBase *self, gboolean on, GError **error);  ///< writes the hardware
  gint (*get_current_angle_of_illumination)(LedBase *self);
  void (*reserved)(void);
  gint (*get_nbr_of_interfaces)(LedBase *self);
  gboolean (*setup)(LedBase *self, GError **error);  ///< FALSE without an error ends the daemon
  void (*set_angle_of_illumination)(LedBase *self, gint angle);
  void (*recalculate_angle_of_illumination)(LedBase *self, gint angle);
  void (*set_power_intensity)(LedBase *self, gdouble watts);
  void (*request_power)(LedBase *self);
  void (*set_automatic_intensity)(LedBase *self);
  GDBusNodeInfo *(*get_introspect)(LedBase *self);
  void (*update_temperature)(LedBase *self);
  gboolean (*set_individual_led_intensity)(LedBase *self, gint led, gint value, gint type);
  gint (*get_individual_led_intensity)(LedBase *self, gint led, gint type);
} LedBaseClass;

struct _LedBase {
  GObject parent_instance;

  gint reserved;
  gint light_id;
  gchar *ledtype;
  gboolean activate;   ///< what the last ActivateLight asked for
  gboolean manual_on;  ///< what the last SetManualOn asked for
  gboolean use_manual_override;
  gboolean enabled;
  gint max_brightness_level;  ///< -1 when not configured
  gint light_on;              ///< 1 while the light is switched on
  gint intensity;
  gdouble power_intensity;       ///< watts granted by the power daemon
  gdouble power_reduce;          ///< thermal reduction, written by the driver's regulator
  gdouble required_total_power;  ///< watts, 0 = no requirement
  gint minimum_poe_class;        ///< 0 = no requirement
  gint angle_of_illumination;    ///< 0-100, the scale of the illumination table
  gint sync_disable_count;       ///< clients that hold day/night synchronisation off
  gboolean sync_day_night;
  gboolean automatic_aoi;
  gboolean automatic_intensity;
  gint manual_intensity;
  gint manual_aoi;
  gfloat requested_power;  ///< watts last asked for by the driver's own request_power
  gint intensity_low, intensity_high;
  gint aoi_low, aoi_high;
  gboolean card_detected;
  gboolean correct_poe;
  gint nbr_of_interfaces;
  gchar *state_filename;
  gchar *defaults_filename;
  gchar *basepath;  ///< NULL when the defaults file names none
  gboolean use_power_request;
  gint rampdown_time;         ///< microseconds
  gfloat power_usage_factor;  ///< watts per intensity unit
  gboolean has_automatic_intensity;
  gboolean has_angle_of_illumination;
  gboolean has_automatic_aoi;
  gboolean has_sync_day_night;
  gboolean has_manual_intensity;
  gboolean has_manual_aoi;
  gboolean individual_intensity_support;
  GKeyFile *state;
  GKeyFile *defaults;
  GDBusNodeInfo *introspection;
  EventProducer *event_producer;  ///< borrowed
  guint status_changed_decl;      ///< 0 = not declared
  guint status_decl;              ///< 0 = not declared
  GDBusProxy *consumer_proxy;
  GDBusProxy *status_proxy;
  guint owner_handler;
  guint props_handler;
  gint *led_intensities;                ///< per LED, of the last recalculation
  IlluminationRow *illumination_table;  ///< NULL when the light has none
  gint nbr_of_leds;
  gint *automatic_intensities;  ///< per LED
  gint *manual_intensities;     ///< per LED
  gint temp_sample_time;        ///< seconds
  gint *temp_sensor_ids;        ///< per sensor, -1 = not found
  gdouble *temp_sensor_temps;   ///< per sensor, °C, -1000.0 = no reading yet
  gint nbr_of_temp_sensors;
};

GType led_base_get_type(void);

/// For the class initialiser of a driver whose light cannot shape its beam: empties the three slots of the
/// angle.
void led_base_class_remove_angle(LedBaseClass *klass);
G_DEFINE_AUTOPTR_CLEANUP_FUNC(LedBase, g_object_unref)

/// Call both before led_base_setup(). The producer stays the caller's and must outlive the light.
void led_base_set_light_id(LedBase *self, gint id);
void led_base_set_event_producer(LedBase *self, EventProducer *producer);

/// The interfaces of the light's bus object; owned by the light, NULL before setup.
GDBusNodeInfo *led_base_get_introspect(LedBase *self);
/// How many of them, in their order, the light offers.
gint led_base_get_nbr_of_interfaces(LedBase *self);

/// The intensity, or -1 when the light has none.
gint led_base_get_intensity(LedBase *self);
/// Applies @p value, which is neither checked nor written to the state file.
void led_base_set_intensity(LedBase *self, gint value);

/// What LED @p led shall give before angle and power are looked at: never more than `intensity`; 0 for an LED
/// that is not there.
gint led_base_get_requested_intensity(LedBase *self, gint led);

/// The level of one LED, #LED_INTENSITY_NOT_SUPPORTED, or #LED_INTENSITY_INVALID for an LED or type that is
/// not there.
gint led_base_get_individual_led_intensity(LedBase *self, gint led, gint type);
/// FALSE when not supported or, for a manual level, when it could not be stored. Manual levels are stored,
/// automatic ones not.
gboolean led_base_set_individual_led_intensity(LedBase *self, gint led, gint value, gint type);

/// Writes the light's levels (or darkness) to the hardware; `light_on`, events and power are not touched.
/// FALSE when the driver failed or cannot switch; @p error is set only when the driver knows a reason.
gboolean led_base_activate_light(LedBase *self, gboolean on, GError **error);

/// Brings the light to what `activate` and `enabled` ask for: hardware, `light_on`, events and power.
/// A light that fails to follow keeps its `light_on`; logged at LOG_ERR, with @p error set when the driver
/// knows a reason.
void led_base_update_light_state(LedBase *self, GError **error);

/// The angle on the scale of the illumination table (0-100), or -1 when the light has none.
gint led_base_get_current_angle_of_illumination(LedBase *self);
/// Applies and stores the angle.
void led_base_set_angle_of_illumination(LedBase *self, gint angle);
/// Computes `led_intensities` for @p angle; writes no hardware.
void led_base_recalculate_angle_of_illumination(LedBase *self, gint angle);

/// Asks the power daemon for what the light needs now; nothing when the light does without power requests.
void led_base_request_power(LedBase *self);
/// Takes a grant of @p watts. Blocks for `rampdown_time` when it is lower than the one before.
void led_base_set_power_intensity(LedBase *self, gdouble watts);

/// Applies the intensity that `automatic_intensity` selects; nothing unless the light has both kinds.
void led_base_set_automatic_intensity(LedBase *self);

/// One tick of the driver's thermal regulator.
void led_base_update_temperature(LedBase *self);

/// Writes `state` to the light's state file. FALSE when it could not be stored (logged), and before setup.
gboolean led_base_store_state(LedBase *self);

G_END_DECLS
