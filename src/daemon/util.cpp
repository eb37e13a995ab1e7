#include "daemon/util.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "daemon/unique_fd.h"
#include "platform/bootblock.h"

namespace {

constexpr off_t kLargestKeyFile = off_t{16} * 1024 * 1024;

// A FIFO would keep us waiting, and a device may never end. A folder opens: reading it fails, with the better
// reason.
int check_readable(int descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0)
    return errno;
  if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode))
    return EINVAL;
  return status.st_size > kLargestKeyFile ? EFBIG : 0;
}

/// Returns nullptr with @p reason set when there is no file to read.
GIOChannel *open_channel(const char *path, std::string *reason) {
  UniqueFd file{open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC)};
  if (const int error = file ? check_readable(file.get()) : errno) {
    *reason = g_strerror(error);
    return nullptr;
  }
  GIOChannel *channel = g_io_channel_unix_new(file.release());
  g_io_channel_set_close_on_unref(channel, TRUE);
  g_io_channel_set_encoding(channel, nullptr, nullptr);
  return channel;
}

/// Reads to the end of @p channel, which may be further away than its file's size told.
std::optional<std::string> read_all(GIOChannel *channel, std::string *reason) {
  std::string text;
  char piece[4096];
  for (;;) {
    gsize length = 0;
    g_autoptr(GError) error = nullptr;
    switch (g_io_channel_read_chars(channel, piece, sizeof piece, &length, &error)) {
      case G_IO_STATUS_EOF:
        return text;
      case G_IO_STATUS_NORMAL:
        text.append(piece, length);
        if (text.size() <= static_cast<gsize>(kLargestKeyFile))
          continue;
        *reason = g_strerror(EFBIG);
        return std::nullopt;
      default:
        *reason = error != nullptr ? error->message : g_strerror(EAGAIN);
        return std::nullopt;
    }
  }
}

bool write_all(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = TEMP_FAILURE_RETRY(write(descriptor, text.data(), text.size()));
    if (written <= 0)
      return false;
    text.remove_prefix(static_cast<size_t>(written));
  }
  return true;
}

bool write_and_sync(const std::string &path, GKeyFile *key_file) {
  // A writer that was killed while it was still root may have left a file that only root can open. The new
  // one is made exclusively: the folder belongs to group light, and a link put there must not lead root
  // elsewhere.
  unlink(path.c_str());
  const UniqueFd file{open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)};
  if (!file) {
    syslog(LOG_ERR, "Could not create temp file for state write");
    return false;
  }

  gsize length = 0;
  g_autofree char *text = g_key_file_to_data(key_file, &length, nullptr);
  if (!write_all(file.get(), {text, length})) {
    syslog(LOG_ERR, "failed writing file");
    return false;
  }
  if (fsync(file.get()) != 0) {
    syslog(LOG_ERR, "failed to sync state tmp file");
    return false;
  }
  return true;
}

bool sync_folder_of(const std::string &path) {
  g_autofree char *folder = g_path_get_dirname(path.c_str());
  const UniqueFd directory{open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
  if (!directory) {
    syslog(LOG_ERR, "open %s failed", folder);
    return false;
  }
  if (fsync(directory.get()) != 0) {
    syslog(LOG_ERR, "fsync %s failed", folder);
    return false;
  }
  return true;
}

}  // namespace

std::optional<std::string> read_whole_file(const char *path, ReadFailure *failure) {
  g_autoptr(GIOChannel) channel = open_channel(path, &failure->reason);
  failure->is_open = channel != nullptr;
  return failure->is_open ? read_all(channel, &failure->reason) : std::nullopt;
}

std::optional<std::string> read_file_logging(const char *path, const KeyFileMessages &messages) {
  ReadFailure failure;
  auto text = read_whole_file(path, &failure);
  if (!text)
    syslog(failure.is_open ? LOG_ERR : messages.open_priority,
           failure.is_open ? messages.read : messages.open, path, failure.reason.c_str());
  return text;
}

bool parse_key_file_logging(const char *path, const std::string &text, GKeyFile *key_file,
                            const KeyFileMessages &messages) {
  // GLib keeps what came before a bad line, and one key file cannot be moved into another: a scratch one is
  // parsed first.
  g_autoptr(GKeyFile) scratch = g_key_file_new();
  g_autoptr(GError) error = nullptr;
  if (!g_key_file_load_from_data(scratch, text.data(), text.size(), G_KEY_FILE_NONE, &error) ||
      !g_key_file_load_from_data(key_file, text.data(), text.size(), G_KEY_FILE_NONE, &error)) {
    syslog(LOG_ERR, messages.parse, path, error->message);
    return false;
  }
  return true;
}

bool load_key_file_logging(const char *path, GKeyFile *key_file, const KeyFileMessages &messages) {
  const auto text = read_file_logging(path, messages);
  return text && parse_key_file_logging(path, *text, key_file, messages);
}

gboolean util_load_key_file(const char *path, GKeyFile *key_file) {
  g_return_val_if_fail(path != nullptr && key_file != nullptr, FALSE);
  return load_key_file_logging(
      path, key_file,
      {LOG_ERR, "Could not open %s: %s", "Could not read %s: %s", "Could not parse key file %s: %s"});
}

gboolean util_store_key_file(const char *path, GKeyFile *key_file) {
  g_return_val_if_fail(path != nullptr && key_file != nullptr, FALSE);

  char realfilepath[256];
  ssize_t realfilepathlen = readlink(path, realfilepath, sizeof realfilepath - 1);
  if (realfilepathlen < 0) {
    if (errno != EINVAL) {
      syslog(LOG_ERR, "Store state failed: readlink");
      return FALSE;
    }
    realfilepathlen = static_cast<ssize_t>(strlen(path));
    g_strlcpy(realfilepath, path, sizeof realfilepath);
  }
  g_assert((guint)realfilepathlen < sizeof realfilepath - 1);

  const std::string target{realfilepath, static_cast<size_t>(realfilepathlen)};
  const std::string temporary = target + ".tmp";
  if (!write_and_sync(temporary, key_file))
    return FALSE;
  if (rename(temporary.c_str(), target.c_str()) != 0) {
    syslog(LOG_ERR, "Failed to rename new state file");
    return FALSE;
  }
  return sync_folder_of(target);
}

void util_get_config_filename(const char *base, const char *parameter, char **file_name) {
  g_return_if_fail(base != nullptr && parameter != nullptr && file_name != nullptr);

  const std::unique_ptr<char, decltype(&free)> value{bootblock_get(parameter), &free};
  if (value) {
    g_autofree char *candidate = g_strconcat(base, ".", value.get(), nullptr);
    if (access(candidate, F_OK) == 0) {
      *file_name = g_steal_pointer(&candidate);
      return;
    }
  } else if (errno != ENOENT) {
    syslog(LOG_INFO, "Could not read bootblock parameter %s: %m", parameter);
  }
  *file_name = g_strdup(base);
}
