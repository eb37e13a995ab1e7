#include "beamctl/check/near_name.h"

#include "beamctl/text.h"

namespace check {

namespace {

// A longer word, of which a file may have any, takes long to compare.
constexpr std::size_t kLongestWord = 80;

}  // namespace

std::string_view near_name(std::string_view word, std::span<const std::string_view> names) {
  return word.empty() || word.size() > kLongestWord ? std::string_view{} : most_similar(word, names);
}

}  // namespace check
