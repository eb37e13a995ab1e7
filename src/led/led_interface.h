#pragma once

#include <gio/gio.h>

G_BEGIN_DECLS

#define LED_INTERFACE_COMMON "com.velk.LightController.Common"
#define LED_INTERFACE_POWER "com.velk.LightController.Power"
#define LED_INTERFACE_ZOOM "com.velk.LightController.Zoom"

/// The interfaces of a light's bus object; a light offers the first `nbrofinterfaces` of them. The caller
/// releases it.
GDBusNodeInfo *led_interface_new(void);

G_END_DECLS
