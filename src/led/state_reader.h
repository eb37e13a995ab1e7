#pragma once

#include <glib.h>

/// Reads typed keys of a light's state file into the light's fields. Every function returns false when setup
/// has to end; GLib's reason is logged at LOG_ERR then, and the field keeps what it held.
class StateReader {
 public:
  /// @p state stays the caller's.
  explicit StateReader(GKeyFile *state) : state_(state) {}

  bool required(const char *group, const char *key, gint *field) const;
  bool required_boolean(const char *group, const char *key, gboolean *field) const;
  /// Replaces an owned text.
  bool required(const char *group, const char *key, gchar **field) const;

  /// An absent key gives @p fallback; @p present (may be NULL) tells whether the key was there.
  bool optional(const char *group, const char *key, gint fallback, gint *field, gboolean *present) const;
  bool optional_boolean(const char *group, const char *key, gboolean fallback, gboolean *field,
                        gboolean *present) const;
  bool optional(const char *group, const char *key, gdouble fallback, gdouble *field) const;
  /// A number that is kept as text: whatever does not convert counts as 0.
  bool optional_number_text(const char *group, const char *key, gfloat fallback, gfloat *field) const;

  /// Absent or broken, the value is @p fallback.
  gint lenient(const char *group, const char *key, gint fallback) const;

 private:
  GKeyFile *state_;
};
