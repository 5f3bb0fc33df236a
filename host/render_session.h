// Driving the crowd plug-in in the renderer's order: module handle and version once, then per
// render the shader-level initialisation, the per-instance initialisation, one geometry-shader
// call per instance, the assembly callbacks, and the exit.
#pragma once

#include <string>
#include <vector>

#include "host/assemblies.h"
#include "host/plugin.h"
#include "host/scene_reader.h"
#include "host/shader_call.h"
#include "mray/mi_interface.h"

namespace host {

// One assembly the plug-in declared, and what its callbacks did.
struct AssemblyRun {
  std::string name;
  std::string instance;  // the instance whose geometry shader declared it
  miVector bbox_min{}, bbox_max{};
  miTag result = 0;  // what asm_exec returned
  bool executed = false;
  bool freed = false;
};

// What one render did.
struct RenderReport {
  int geometry_calls = 0;
  std::vector<AssemblyRun> assemblies;
};

class RenderSession {
 public:
  // A session starts with a scene database that knows the base shaders' declarations, and
  // gives back everything the database holds when it ends.
  explicit RenderSession(const Plugin& plugin);
  ~RenderSession();
  RenderSession(const RenderSession&) = delete;
  RenderSession& operator=(const RenderSession&) = delete;

  // Hands the plug-in this process's module and checks its version; false with `*error` set
  // when the version does not match the crowd shader's declaration.
  bool start(std::string* error);

  // Shader-level initialisation with these custom options (null: a state without options).
  void init_shader(const StringOptions* options);
  // Per-instance initialisation with the instance's parameter block.
  void init_instance(const SceneInstance& instance);
  // The geometry shader for one instance; returns the result tag. With `phenomenon` the call is
  // made as a phenomenon's sub-shader whose connected parameters (those in `connected`, by
  // byte offset) take their value from `interface_values` (a parameter block).
  miTag call_geometry(const SceneInstance& instance, bool phenomenon = false,
                      const std::vector<size_t>& connected = {},
                      const HorderaMrayParameters* interface_values = nullptr);
  // Runs asm_exec for every assembly declared since the last collection, then asm_free_args
  // for each, and returns what they did (in declaration order, however the threads ran).
  std::vector<AssemblyRun> run_assemblies();
  // The number of render threads that run asm_exec at once (1 by default: the calling
  // thread alone).
  void set_threads(int count) { threads_ = count < 1 ? 1 : count; }
  // Shader-level exit.
  void exit();

  // The whole render of a scene: init, instances, assemblies, exit.
  RenderReport render(const Scene& scene);

 private:
  miState make_state() const;
  // Runs the creation callback of assembly `index` of `declared` on this thread.
  void execute(const std::vector<Assembly>& declared, size_t index, short thread,
               AssemblyRun* run) const;

  const Plugin& plugin_;
  miOptions options_{};
  bool has_options_ = false;
  int threads_ = 1;
  std::vector<std::string> assembly_instances_;  // instance of each assembly, in order
};

}  // namespace host
