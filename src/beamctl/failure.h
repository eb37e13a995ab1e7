#pragma once

#include <stdexcept>
#include <string>

#include "beamctl/exit_codes.h"

/// Ends a command: thrown by whatever cannot go on, reported by main().
class Failure : public std::runtime_error {
 public:
  /// @p code is the kebab-case name that programs test, @p message one line in words, @p advice what to do
  /// next.
  Failure(ExitCode exit, std::string code, const std::string &message, std::string advice)
      : std::runtime_error(message), exit_(exit), code_(std::move(code)), advice_(std::move(advice)) {}

  ExitCode exit() const { return exit_; }
  const std::string &code() const { return code_; }
  const std::string &advice() const { return advice_; }

 private:
  ExitCode exit_;
  std::string code_;
  std::string advice_;
};

/// Prints @p failure: as one JSON document on stdout with @p json, otherwise as two lines on stderr.
void report(const Failure &failure, bool json);
