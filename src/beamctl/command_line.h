#pragma once

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// An option, of all commands or of one.
struct OptionSpec {
  const char *name;      ///< without the dashes
  const char *argument;  ///< what its value is called in the help; nullptr for an option without a value
  const char *description;
};

/// What was asked for on the command line.
struct Invocation {
  std::vector<std::string> arguments;  ///< those of the command, as many as it takes
  std::map<std::string, std::string, std::less<>> options;

  bool has(std::string_view option) const { return options.contains(option); }
  std::optional<std::string> value(std::string_view option) const;
  bool json() const { return has("json"); }
};

struct Command {
  const char *name;
  const char *synopsis;     ///< its arguments, as the help shows them
  const char *summary;      ///< a few words
  const char *description;  ///< what else there is to know; may be empty
  size_t least_arguments;
  size_t most_arguments;
  std::span<const OptionSpec> options;
  int (*run)(const Invocation &invocation);  ///< returns an ExitCode; may throw a Failure
};

/// Understands @p words, the command line without the program's name, and runs what it asks for. Throws a
/// Failure.
int run_command_line(const std::vector<std::string> &words, std::span<const Command> commands);

/// Whether @p words ask for JSON, even if they cannot be understood otherwise.
bool asks_for_json(const std::vector<std::string> &words, std::span<const Command> commands);

/// run_command_line(), with what it throws reported: returns an ExitCode.
int run_and_report(const std::vector<std::string> &words, std::span<const Command> commands);
