#pragma once

/// The camera's command source: where requests from other parts of the camera enter a process.

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/// Names the calling thread as the one that runs the process's main loop.
///
/// To be called once, before any other platform function. Cannot fail.
void command_source_register_mainloop_thread(void);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif
