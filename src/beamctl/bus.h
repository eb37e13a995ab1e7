#pragma once

#include <gio/gio.h>

#include <memory>
#include <string>

#include "beamctl/command_line.h"

struct VariantUnref {
  void operator()(GVariant *variant) const { g_variant_unref(variant); }
};
using Variant = std::unique_ptr<GVariant, VariantUnref>;

struct ObjectUnref {
  void operator()(gpointer object) const { g_object_unref(object); }
};

/// What the daemon usually answers within.
constexpr int kAnswerMs = 10'000;
/// A light behind a pan-tilt unit is switched by that unit, which may be slow and may have to be looked for.
constexpr int kSwitchingMs = 60'000;

/// A member of one of the daemon's objects.
struct Member {
  const char *path;
  const char *interface;
  const char *name;
};

/// The connection to the bus that the command line names.
class Bus {
 public:
  /// Throws a Failure when there is no bus at that address, or none that answers in time.
  explicit Bus(const Invocation &invocation);

  GDBusConnection *connection() const { return connection_.get(); }

  /// Calls a method of the daemon with @p arguments (nullptr for none, floating) and returns its reply, a
  /// tuple of the type @p reply_type. Throws a Failure.
  Variant call(const Member &method, GVariant *arguments, const char *reply_type,
               int timeout_ms = kAnswerMs) const;
  /// The value of a property.
  Variant get(const Member &property) const;
  void set(const Member &property, GVariant *value) const;

 private:
  std::unique_ptr<GDBusConnection, ObjectUnref> connection_;
};
