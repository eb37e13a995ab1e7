#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "beamctl/commands.h"
#include "beamctl/text.h"

namespace {

// Otherwise the connection to the bus could become the standard output.
void occupy_standard_streams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (fcntl(stream, F_GETFD) < 0)
      static_cast<void>(open("/dev/null", O_RDONLY));  // the lowest free descriptor: this one
}

// What cannot be written is lost: nobody may take it for done.
bool is_output_written() {
  int error = flush_output();
  if (std::fclose(stdout) != 0 && error == 0)
    error = errno;
  if (error != 0)
    std::fprintf(stderr, "beamctl: cannot write the output: %s\n", std::strerror(error));
  return error == 0;
}

}  // namespace

int main(int argc, char **argv) {
  occupy_standard_streams();
  std::signal(SIGPIPE, SIG_IGN);  // a closed pipe is an error to report
  const std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
  const int status = run_and_report(words, all_commands());
  return !is_output_written() && status == kExitDone ? kExitRefused : status;
}
