#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "support/private_bus.h"

/// The coordinator of pan-tilt-zoom units, on the private bus as long as it lives. It refuses what has not
/// the arguments of an auxiliary command. It answers from GDBus's own thread, so that the test's thread may
/// block in a call.
class PtzCoordinator {
 public:
  PtzCoordinator() : filter_{g_dbus_connection_add_filter(connection_.get(), filter, this, nullptr)} {
    own_name(connection_.get(), kName);
  }
  ~PtzCoordinator() {
    ask_bus(connection_.get(), "ReleaseName", g_variant_new("(s)", kName));
    g_dbus_connection_remove_filter(connection_.get(), filter_);
    g_dbus_connection_close_sync(connection_.get(), nullptr, nullptr);
  }
  PtzCoordinator(const PtzCoordinator &) = delete;
  PtzCoordinator &operator=(const PtzCoordinator &) = delete;

  /// From now on it answers every call with this error.
  void refuse_calls(const std::string &error_name) {
    const std::lock_guard lock{mutex_};
    refusal_ = error_name;
  }
  /// What the reply to a command holds, as GVariant text: "(5,)".
  void replies(const std::string &values) {
    const std::lock_guard lock{mutex_};
    reply_ = values;
  }

  /// What it was asked for so far: "path interface.Method arguments".
  std::vector<std::string> calls() const {
    const std::lock_guard lock{mutex_};
    return calls_;
  }

 private:
  static constexpr const char *kName = "com.velk.PTZ.Coordinator";

  GDBusMessage *answer(GDBusMessage *call) {
    const std::lock_guard lock{mutex_};
    calls_.push_back(text_of_call(call));
    GVariant *body = g_dbus_message_get_body(call);
    if (body == nullptr || !g_variant_is_of_type(body, G_VARIANT_TYPE("(sis)")))
      return g_dbus_message_new_method_error_literal(call, "org.freedesktop.DBus.Error.InvalidArgs",
                                                     "no command");
    if (!refusal_.empty())
      return g_dbus_message_new_method_error_literal(call, refusal_.c_str(), "no unit");

    GDBusMessage *reply = g_dbus_message_new_method_reply(call);
    g_autoptr(GVariant) values = g_variant_parse(nullptr, reply_.c_str(), nullptr, nullptr, nullptr);
    g_dbus_message_set_body(reply, values);
    return reply;
  }

  static GDBusMessage *filter(GDBusConnection *connection, GDBusMessage *message, gboolean incoming,
                              gpointer self) {
    if (!incoming || g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL)
      return message;
    g_autoptr(GDBusMessage) reply = static_cast<PtzCoordinator *>(self)->answer(message);
    g_dbus_connection_send_message(connection, reply, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
    g_object_unref(message);
    return nullptr;
  }

  mutable std::mutex mutex_;
  std::string refusal_;
  std::string reply_ = "()";
  std::vector<std::string> calls_;
  BusConnection connection_ = connect_to_private_bus();
  guint filter_;
};
