#pragma once

#include "led/led_base.h"

G_BEGIN_DECLS

/// Looks up the sensors that group "regulator" of @p key_file (the caller's) names ("temp_sensor_id",
/// "temp_sensor_id2", ... up to the first gap) at the temperature service. Returns how many are named; one
/// that cannot be found counts too and gets id -1, as all do while the boot parameter LIGHT_CONTROL_ENABLED
/// is "no". Blocks for the calls. Never fails: @p error stays unset.
gint led_base_conf_temp_sensor_ids(LedBase *self, GKeyFile *key_file, GError **error);

/// The last temperature (°C) stored for sensor @p index; -999.0 when there is no such sensor.
gdouble led_base_get_temp_senor_temp(LedBase *self, gint index);
/// Stores @p celsius as the last temperature of sensor @p index; nothing when there is no such sensor.
void led_base_set_temp_senor_temp(LedBase *self, gint index, gdouble celsius);

/// Seconds between two temperature updates.
gint led_base_get_temp_sample_time(LedBase *self);

/// Whether temperatures can be watched: the board is there and at least one of its sensors was found.
gboolean led_base_get_temp_card_detected(LedBase *self);

G_END_DECLS
