#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "beamctl/check/camera.h"
#include "beamctl/check/schema.h"

namespace check {

/// A key file as one Type of light reads it: what can be said of each group and key by itself. Afterwards the
/// values that nothing was said about can be asked for.
class CheckedFile {
 public:
  /// @p readers are all Types that read the file.
  CheckedFile(FileKind kind, std::string path, KeyFile keys, const LightType &type, TypeSet readers,
              Report &report);

  /// Reports unknown, repeated and missing groups and keys, and values that are not what they have to be.
  void check();

  const std::string &path() const { return path_; }
  const KeyFile &keys() const { return keys_; }
  const LightType &type() const { return type_; }
  TypeSet readers() const { return readers_; }

  /// Whether groups of one name stand in it, which are one to the daemon.
  bool has_merged_groups() const;

  /// Whether the daemon knows the group; one that it does not know is not read.
  bool is_known_group(const std::string &group) const;

  /// Whether the key is there, or one that was meant to be it.
  bool is_meant(const std::string &group, const std::string &key) const;

  /// Whether the Type has a use for the key.
  bool is_used_key(const std::string &group, const std::string &key) const;

  /// In dimming.conf: whether the temperature has no influence on the light.
  bool is_regulator_idle() const;

  /// The value; none when it is missing or something was said about it.
  std::optional<gint> integer(const std::string &group, const std::string &key) const;
  std::optional<bool> boolean(const std::string &group, const std::string &key) const;
  std::optional<double> number(const std::string &group, const std::string &key) const;
  std::optional<std::string> text(const std::string &group, const std::string &key) const;
  std::optional<std::vector<gint>> integers(const std::string &group, const std::string &key) const;

  /// Adds a finding of the file at the line of a key, of its group when there is no such key.
  void report_at(const std::string &group, const std::string &key, Finding finding);
  /// Adds a finding at @p line.
  void report_line(int line, Finding finding);

  void report_missing_key(const std::string &group, const std::string &key, Severity severity, Reason reason,
                          std::string_view reaction = "");

  /// Checks the value of a key of which @p row tells what it has to be.
  void check_value(const std::string &group, const std::string &key, const KeySchema &row);

 private:
  std::string schema_group(const std::string &group) const;
  bool is_known_key(const std::string &group, const std::string &key) const;
  void check_repetitions();
  void report_repeated_group(const KeyFile::Repetition &repetition, bool loses_keys);
  void check_unknown_group(const KeyFile::Group &group);
  void check_unknown_keys(const KeyFile::Group &group);
  void report_unknown_key(const std::string &group, const std::string &key, int line);
  std::string meant_key(const std::string &group, const std::string &key) const;
  void check_required();
  void check_required_keys(const KeyFile::Group &group);
  void check_values();
  struct Consequence {
    Severity severity;
    Reason reason;
    std::string_view reaction;
  };
  /// What follows from a value that is out of range.
  Consequence consequence_beyond(const KeySchema &row, double value) const;
  void check_range(const std::string &group, const std::string &key, const KeySchema &row);
  void report_type(const std::string &group, const std::string &key, const KeySchema &row);
  Reason reason_without(const KeySchema &row) const;
  bool is_judged(const std::string &group, const std::string &key) const;
  void spoil(const std::string &group, const std::string &key) { spoiled_.insert(group + "]" + key); }
  void mean(const std::string &group, const std::string &key) { meant_.insert(group + "]" + key); }

  FileKind kind_;
  std::string path_;
  KeyFile keys_;
  const LightType &type_;
  TypeSet readers_;
  std::vector<std::string_view> group_names_;
  Report &report_;
  std::set<std::string> meant_groups_;
  std::set<std::string> meant_;    // keys for which a misspelt one stands
  std::set<std::string> spoiled_;  // keys whose values cannot be judged
};

}  // namespace check
