#pragma once

#include <gio/gio.h>

#include "daemon/bus_names.h"

G_BEGIN_DECLS

/// The interfaces of a light's bus object; a light offers the first `nbrofinterfaces` of them. The caller
/// releases it.
GDBusNodeInfo *led_interface_new(void);

G_END_DECLS
