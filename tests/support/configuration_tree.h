#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

/// The files of a camera, by path.
using CameraFiles = std::map<std::string, std::string>;

/// The smallest configuration that is all right, of one light of Type @p type.
CameraFiles valid_configuration(std::string_view type);

/// A folder that holds the file system of a camera; gone in the end.
class ConfigurationTree {
 public:
  ConfigurationTree();
  ~ConfigurationTree();
  ConfigurationTree(const ConfigurationTree &) = delete;
  ConfigurationTree &operator=(const ConfigurationTree &) = delete;

  const std::filesystem::path &root() const { return root_; }
  std::filesystem::path path(const std::string &file) const { return root_ / file.substr(1); }

  void write(const std::string &file, std::string_view text) const;
  void write(const CameraFiles &files) const;

  /// What the check says, a line a finding: "file:line severity rule reason"; without the line where it is
  /// about a whole file.
  std::string findings() const;

 private:
  std::filesystem::path root_;
};

/// A mistake in a configuration that is all right otherwise.
struct Mistake {
  std::string name;  ///< of letters and digits
  std::string type;
  std::string file;
  std::string right;     ///< a text of the file, and
  std::string wrong;     ///< what stands there instead
  std::string expected;  ///< "severity rule reason"
  /// A text on the line that is found; the first of `wrong` when empty, "-" for none.
  std::string mark = "";
  std::string marked_file = "";  ///< if it is another file
  CameraFiles more = {};         ///< more files, with the mistake and without it
};

std::ostream &operator<<(std::ostream &stream, const Mistake &mistake);

/// All mistakes of the executable's tests.
std::vector<Mistake> &known_mistakes();

/// Adds @p mistakes to them and returns them.
std::vector<Mistake> known(std::vector<Mistake> mistakes);

/// Each mistake is found, alone, at its place; without it there is nothing to find.
class MistakeTest : public testing::TestWithParam<Mistake> {
 protected:
  static void expect_found(const Mistake &mistake);
};

inline std::string name_of_mistake(const testing::TestParamInfo<Mistake> &info) { return info.param.name; }
