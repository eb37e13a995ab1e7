#include "beamctl/check/main_file.h"

#include <deque>
#include <string_view>

#include "beamctl/check/key_file.h"
#include "platform/kvreader.h"

namespace check {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::size_t kLongestSectionName = 49;

struct Triple {
  std::string section, key, value;
};

/// Whether a ";" behind a blank, which the reader takes for a comment, stands in @p header.
bool has_comment(std::string_view header) {
  for (std::size_t sign = header.find(';'); sign != std::string_view::npos; sign = header.find(';', sign + 1))
    if (trimmed(header.substr(sign - 1, 1)).empty())
      return true;
  return false;
}

/// Pairs what the reader yields with the lines that it comes from: in order, each from one line.
class LineMatcher {
 public:
  explicit LineMatcher(std::deque<Triple> triples) : triples_(std::move(triples)) {}

  void add(std::string_view line, int number) {
    if (line.empty() || line.starts_with(';') || line.starts_with('#'))
      return;
    if (line.starts_with('['))
      add_section(line, number);
    else if (!in_unreadable_section_)
      add_key(line, number);
  }

  MainFile take() { return std::move(file_); }

 private:
  void add_section(std::string_view line, int number) {
    const std::size_t end = line.find(']');
    in_unreadable_section_ =
        end == std::string_view::npos || end - 1 > kLongestSectionName || has_comment(line.substr(0, end));
    if (in_unreadable_section_)
      file_.ignored.push_back({std::string{line}, number});
    else
      file_.sections.push_back({std::string{line.substr(1, end - 1)}, number, {}, {}});
  }

  bool is_next(std::string_view line) const {
    if (triples_.empty() || triples_.front().section != file_.sections.back().name ||
        !line.starts_with(triples_.front().key))
      return false;
    const std::string_view rest = trimmed(line.substr(triples_.front().key.size()));
    return (rest.starts_with('=') || rest.starts_with(':')) &&
           trimmed(rest.substr(1)).starts_with(triples_.front().value);
  }

  void add_key(std::string_view line, int number) {
    if (file_.sections.empty())
      file_.sections.push_back({"", number, {}, {}});
    MainFile::Section &section = file_.sections.back();
    if (is_next(line)) {
      section.entries.push_back({triples_.front().key, triples_.front().value, number});
      triples_.pop_front();
    } else {
      section.ignored.emplace_back(line);
      file_.ignored.push_back({std::string{line}, number});
    }
  }

  std::deque<Triple> triples_;
  MainFile file_;
  bool in_unreadable_section_ = false;
};

}  // namespace

std::optional<MainFile> read_main_file(const std::string &path, const std::string &text) {
  if (!kvreader_opencfg(path.c_str()))
    return std::nullopt;
  std::deque<Triple> triples;
  while (const KvreaderTriple *triple = kvreader_getcfg())
    triples.push_back({triple->section, triple->key, triple->value});
  kvreader_closecfg();

  LineMatcher matcher{std::move(triples)};
  std::string_view lines = text;
  if (lines.starts_with(kByteOrderMark))
    lines.remove_prefix(kByteOrderMark.size());
  for_each_line(lines, [&](std::string_view line, int number) { matcher.add(trimmed(line), number); });
  return matcher.take();
}

}  // namespace check
