#pragma once

#include <gio/gio.h>

#include <string>

#include "beamctl/failure.h"

/// Why there is no connection to the bus.
Failure bus_failure(const GError *error);
Failure silent_bus();

/// Why a call of the daemon's object at @p path failed: in the daemon's own words where it refused.
Failure call_failure(const GError *error, const std::string &path);

/// Something that nobody understands: @p what completes "beamd ...".
Failure odd_answer(const std::string &what);

/// Whether the light, as it is configured, does not have what was asked for.
bool is_unsupported(const Failure &failure);
