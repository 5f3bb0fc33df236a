// The plug-in's default location, beside the program, in an installed tree, or in the build.
#include "host/plugin_path.h"

#include <unistd.h>

#include <climits>
#include <filesystem>

namespace host {

std::string default_plugin_path(const std::string& build_path) {
  char self[PATH_MAX];
  const ssize_t length = ::readlink("/proc/self/exe", self, sizeof self - 1);
  if (length > 0) {
    self[length] = '\0';
    const std::filesystem::path folder = std::filesystem::path(self).parent_path();
    for (const std::filesystem::path& candidate :
         {folder / "hordera.so", folder / ".." / "lib" / "hordera" / "hordera.so"}) {
      std::error_code ignored;
      if (std::filesystem::is_regular_file(candidate, ignored))
        return candidate.lexically_normal().string();
    }
  }
  return build_path;
}

}  // namespace host
