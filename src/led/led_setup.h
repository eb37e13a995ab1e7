#pragma once

#include "led/led_base.h"

G_BEGIN_DECLS

/// Makes a working light of a new one that has its `light_id` and `event_producer`, once: reads
/// /etc/beamd/led<id>.conf and /usr/share/beamd/led<id>.conf, lets the driver probe its hardware, fills the
/// fields, applies the initial intensity and angle (which rewrites the state file), declares the events,
/// registers at the power daemon and parses the introspection data.
///
/// FALSE when a required key is missing, when a key is broken (logged at LOG_ERR), or when the driver failed
/// without an error. A driver's error only decides `card_detected` and `correct_poe`: the light is offered
/// nevertheless, and @p error stays unset.
gboolean led_base_setup(LedBase *self, GError **error);

G_END_DECLS
