#pragma once

#include <glib.h>

#include <optional>
#include <string>

/// What is logged when a key file cannot be opened, read or parsed: printf formats that may take the path and
/// GLib's reason, in this order. Reading and parsing are logged at LOG_ERR.
struct KeyFileMessages {
  int open_priority;
  const char *open;
  const char *read;
  const char *parse;
};

/// Why there is no text of a file.
struct ReadFailure {
  bool is_open = false;  ///< whether it could be opened
  std::string reason;
};

/// The text of the file at @p path, which is at most 16 MiB; none, with @p failure set, when it cannot be
/// opened or read.
std::optional<std::string> read_whole_file(const char *path, ReadFailure *failure);

/// The same; a failure is logged.
std::optional<std::string> read_file_logging(const char *path, const KeyFileMessages &messages);

/// Parses @p text, which was read from @p path, into @p key_file (the caller's). On failure, which is logged,
/// @p key_file keeps what it held before, also when the text is broken only towards its end.
bool parse_key_file_logging(const char *path, const std::string &text, GKeyFile *key_file,
                            const KeyFileMessages &messages);

/// Reads and parses the file at @p path into @p key_file (the caller's). On failure, which is logged, @p
/// key_file keeps what it held before.
bool load_key_file_logging(const char *path, GKeyFile *key_file, const KeyFileMessages &messages);

G_BEGIN_DECLS

/// Loads @p path into @p key_file (the caller's, never NULL). FALSE when the file cannot be opened, read or
/// parsed; logged at LOG_ERR, and @p key_file keeps what it held.
gboolean util_load_key_file(const char *path, GKeyFile *key_file);

/// Replaces the file at @p path, or the file that the symbolic link at @p path names, by the text of @p
/// key_file. The file must exist already. A crash at any moment leaves either the old or the new content.
/// FALSE when a step failed (logged at LOG_ERR); the old content is then still there, except when only
/// syncing the folder failed. Aborts when the target's path has 255 or more characters.
gboolean util_store_key_file(const char *path, GKeyFile *key_file);

/// Sets *@p file_name to @p base with "." and the value of the boot parameter @p parameter appended when such
/// a file exists, otherwise to a copy of @p base. The caller frees it with g_free().
void util_get_config_filename(const char *base, const char *parameter, char **file_name);

G_END_DECLS
