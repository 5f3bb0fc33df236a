// What the end-to-end suites of the plug-in share: a scenario run in a child process (the engine
// starts once per process, so each scenario gets a fresh one) and the built plug-in loaded as a
// renderer loads it.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>

#include "host/plugin.h"

namespace plugin_test {

// Runs `scenario` in a child process; its failures are printed there and fail the parent.
template <class Scenario>
void in_child(Scenario scenario) {
  std::fflush(nullptr);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    scenario();
    std::fflush(nullptr);
    _exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the scenario failed, see above";
}

// The built plug-in, or null with the reason as a test failure.
inline std::unique_ptr<host::Plugin> load_built_plugin() {
  std::string error;
  auto plugin = host::load_plugin(HORDERA_PLUGIN_PATH, &error);
  EXPECT_TRUE(plugin) << error;
  return plugin;
}

}  // namespace plugin_test
