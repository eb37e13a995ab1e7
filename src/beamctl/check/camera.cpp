#include "beamctl/check/camera.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>

#include "beamctl/check/near_name.h"

namespace check {

namespace {

constexpr std::array<std::string_view, 7> kCopies = {".tmp", ".bak", ".orig", ".rej", ".swp", ".old", ".new"};

constexpr std::size_t kMostOfReason = 160;

bool is_copy(std::string_view name) {
  for (const std::string_view copy : kCopies)
    if (name.ends_with(copy))
      return true;
  return name.ends_with('~') || name.find(".dpkg-") != std::string_view::npos;
}

/// A file beside @p path whose name is nearly the same.
std::optional<std::string> near_file(const Camera &camera, const std::string &path) {
  const std::filesystem::path whole{path};
  const std::vector<std::string> names = camera.tree.list(whole.parent_path());
  std::vector<std::string_view> candidates;
  for (const std::string &name : names)
    if (const std::string other = (whole.parent_path() / name).string();
        other != path && name.ends_with(".conf") && !name.starts_with("led") && !camera.files.contains(other))
      candidates.push_back(name);
  const std::string_view name = near_name(whole.filename().string(), candidates);
  return !name.empty() ? std::optional{(whole.parent_path() / name).string()} : std::nullopt;
}

void report_missing(Camera &camera, const std::string &path, const FileNeed &need) {
  std::string message = "there is no such file";
  if (const auto target = camera.tree.link_target(path))
    message += ": it is a link to " + *target + ", which the tree does not have";
  else if (const auto near = near_file(camera, path)) {
    message += "; \"" + *near + "\" has nearly its name";
    camera.files.insert(*near);
  }
  camera.report.add(path, 0, {need.severity, Rule::kFileMissing, need.reason, message});
}

int line_at(std::string_view text, std::size_t offset) {
  return static_cast<int>(
             std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(offset), '\n')) +
         1;
}

}  // namespace

std::optional<FileText> read_text(Camera &camera, const std::string &path, const FileNeed &need) {
  camera.files.insert(path);
  FileText file = camera.tree.read(path);
  if (!file.exists) {
    if (!need.is_optional)
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
  if (!keys)
    camera.report.add(path, problem.line,
                      {need.severity, Rule::kDoesNotParse, need.reason,
                       "it is no key file: " + cut(problem.reason, kMostOfReason),
                       "beamd takes nothing of the file: " + std::string{reaction_to(need.reason)}});
  return keys;
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
