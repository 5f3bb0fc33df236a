// The assembly callbacks: building an agent when the renderer first needs its box, and giving
// back the shader's argument record when the renderer drops the assembly.
#include <cstring>

#include "mray/agent_driver.h"
#include "mray/parameter_string.h"
#include "mray/renderer_memory.h"
#include "mray/shader_arguments.h"

extern "C" miTag asm_exec(const miState* state, void* arguments) {
  MI_CALL(mi_info, "-->asm_exec()\n");
  miTag result = 0;
  const auto* args = static_cast<const MrayArgs*>(arguments);
  if (args != nullptr && args->param_str != nullptr) {
    auto* render_args = static_cast<MrayRenderArgs*>(MRAY_ALLOCATE(sizeof(MrayRenderArgs)));
    if (render_args != nullptr) {
      mray::init_render_args(render_args);
      mray::parse_parameter_string(render_args, args->param_str);
      render_args->id = args->id;
      std::memcpy(render_args->bbox_min, args->bbox_min, sizeof render_args->bbox_min);
      std::memcpy(render_args->bbox_max, args->bbox_max, sizeof render_args->bbox_max);
      mray::render_agent(state, &result, render_args);
      mray::free_render_args(render_args);
    }
  }
  MI_CALL(mi_debug, "-->finished asm_exec()\n");
  return result;
}

extern "C" miBoolean asm_free_args(const miState* state, void* arguments) {
  (void)state;
  MI_CALL(mi_info, "-->asm_free_args()\n");
  auto* args = static_cast<MrayArgs*>(arguments);
  if (args == nullptr) return miTRUE;
  if (args->param_str != nullptr) MRAY_RELEASE(args->param_str);
  MRAY_RELEASE(args);
  return miTRUE;
}
