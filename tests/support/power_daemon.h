#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "support/private_bus.h"

/// The power daemon, on the private bus: lights register and ask at one name, another one tells of the
/// supply. It is down until it is told to come up. It answers from GDBus's own thread, so that the test's
/// thread may block in a call.
class PowerDaemon {
 public:
  PowerDaemon();
  ~PowerDaemon();
  PowerDaemon(const PowerDaemon &) = delete;
  PowerDaemon &operator=(const PowerDaemon &) = delete;

  /// Takes both names, as soon as nobody else has them.
  void come_up();
  void go_down();

  /// What whoever asks for the whole status is told, as GVariant text: "{'PowerReceived': <9.5>}".
  void has_status(const std::string &properties);
  /// Signals the change of these properties, in this order, whether the status has them or not.
  void announce(const std::string &properties) const;
  /// From now on every call is answered with an error, whether its caller wants to know or not.
  void refuse_calls();

  const char *bus_name() const { return g_dbus_connection_get_unique_name(connection_.get()); }
  /// What it was asked for so far: "path interface.Method arguments".
  std::vector<std::string> calls() const;
  /// Whether the caller of any of these wanted a reply.
  bool is_waited_for() const;

  /// Returns once each side has what the other one had sent before.
  void settle() const;

 private:
  static GDBusMessage *filter(GDBusConnection *connection, GDBusMessage *message, gboolean incoming,
                              gpointer self);
  /// NULL when the caller wants none.
  GDBusMessage *answer(GDBusMessage *call);
  GDBusMessage *tell_status(GDBusMessage *call) const;

  mutable std::mutex mutex_;
  std::string status_ = "{}";
  std::vector<std::string> calls_;
  bool refuses_ = false;
  bool is_waited_for_ = false;
  BusConnection connection_ = connect_to_private_bus();
  /// The one on which the lights of this program are.
  BusConnection system_bus_;
  guint filter_;
};
