#include "beamctl/check/key_file.h"

#include <algorithm>
#include <utility>

namespace check {

namespace {

constexpr std::string_view kBlanks = " \t\v\f\r\n";

using KeyFilePointer = std::shared_ptr<GKeyFile>;

KeyFilePointer load(std::string_view text, std::string *reason) {
  KeyFilePointer key_file{g_key_file_new(), g_key_file_unref};
  g_autoptr(GError) error = nullptr;
  if (g_key_file_load_from_data(key_file.get(), text.data(), text.size(), G_KEY_FILE_NONE, &error))
    return key_file;
  *reason = error->message;
  return nullptr;
}

/// The number of the first line that GLib stumbles over: the end of the shortest part of @p text that it
/// cannot read.
int first_broken_line(std::string_view text) {
  std::vector<std::size_t> ends;
  for_each_line(text, [&](std::string_view line, int) {
    ends.push_back(static_cast<std::size_t>(line.data() - text.data()) + line.size());
  });
  std::string reason;
  const auto end = std::partition_point(ends.begin(), ends.end(), [&](std::size_t length) {
    return load(text.substr(0, length), &reason) != nullptr;
  });
  return static_cast<int>(end - ends.begin()) + 1;
}

/// The name in a line "[name]".
std::optional<std::string_view> group_name(std::string_view line) {
  const std::size_t end = line.find(']');
  if (!line.starts_with('[') || end == std::string_view::npos || !trimmed(line.substr(end + 1)).empty())
    return std::nullopt;
  return line.substr(1, end - 1);
}

std::string index_name(std::string_view group, std::string_view key) {
  return std::string{group} + "]" + std::string{key};
}

}  // namespace

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  return first == std::string_view::npos ? std::string_view{}
                                         : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::optional<KeyFile> KeyFile::parse(const std::string &text, SyntaxProblem *problem) {
  KeyFile result;
  result.key_file_ = load(text, &problem->reason);
  if (result.key_file_ == nullptr) {
    problem->line = first_broken_line(text);
    return std::nullopt;
  }
  result.index(text);
  return result;
}

void KeyFile::add_group(std::string name, int line) {
  const auto [known, is_new] = group_numbers_.try_emplace(name, groups_.size());
  current_ = known->second;
  if (is_new)
    groups_.push_back({std::move(name), line, {}});
  else
    repetitions_.push_back({std::move(name), "", line, groups_[current_].line});
}

void KeyFile::add_key(std::string name, int line) {
  Group &group = groups_[current_];
  const auto [known, is_new] = key_lines_.try_emplace(index_name(group.name, name), line);
  if (!is_new)
    repetitions_.push_back({group.name, name, line, std::exchange(known->second, line)});
  group.keys.push_back({std::move(name), line});
}

void KeyFile::index(std::string_view text) {
  for_each_line(text, [this](std::string_view whole, int number) {
    const std::string_view line = trimmed(whole);
    if (line.empty() || line.starts_with('#'))
      return;
    if (const auto name = group_name(line))
      add_group(std::string{*name}, number);
    else if (const std::size_t sign = line.find('='); sign != std::string_view::npos && !groups_.empty())
      add_key(std::string{trimmed(line.substr(0, sign))}, number);
  });
}

const KeyFile::Group *KeyFile::group(std::string_view name) const {
  const auto number = group_numbers_.find(std::string{name});
  return number != group_numbers_.end() ? &groups_[number->second] : nullptr;
}

int KeyFile::line_of(std::string_view group, std::string_view key) const {
  const auto line = key_lines_.find(index_name(group, key));
  return line != key_lines_.end() ? line->second : 0;
}

int KeyFile::line_near(std::string_view group_name, std::string_view key) const {
  if (const int line = line_of(group_name, key))
    return line;
  const Group *known = group(group_name);
  return known != nullptr ? known->line : 0;
}

std::string KeyFile::raw(const std::string &group, const std::string &key) const {
  g_autofree gchar *value = g_key_file_get_value(get(), group.c_str(), key.c_str(), nullptr);
  return value != nullptr ? value : "";
}

std::optional<gint> KeyFile::integer(const std::string &group, const std::string &key) const {
  g_autoptr(GError) error = nullptr;
  const gint value = g_key_file_get_integer(get(), group.c_str(), key.c_str(), &error);
  return error == nullptr ? std::optional{value} : std::nullopt;
}

std::optional<bool> KeyFile::boolean(const std::string &group, const std::string &key) const {
  g_autoptr(GError) error = nullptr;
  const bool value = g_key_file_get_boolean(get(), group.c_str(), key.c_str(), &error) != FALSE;
  return error == nullptr ? std::optional{value} : std::nullopt;
}

std::optional<double> KeyFile::number(const std::string &group, const std::string &key) const {
  g_autoptr(GError) error = nullptr;
  const double value = g_key_file_get_double(get(), group.c_str(), key.c_str(), &error);
  return error == nullptr ? std::optional{value} : std::nullopt;
}

std::optional<std::string> KeyFile::text(const std::string &group, const std::string &key) const {
  g_autoptr(GError) error = nullptr;
  g_autofree gchar *value = g_key_file_get_string(get(), group.c_str(), key.c_str(), &error);
  return error == nullptr ? std::optional<std::string>{value} : std::nullopt;
}

std::optional<std::vector<gint>> KeyFile::integers(const std::string &group, const std::string &key) const {
  gsize count = 0;
  g_autofree gint *values = g_key_file_get_integer_list(get(), group.c_str(), key.c_str(), &count, nullptr);
  return values != nullptr ? std::optional{std::vector<gint>(values, values + count)} : std::nullopt;
}

}  // namespace check
