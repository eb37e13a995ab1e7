#include "support/power_daemon.h"

#include <string_view>

namespace {

constexpr const char *kConsumer = "com.velk.PowerControl.Consumer";
constexpr const char *kStatus = "com.velk.PowerControl.Status";
constexpr const char *kStatusPath = "/com/velk/PowerControl/Status";
constexpr const char *kProperties = "org.freedesktop.DBus.Properties";

GVariant *parse_properties(const std::string &text) {
  g_autoptr(GError) error = nullptr;
  GVariant *properties = g_variant_parse(G_VARIANT_TYPE_VARDICT, text.c_str(), nullptr, nullptr, &error);
  if (properties == nullptr)
    g_error("%s: %s", text.c_str(), error->message);
  return properties;
}

bool wants_reply(GDBusMessage *call) {
  return (g_dbus_message_get_flags(call) & G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED) == 0;
}

bool asks_for_properties(GDBusMessage *call) {
  return std::string_view{g_dbus_message_get_interface(call)} == kProperties;
}

}  // namespace

PowerDaemon::PowerDaemon()
    : system_bus_{g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr)},
      filter_{g_dbus_connection_add_filter(connection_.get(), filter, this, nullptr)} {
  if (!system_bus_)
    g_error("DBUS_SYSTEM_BUS_ADDRESS is not that of the private bus");
}

PowerDaemon::~PowerDaemon() {
  go_down();
  g_dbus_connection_remove_filter(connection_.get(), filter_);
  g_dbus_connection_close_sync(connection_.get(), nullptr, nullptr);
}

void PowerDaemon::come_up() {
  own_name(connection_.get(), kStatus);
  own_name(connection_.get(), kConsumer);
}

void PowerDaemon::go_down() {
  ask_bus(connection_.get(), "ReleaseName", g_variant_new("(s)", kConsumer));
  ask_bus(connection_.get(), "ReleaseName", g_variant_new("(s)", kStatus));
}

void PowerDaemon::has_status(const std::string &properties) {
  const std::lock_guard lock{mutex_};
  status_ = properties;
}

void PowerDaemon::announce(const std::string &properties) const {
  g_autoptr(GVariant) changed = parse_properties(properties);
  g_dbus_connection_emit_signal(connection_.get(), nullptr, kStatusPath, kProperties, "PropertiesChanged",
                                g_variant_new("(s@a{sv}as)", kStatus, changed, nullptr), nullptr);
}

void PowerDaemon::refuse_calls() {
  const std::lock_guard lock{mutex_};
  refuses_ = true;
}

std::vector<std::string> PowerDaemon::calls() const {
  const std::lock_guard lock{mutex_};
  return calls_;
}

bool PowerDaemon::is_waited_for() const {
  const std::lock_guard lock{mutex_};
  return is_waited_for_;
}

void PowerDaemon::settle() const {
  ask_bus(system_bus_.get(), "GetId");
  ask_bus(connection_.get(), "GetId");
  ask_bus(system_bus_.get(), "GetId");
  while (g_main_context_iteration(nullptr, FALSE)) {
  }
}

GDBusMessage *PowerDaemon::tell_status(GDBusMessage *call) const {
  const bool is_status = std::string_view{g_dbus_message_get_path(call)} == kStatusPath;
  g_autoptr(GVariant) properties = parse_properties(is_status ? status_ : "{}");
  GDBusMessage *reply = g_dbus_message_new_method_reply(call);
  g_dbus_message_set_body(reply, g_variant_new("(@a{sv})", properties));
  return reply;
}

GDBusMessage *PowerDaemon::answer(GDBusMessage *call) {
  const std::lock_guard lock{mutex_};
  if (asks_for_properties(call))
    return tell_status(call);

  calls_.push_back(text_of_call(call));
  is_waited_for_ |= wants_reply(call);
  if (refuses_)
    return g_dbus_message_new_method_error_literal(call, "org.freedesktop.DBus.Error.Failed", "no power");
  return wants_reply(call) ? g_dbus_message_new_method_reply(call) : nullptr;
}

GDBusMessage *PowerDaemon::filter(GDBusConnection *connection, GDBusMessage *message, gboolean incoming,
                                  gpointer self) {
  if (!incoming || g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL)
    return message;
  g_autoptr(GDBusMessage) reply = static_cast<PowerDaemon *>(self)->answer(message);
  if (reply != nullptr)
    g_dbus_connection_send_message(connection, reply, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
  g_object_unref(message);
  return nullptr;
}
