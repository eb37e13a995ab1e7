#pragma once

#include <gio/gio.h>

#include <memory>

struct ObjectUnref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
using BusConnection = std::unique_ptr<GDBusConnection, ObjectUnref>;

/// The address of a bus that only this test program uses; started by the first call, stopped when the program
/// ends.
const char *private_bus_address();

/// A new connection to it. The program survives its loss.
BusConnection connect_to_private_bus();
