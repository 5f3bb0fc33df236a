// The entry points through which the renderer drives the plug-in: version, initialisation, exit
// and the geometry shader that declares one deferred assembly per agent.
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "motion/apf_cache.h"
#include "mray/engine_start.h"
#include "mray/parameter_eval.h"
#include "mray/render_options.h"
#include "mray/renderer_memory.h"
#include "mray/shader_arguments.h"

extern "C" {

miTag asm_exec(const miState* state, void* args);
miBoolean asm_free_args(const miState* state, void* args);

// The shader interface version the renderer checks.
int hordera_mray_version(void) {
  return 2;
}

// Shader-level initialisation (null parameter block) starts the engine on the first render and
// re-reads the scene options on every render; the per-instance call does nothing.
void hordera_mray_init(miState* state, void* paras, miBoolean* inst_init_req) {
  if (paras != nullptr) return;
  if (inst_init_req != nullptr) *inst_init_req = miFALSE;
  if (state == nullptr) return;
  MI_CALL(mi_info, "-->hordera_mray_init() without paras\n");
  mray::start_engine();
  MI_CALL(mi_debug, "-->creating apf cache\n");
  apf_cache_init();
  if (state->options != nullptr) mray::resolve_options(state->options->string_options);
}

// Only traces: the engine, the caches and the render records live until the process ends.
miBoolean hordera_mray_exit(miState* state, void* paras) {
  (void)state;
  (void)paras;
  MI_CALL(mi_info, "--> hordera_mray_exit()\n");
  return miTRUE;
}

// Declares the agent's assembly "asm_<id>" with the instance's box; the agent is built later by
// asm_exec. A parameter string tag of 0 contributes nothing.
miBoolean hordera_mray(miTag* result, miState* state, void* paras) {
  MI_CALL(mi_info, "-->hordera_mray()\n");
  auto* parameters = static_cast<HorderaMrayParameters*>(paras);
  if (parameters == nullptr) return miTRUE;
  const miTag text_tag = *mray::evaluate_parameter(state, &parameters->paramStr);
  if (text_tag == miNULLTAG) return miTRUE;

  auto* args = static_cast<MrayArgs*>(MRAY_ALLOCATE(sizeof(MrayArgs)));
  if (args == nullptr) return miTRUE;
  const char* text = static_cast<const char*>(MI_CALL(mi_db_access, text_tag));
  if (text != nullptr) {
    args->param_str = MRAY_STRDUP(text);
    MI_CALL(mi_db_unpin, text_tag);
  }
  args->id = *mray::evaluate_parameter(state, &parameters->id);
  const miVector box_min = *mray::evaluate_parameter(state, &parameters->bbox_min);
  const miVector box_max = *mray::evaluate_parameter(state, &parameters->bbox_max);
  args->bbox_min[0] = box_min.x;
  args->bbox_min[1] = box_min.y;
  args->bbox_min[2] = box_min.z;
  args->bbox_max[0] = box_max.x;
  args->bbox_max[1] = box_max.y;
  args->bbox_max[2] = box_max.z;

  char name[32];
  std::snprintf(name, sizeof name, "asm_%i", static_cast<int>(args->id));
  miAssembly* assembly = MI_CALL(mi_api_assembly_begin, MRAY_STRDUP(name));
  if (assembly == nullptr) {
    // Without an assembly nobody would ever free the record.
    asm_free_args(state, args);
    return miTRUE;
  }
  assembly->bbox_min = box_min;
  assembly->bbox_max = box_max;
  MI_CALL(mi_api_assembly_callback, asm_exec, asm_free_args, static_cast<void*>(args));
  const miTag tag = MI_CALL(mi_api_assembly_end);
  if (result != nullptr) *result = tag;
  return miTRUE;
}

}  // extern "C"
