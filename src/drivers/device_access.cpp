#include "drivers/device_access.h"

#include <pwd.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>

std::optional<gid_t> light_group() {
  if (const passwd *user = getpwnam("light"))
    return user->pw_gid;
  syslog(LOG_ERR, "Beamd failed getting passwd for user light");
  return std::nullopt;
}

bool change_group(const char *path, gid_t group) {
  constexpr auto kSameOwner = static_cast<uid_t>(-1);
  return chown(path, kSameOwner, group) == 0;
}

bool give_to_group(const std::optional<std::string> &path, gid_t group) {
  if (path && change_group(path->c_str(), group))
    return true;
  syslog(LOG_ERR, "Failed to chown %s to gid %d", path.value_or("unknown path").c_str(),
         static_cast<int>(group));
  return false;
}

bool make_group_writable(const char *path) { return chmod(path, 0664) == 0; }

bool open_to_group(const std::optional<std::string> &path, gid_t group) {
  if (!path) {
    errno = ENOENT;
    return false;
  }
  return change_group(path->c_str(), group) && make_group_writable(path->c_str());
}
