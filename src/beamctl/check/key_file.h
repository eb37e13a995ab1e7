#pragma once

#include <glib.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace check {

/// Why a text is no key file.
struct SyntaxProblem {
  int line = 0;
  std::string reason;
};

/// A key file as the daemon reads it, with the lines of its groups and keys. The values are GLib's: what is
/// given twice has its last value, and groups of one name are one.
class KeyFile {
 public:
  struct Key {
    std::string name;
    int line;
  };
  struct Group {
    std::string name;
    int line;
    std::vector<Key> keys;  ///< in file order; one that is given twice is there twice
  };
  /// A group or, unless `key` is empty, a key that is given once more.
  struct Repetition {
    std::string group;
    std::string key;
    int line;
    int first_line;
  };

  /// None, with @p problem set, when @p text is no key file.
  static std::optional<KeyFile> parse(const std::string &text, SyntaxProblem *problem);

  GKeyFile *get() const { return key_file_.get(); }
  const std::vector<Group> &groups() const { return groups_; }
  const std::vector<Repetition> &repetitions() const { return repetitions_; }

  /// NULL when there is none.
  const Group *group(std::string_view name) const;
  bool has(std::string_view group, std::string_view key) const { return line_of(group, key) != 0; }
  /// The line of the value that counts; 0 when there is no such key.
  int line_of(std::string_view group, std::string_view key) const;
  /// That line, or the group's, or 0.
  int line_near(std::string_view group, std::string_view key) const;

  /// The value as it stands in the file.
  std::string raw(const std::string &group, const std::string &key) const;

  /// Each is none when the daemon could not read it.
  std::optional<gint> integer(const std::string &group, const std::string &key) const;
  std::optional<bool> boolean(const std::string &group, const std::string &key) const;
  std::optional<double> number(const std::string &group, const std::string &key) const;
  std::optional<std::string> text(const std::string &group, const std::string &key) const;
  std::optional<std::vector<gint>> integers(const std::string &group, const std::string &key) const;

 private:
  void add_group(std::string name, int line);
  void add_key(std::string name, int line);
  void index(std::string_view text);

  std::shared_ptr<GKeyFile> key_file_;
  std::vector<Group> groups_;
  std::vector<Repetition> repetitions_;
  std::unordered_map<std::string, std::size_t> group_numbers_;
  std::unordered_map<std::string, int> key_lines_;  // by "group]key"
  std::size_t current_ = 0;
};

/// Calls @p use with each line of @p text, without its end, and its number from 1.
template <typename Use>
void for_each_line(std::string_view text, Use use) {
  for (int number = 1; !text.empty(); ++number) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.ends_with('\r'))
      line.remove_suffix(1);
    use(line, number);
  }
}

/// @p text without the blanks around it.
std::string_view trimmed(std::string_view text);

}  // namespace check
