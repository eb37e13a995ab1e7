#pragma once

#include "led/led_base.h"

G_BEGIN_DECLS

/// Declares the light's two status events, with the light off. Needs `light_id`, `ledtype` and
/// `event_producer`.
void light_events_declare(LedBase *light);

/// Sends both events with the state ON or OFF. What cannot be sent is logged and dropped; without a producer
/// nothing is.
void light_events_send(const LedBase *light, gboolean on);

/// Withdraws the declarations that were made.
void light_events_undeclare(LedBase *light);

G_END_DECLS
