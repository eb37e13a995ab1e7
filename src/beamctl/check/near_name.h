#pragma once

#include <span>
#include <string_view>

namespace check {

/// The one of @p names that @p word is probably meant to be; empty when none is close.
std::string_view near_name(std::string_view word, std::span<const std::string_view> names);

}  // namespace check
