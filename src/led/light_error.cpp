#include "led/light_error.h"

#include <cstdarg>

G_DEFINE_QUARK(light - control - error - quark, light_control_error)

void light_error_set(GError **error, LightControlError code, const char *format, ...) {
  if (error == nullptr || *error != nullptr)
    return;

  std::va_list arguments;
  va_start(arguments, format);
  *error = g_error_new_valist(LIGHT_CONTROL_ERROR, code, format, arguments);
  va_end(arguments);
}
