// Fuzzes shader descriptions, the text of a material's per-pass shader line: split into words,
// filled in from an agent's variables, then built into a shader call in the stand-in host's
// scene database, where a shader with a parameter of every kind is declared. Whatever the text,
// the renderer memory taken for the call is given back when the scene is cleared.
#include <dlfcn.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "agent/agent.h"
#include "host/memory.h"
#include "host/messages.h"
#include "host/scene_names.h"
#include "mray/mi_interface.h"
#include "mray/renderer_functions.h"
#include "mray/shader_call.h"
#include "mray/shader_description.h"
#include "tests/support/skin_shader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Agent* type = [] {
    host::set_verbosity(0);
    miSetModuleHandle(dlopen(nullptr, RTLD_NOW));
    Agent* made = new_agent_type("fuzzed_shader");
    new_userVar(made, "shine")->value = 20;
    new_userVar(made, "variant")->value = 3;
    return made;
  }();
  const std::string text(reinterpret_cast<const char*>(data), size);
  mray::split_description(text);
  mray::number_items(text);
  mray::quoted_items(text);
  std::string error;
  const std::string expanded = mray::expand_description(text, type, &error);
  const size_t memory_before = host::memory_in_use().size();
  host::declare_base_shaders();
  support::declare_skin_shader();
  mray::build_shader_call(expanded.c_str(), "mat_1_0");
  host::clear_scene();
  if (host::memory_in_use().size() != memory_before) std::abort();
  host::clear_messages();
  return 0;
}
