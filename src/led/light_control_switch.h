#pragma once

#include <glib.h>

/// Whether the boot parameter LIGHT_CONTROL_ENABLED says that there is no light to control. One that cannot
/// be read says nothing; that is logged at LOG_INFO as @p complaint, a syslog format that may take %m.
bool is_light_control_disabled(
    const char *complaint = "Could not read bootblock parameter LIGHT_CONTROL_ENABLED: %m");
