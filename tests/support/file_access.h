#pragma once

#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ostream>
#include <string>

#include "support/light_files.h"

/// Who may do what with a file.
struct FileAccess {
  uid_t owner;
  gid_t group;
  mode_t mode;  ///< with the special bits

  bool operator==(const FileAccess &) const = default;
};

inline void PrintTo(const FileAccess &access, std::ostream *stream) {
  *stream << access.owner << ":" << access.group << " " << std::oct << access.mode << std::dec;
}

inline FileAccess access_of(const std::string &path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return {status.st_uid, status.st_gid, status.st_mode & 07777U};
}

inline void set_access(const std::string &path, const FileAccess &access) {
  ASSERT_EQ(chown(path.c_str(), access.owner, access.group), 0) << path;
  ASSERT_EQ(chmod(path.c_str(), access.mode), 0) << path;
}

/// A new file with the least access, which belongs to somebody.
inline constexpr FileAccess kFreshAccess = {65534, 65534, 0600};

inline void write_fresh_file(const std::string &path, const std::string &text = "") {
  write_file(path, text);
  set_access(path, kFreshAccess);
}

inline uid_t user_id(const char *name) { return getpwnam(name)->pw_uid; }
/// The primary group of user @p name.
inline gid_t primary_group(const char *user) { return getpwnam(user)->pw_gid; }
inline gid_t group_id(const char *name) { return getgrnam(name)->gr_gid; }

/// Puts a file of the process itself at @p path, whose group can be changed, and whose mode cannot.
inline void write_file_of_fixed_mode(const std::string &path) {
  write_file(path, "");
  ASSERT_EQ(unlink(path.c_str()), 0);
  ASSERT_EQ(symlink("/proc/self/comm", path.c_str()), 0);
}

/// Removes the line of @p name from a file of users or groups, as long as it lives.
class WithoutEntry {
 public:
  WithoutEntry(std::string path, const std::string &name) : path_{std::move(path)}, text_{read_file(path_)} {
    const auto start = ("\n" + text_).find("\n" + name + ":");
    EXPECT_NE(start, std::string::npos) << name << " is not in " << path_;
    write_file(path_, std::string{text_}.erase(start, text_.find('\n', start) + 1 - start));
  }
  ~WithoutEntry() { write_file(path_, text_); }
  WithoutEntry(const WithoutEntry &) = delete;
  WithoutEntry &operator=(const WithoutEntry &) = delete;

 private:
  std::string path_;
  std::string text_;
};
