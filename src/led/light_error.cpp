#include "led/light_error.h"

#include <cstdarg>

#include "daemon/bus_names.h"

GQuark light_control_error_quark() { return g_quark_from_static_string(LIGHT_CONTROL_ERROR_DOMAIN); }

void light_error_set(GError **error, LightControlError code, const char *format, ...) {
  if (error == nullptr || *error != nullptr)
    return;

  std::va_list arguments;
  va_start(arguments, format);
  *error = g_error_new_valist(LIGHT_CONTROL_ERROR, code, format, arguments);
  va_end(arguments);
}

gboolean light_error_no_board(GError **error, const char *reason) {
  light_error_set(error, LIGHT_CONTROL_ERROR_NO_BOARD, "%s", reason);
  return FALSE;
}
