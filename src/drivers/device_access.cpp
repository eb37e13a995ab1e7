#include "drivers/device_access.h"

#include <pwd.h>
#include <syslog.h>
#include <unistd.h>

std::optional<gid_t> light_group() {
  if (const passwd *user = getpwnam("light"))
    return user->pw_gid;
  syslog(LOG_ERR, "Beamd failed getting passwd for user light");
  return std::nullopt;
}

bool give_to_group(const std::optional<std::string> &path, gid_t group) {
  constexpr auto kSameOwner = static_cast<uid_t>(-1);
  if (path && chown(path->c_str(), kSameOwner, group) == 0)
    return true;
  syslog(LOG_ERR, "Failed to chown %s to gid %d", path.value_or("unknown path").c_str(),
         static_cast<int>(group));
  return false;
}
