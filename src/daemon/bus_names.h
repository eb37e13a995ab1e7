#pragma once

// What stands on the bus: the daemon, its clients and camera software know one another by it.

#define BEAMD_BUS_NAME "com.velk.LightController"
#define BEAMD_CONTROLLER_PATH "/com/velk/LightController"
/// Followed by a light's number.
#define BEAMD_LIGHT_PATH_PREFIX BEAMD_CONTROLLER_PATH "/led/"

/// The controller and the lights have an interface of this name, with different members.
#define LED_INTERFACE_COMMON "com.velk.LightController.Common"
#define LED_INTERFACE_POWER "com.velk.LightController.Power"
#define LED_INTERFACE_ZOOM "com.velk.LightController.Zoom"
#define LEGACY_INTERFACE "com.velk.Configuration.Legacy"

/// The domain of the daemon's errors; led/light_error.h has their codes.
#define LIGHT_CONTROL_ERROR_DOMAIN "light-control-error-quark"

#define EVENT_PATH "/com/velk/Event"
#define EVENT_INTERFACE "com.velk.Event"
#define EVENT_LIGHT_STATUS_CHANGED "LightStatusChanged"
#define EVENT_LIGHT_STATUS "LightStatus"
