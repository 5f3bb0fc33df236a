// A crowd plug-in loaded as a renderer loads a shader library, with its entry points.
#pragma once

#include <memory>
#include <string>

#include "mray/mi_interface.h"

namespace host {

// The entry points of a loaded plug-in. The plug-in stays loaded until the process ends, as
// its engine keeps process-wide state.
struct Plugin {
  std::string path;
  int (*version)(void) = nullptr;  // may be missing: the renderer then assumes version 1
  void (*init)(miState*, void*, miBoolean*) = nullptr;
  miBoolean (*exit)(miState*, void*) = nullptr;
  miBoolean (*geometry)(miTag*, miState*, void*) = nullptr;
  void (*set_module_handle)(void*) = nullptr;
};

// Loads the plug-in at `path` and finds its entry points; null with `*error` set to
// "PATH: what is wrong" when it cannot be loaded or lacks the geometry shader or the module
// hook.
std::unique_ptr<Plugin> load_plugin(const std::string& path, std::string* error);

// The version the host's declaration of the crowd shader carries.
inline constexpr int crowd_shader_version = 2;

}  // namespace host
