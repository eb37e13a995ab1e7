#include "led/state_reader.h"

#include <syslog.h>

#include <cstdlib>

namespace {

bool succeeded(const GError *error) {
  if (error != nullptr)
    syslog(LOG_ERR, "%s", error->message);
  return error == nullptr;
}

template <typename Value>
bool take_required(Value value, const GError *error, Value *field) {
  if (!succeeded(error))
    return false;
  *field = value;
  return true;
}

template <typename Value>
bool take_optional(Value value, const GError *error, Value fallback, Value *field, gboolean *present) {
  const bool absent = g_error_matches(error, G_KEY_FILE_ERROR, G_KEY_FILE_ERROR_KEY_NOT_FOUND);
  if (!take_required(absent ? fallback : value, absent ? nullptr : error, field))
    return false;
  if (present != nullptr)
    *present = !absent;
  return true;
}

}  // namespace

bool StateReader::required(const char *key, gint *field) const {
  g_autoptr(GError) error = nullptr;
  const gint value = g_key_file_get_integer(state_, group_, key, &error);
  return take_required(value, error, field);
}

bool StateReader::required_boolean(const char *key, gboolean *field) const {
  g_autoptr(GError) error = nullptr;
  const gboolean value = g_key_file_get_boolean(state_, group_, key, &error);
  return take_required(value, error, field);
}

bool StateReader::required(const char *key, gchar **field) const {
  g_autoptr(GError) error = nullptr;
  // GLib gives a text beside the error when only an escape in it is wrong.
  g_autofree gchar *value = g_key_file_get_string(state_, group_, key, &error);
  if (!succeeded(error))
    return false;
  g_free(*field);
  *field = g_steal_pointer(&value);
  return true;
}

bool StateReader::optional(const char *key, gint fallback, gint *field, gboolean *present) const {
  g_autoptr(GError) error = nullptr;
  const gint value = g_key_file_get_integer(state_, group_, key, &error);
  return take_optional(value, error, fallback, field, present);
}

bool StateReader::optional_boolean(const char *key, gboolean fallback, gboolean *field,
                                   gboolean *present) const {
  g_autoptr(GError) error = nullptr;
  const gboolean value = g_key_file_get_boolean(state_, group_, key, &error);
  return take_optional(value, error, fallback, field, present);
}

bool StateReader::optional(const char *key, gdouble fallback, gdouble *field) const {
  g_autoptr(GError) error = nullptr;
  const gdouble value = g_key_file_get_double(state_, group_, key, &error);
  return take_optional(value, error, fallback, field, nullptr);
}

bool StateReader::optional_number_text(const char *key, gfloat fallback, gfloat *field) const {
  g_autoptr(GError) error = nullptr;
  g_autofree gchar *text = g_key_file_get_string(state_, group_, key, &error);
  const gfloat value = text != nullptr ? static_cast<gfloat>(strtod(text, nullptr)) : 0.0F;
  return take_optional(value, error, fallback, field, nullptr);
}

gint StateReader::lenient(const char *key, gint fallback) const {
  g_autoptr(GError) error = nullptr;
  const gint value = g_key_file_get_integer(state_, group_, key, &error);
  return error == nullptr ? value : fallback;
}
