#include "beamctl/check/check.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "beamctl/commands.h"
#include "beamctl/failure.h"
#include "beamctl/json_output.h"
#include "beamctl/style.h"
#include "beamctl/text.h"

namespace {

using check::Finding;
using check::Findings;
using check::Severity;

std::string existing_folder(const std::string &root) {
  std::error_code error;
  if (std::filesystem::is_directory(root, error))
    return root;
  throw Failure(kExitUsage, "no-such-folder", "\"" + printable(root) + "\" is no folder that can be read",
                "Give the folder that holds the camera's file system, with etc/beamd in it, to --root.");
}

std::size_t count(const Findings &findings, Severity severity) {
  return static_cast<std::size_t>(
      std::count_if(findings.all.begin(), findings.all.end(),
                    [&](const Finding &finding) { return finding.severity == severity; }));
}

std::string place_of(const Finding &finding) {
  return finding.file + (finding.line > 0 ? ":" + std::to_string(finding.line) : "");
}

std::string human_text(const Findings &findings) {
  std::string text;
  for (const Finding &finding : findings.all) {
    const bool is_error = finding.severity == Severity::kError;
    text += printable(place_of(finding)) + ": " +
            styled(is_error ? Style::kBad : Style::kWarning, name_of(finding.severity)) + ": " +
            printable(finding.message) + " [" + std::string{name_of(finding.rule)} + "]\n    " +
            printable(finding.reaction) + "\n";
  }
  if (findings.all.empty())
    return styled(Style::kGood, "no findings") + "\n";
  if (findings.is_truncated)
    text += "There are more findings of the same kind.\n";
  return text + check::counted(count(findings, Severity::kError), "error") + ", " +
         check::counted(count(findings, Severity::kWarning), "warning") + "\n";
}

std::string json_text(const std::string &root, const Findings &findings) {
  JsonDocument document;
  document.begin_object();
  document.add("root", root);
  document.add("errors", static_cast<gint64>(count(findings, Severity::kError)));
  document.add("warnings", static_cast<gint64>(count(findings, Severity::kWarning)));
  document.add("truncated", findings.is_truncated);
  document.begin_array("findings");
  for (const Finding &finding : findings.all) {
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
  const Findings findings = check::check_tree(root);
  print(invocation.json() ? json_text(root, findings) : human_text(findings));
  return count(findings, Severity::kError) > 0 ? kExitRefused : kExitDone;
}
