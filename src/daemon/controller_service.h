#pragma once

#include "daemon/light_controller.h"

G_BEGIN_DECLS

/// Offers the controller and its lights on the system bus and runs the main loop until
/// `light_controller_shutdown` is set. Returns at once, with a line at LOG_ERR, when the bus name cannot even
/// be asked for. Aborts when an object cannot be registered.
void light_controller_run_loop(LightController *self);

G_END_DECLS
