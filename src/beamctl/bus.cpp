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

/// A connection that is being made.
struct Connecting {
  GDBusConnection *connection = nullptr;
  GError *error = nullptr;
  bool done = false;
};

void on_connected(GObject *, GAsyncResult *result, gpointer data) noexcept {
  auto *connecting = static_cast<Connecting *>(data);
  connecting->connection = g_dbus_connection_new_for_address_finish(result, &connecting->error);
  connecting->done = true;
}

gboolean on_timeout(gpointer cancellable) noexcept {
  g_cancellable_cancel(G_CANCELLABLE(cancellable));
  return G_SOURCE_CONTINUE;
}

// Something may listen at the address that never answers.
GDBusConnection *connect(const std::string &address) {
  g_autoptr(GCancellable) cancellable = g_cancellable_new();
  Connecting connecting;
  const guint timer = g_timeout_add(kAnswerMs, on_timeout, cancellable);
  const auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                       G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
  g_dbus_connection_new_for_address(address.c_str(), flags, nullptr, cancellable, on_connected, &connecting);
  while (!connecting.done)
    g_main_context_iteration(nullptr, TRUE);
  g_source_remove(timer);

  g_autoptr(GError) error = connecting.error;
  if (connecting.connection == nullptr)
    throw bus_failure(error);
  return connecting.connection;
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
