// Loading the crowd plug-in.
#include "host/plugin.h"

#include <dlfcn.h>

namespace host {

std::unique_ptr<Plugin> load_plugin(const std::string& path, std::string* error) {
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    const char* reason = dlerror();
    *error = path + ": cannot load the plug-in: " + (reason ? reason : "unknown reason");
    return nullptr;
  }
  auto plugin = std::make_unique<Plugin>();
  plugin->path = path;
  plugin->version = reinterpret_cast<int (*)(void)>(dlsym(library, "hordera_mray_version"));
  plugin->init =
      reinterpret_cast<void (*)(miState*, void*, miBoolean*)>(dlsym(library, "hordera_mray_init"));
  plugin->exit =
      reinterpret_cast<miBoolean (*)(miState*, void*)>(dlsym(library, "hordera_mray_exit"));
  plugin->geometry =
      reinterpret_cast<miBoolean (*)(miTag*, miState*, void*)>(dlsym(library, "hordera_mray"));
  plugin->set_module_handle =
      reinterpret_cast<void (*)(void*)>(dlsym(library, "miSetModuleHandle"));
  if (plugin->geometry == nullptr) {
    *error = path + ": the plug-in does not export the geometry shader hordera_mray";
    return nullptr;
  }
  if (plugin->set_module_handle == nullptr) {
    *error = path + ": the plug-in does not export miSetModuleHandle";
    return nullptr;
  }
  return plugin;
}

}  // namespace host
