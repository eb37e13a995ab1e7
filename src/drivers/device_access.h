#pragma once

#include <sys/types.h>

#include <optional>

/// The primary group of user light, who gets access to the device files. None, logged at LOG_ERR, when there
/// is no such user.
std::optional<gid_t> light_group();

/// Gives the file at @p path to @p group; its owner stays. FALSE, logged at LOG_ERR, when that failed.
bool give_to_group(const char *path, gid_t group);
