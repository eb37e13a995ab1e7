#include "beamctl/check/tree.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "daemon/util.h"

namespace check {

namespace {

constexpr int kMostLinks = 40;
constexpr std::uintmax_t kLargestFile = std::uintmax_t{16} * 1024 * 1024;  // that the daemon reads

std::deque<std::string> components(std::string_view path) {
  std::deque<std::string> parts;
  while (!path.empty()) {
    const std::size_t end = std::min(path.find('/'), path.size());
    if (const std::string_view part = path.substr(0, end); !part.empty() && part != ".")
      parts.emplace_back(part);
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return parts;
}

std::optional<std::string> read_link(const std::string &path) {
  std::string target(PATH_MAX, '\0');
  const ssize_t length = readlink(path.c_str(), target.data(), target.size());
  if (length < 0)
    return std::nullopt;
  target.resize(static_cast<std::size_t>(length));
  return target;
}

std::string joined(const std::string &root, const std::deque<std::string> &parts) {
  std::string path = root;
  for (const std::string &part : parts)
    path += "/" + part;
  return path;
}

}  // namespace

std::optional<std::string> Tree::find(const std::string &path) const {
  std::deque<std::string> rest = components(path);
  std::deque<std::string> done;
  int links = 0;
  while (!rest.empty()) {
    const std::string part = std::move(rest.front());
    rest.pop_front();
    if (part == "..") {
      if (!done.empty())
        done.pop_back();
      continue;
    }
    done.push_back(part);
    struct stat status {};
    const std::string host_path = joined(root_, done);
    if (lstat(host_path.c_str(), &status) != 0)
      return std::nullopt;
    if (!S_ISLNK(status.st_mode))
      continue;
    const auto target = read_link(host_path);
    if (!target)
      return std::nullopt;
    if (++links > kMostLinks) {
      errno = ELOOP;
      return std::nullopt;
    }
    done.pop_back();
    if (target->starts_with('/'))
      done.clear();
    const std::deque<std::string> parts = components(*target);
    rest.insert(rest.begin(), parts.begin(), parts.end());
  }
  return joined(root_, done);
}

FileText Tree::read(const std::string &path) const {
  const auto host_path = find(path);
  if (!host_path) {
    const int error = errno;
    return {.exists = error != ENOENT && error != ENOTDIR, .problem = g_strerror(error)};
  }
  ReadFailure failure;
  auto text = read_whole_file(host_path->c_str(), &failure);
  std::error_code unknown;
  const bool is_too_large = !text && std::filesystem::is_regular_file(*host_path, unknown) &&
                            std::filesystem::file_size(*host_path, unknown) > kLargestFile && !unknown;
  return {true, std::move(text), failure.reason, is_too_large, *host_path};
}

std::vector<std::string> Tree::list(const std::string &path) const {
  std::vector<std::string> names;
  const auto host_path = find(path);
  if (!host_path)
    return names;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(*host_path, error), end; !error && entry != end;
       entry.increment(error))
    names.push_back(entry->path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

std::optional<std::string> Tree::link_target(const std::string &path) const {
  const std::filesystem::path whole{path};
  const auto folder = find(whole.parent_path());
  return folder ? read_link(*folder + "/" + whole.filename().string()) : std::nullopt;
}

}  // namespace check
