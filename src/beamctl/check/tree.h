#pragma once

#include <optional>
#include <string>
#include <vector>

namespace check {

/// What reading a file of a tree came to.
struct FileText {
  bool exists = false;
  std::optional<std::string> text = {};
  std::string problem = {};  ///< why there is no text
  bool is_too_large = false;
  std::string host_path = {};  ///< where the file is on this machine
};

/// A folder that holds the file system of a camera, or as much of it as concerns beamd. Symbolic links lead
/// where they would on the camera: never out of the folder.
class Tree {
 public:
  explicit Tree(std::string root) : root_(std::move(root)) {}

  /// Where @p path is on this machine, without its symbolic links; none, with errno set, when it cannot be
  /// reached.
  std::optional<std::string> find(const std::string &path) const;

  /// Never waits, and reads files of 16 MiB at most.
  FileText read(const std::string &path) const;

  /// The names in the folder at @p path, sorted.
  std::vector<std::string> list(const std::string &path) const;

  /// The target of the symbolic link at @p path as it stands there; none when it is no link.
  std::optional<std::string> link_target(const std::string &path) const;

 private:
  std::string root_;
};

}  // namespace check
