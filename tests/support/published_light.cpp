#include "support/published_light.h"

#include "led/led_interface.h"
#include "led/led_service.h"
#include "led/light_error.h"

namespace {

constexpr int kPatience = 20000;  // milliseconds
constexpr const char *kProperties = "org.freedesktop.DBus.Properties";
constexpr GDBusInterfaceVTable kHandlers = {led_base_handle_dbus_method_call,
                                            led_base_handle_dbus_get_property,
                                            led_base_handle_dbus_set_property,
                                            {}};

std::string text_of(GVariant *values) {
  g_autofree gchar *text = g_variant_print(values, TRUE);
  return text;
}

GVariant *parse(const std::string &text) {
  g_autoptr(GError) error = nullptr;
  GVariant *value = g_variant_parse(nullptr, text.c_str(), nullptr, nullptr, &error);
  if (value == nullptr)
    g_error("%s: %s", text.c_str(), error->message);
  return value;
}

LightReply reply_of_error(GError *error) {
  g_dbus_error_strip_remote_error(error);
  if (error->domain == LIGHT_CONTROL_ERROR)
    return refused(error->code, error->message);
  return {LightReply::Kind::kOtherError, error->code,
          std::string{g_quark_to_string(error->domain)} + ": " + error->message};
}

void run_until(const bool &is_done) {
  while (!is_done)
    g_main_context_iteration(nullptr, TRUE);
}

}  // namespace

struct PublishedLight::Outcome {
  GVariant *values = nullptr;
  GError *error = nullptr;
  bool is_known = false;
};

LightReply answered(std::string values) { return {LightReply::Kind::kValues, 0, std::move(values)}; }

LightReply refused(int code, std::string message) {
  return {LightReply::Kind::kRefusal, code, std::move(message)};
}

void PrintTo(const LightReply &reply, std::ostream *stream) {
  switch (reply.kind) {
    case LightReply::Kind::kValues:
      *stream << "values " << reply.text;
      break;
    case LightReply::Kind::kRefusal:
      *stream << "error " << reply.code << " \"" << reply.text << '"';
      break;
    case LightReply::Kind::kOtherError:
      *stream << "error " << reply.code << " of another domain, " << reply.text;
      break;
  }
}

PublishedLight::PublishedLight(LedBase *light, GDBusNodeInfo *interfaces)
    : path_("/com/velk/LightController/led/" + std::to_string(light->light_id)) {
  const auto *node = interfaces != nullptr ? interfaces : led_base_get_introspect(light);
  for (auto **interface = node->interfaces; *interface != nullptr; ++interface) {
    g_autoptr(GError) error = nullptr;
    if (g_dbus_connection_register_object(service_.get(), path_.c_str(), *interface, &kHandlers, light,
                                          nullptr, &error) == 0)
      g_error("cannot publish the light: %s", error->message);
  }
}

PublishedLight::~PublishedLight() {
  g_dbus_connection_close_sync(client_.get(), nullptr, nullptr);
  g_dbus_connection_close_sync(service_.get(), nullptr, nullptr);
  // What is still queued may hold on to the light's registration.
  while (g_main_context_iteration(nullptr, FALSE)) {
  }
}

void PublishedLight::on_reply(GObject *client, GAsyncResult *result, gpointer user_data) {
  auto *outcome = static_cast<Outcome *>(user_data);
  outcome->values = g_dbus_connection_call_finish(G_DBUS_CONNECTION(client), result, &outcome->error);
  outcome->is_known = true;
}

void PublishedLight::start(const char *interface, const char *method, GVariant *arguments,
                           GCancellable *cancellable, Outcome *outcome) const {
  g_dbus_connection_call(client_.get(), g_dbus_connection_get_unique_name(service_.get()), path_.c_str(),
                         interface, method, arguments, nullptr, G_DBUS_CALL_FLAGS_NONE, kPatience,
                         cancellable, on_reply, outcome);
}

LightReply PublishedLight::finish(const char *interface, const char *method, GVariant *arguments) const {
  Outcome outcome;
  start(interface, method, arguments, nullptr, &outcome);
  run_until(outcome.is_known);
  g_autoptr(GVariant) values = outcome.values;
  g_autoptr(GError) error = outcome.error;
  return error != nullptr ? reply_of_error(error) : answered(text_of(values));
}

LightReply PublishedLight::call(const char *interface, const char *method,
                                const std::string &arguments) const {
  g_autoptr(GVariant) parsed = parse(arguments);
  return finish(interface, method, parsed);
}

bool PublishedLight::leaves_unanswered(const char *interface, const char *method,
                                       const std::string &arguments) const {
  g_autoptr(GVariant) parsed = parse(arguments);
  g_autoptr(GCancellable) cancellable = g_cancellable_new();
  Outcome outcome;
  start(interface, method, parsed, cancellable, &outcome);
  // Calls are taken in order: by the time this one is answered, the first would be.
  get(LED_INTERFACE_COMMON, "CardDetected");
  const bool is_open = !outcome.is_known;

  g_cancellable_cancel(cancellable);
  run_until(outcome.is_known);
  g_clear_pointer(&outcome.values, g_variant_unref);
  g_clear_error(&outcome.error);
  return is_open;
}

LightReply PublishedLight::get(const char *interface, const char *property) const {
  return finish(kProperties, "Get", g_variant_new("(ss)", interface, property));
}

LightReply PublishedLight::get_all(const char *interface) const {
  return finish(kProperties, "GetAll", g_variant_new("(s)", interface));
}

LightReply PublishedLight::set(const char *interface, const char *property, const std::string &value) const {
  g_autoptr(GVariant) parsed = parse(value);
  return finish(kProperties, "Set", g_variant_new("(ssv)", interface, property, parsed));
}
