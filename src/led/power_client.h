#pragma once

#include "led/led_base.h"

G_BEGIN_DECLS

/// A light as a consumer of the power daemon, wattd: it registers, asks for watts, and watches whether the
/// supply gives what the light requires (`correct_poe`). Grants come back through the light's bus object.

/// Makes `consumer_proxy` and `status_proxy`, follows their changes, and takes `correct_poe` from what the
/// daemon tells now. Blocks while the proxies are made. Without a system bus: logged at LOG_CRIT, and the
/// proxies stay NULL.
void power_client_connect(LedBase *light);

/// Registers the light, connecting first if that was not done yet. Skipped while wattd is down; made up for
/// when it comes up.
void power_client_register(LedBase *light);

/// Ends what power_client_connect() began.
void power_client_disconnect(LedBase *light);

/// Asks for @p watts, for none with 0; the answer is not waited for. Skipped while wattd is down.
void led_base_send_power_request(LedBase *self, gdouble watts);

G_END_DECLS
