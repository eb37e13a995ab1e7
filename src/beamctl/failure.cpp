#include "beamctl/failure.h"

#include <cstdio>

#include "beamctl/json_output.h"
#include "beamctl/text.h"

namespace {

void report_as_json(const Failure &failure) {
  JsonDocument document;
  document.begin_object();
  document.begin_object("error");
  document.add("code", failure.code());
  document.add("message", failure.what());
  document.add("advice", failure.advice());
  document.end_object();
  document.end_object();
  print(document.line());
}

}  // namespace

void report(const Failure &failure, bool json) {
  if (json) {
    report_as_json(failure);
    return;
  }
  const std::string message = printable(failure.what());
  std::fprintf(stderr, "beamctl: %s\n", message.c_str());
  if (!failure.advice().empty())
    std::fprintf(stderr, "%s\n", printable(failure.advice()).c_str());
}
