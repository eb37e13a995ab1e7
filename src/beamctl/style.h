#pragma once

#include <string>
#include <string_view>

enum class Style { kPlain, kHeading, kGood, kWarning, kBad, kDim };

/// Whether stdout is a terminal that wants colours: NO_COLOR is unset or empty and TERM is set and not
/// "dumb".
bool colours_wanted();

/// @p text, with the escape sequences of @p style around it if colours_wanted().
std::string styled(Style style, std::string_view text);
