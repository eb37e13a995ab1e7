#include "support/refusing_glib.h"

#include <dlfcn.h>

namespace {

template <typename Function>
Function *real(const char *name) {
  return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

}  // namespace

RefusingGlib &refusing_glib() {
  static RefusingGlib glib;
  return glib;
}

// These come before GLib's.
extern "C" {

GIOChannel *g_io_channel_unix_new(int descriptor) {
  return refusing_glib().refuses_channels ? nullptr
                                          : real<decltype(g_io_channel_unix_new)>(__func__)(descriptor);
}

guint g_io_add_watch(GIOChannel *channel, GIOCondition condition, GIOFunc function, gpointer data) {
  if (refusing_glib().refuses_watches)
    return 0;
  refusing_glib().last_watch = real<decltype(g_io_add_watch)>(__func__)(channel, condition, function, data);
  return refusing_glib().last_watch;
}

guint g_timeout_add_seconds(guint interval, GSourceFunc function, gpointer data) {
  refusing_glib().last_timeout = real<decltype(g_timeout_add_seconds)>(__func__)(interval, function, data);
  return refusing_glib().last_timeout;
}

// That of GLib fails with a warning only, when the descriptor is not open.
GIOStatus g_io_channel_shutdown(GIOChannel *channel, gboolean flush, GError **error) {
  refusing_glib().flushes.push_back(flush);
  const GIOStatus status = real<decltype(g_io_channel_shutdown)>(__func__)(channel, flush, error);
  if (!refusing_glib().fails_shutdowns)
    return status;
  g_set_error(error, G_IO_CHANNEL_ERROR, G_IO_CHANNEL_ERROR_IO, "the test says so");
  return G_IO_STATUS_ERROR;
}

}  // extern "C"
