#pragma once

#include <deque>
#include <map>
#include <string>
#include <vector>

/// What the executable that has attribute_writes.cpp writes to files below /sys, and which of these writes
/// fail. A file is told by its real path.
struct AttributeWrites {
  static constexpr int kShort = -1;

  /// Each write that was tried, in order: "path=text", or "path!" when it was made to fail.
  std::vector<std::string> tried;
  /// Per path, the errno with which the next writes fail, or kShort for one that leaves out the last byte.
  std::map<std::string, std::deque<int>> failures;
};

AttributeWrites &attribute_writes();
