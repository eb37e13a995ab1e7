#pragma once

#include <glib.h>

G_BEGIN_DECLS

/// The error domain of the controller and of every light.
#define LIGHT_CONTROL_ERROR (light_control_error_quark())
GQuark light_control_error_quark(void);

/// The codes stand on the bus: clients test them.
typedef enum {
  LIGHT_CONTROL_ERROR_VARIANT = 0,
  LIGHT_CONTROL_ERROR_INVALID_INTENSITY = 2,
  LIGHT_CONTROL_ERROR_INVALID_ANGLE = 3,
  LIGHT_CONTROL_ERROR_NOT_SUPPORTED = 5,
  LIGHT_CONTROL_ERROR_NO_BOARD = 6,
  LIGHT_CONTROL_ERROR_WRONG_POE = 7,
} LightControlError;

/// Sets @p error like g_set_error(), except that an error already there stays: the first cause is the one to
/// report.
void light_error_set(GError **error, LightControlError code, const char *format, ...) G_GNUC_PRINTF(3, 4);

/// Sets error #LIGHT_CONTROL_ERROR_NO_BOARD with @p reason, for what a driver could not find, open or load.
/// Returns FALSE, for its caller to return.
gboolean light_error_no_board(GError **error, const char *reason);

G_END_DECLS
