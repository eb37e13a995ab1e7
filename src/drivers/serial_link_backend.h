#pragma once

#include <glib.h>

G_BEGIN_DECLS

/// The backend of serial-link lights: a shared library delivered apart from the daemon, whose operations are
/// called through a record that it fills. It finds what is exported here by name.

/// Of the backend's own use; the daemon only gives it room.
typedef struct {
  guint64 content[441];
} BeamdPlatform;

typedef struct _SerialLinkBackend SerialLinkBackend;

/// The daemon knows some of its fields by their position; the others are the backend's.
struct _SerialLinkBackend {
  gpointer own_0;
  BeamdPlatform *platform;
  gpointer own_2[4];
  void (*initialise)(SerialLinkBackend *self, gint what);
  gpointer own_7[10];
  void (*set_light)(SerialLinkBackend *self, gint channel, gint on);
  gint (*probe)(SerialLinkBackend *self, gint channel, gint expander_type);  ///< 0 when a head was found
};

[[gnu::visibility("default")]] extern BeamdPlatform beamd_platform;

/// A new record full of zeros, to be freed with g_free().
[[gnu::visibility("default")]] SerialLinkBackend *serial_link_create(void);

/// Not supported: -1.
[[gnu::visibility("default")]] int sensor_reinit(void);

/// Prints the formatted text to standard output as it is; in debug mode @p a and @p b are logged before.
[[gnu::visibility("default")]] void debug_output(int a, int b, const char *format, ...) G_GNUC_PRINTF(3, 4);

G_END_DECLS

/// Counts one more user of the backend; the first one loads it. FALSE, logged at LOG_ERR, when that failed:
/// then there is nothing to release, and the next one tries again.
bool acquire_serial_link_backend();

/// Gives a use back. The last one unloads the backend.
void release_serial_link_backend();

/// Whether a backend is loaded that finds a head on @p channel behind an expander of @p expander_type.
bool probe_serial_link(gint channel, gint expander_type);

/// Switches @p channel, if a backend is loaded that can.
void set_serial_link_light(gint channel, bool on);
