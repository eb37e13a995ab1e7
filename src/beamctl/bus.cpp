#include "beamctl/bus.h"

#include "beamctl/bus_failure.h"
#include "beamctl/failure.h"
#include "daemon/bus_names.h"

namespace {

constexpr const char *kProperties = "org.freedesktop.DBus.Properties";

std::string address_of(const Invocation &invocation) {
  g_autoptr(GError) error = nullptr;
  if (const auto given = invocation.value("bus")) {
    const bool supported = g_dbus_is_supported_address(given->c_str(), &error) != FALSE;
    if (!supported || given->empty())
      throw Failure(
          kExitUsage, "usage",
          "\"" + *given + "\" is no address of a bus: " + (supported ? "it is empty" : error->message),
          "an address looks like \"unix:path=/run/dbus/system_bus_socket\"");
    return *given;
  }
  g_autofree gchar *address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, &error);
  if (address == nullptr)
    throw bus_failure(error);
  return address;
}

/// A connection that is being made. It may come when nobody waits for it any more.
struct Connecting {
  std::unique_ptr<GDBusConnection, ObjectUnref> connection;
  std::unique_ptr<GError, decltype(&g_error_free)> error{nullptr, g_error_free};
  bool timed_out = false;
};
using SharedConnecting = std::shared_ptr<Connecting>;

void on_connected(GObject *, GAsyncResult *result, gpointer data) noexcept {
  const std::unique_ptr<SharedConnecting> connecting(static_cast<SharedConnecting *>(data));
  GError *error = nullptr;
  (*connecting)->connection.reset(g_dbus_connection_new_for_address_finish(result, &error));
  (*connecting)->error.reset(error);
}

gboolean on_timeout(gpointer timed_out) noexcept {
  *static_cast<bool *>(timed_out) = true;
  return G_SOURCE_CONTINUE;
}

// Something may listen at the address that never answers, and GLib waits for some of the answers in its own
// way.
std::unique_ptr<GDBusConnection, ObjectUnref> connect(const std::string &address) {
  const auto connecting = std::make_shared<Connecting>();
  const auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                       G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
  g_dbus_connection_new_for_address(address.c_str(), flags, nullptr, nullptr, on_connected,
                                    new SharedConnecting(connecting));
  const guint timer = g_timeout_add(kAnswerMs, on_timeout, &connecting->timed_out);
  while (!connecting->connection && !connecting->error && !connecting->timed_out)
    g_main_context_iteration(nullptr, TRUE);
  g_source_remove(timer);

  if (connecting->error)
    throw bus_failure(connecting->error.get());
  if (!connecting->connection)
    throw silent_bus();
  return std::move(connecting->connection);
}

}  // namespace

Bus::Bus(const Invocation &invocation) : connection_(connect(address_of(invocation))) {
  g_dbus_connection_set_exit_on_close(connection_.get(), FALSE);
}

Variant Bus::call(const Member &method, GVariant *arguments, const char *reply_type, int timeout_ms) const {
  g_autoptr(GError) error = nullptr;
  Variant reply{g_dbus_connection_call_sync(connection_.get(), BEAMD_BUS_NAME, method.path, method.interface,
                                            method.name, arguments, G_VARIANT_TYPE(reply_type),
                                            G_DBUS_CALL_FLAGS_NO_AUTO_START, timeout_ms, nullptr, &error)};
  if (!reply)
    throw call_failure(error, method.path);
  return reply;
}

Variant Bus::get(const Member &property) const {
  const Variant reply = call({property.path, kProperties, "Get"},
                             g_variant_new("(ss)", property.interface, property.name), "(v)");
  GVariant *value = nullptr;
  g_variant_get(reply.get(), "(v)", &value);
  return Variant{value};
}

void Bus::set(const Member &property, GVariant *value) const {
  call({property.path, kProperties, "Set"}, g_variant_new("(ssv)", property.interface, property.name, value),
       "()");
}
