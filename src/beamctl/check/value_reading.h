#pragma once

#include <string>
#include <string_view>

#include "beamctl/check/key_file.h"
#include "beamctl/check/schema.h"

namespace check {

/// What can be said of a value by itself.
enum class ValueVerdict {
  kFine,
  kWrongType,      ///< the daemon cannot read it
  kEmpty,          ///< a text without a letter
  kTrailingText,   ///< a number with text behind it, which the daemon passes over
  kTrailingInText  ///< a text that ends in blanks or in what looks like a comment
};

ValueVerdict judge_value(const KeyFile &keys, const std::string &group, const std::string &key,
                         ValueType type);

/// What the value of a key of @p type probably was to be; empty when nobody knows.
std::string suggested_value(std::string_view value, ValueType type);

/// "an integer" and so on.
std::string_view name_of(ValueType type);

}  // namespace check
