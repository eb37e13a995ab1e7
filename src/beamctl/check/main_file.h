#pragma once

#include <optional>
#include <string>
#include <vector>

namespace check {

/// beamd.conf as the daemon's reader yields it, with line numbers.
struct MainFile {
  struct Entry {
    std::string key;
    std::string value;
    int line;
  };
  /// A line "[name]" with what follows it.
  struct Section {
    std::string name;
    int line;
    std::vector<Entry> entries;
    std::vector<std::string> ignored;  ///< the lines in it that the reader skips
  };
  struct IgnoredLine {
    std::string text;
    int line;
  };

  std::vector<Section>
      sections;  ///< in file order; what stands ahead of the first one is in one without a name
  std::vector<IgnoredLine> ignored;
};

/// Reads the file at @p path of this machine, whose content is @p text; none when that fails.
std::optional<MainFile> read_main_file(const std::string &path, const std::string &text);

}  // namespace check
