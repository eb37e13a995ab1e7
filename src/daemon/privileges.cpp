#include "daemon/privileges.h"

#include <grp.h>
#include <pwd.h>
#include <syslog.h>
#include <unistd.h>

namespace {

constexpr const char *kUser = "light";
constexpr const char *kGroup = "light";

}  // namespace

bool drop_privileges() {
  const passwd *user = getpwnam(kUser);
  if (user == nullptr) {
    syslog(LOG_ERR, "Couldn't get uid for user \"%s\": %m.", kUser);
    return false;
  }
  const group *group = getgrnam(kGroup);
  if (group == nullptr) {
    syslog(LOG_ERR, "Couldn't get gid for group \"%s\": %m.", kGroup);
    return false;
  }
  const auto gid = static_cast<int>(group->gr_gid);
  if (setgid(group->gr_gid) < 0) {
    syslog(LOG_ERR, "Failed setting gid to %d: %m", gid);
    return false;
  }
  if (initgroups(user->pw_name, group->gr_gid) < 0) {
    syslog(LOG_ERR, "Unable to run initgroups() with username: %s, gid: %d: %m", user->pw_name, gid);
    return false;
  }
  if (setuid(user->pw_uid) < 0) {
    syslog(LOG_ERR, "Failed setting uid to %d: %m", static_cast<int>(user->pw_uid));
    return false;
  }
  return true;
}
