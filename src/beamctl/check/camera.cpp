#include "beamctl/check/camera.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>

#include "beamctl/check/near_name.h"

namespace check {

namespace {

constexpr std::array<std::string_view, 7> kCopies = {".tmp", ".orig", ".rej", ".swp",
                                                     ".old", ".new",  ".save"};
constexpr std::array<std::string_view, 4> kCopyMarks = {".dpkg-", ".rpm", ".ucf-", ".bak"};

constexpr std::size_t kMostOfReason = 160;

bool is_copy(std::string_view name) {
  for (const std::string_view copy : kCopies)
    if (name.ends_with(copy))
      return true;
  for (const std::string_view mark : kCopyMarks)
    if (name.find(mark) != std::string_view::npos)
      return true;
  return name.ends_with('~');
}

/// A file beside @p path whose name is nearly the same.
std::optional<std::string> near_file(const Camera &camera, const std::string &path) {
  const std::filesystem::path whole{path};
  const std::vector<std::string> names = camera.tree.list(whole.parent_path());
  std::vector<std::string_view> candidates;
  for (const std::string &name : names)
    if (const std::string other = (whole.parent_path() / name).string();
        other != path && name.ends_with(".conf") && light_number(name).empty() &&
        !camera.files.contains(other))
      candidates.push_back(name);
  const std::string_view name = near_name(whole.filename().string(), candidates);
  return !name.empty() ? std::optional{(whole.parent_path() / name).string()} : std::nullopt;
}

void report_missing(Camera &camera, const std::string &path, const FileNeed &need) {
  std::string message = "there is no such file";
  bool is_meant = false;  // as much as can be told
  if (const auto target = camera.tree.link_target(path)) {
    message += ": it is a link to " + *target + ", which the tree does not have";
    is_meant = true;
  } else if (const auto near = near_file(camera, path)) {
    message += "; \"" + *near + "\" has nearly its name";
    camera.files.insert(*near);
    is_meant = true;
  }
  if (need.presence == Presence::kOptional && !is_meant)
    return;
  const bool is_harmless = need.presence == Presence::kExpected && !is_meant;
  camera.report.add(
      path, 0, {is_harmless ? Severity::kWarning : need.severity, Rule::kFileMissing, need.reason, message});
}

int line_at(std::string_view text, std::size_t offset) {
  return static_cast<int>(
             std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(offset), '\n')) +
         1;
}

}  // namespace

std::string light_number(const std::string &name) {
  constexpr std::string_view kBegin = "led";
  constexpr std::string_view kEnd = ".conf";
  if (!name.starts_with(kBegin) || !name.ends_with(kEnd) || name.size() <= kBegin.size() + kEnd.size())
    return "";
  const std::string number = name.substr(kBegin.size(), name.size() - kBegin.size() - kEnd.size());
  const bool is_padded = number.size() > 1 && number.starts_with('0');
  return number.find_first_not_of("0123456789") == std::string::npos && !is_padded ? number : "";
}

std::optional<FileText> read_text(Camera &camera, const std::string &path, const FileNeed &need) {
  camera.files.insert(path);
  FileText file = camera.tree.read(path);
  if (!file.exists) {
    report_missing(camera, path, need);
    return std::nullopt;
  }
  if (!file.text) {
    const Rule rule = file.is_too_large ? Rule::kFileTooLarge : Rule::kFileUnreadable;
    camera.report.add(path, 0, {need.severity, rule, need.reason, "it cannot be read: " + file.problem});
    return std::nullopt;
  }
  if (const std::size_t place = file.text->find('\0'); place != std::string::npos) {
    camera.report.add(path, line_at(*file.text, place),
                      {need.severity, Rule::kNulByte, Reason::kMisread, "a NUL byte stands in it",
                       "beamd does not read the rest of the line"});
    return std::nullopt;
  }
  return file;
}

std::optional<KeyFile> read_key_file(Camera &camera, const std::string &path, const FileNeed &need) {
  const auto file = read_text(camera, path, need);
  if (!file)
    return std::nullopt;
  SyntaxProblem problem;
  auto keys = KeyFile::parse(*file->text, &problem);
  if (keys)
    return keys;
  const bool is_meant = file->text->find(need.telltale) != std::string::npos;
  const Reason reason = is_meant ? need.reason : Reason::kUnused;
  camera.report.add(path, problem.line,
                    {is_meant ? need.severity : Severity::kWarning, Rule::kDoesNotParse, reason,
                     "it is no key file: " + cut(problem.reason, kMostOfReason),
                     "beamd takes nothing of the file: " + std::string{reaction_to(reason)}});
  return std::nullopt;
}

std::vector<std::string> variants_of(const Camera &camera, const std::string &path) {
  const std::filesystem::path whole{path};
  const std::string prefix = whole.filename().string() + ".";
  std::vector<std::string> variants;
  for (const std::string &name : camera.tree.list(whole.parent_path()))
    if (name.size() > prefix.size() && name.starts_with(prefix) && !is_copy(name))
      variants.push_back((whole.parent_path() / name).string());
  return variants;
}

}  // namespace check
