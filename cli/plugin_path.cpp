// Where the `hordera` command finds the crowd plug-in by default.
#include "host/plugin_path.h"

#include <thread>

#include "cli/commands.h"

std::string default_plugin_path() {
  return host::default_plugin_path(HORDERA_PLUGIN_BUILD_PATH);
}

int default_thread_count() {
  const unsigned cores = std::thread::hardware_concurrency();
  return cores == 0 ? 1 : static_cast<int>(cores);
}
