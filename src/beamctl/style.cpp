#include "beamctl/style.h"

#include <unistd.h>

#include <cstdlib>

namespace {

const char *sequence(Style style) {
  switch (style) {
    case Style::kHeading:
      return "\033[1m";
    case Style::kGood:
      return "\033[32m";
    case Style::kWarning:
      return "\033[33m";
    case Style::kBad:
      return "\033[31m";
    case Style::kDim:
      return "\033[2m";
    case Style::kPlain:
      break;
  }
  return "";
}

}  // namespace

bool colours_wanted() {
  const char *no_color = std::getenv("NO_COLOR");
  const char *terminal = std::getenv("TERM");
  const bool refused = no_color != nullptr && *no_color != '\0';
  const bool dumb = terminal == nullptr || std::string_view{terminal} == "dumb";
  return !refused && !dumb && isatty(STDOUT_FILENO) != 0;
}

std::string styled(Style style, std::string_view text) {
  if (style == Style::kPlain || text.empty() || !colours_wanted())
    return std::string{text};
  return sequence(style) + std::string{text} + "\033[0m";
}
