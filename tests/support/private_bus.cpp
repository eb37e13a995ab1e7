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
