#pragma once

#include <fcntl.h>

#include <optional>
#include <string>
#include <string_view>

#include "daemon/unique_fd.h"

/// Attribute files: what the kernel offers to be written and read as a whole.

/// Opens the file at @p path, which is neither made nor cut. Not valid when that failed, with errno set;
/// ENOENT for a path that could not be built.
UniqueFd open_attribute(const std::optional<std::string> &path, int access = O_WRONLY);

/// Writes @p text in one piece. FALSE with errno set when less was taken. Not repeated when a signal
/// interrupts it.
bool write_attribute(const UniqueFd &attribute, std::string_view text);
