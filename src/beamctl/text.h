#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

/// @p text as valid UTF-8 without control characters and line breaks: U+FFFD stands for each that is not fit
/// for a terminal.
std::string printable(std::string_view text);

/// The columns that @p text, which is printable(), takes on a terminal.
size_t display_width(std::string_view text);

/// How many letters have to be changed, left out or put in, or swapped with their neighbour, to make @p other
/// of @p text; upper and lower case are the same.
size_t edit_distance(std::string_view text, std::string_view other);

/// The one of @p known that @p text is most likely meant to be; empty when none is close.
std::string_view most_similar(std::string_view text, std::span<const std::string_view> known);

/// "a, b, c".
std::string join(std::span<const std::string_view> texts, std::string_view between = ", ");

inline const char *yes_no(bool value) { return value ? "yes" : "no"; }

/// Writes @p text to stdout; main() finds out whether that worked.
void print(std::string_view text);

/// Hands what was printed to its reader. Returns 0, or the errno of the first of all writes that failed.
int flush_output();
