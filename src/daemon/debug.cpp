#include "daemon/debug.h"

#include <syslog.h>

#include <cstdarg>

int BEAMD_DEBUG_FLAG = 0;

void debug_log(const char *format, ...) {
  if (BEAMD_DEBUG_FLAG != 1)
    return;

  std::va_list arguments;
  va_start(arguments, format);
  vsyslog(LOG_INFO, format, arguments);
  va_end(arguments);
}
