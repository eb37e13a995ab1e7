#pragma once

#include <glib.h>

/// Reads typed keys of one group of a light's state file into the light's fields.
/// required() and optional() return false when setup has to end; GLib's reason is logged at LOG_ERR then, and
/// the field keeps what it held. gboolean is gint to C++, so booleans have functions of their own.
class StateReader {
 public:
  /// @p state stays the caller's.
  StateReader(GKeyFile *state, const char *group) : state_(state), group_(group) {}

  bool required(const char *key, gint *field) const;
  bool required_boolean(const char *key, gboolean *field) const;
  /// Replaces an owned text.
  bool required(const char *key, gchar **field) const;

  /// An absent key gives @p fallback; @p present tells whether the key was there.
  bool optional(const char *key, gint fallback, gint *field, gboolean *present = nullptr) const;
  bool optional_boolean(const char *key, gboolean fallback, gboolean *field,
                        gboolean *present = nullptr) const;
  bool optional(const char *key, gdouble fallback, gdouble *field) const;
  /// A number that is kept as text: what does not convert counts as 0.
  bool optional_number_text(const char *key, gfloat fallback, gfloat *field) const;

  /// Absent or broken, the value is @p fallback. Logs nothing.
  gint lenient(const char *key, gint fallback) const;

 private:
  GKeyFile *state_;
  const char *group_;
};
