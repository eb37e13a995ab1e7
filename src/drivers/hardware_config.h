#pragma once

#include <string>

/// The configuration file for the fitted hardware: @p base, or its variant for the boot parameter HWID when
/// there is one. The debug log tells which, in the words of @p usage.
std::string hardware_config(const char *base, const char *usage);
