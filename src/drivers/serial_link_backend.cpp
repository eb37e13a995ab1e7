#include "drivers/serial_link_backend.h"

#include <dlfcn.h>
#include <syslog.h>

#include <cstdarg>
#include <cstddef>
#include <cstdio>

#include "daemon/debug.h"

static_assert(sizeof(BeamdPlatform) == 3528);
static_assert(sizeof(SerialLinkBackend) == 19 * sizeof(gpointer));
static_assert(offsetof(SerialLinkBackend, platform) == 1 * sizeof(gpointer));
static_assert(offsetof(SerialLinkBackend, initialise) == 6 * sizeof(gpointer));
static_assert(offsetof(SerialLinkBackend, set_light) == 17 * sizeof(gpointer));
static_assert(offsetof(SerialLinkBackend, probe) == 18 * sizeof(gpointer));

BeamdPlatform beamd_platform = {};

namespace {

constexpr const char *kLibrary = "/usr/lib/libserial_link_backend.so";
constexpr const char *kEntry = "lib_serial_link_create";

// All lights share one backend.
SerialLinkBackend *backend = nullptr;
void *library = nullptr;
gint32 users = 0;

void unload() {
  dlclose(library);
  library = nullptr;
  g_clear_pointer(&backend, g_free);
}

bool load() {
  library = dlopen(kLibrary, RTLD_NOW);
  if (library == nullptr) {
    syslog(LOG_ERR, "Failed to open lib %s: %s", kLibrary, dlerror());
    return false;
  }
  const auto create = reinterpret_cast<SerialLinkBackend *(*)()>(dlsym(library, kEntry));
  if (create == nullptr)
    syslog(LOG_ERR, "Failed to find symbol %s", kEntry);
  else if (backend = create(); backend == nullptr)
    syslog(LOG_ERR, "Failed to create a backend with %s", kEntry);
  if (backend == nullptr)
    unload();
  return backend != nullptr;
}

}  // namespace

SerialLinkBackend *serial_link_create() { return g_new0(SerialLinkBackend, 1); }

int sensor_reinit() { return -1; }

void debug_output(int a, int b, const char *format, ...) {
  debug_log("(%d:%d):", a, b);
  std::va_list arguments;
  va_start(arguments, format);
  vprintf(format, arguments);
  va_end(arguments);
  fflush(stdout);
}

bool acquire_serial_link_backend() {
  if (users == 0) {
    if (!load())
      return false;
    backend->platform = &beamd_platform;
    if (backend->initialise != nullptr)
      backend->initialise(backend, 0);
  }
  ++users;
  return true;
}

void release_serial_link_backend() {
  g_return_if_fail(users > 0);
  if (--users == 0)
    unload();
}

bool probe_serial_link(gint channel, gint expander_type) {
  return backend != nullptr && backend->probe != nullptr &&
         backend->probe(backend, channel, expander_type) == 0;
}

void set_serial_link_light(gint channel, bool on) {
  if (backend != nullptr && backend->set_light != nullptr)
    backend->set_light(backend, channel, on ? 1 : 0);
}
