#include "beamctl/check/value_reading.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace check {

namespace {

constexpr std::string_view kYes[] = {"true", "yes", "on", "enabled", "y", "t"};
constexpr std::string_view kNo[] = {"false", "no", "off", "disabled", "n", "f"};

/// Whether anything but blanks stands behind the number that @p entry begins with.
bool has_text_behind(std::string_view entry) {
  const std::string_view number = trimmed(entry);
  return number.find_first_of(" \t\v\f\r") != std::string_view::npos;
}

bool any_entry_has_text_behind(std::string_view list) {
  while (!list.empty()) {
    const std::size_t end = std::min(list.find(';'), list.size());
    if (has_text_behind(list.substr(0, end)))
      return true;
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return false;
}

bool has_comment(std::string_view text) {
  for (std::size_t sign = text.find_first_of("#;"); sign != std::string_view::npos;
       sign = text.find_first_of("#;", sign + 1))
    if (sign > 0 && text[sign - 1] == ' ' && (sign + 1 == text.size() || text[sign + 1] == ' '))
      return true;
  return false;
}

// The name of a sensor may have any signs in it.
ValueVerdict judge_text(std::string_view key, const std::string &text) {
  if (trimmed(text).empty())
    return ValueVerdict::kEmpty;
  const bool is_trailing =
      trimmed(text).size() != text.size() || (!key.starts_with(kSensorKey) && has_comment(text));
  return is_trailing ? ValueVerdict::kTrailingInText : ValueVerdict::kFine;
}

bool is_wholly_a_number(const std::string &text) {
  char *end = nullptr;
  strtod(text.c_str(), &end);
  return end != text.c_str() && trimmed(end).empty();
}

ValueVerdict readable(bool is_readable, bool has_trailing_text = false) {
  if (!is_readable)
    return ValueVerdict::kWrongType;
  return has_trailing_text ? ValueVerdict::kTrailingText : ValueVerdict::kFine;
}

bool is_one_of(std::string_view value, std::span<const std::string_view> words) {
  return std::any_of(words.begin(), words.end(), [&](std::string_view word) {
    return g_ascii_strcasecmp(std::string{value}.c_str(), std::string{word}.c_str()) == 0;
  });
}

/// The decimal number for "0x3a".
std::string decimal(std::string_view value) {
  const std::string text{trimmed(value)};
  if (!text.starts_with("0x") && !text.starts_with("0X"))
    return "";
  char *end = nullptr;
  errno = 0;
  const long number = std::strtol(text.c_str(), &end, 16);
  return *end == '\0' && text.size() > 2 && errno == 0 ? std::to_string(number) : "";
}

}  // namespace

ValueVerdict judge_value(const KeyFile &keys, const std::string &group, const std::string &key,
                         ValueType type) {
  switch (type) {
    case ValueType::kInteger:
      return readable(keys.integer(group, key).has_value(), has_text_behind(keys.raw(group, key)));
    case ValueType::kBoolean:
      return readable(keys.boolean(group, key).has_value());
    case ValueType::kNumber:
      return readable(keys.number(group, key).has_value());
    case ValueType::kNumberText:
      return readable(keys.text(group, key).has_value() && is_wholly_a_number(*keys.text(group, key)));
    case ValueType::kIntegerList: {
      const std::string raw = keys.raw(group, key);
      return readable(raw.empty() || keys.integers(group, key).has_value(), any_entry_has_text_behind(raw));
    }
    case ValueType::kText:
      if (const auto text = keys.text(group, key))
        return judge_text(key, *text);
      return ValueVerdict::kWrongType;
    case ValueType::kTypeName:
      break;
  }
  return ValueVerdict::kFine;
}

std::string suggested_value(std::string_view value, ValueType type) {
  const std::string_view word = trimmed(value);
  if (type == ValueType::kBoolean)
    return is_one_of(word, kYes) ? "true" : is_one_of(word, kNo) ? "false" : "";
  return type == ValueType::kInteger ? decimal(word) : "";
}

std::string_view name_of(ValueType type) {
  switch (type) {
    case ValueType::kInteger:
      return "an integer";
    case ValueType::kBoolean:
      return "true or false";
    case ValueType::kNumber:
    case ValueType::kNumberText:
      return "a number";
    case ValueType::kIntegerList:
      return "a list of integers";
    case ValueType::kText:
    case ValueType::kTypeName:
      break;
  }
  return "a text";
}

}  // namespace check
