#include "platform/command_source.h"

#include <glib.h>

// A generic board has no command source to register with.
void command_source_register_mainloop_thread(void) {
  g_debug("the main loop runs in thread %p", static_cast<void *>(g_thread_self()));
}
