#pragma once

#include <gio/gio.h>

#include <memory>
#include <string>

struct ObjectUnref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
using BusConnection = std::unique_ptr<GDBusConnection, ObjectUnref>;

/// The address of a bus that only this test program uses; started by the first call, stopped when the program
/// ends.
const char *private_bus_address();

/// A new connection to it. The program survives its loss.
BusConnection connect_to_private_bus();

/// Calls @p method of the bus itself and waits for its reply; by then the bus has passed on all that
/// @p connection had sent before. Takes over @p arguments.
void ask_bus(GDBusConnection *connection, const char *method, GVariant *arguments = nullptr);

/// Takes @p name, as soon as nobody else has it.
void own_name(GDBusConnection *connection, const char *name);

/// A method call as "path interface.Method arguments".
std::string text_of_call(GDBusMessage *call);
