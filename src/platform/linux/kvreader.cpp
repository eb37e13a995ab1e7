#include "platform/kvreader.h"

#include <fcntl.h>
#include <ini.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The syntax is libinih's: "[section]", "key = value" or "key: value", blanks around each of them dropped,
// ';' or '#' at the start of a line and ';' after a blank start a comment. LineSource below keeps away from
// it what it would turn into wrong triples: lines longer than its buffer (200 bytes as Debian builds it),
// section names longer than its buffer for them, NUL bytes, and indented lines, which it takes for more
// values of the key above.

namespace {

constexpr std::size_t kLongestSectionName = 49;
constexpr std::string_view kBlanks = " \t\v\f\r";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// Texts that end with a NUL, one after the other, so that a large file costs few allocations.
class TextPool {
 public:
  std::size_t add(std::string_view text) {
    const std::size_t offset = bytes_.size();
    bytes_.append(text).push_back('\0');
    return offset;
  }
  const char *at(std::size_t offset) const { return bytes_.c_str() + offset; }

 private:
  std::string bytes_;
};

class Configuration {
 public:
  void add(std::string_view section, std::string_view key, std::string_view value) {
    const bool same_section = !entries_.empty() && section == texts_.at(entries_.back().section);
    const std::size_t section_offset = same_section ? entries_.back().section : texts_.add(section);
    const std::size_t key_offset = texts_.add(key);
    entries_.push_back({section_offset, key_offset, texts_.add(value)});
  }

  const KvreaderTriple *next() {
    if (position_ == entries_.size())
      return nullptr;
    const Entry &entry = entries_[position_++];
    current_ = {texts_.at(entry.section), texts_.at(entry.key), texts_.at(entry.value)};
    return &current_;
  }

 private:
  struct Entry {
    std::size_t section, key, value;
  };

  TextPool texts_;
  std::vector<Entry> entries_;
  std::size_t position_ = 0;
  KvreaderTriple current_{};
};

std::string_view without_blanks_around(std::string_view line) {
  const std::size_t first = line.find_first_not_of(kBlanks);
  if (first == std::string_view::npos)
    return {};
  return line.substr(first, line.find_last_not_of(kBlanks) - first + 1);
}

std::string_view without_trailing_comment(std::string_view line) {
  for (std::size_t i = 1; i < line.size(); i++) {
    if (line[i] == ';' && kBlanks.find(line[i - 1]) != std::string_view::npos)
      return without_blanks_around(line.substr(0, i));
  }
  return line;
}

/// The "[name]" that `line` starts with; empty when libinih would not read it as a section.
std::string_view header_of(std::string_view line) {
  const std::size_t end = line.find(']');
  if (end == std::string_view::npos || end - 1 > kLongestSectionName)
    return {};
  const std::string_view header = line.substr(0, end + 1);
  const bool readable =
      without_trailing_comment(header) == header && header.find('\0') == std::string_view::npos;
  return readable ? header : std::string_view{};
}

/// Hands a text to libinih line by line.
class LineSource {
 public:
  explicit LineSource(std::string_view text) : rest_(text) {
    if (rest_.starts_with(kByteOrderMark))
      rest_.remove_prefix(kByteOrderMark.size());
  }

  /// Like fgets(): the next line that libinih can read, in `buffer` of `size` bytes, or nullptr at the end.
  char *read(char *buffer, std::size_t size) {
    while (!rest_.empty()) {
      std::string_view line = without_blanks_around(take_line());
      if (line.starts_with('[')) {
        line = header_of(line);
        in_unreadable_section_ = line.empty();
      }
      const std::size_t longest = size - std::strlen("\n") - 1;
      if (line.size() > longest)
        line = without_trailing_comment(line);
      if (in_unreadable_section_ || line.size() > longest || line.find('\0') != std::string_view::npos)
        continue;
      *std::copy(line.begin(), line.end(), buffer) = '\n';
      buffer[line.size() + 1] = '\0';
      return buffer;
    }
    return nullptr;
  }

 private:
  std::string_view take_line() {
    const std::size_t end = rest_.find('\n');
    const std::string_view line = rest_.substr(0, end);
    rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
    return line;
  }

  std::string_view rest_;
  bool in_unreadable_section_ = false;  // its keys must not end up in the section before it
};

/// Opens what can be read to its end: a FIFO would keep us waiting, a device may never end. A folder opens,
/// and fails when it is read. On failure returns nullptr, with errno set.
std::FILE *open_readable(const char *path) {
  const int descriptor = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0)
    return nullptr;

  struct stat status {};
  const bool readable =
      fstat(descriptor, &status) == 0 && (S_ISREG(status.st_mode) || S_ISDIR(status.st_mode));
  std::FILE *file = readable ? fdopen(descriptor, "r") : nullptr;
  if (file == nullptr) {
    close(descriptor);
    errno = EINVAL;
  }
  return file;
}

/// Reads the file at `path`; on failure returns nothing, with errno set.
std::optional<std::string> read_file(const char *path) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE *)> file(open_readable(path), std::fclose);
  if (!file)
    return std::nullopt;

  std::string text;
  std::vector<char> block(std::size_t{64} * 1024);
  std::size_t length;
  while ((length = std::fread(block.data(), 1, block.size(), file.get())) > 0)
    text.append(block.data(), length);
  const int read_error = errno;
  if (std::ferror(file.get())) {
    errno = read_error;
    return std::nullopt;
  }
  return text;
}

char *read_line(char *buffer, int size, void *source) noexcept {
  return static_cast<LineSource *>(source)->read(buffer, static_cast<std::size_t>(size));
}

int add_triple(void *configuration, const char *section, const char *key, const char *value) noexcept {
  if (*key != '\0')
    static_cast<Configuration *>(configuration)->add(section, key, value);
  return 1;
}

std::optional<Configuration> open_configuration;

}  // namespace

int kvreader_opencfg(const char *path) {
  open_configuration.reset();
  const std::optional<std::string> text = read_file(path);
  if (!text)
    return 0;

  LineSource source(*text);
  Configuration configuration;
  if (ini_parse_stream(read_line, &source, add_triple, &configuration) < 0) {
    errno = ENOMEM;
    return 0;
  }
  open_configuration = std::move(configuration);
  return 1;
}

const KvreaderTriple *kvreader_getcfg(void) {
  return open_configuration ? open_configuration->next() : nullptr;
}

void kvreader_closecfg(void) { open_configuration.reset(); }
