// Files that nobody reads.

#include <algorithm>
#include <iterator>

#include "beamctl/check/near_name.h"
#include "beamctl/check/rules.h"

namespace check {

namespace {

constexpr std::string_view kEnding = ".conf";
constexpr const char *kSharedFolder = "/etc/beamd";

class UnusedFiles {
 public:
  explicit UnusedFiles(Camera &camera) : camera_(camera) {
    for (const FileKind kind :
         {FileKind::kIllumination, FileKind::kDimming, FileKind::kPwm, FileKind::kCamblock})
      shared_.push_back(file_path(kind));
    for (const FileKind kind : {FileKind::kIllumination, FileKind::kDimming})
      for (const std::string &variant : variants_of(camera, file_path(kind)))
        variants_.insert(variant);
  }

  void check() {
    for (const char *folder : {kSharedFolder, "/usr/share/beamd"})
      for (const std::string &name : camera_.tree.list(folder))
        if (const std::string path = std::string{folder} + "/" + name; !camera_.files.contains(path))
          check_file(path, name);
  }

 private:
  void check_file(const std::string &path, const std::string &name) {
    const bool is_shared = std::find(shared_.begin(), shared_.end(), path) != shared_.end();
    if (is_shared || variants_.contains(path)) {
      if (!camera_.has_lost_lights && std::none_of(camera_.lights.begin(), camera_.lights.end(),
                                                   [](const Light &light) { return light.type == nullptr; }))
        report(path, "no light of a Type that is configured reads this file", "");
    } else if (const std::string number = light_number(name); !number.empty()) {
      if (!camera_.has_lost_lights)
        report(path, "there is no light " + number, "");
    } else if (name.ends_with(kEnding)) {
      report_unknown(path, name);
    }
  }

  void report_unknown(const std::string &path, const std::string &name) {
    const std::vector<std::string_view> names = known_names();
    const bool is_misplaced = std::find(names.begin(), names.end(), name) != names.end();
    std::vector<std::string_view> absent;
    const std::vector<std::string> present = camera_.tree.list(kSharedFolder);
    std::copy_if(names.begin(), names.end(), std::back_inserter(absent), [&](std::string_view known) {
      return std::find(present.begin(), present.end(), known) == present.end();
    });
    if (is_misplaced)
      report(path, std::string{"beamd does not look for it here: it belongs into "} + kSharedFolder, "");
    else
      report(path, "beamd reads no file of this name", std::string{near_name(name, absent)});
  }

  static std::vector<std::string_view> known_names() {
    std::vector<std::string_view> names;
    for (const FileKind kind : {FileKind::kMain, FileKind::kIllumination, FileKind::kDimming, FileKind::kPwm,
                                FileKind::kCamblock}) {
      const std::string_view path = file_pattern(kind);
      names.push_back(path.substr(path.rfind('/') + 1));
    }
    return names;
  }

  void report(const std::string &path, const std::string &message, const std::string &suggestion) {
    camera_.report.add(path, 0,
                       {Severity::kWarning, Rule::kFileUnused, Reason::kUnused, message, "", suggestion});
  }

  Camera &camera_;
  std::vector<std::string> shared_;
  std::set<std::string> variants_;
};

}  // namespace

void check_unused_files(Camera &camera) { UnusedFiles{camera}.check(); }

}  // namespace check
