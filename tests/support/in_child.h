#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

/// Runs @p body in a process of its own that begins as a copy of this one: the static state of the classes
/// that it uses is what it was here, and what becomes of it ends with that process. Failures in it fail the
/// running test. This process must not have started a private bus: the child would end it.
template <typename Body>
void in_child(Body body) {
  std::fflush(nullptr);
  const pid_t child = fork();
  ASSERT_NE(child, -1);
  if (child == 0) {
    body();
    std::exit(testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
  }

  int status = 0;
  ASSERT_EQ(TEMP_FAILURE_RETRY(waitpid(child, &status, 0)), child);
  EXPECT_TRUE(WIFEXITED(status)) << "killed by signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), EXIT_SUCCESS) << "see the failures above";
}
