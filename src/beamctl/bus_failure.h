#pragma once

#include <gio/gio.h>

#include <string>

#include "beamctl/failure.h"

/// Why there is no connection to the bus.
Failure bus_failure(const GError *error);

/// Why a call of the daemon's object at @p path failed: in the daemon's own words where it refused.
Failure call_failure(const GError *error, const std::string &path);
