#include "beamctl/check/check.h"

#include <algorithm>
#include <filesystem>
#include <span>
#include <system_error>

#include "beamctl/commands.h"
#include "beamctl/failure.h"
#include "beamctl/json_output.h"
#include "beamctl/style.h"
#include "beamctl/text.h"

namespace {

using check::Finding;
using check::Severity;

std::string existing_folder(const std::string &root) {
  std::error_code error;
  if (std::filesystem::is_directory(root, error))
    return root;
  throw Failure(kExitUsage, "no-such-folder", "\"" + printable(root) + "\" is no folder that can be read",
                "Give the folder that holds the camera's file system, with etc/beamd in it, to --root.");
}

std::ptrdiff_t count(std::span<const Finding> findings, Severity severity) {
  return std::count_if(findings.begin(), findings.end(),
                       [&](const Finding &finding) { return finding.severity == severity; });
}

std::string counted(std::ptrdiff_t number, const char *noun) {
  return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

std::string place_of(const Finding &finding) {
  return finding.file + (finding.line > 0 ? ":" + std::to_string(finding.line) : "");
}

std::string human_text(std::span<const Finding> findings) {
  std::string text;
  for (const Finding &finding : findings) {
    const bool is_error = finding.severity == Severity::kError;
    text += printable(place_of(finding)) + ": " +
            styled(is_error ? Style::kBad : Style::kWarning, name_of(finding.severity)) + ": " +
            printable(finding.message) + " [" + std::string{name_of(finding.rule)} + "]\n    " +
            printable(finding.reaction) + "\n";
  }
  if (findings.empty())
    return styled(Style::kGood, "no findings") + "\n";
  return text + counted(count(findings, Severity::kError), "error") + ", " +
         counted(count(findings, Severity::kWarning), "warning") + "\n";
}

std::string json_text(const std::string &root, std::span<const Finding> findings) {
  JsonDocument document;
  document.begin_object();
  document.add("root", root);
  document.add("errors", gint64{count(findings, Severity::kError)});
  document.add("warnings", gint64{count(findings, Severity::kWarning)});
  document.begin_array("findings");
  for (const Finding &finding : findings) {
    document.begin_object();
    document.add("file", finding.file);
    if (finding.line > 0)
      document.add("line", finding.line);
    else
      document.add_null("line");
    document.add("rule", name_of(finding.rule));
    document.add("severity", name_of(finding.severity));
    document.add("reason", name_of(finding.reason));
    document.add("message", finding.message);
    document.add("reaction", finding.reaction);
    if (!finding.suggestion.empty())
      document.add("suggestion", finding.suggestion);
    document.end_object();
  }
  document.end_array();
  document.end_object();
  return document.text();
}

}  // namespace

int check_command(const Invocation &invocation) {
  const std::string root = existing_folder(invocation.value("root").value_or("/"));
  const std::vector<Finding> findings = check::check_tree(root);
  print(invocation.json() ? json_text(root, findings) : human_text(findings));
  return count(findings, Severity::kError) > 0 ? kExitRefused : kExitDone;
}
