#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

/// Access of the unprivileged daemon to its device files. What is logged is logged at LOG_ERR.

/// The primary group of user light; none, which is logged, when there is no such user.
std::optional<gid_t> light_group();

/// Changes the group of the file at @p path; its owner stays. FALSE with errno set when that failed.
bool change_group(const char *path, gid_t group);
/// The same; a failure is logged, as is a path that could not be built.
bool give_to_group(const std::optional<std::string> &path, gid_t group);

/// Lets owner and group write the file at @p path, and everybody read it. FALSE with errno set when that
/// failed.
bool make_group_writable(const char *path);

/// Does both. FALSE with errno set when the path could not be built or one of them failed.
bool open_to_group(const std::optional<std::string> &path, gid_t group);
