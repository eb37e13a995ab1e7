#include "beamctl/json_output.h"

#include <cmath>

namespace {

JsonNode *node_of(GVariant *value);

JsonNode *string_node(const std::string &text) {
  return json_node_init_string(json_node_alloc(), text.c_str());
}

JsonNode *array_of(GVariant *elements) {
  JsonArray *array = json_array_new();
  for (gsize index = 0; index < g_variant_n_children(elements); ++index) {
    g_autoptr(GVariant) element = g_variant_get_child_value(elements, index);
    json_array_add_element(array, node_of(element));
  }
  JsonNode *node = json_node_alloc();
  json_node_init_array(node, array);
  json_array_unref(array);
  return node;
}

JsonNode *object_of(GVariant *dictionary) {
  JsonObject *object = json_object_new();
  for (gsize index = 0; index < g_variant_n_children(dictionary); ++index) {
    g_autoptr(GVariant) entry = g_variant_get_child_value(dictionary, index);
    g_autoptr(GVariant) key = g_variant_get_child_value(entry, 0);
    g_autoptr(GVariant) value = g_variant_get_child_value(entry, 1);
    const bool named = g_variant_is_of_type(key, G_VARIANT_TYPE_STRING) != FALSE;
    g_autofree gchar *text = named ? g_variant_dup_string(key, nullptr) : g_variant_print(key, FALSE);
    json_object_set_member(object, text, node_of(value));
  }
  JsonNode *node = json_node_alloc();
  json_node_init_object(node, object);
  json_object_unref(object);
  return node;
}

// json-glib alone writes "nan" and "inf", and takes large numbers without a sign for negative ones.
JsonNode *node_of(GVariant *value) {
  if (g_variant_is_of_type(value, G_VARIANT_TYPE_VARIANT)) {
    g_autoptr(GVariant) content = g_variant_get_variant(value);
    return node_of(content);
  }
  if (g_variant_is_of_type(value, G_VARIANT_TYPE_DICTIONARY))
    return object_of(value);
  if (g_variant_is_container(value))
    return array_of(value);
  if (g_variant_is_of_type(value, G_VARIANT_TYPE_DOUBLE) && !std::isfinite(g_variant_get_double(value)))
    return json_node_init_null(json_node_alloc());
  if (g_variant_is_of_type(value, G_VARIANT_TYPE_UINT64) && g_variant_get_uint64(value) > G_MAXINT64)
    return string_node(std::to_string(g_variant_get_uint64(value)));
  return json_gvariant_serialize(value);
}

}  // namespace

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
  json_builder_add_value(builder_, node_of(value));
}

std::string JsonDocument::generate(bool pretty) const {
  g_autoptr(JsonNode) root = json_builder_get_root(builder_);
  g_autofree gchar *text = json_to_string(root, pretty);
  return std::string{text} + "\n";
}

std::string JsonDocument::text() const { return generate(true); }

std::string JsonDocument::line() const { return generate(false); }
