#pragma once

#include <gio/gio.h>
#include <json-glib/json-glib.h>

#include <string>
#include <string_view>

/// One JSON document while it is made. Texts may be any bytes: what is no UTF-8 is replaced.
class JsonDocument {
 public:
  JsonDocument() : builder_(json_builder_new()) {}
  ~JsonDocument() { g_object_unref(builder_); }
  JsonDocument(const JsonDocument &) = delete;
  JsonDocument &operator=(const JsonDocument &) = delete;

  /// Without a name: the document itself, or an element of an array. The same holds for what follows.
  void begin_object(const char *name = nullptr);
  void end_object();
  void begin_array(const char *name = nullptr);
  void end_array();

  void add(const char *name, std::string_view value);
  void add(const char *name, const char *value) { add(name, std::string_view{value}); }
  void add(const char *name, const std::string &value) { add(name, std::string_view{value}); }
  void add(const char *name, bool value);
  void add(const char *name, gint64 value);
  void add(const char *name, int value) { add(name, gint64{value}); }
  void add_null(const char *name);
  /// Any value of the bus: NaN and infinities are null, what JSON readers would round is a string.
  void add(const char *name, GVariant *value);

  /// Indented, with a newline at the end.
  std::string text() const;
  /// On one line, with a newline at the end.
  std::string line() const;

 private:
  void name_member(const char *name);
  std::string generate(bool pretty) const;

  JsonBuilder *builder_;
};
