#include "beamctl/text.h"

#include <glib.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace {

constexpr gunichar kReplacement = 0xFFFD;
constexpr gunichar kLineSeparator = 0x2028;
constexpr gunichar kParagraphSeparator = 0x2029;

bool is_printable(gunichar letter) {
  return g_unichar_isprint(letter) && letter != kLineSeparator && letter != kParagraphSeparator;
}

char lower(char letter) { return g_ascii_tolower(letter); }

// A third of the letters may be wrong, and at least one.
size_t allowed_distance(std::string_view text) { return std::max<size_t>(1, text.size() / 3); }

int first_failure = 0;

void note_failure() {
  if (first_failure == 0)
    first_failure = errno;
}

}  // namespace

std::string printable(std::string_view text) {
  g_autofree gchar *valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
  std::string shown;
  for (const char *at = valid; *at != '\0'; at = g_utf8_next_char(at)) {
    const gunichar letter = g_utf8_get_char(at);
    char bytes[6];
    const gint length = g_unichar_to_utf8(is_printable(letter) ? letter : kReplacement, bytes);
    shown.append(bytes, static_cast<size_t>(length));
  }
  return shown;
}

size_t display_width(std::string_view text) {
  size_t width = 0;
  const char *end = text.data() + text.size();
  for (const char *at = text.data(); at < end; at = g_utf8_next_char(at)) {
    const gunichar letter = g_utf8_get_char(at);
    if (!g_unichar_iszerowidth(letter))
      width += g_unichar_iswide(letter) ? 2 : 1;
  }
  return width;
}

size_t edit_distance(std::string_view text, std::string_view other) {
  const size_t columns = other.size() + 1;
  std::vector<size_t> cost((text.size() + 1) * columns);
  const auto at = [&](size_t row, size_t column) -> size_t & { return cost[row * columns + column]; };
  for (size_t row = 0; row <= text.size(); ++row)
    for (size_t column = 0; column <= other.size(); ++column) {
      if (row == 0 || column == 0) {
        at(row, column) = row + column;
        continue;
      }
      const bool same = lower(text[row - 1]) == lower(other[column - 1]);
      at(row, column) = std::min(
          {at(row - 1, column) + 1, at(row, column - 1) + 1, at(row - 1, column - 1) + (same ? 0 : 1)});
      if (row > 1 && column > 1 && lower(text[row - 1]) == lower(other[column - 2]) &&
          lower(text[row - 2]) == lower(other[column - 1]))
        at(row, column) = std::min(at(row, column), at(row - 2, column - 2) + 1);
    }
  return cost.back();
}

std::string_view most_similar(std::string_view text, std::span<const std::string_view> known) {
  const auto distance = [text](std::string_view name) { return edit_distance(text, name); };
  const auto best = std::ranges::min_element(known, {}, distance);
  if (best == known.end() || distance(*best) > allowed_distance(text))
    return {};
  return *best;
}

std::string join(std::span<const std::string_view> texts, std::string_view between) {
  std::string joined;
  for (const std::string_view text : texts) {
    if (!joined.empty())
      joined += between;
    joined += text;
  }
  return joined;
}

void print(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size())
    note_failure();
}

int flush_output() {
  if (std::fflush(stdout) != 0)
    note_failure();
  return first_failure;
}
