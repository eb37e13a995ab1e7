#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

/// The primary group of user light, who gets access to the device files. None, logged at LOG_ERR, when there
/// is no such user.
std::optional<gid_t> light_group();

/// Gives the file at @p path to @p group; its owner stays. FALSE, logged at LOG_ERR, when that failed, as it
/// does for a path that could not be built.
bool give_to_group(const std::optional<std::string> &path, gid_t group);
