#pragma once

#include <string>
#include <string_view>

#include "daemon/unique_fd.h"

/// Opens the attribute file at @p path for writing; it is neither made nor cut. Not valid when that failed,
/// with errno set.
UniqueFd open_attribute(const std::string &path);

/// Writes @p text in one piece. FALSE when less was taken (errno may be unset then) or nothing (errno tells).
/// Not repeated when a signal interrupts it.
bool write_attribute(const UniqueFd &attribute, std::string_view text);
