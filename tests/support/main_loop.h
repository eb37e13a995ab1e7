#pragma once

#include <glib.h>
#include <gtest/gtest.h>

#include <functional>

/// Lets the default main context go round @p rounds times, without waiting.
inline void run_main_loop(int rounds) {
  for (; rounds > 0; --rounds)
    g_main_context_iteration(nullptr, FALSE);
}

/// Runs it until @p is_done; the running test fails when that takes too long.
inline void run_main_loop_until(const std::function<bool()> &is_done) {
  const gint64 deadline = g_get_monotonic_time() + 20 * G_TIME_SPAN_SECOND;
  while (!is_done()) {
    ASSERT_LT(g_get_monotonic_time(), deadline) << "waited in vain";
    if (!g_main_context_iteration(nullptr, FALSE))
      g_usleep(1000);
  }
}
