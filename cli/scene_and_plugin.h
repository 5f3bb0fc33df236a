// What `dump` and `inspect` start from: a scene file read and the crowd plug-in loaded.
#pragma once

#include <memory>
#include <string>

#include "host/plugin.h"
#include "host/scene_reader.h"

namespace cli {

struct SceneAndPlugin {
  host::Scene scene;
  std::string plugin_path;
  std::unique_ptr<host::Plugin> plugin;
};

// Reads `scene_path` (its faults printed on standard error as "error: ...") and loads the plug-in
// at `plugin_path`, or the default one when it is empty. False, with the reason printed, when the
// scene cannot be read at all or the plug-in cannot be loaded.
bool load_scene_and_plugin(const std::string& scene_path, const std::string& plugin_path,
                           SceneAndPlugin* loaded);

}  // namespace cli
