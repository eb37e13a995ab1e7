#include "platform/bootblock.h"

// libuboot.h uses size_t without declaring it.
#include <stddef.h>

#include <libuboot.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace {

constexpr const char *kConfigurationPath = "/etc/fw_env.config";

// libubootenv trusts the sizes of its configuration: a size below its header, or one that wraps around when
// it is doubled, makes it read or write past its buffer.
constexpr std::size_t kSmallestEnvironment = 16;
constexpr std::size_t kLargestEnvironment = std::size_t{16} * 1024 * 1024;

struct BootEnvironment {
  int error = EIO;  ///< errno of the failure to read it, or 0
  std::map<std::string, std::string, std::less<>> parameters;
};

struct ContextDeleter {
  void operator()(uboot_ctx *context) const {
    libuboot_close(context);
    libuboot_exit(context);
  }
};
using Context = std::unique_ptr<uboot_ctx, ContextDeleter>;

bool has_sane_sizes(std::istream &configuration) {
  std::string line;
  while (std::getline(configuration, line)) {
    std::size_t size = 0;
    if (line.starts_with('#') || std::sscanf(line.c_str(), "%*s %*i %zx", &size) != 1)
      continue;
    if (size < kSmallestEnvironment || size > kLargestEnvironment)
      return false;
  }
  return true;
}

BootEnvironment read_environment() {
  BootEnvironment environment;
  errno = 0;
  std::ifstream configuration(kConfigurationPath);
  if (!configuration) {
    if (errno == ENOENT)
      environment.error = ENOENT;
    return environment;
  }

  uboot_ctx *raw_context = nullptr;
  if (!has_sane_sizes(configuration) || libuboot_initialize(&raw_context, nullptr) < 0)
    return environment;
  const Context context(raw_context);
  // Opening fails on a wrong checksum as well.
  if (libuboot_read_config(context.get(), kConfigurationPath) < 0 || libuboot_open(context.get()) < 0)
    return environment;
  for (void *entry = nullptr; (entry = libuboot_iterator(context.get(), entry)) != nullptr;)
    environment.parameters.emplace(libuboot_getname(entry), libuboot_getvalue(entry));
  environment.error = 0;
  return environment;
}

/// Read once, by the first to ask: later the process may no longer have the rights to.
const BootEnvironment &boot_environment() {
  static const BootEnvironment environment = read_environment();
  return environment;
}

}  // namespace

char *bootblock_get(const char *name) {
  const BootEnvironment &environment = boot_environment();
  if (environment.error != 0) {
    errno = environment.error;
    return nullptr;
  }
  const auto parameter = environment.parameters.find(name);
  if (parameter == environment.parameters.end()) {
    errno = ENOENT;
    return nullptr;
  }
  return strdup(parameter->second.c_str());
}
