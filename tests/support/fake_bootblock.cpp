#include "support/fake_bootblock.h"

#include <cstring>

#include "platform/bootblock.h"

FakeBootblock &fake_bootblock() {
  static FakeBootblock bootblock;
  return bootblock;
}

// Comes before the platform library's.
char *bootblock_get(const char *name) {
  auto &bootblock = fake_bootblock();
  bootblock.asked.emplace_back(name);
  if (bootblock.value)
    return strdup(bootblock.value->c_str());
  errno = bootblock.error;
  return nullptr;
}
