// With replacement_events.cpp, a complete platform library: one dummy light whatever the configuration file
// says, and neither boot parameters nor status values.

#include <cerrno>
#include <cstddef>
#include <iterator>

#include "platform/bootblock.h"
#include "platform/kvreader.h"
#include "platform/status_cache.h"

namespace {

constexpr KvreaderTriple configuration[] = {
    {"LED", "NbrOfLeds", "1"},
    {"LED.L0", "Type", "Dummy"},
};
std::size_t next_triple = 0;

}  // namespace

extern "C" {

#pragma GCC visibility push(default)

int kvreader_opencfg(const char *) {
  next_triple = 0;
  return 1;
}

const KvreaderTriple *kvreader_getcfg(void) {
  return next_triple < std::size(configuration) ? &configuration[next_triple++] : nullptr;
}

void kvreader_closecfg(void) {}

char *bootblock_get(const char *) {
  errno = ENOENT;
  return nullptr;
}

int sc_get_group(const char *, ScItem *, int) { return 0; }

#pragma GCC visibility pop
}
