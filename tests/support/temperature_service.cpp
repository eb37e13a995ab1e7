#include "support/temperature_service.h"

namespace {

constexpr const char *kName = "com.velk.TemperatureController";
constexpr const char *kNoSensor = "org.gtk.GDBus.UnmappedGError.Quark._temperature_2derror.Code1";

}  // namespace

TemperatureService::TemperatureService()
    : filter_(g_dbus_connection_add_filter(connection_.get(), filter, this, nullptr)) {
  own_name(connection_.get(), kName);
}

TemperatureService::~TemperatureService() {
  g_dbus_connection_remove_filter(connection_.get(), filter_);
  g_dbus_connection_close_sync(connection_.get(), nullptr, nullptr);
}

void TemperatureService::replies(const std::string &name, const std::string &values) {
  const std::lock_guard lock{mutex_};
  answers_[name] = {"", values};
}

void TemperatureService::fails(const std::string &name, const std::string &error_name,
                               const std::string &message) {
  const std::lock_guard lock{mutex_};
  answers_[name] = {error_name, message};
}

std::vector<std::string> TemperatureService::calls() const {
  const std::lock_guard lock{mutex_};
  return calls_;
}

GDBusMessage *TemperatureService::answer(GDBusMessage *call) {
  const std::lock_guard lock{mutex_};
  calls_.push_back(text_of_call(call));

  GVariant *body = g_dbus_message_get_body(call);
  const gchar *name = "";
  if (body != nullptr && g_variant_is_of_type(body, G_VARIANT_TYPE("(s)")))
    g_variant_get(body, "(&s)", &name);
  const auto found = answers_.find(name);
  const Answer &answer = found != answers_.end() ? found->second : Answer{kNoSensor, "no such sensor"};
  if (!answer.error_name.empty())
    return g_dbus_message_new_method_error_literal(call, answer.error_name.c_str(), answer.text.c_str());

  g_autoptr(GVariant) values = g_variant_parse(nullptr, answer.text.c_str(), nullptr, nullptr, nullptr);
  GDBusMessage *reply = g_dbus_message_new_method_reply(call);
  g_dbus_message_set_body(reply, values);
  return reply;
}

GDBusMessage *TemperatureService::filter(GDBusConnection *connection, GDBusMessage *message,
                                         gboolean incoming, gpointer self) {
  if (!incoming || g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL)
    return message;
  g_autoptr(GDBusMessage) reply = static_cast<TemperatureService *>(self)->answer(message);
  g_dbus_connection_send_message(connection, reply, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
  g_object_unref(message);
  return nullptr;
}
