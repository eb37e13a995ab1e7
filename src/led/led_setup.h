#pragma once

#include "led/led_base.h"

G_BEGIN_DECLS

/// Makes a working light of one that has its `light_id` and `event_producer`: reads /etc/beamd/led<id>.conf
/// and /usr/share/beamd/led<id>.conf, lets the driver probe its hardware, fills the fields and declares the
/// events.
///
/// FALSE when a required key is missing or broken (logged at LOG_ERR) or when the driver failed without an
/// error; @p error stays unset then. A driver's error only decides `card_detected` and `correct_poe`: the
/// light is offered nevertheless.
gboolean led_base_setup(LedBase *self, GError **error);

G_END_DECLS
