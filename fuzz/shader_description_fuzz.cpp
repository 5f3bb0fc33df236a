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

namespace {

char* copy(const char* text) {
  return mi_mem_int_strdup("fuzz", __LINE__, text);
}

// "skin": one parameter of each kind a description can hand over.
void declare_skin() {
  const struct {
    miParam_type type;
    const char* name;
  } declared[] = {{miTYPE_SHADER, "base"},     {miTYPE_COLOR, "tint"},   {miTYPE_BOOLEAN, "on"},
                  {miTYPE_INTEGER, "count"},   {miTYPE_SCALAR, "gain"},  {miTYPE_STRING, "label"},
                  {miTYPE_SCALAR_TEX, "bump"}, {miTYPE_ARRAY, "lights"}, {miTYPE_VECTOR, "dir"}};
  miParameter* list = nullptr;
  for (const auto& each : declared) {
    miParameter* parameter = mi_api_parameter_decl(each.type, copy(each.name), 0);
    if (each.type == miTYPE_ARRAY)
      mi_api_parameter_child(parameter, mi_api_parameter_decl(miTYPE_SHADER, nullptr, 0));
    list = list ? mi_api_parameter_append(list, parameter) : parameter;
  }
  mi_api_funcdecl_begin(mi_api_parameter_decl(miTYPE_COLOR, nullptr, 0), copy("skin"), list);
  mi_api_funcdecl_end();
}

}  // namespace

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
  declare_skin();
  mray::build_shader_call(expanded.c_str(), "mat_1_0");
  host::clear_scene();
  if (host::memory_in_use().size() != memory_before) std::abort();
  host::clear_messages();
  return 0;
}
