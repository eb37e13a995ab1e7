#pragma once

#include <glib.h>

G_BEGIN_DECLS

/// 1 when the daemon was started with --debug, else 0. Set once, right after option parsing.
[[gnu::visibility("default")]] extern int BEAMD_DEBUG_FLAG;

/// Logs at LOG_INFO, only when `BEAMD_DEBUG_FLAG` is 1. @p format is a syslog format: it may hold %m.
void debug_log(const char *format, ...) G_GNUC_PRINTF(1, 2);

G_END_DECLS
