#pragma once

#include <glib.h>

#include <vector>

/// What GLib refuses in the executable that has refusing_glib.cpp, and the sources that the product has made.
struct RefusingGlib {
  bool refuses_channels = false;
  bool refuses_watches = false;
  bool fails_shutdowns = false;   ///< with an error; the channel is shut down all the same
  std::vector<gboolean> flushes;  ///< whether it was to be flushed, of each channel that was shut down
  guint last_watch = 0;
  guint last_timeout = 0;
};

RefusingGlib &refusing_glib();
