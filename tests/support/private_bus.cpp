#include "support/private_bus.h"

namespace {

class PrivateBus {
 public:
  PrivateBus() { g_test_dbus_up(bus_.get()); }
  ~PrivateBus() { g_test_dbus_down(bus_.get()); }
  PrivateBus(const PrivateBus &) = delete;
  PrivateBus &operator=(const PrivateBus &) = delete;

  const char *address() const { return g_test_dbus_get_bus_address(bus_.get()); }

 private:
  std::unique_ptr<GTestDBus, ObjectUnref> bus_{g_test_dbus_new(G_TEST_DBUS_NONE)};
};

}  // namespace

const char *private_bus_address() {
  static const PrivateBus bus;
  return bus.address();
}

BusConnection connect_to_private_bus() {
  constexpr auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                           G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
  g_autoptr(GError) error = nullptr;
  BusConnection connection{
      g_dbus_connection_new_for_address_sync(private_bus_address(), flags, nullptr, nullptr, &error)};
  if (!connection)
    g_error("cannot connect to the private bus: %s", error->message);
  return connection;
}

void ask_bus(GDBusConnection *connection, const char *method, GVariant *arguments) {
  g_autoptr(GError) error = nullptr;
  g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
      connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method, arguments,
      nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
  if (reply == nullptr)
    g_error("%s: %s", method, error->message);
}

void own_name(GDBusConnection *connection, const char *name) {
  ask_bus(connection, "RequestName", g_variant_new("(su)", name, 0U));
}

std::string text_of_call(GDBusMessage *call) {
  GVariant *body = g_dbus_message_get_body(call);
  g_autofree gchar *arguments = body != nullptr ? g_variant_print(body, TRUE) : g_strdup("()");
  return std::string{g_dbus_message_get_path(call)} + " " + g_dbus_message_get_interface(call) + "." +
         g_dbus_message_get_member(call) + " " + arguments;
}
