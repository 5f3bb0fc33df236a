// Where the `hordera` command finds the crowd plug-in by default.
#include <unistd.h>

#include <climits>
#include <filesystem>

#include "cli/commands.h"

std::string default_plugin_path() {
  char self[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", self, sizeof self - 1);
  if (length > 0) {
    self[length] = '\0';
    const std::filesystem::path beside = std::filesystem::path(self).parent_path() / "hordera.so";
    std::error_code ignored;
    if (std::filesystem::exists(beside, ignored)) return beside.string();
  }
  return HORDERA_PLUGIN_BUILD_PATH;
}

int default_thread_count() {
  const unsigned cores = std::thread::hardware_concurrency();
  return cores == 0 ? 1 : static_cast<int>(cores);
}
