// The per-agent render driver: under the renderer's global lock, brings the engine into one
// agent's state and hands the agent's materials and objects to the renderer.
#include "mray/agent_driver.h"

#include <cstdio>
#include <string>

#include "agent/agent.h"
#include "mray/agent_pose.h"
#include "mray/material_output.h"
#include "mray/object_output.h"
#include "mray/render_options.h"
#include "mray/renderer_functions.h"
#include "sim/simulation.h"
#include "sim/variation.h"

namespace mray {
namespace {

// Everything between loading the agent type and restoring the agent's name.
void render_loaded_agent(Agent* agent, miTag* result, MrayRenderArgs* args) {
  resetAll();
  MI_CALL(mi_info, "-->reset all\n");
  set_agent_variables(agent, args->pairs, args->pair_count);
  agent_update_variation(agent);
  MI_CALL(mi_info, "-->agent variation is updated\n");

  if (!select_render_pass(agent, current_render_pass)) return;
  if (motion_blur) pose_previous_frame(agent, args);
  pose_current_frame(agent, args);
  run_geometry_hooks(agent);
  load_cloth_and_hair(agent, args, motion_blur);

  const int pass = agent->pass_index;
  const bool matte = pass != -1 && (agent_pass_flags(agent, pass) & 4) != 0;
  create_materials(agent, pass, matte, args->id);
  create_objects(result, agent, pass, motion_blur, args);
}

}  // namespace

void render_agent(const miState* state, miTag* result, MrayRenderArgs* args) {
  if (args == nullptr || args->cdl_file == nullptr) {
    MI_CALL(mi_error, "-->horderaMray: .cdl file name is missing from parameter string.\n");
    return;
  }
  const miLock lock = state != nullptr ? state->global_lock : miLock{};
  MI_CALL(mi_debug, "-->before locking agent%d\n", args->id);
  MI_CALL(mi_lock, lock);
  MI_CALL(mi_debug, "-->after locking agent%d\n", args->id);

  Agent* agent = find_render_agent(args->cdl_file);
  if (agent == nullptr) {
    // The lock stays held on this path, as renderers running existing scenes expect.
    MI_CALL(mi_error, "-->horderaMray: %s cannot be loaded.", args->cdl_file);
    return;
  }

  agent->id = args->id;
  char* const own_name = agent->name;
  std::string name;
  try {
    char id[16];
    std::snprintf(id, sizeof id, "_%d", args->id);
    name = std::string(own_name ? own_name : "") + id;
    agent->name = name.data();
    MI_CALL(mi_info, "-->start to process %s\n", agent->name);
    render_loaded_agent(agent, result, args);
  } catch (...) {
    MI_CALL(mi_error, "-->horderaMray: out of memory while rendering agent%d.\n", args->id);
  }
  agent->name = own_name;
  MI_CALL(mi_unlock, lock);
  MI_CALL(mi_info, "-->after unlocking agent%d\n", args->id);
}

}  // namespace mray
