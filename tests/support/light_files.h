#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>

/// Writes @p text as the whole content of the file at @p path, and makes the folders that lead to it.
/// Fails the running test outside of a sandbox, whose files these functions are for.
void write_file(const std::string &path, const std::string &text);

/// The content of the file at @p path; the running test fails when it cannot be read.
std::string read_file(const std::string &path);

/// Group and key -> the value to put there as it shall stand in the file; none = the key is left out. A group
/// whose keys are all left out is left out, too.
using StateOverrides = std::map<std::pair<std::string, std::string>, std::optional<std::string>>;

/// The text of a valid light state with every key there is, changed by @p overrides: for a light of two LEDs
/// that needs no power request and no particular power supply.
std::string state_text(const StateOverrides &overrides = {});

/// The two files of a light at their real places, removed in the end.
class LightFiles {
 public:
  explicit LightFiles(int light_id = 0);
  ~LightFiles();
  LightFiles(const LightFiles &) = delete;
  LightFiles &operator=(const LightFiles &) = delete;

  const std::string &state_path() const { return state_path_; }
  const std::string &defaults_path() const { return defaults_path_; }

  void write_state(const std::string &text) const { write_file(state_path_, text); }
  void write_defaults(const std::string &text) const { write_file(defaults_path_, text); }

 private:
  std::string state_path_;
  std::string defaults_path_;
};
