#include "cli/scene_and_plugin.h"

#include <cstdio>
#include <new>

#include "cli/commands.h"

namespace cli {

bool load_scene_and_plugin(const std::string& scene_path, const std::string& plugin_path,
                           SceneAndPlugin* loaded) {
  bool opened = false;
  try {
    opened = host::read_scene_file(scene_path, &loaded->scene);
  } catch (const std::bad_alloc&) {
    // A scene of many millions of words can need more memory than there is; say so, not abort.
    std::fprintf(stderr, "error: %s: not enough memory to read the scene file\n",
                 scene_path.c_str());
    return false;
  }
  for (const std::string& error : loaded->scene.errors)
    std::fprintf(stderr, "error: %s\n", error.c_str());
  if (!opened) return false;
  loaded->plugin_path = plugin_path.empty() ? default_plugin_path() : plugin_path;
  std::string error;
  loaded->plugin = host::load_plugin(loaded->plugin_path, &error);
  if (!loaded->plugin) {
    std::fprintf(stderr, "error: %s\n", error.c_str());
    return false;
  }
  return true;
}

}  // namespace cli
