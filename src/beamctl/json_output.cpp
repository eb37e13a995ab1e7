#include "beamctl/json_output.h"

void JsonDocument::name_member(const char *name) {
  if (name != nullptr)
    json_builder_set_member_name(builder_, name);
}

void JsonDocument::begin_object(const char *name) {
  name_member(name);
  json_builder_begin_object(builder_);
}

void JsonDocument::end_object() { json_builder_end_object(builder_); }

void JsonDocument::begin_array(const char *name) {
  name_member(name);
  json_builder_begin_array(builder_);
}

void JsonDocument::end_array() { json_builder_end_array(builder_); }

void JsonDocument::add(const char *name, std::string_view value) {
  g_autofree gchar *valid = g_utf8_make_valid(value.data(), static_cast<gssize>(value.size()));
  name_member(name);
  json_builder_add_string_value(builder_, valid);
}

void JsonDocument::add(const char *name, bool value) {
  name_member(name);
  json_builder_add_boolean_value(builder_, value);
}

void JsonDocument::add(const char *name, gint64 value) {
  name_member(name);
  json_builder_add_int_value(builder_, value);
}

void JsonDocument::add_null(const char *name) {
  name_member(name);
  json_builder_add_null_value(builder_);
}

void JsonDocument::add(const char *name, GVariant *value) {
  name_member(name);
  json_builder_add_value(builder_, json_gvariant_serialize(value));
}

std::string JsonDocument::generate(bool pretty) const {
  g_autoptr(JsonNode) root = json_builder_get_root(builder_);
  g_autofree gchar *text = json_to_string(root, pretty);
  return std::string{text} + "\n";
}

std::string JsonDocument::text() const { return generate(true); }

std::string JsonDocument::line() const { return generate(false); }
