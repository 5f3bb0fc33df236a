// Subdivide: one agent of the procedural path, built as the geometry shader's driver builds it,
// without the renderer's lock and traces, and emitted as RenderMan calls.
#include "mray/procedural_subdivide.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "agent/agent.h"
#include "motion/apf_cache.h"
#include "motion/motion_capture.h"
#include "mray/agent_pose.h"
#include "mray/parameter_string.h"
#include "mray/rib_emit.h"
#include "sim/scene_setup.h"
#include "sim/simulation.h"
#include "sim/variation.h"

namespace mray {
namespace {

bool read_pose(Agent* agent, const char* apf_file, const char* motion_file, int frame) {
  if (apf_file != nullptr) return apf_cache_read(apf_file, agent) != 0;
  return motion_file != nullptr && amc_read_frame(agent, motion_file, frame) != 0;
}

// The driver's view of the record: the same strings and pairs, owned by the record.
MrayRenderArgs render_arguments(const ProceduralRecord& record) {
  MrayRenderArgs args;
  init_render_args(&args);
  args.id = record.id;
  args.frame = record.frame;
  args.pair_count = record.pair_count;
  args.cdl_file = record.cdl_file;
  args.motion_file = record.motion_file;
  args.apf_file = record.apf_file;
  args.pairs = record.pairs;
  return args;
}

}  // namespace

std::string previous_apf_file(const char* apf_file, int frame) {
  const std::string name(apf_file);
  const size_t slash = name.rfind('/');
  const std::string directory = slash == std::string::npos ? "." : name.substr(0, slash);
  const char* format = nullptr;
  if (name.find(".apf.gz") != std::string::npos)
    format = "%s%cframe.%d.apf.gz";
  else if (name.find(".apf") != std::string::npos)
    format = "%s%cframe.%d.apf";
  else
    return name;
  const int length = std::snprintf(nullptr, 0, format, directory.c_str(), '/', frame - 1);
  std::string result(static_cast<size_t>(length) + 1, '\0');
  std::snprintf(result.data(), result.size(), format, directory.c_str(), '/', frame - 1);
  result.resize(static_cast<size_t>(length));
  return result;
}

void subdivide_agent(ProceduralRecord* record, ProceduralState* state) {
  if (record == nullptr || record->cdl_file == nullptr) return;
  Agent* agent = find_render_agent(record->cdl_file);
  if (agent == nullptr) return;
  const MrayRenderArgs args = render_arguments(*record);

  agent->id = record->id;
  char* remembered_name = agent->name;
  std::string own_name = std::string(remembered_name != nullptr ? remembered_name : "") + "_" +
                         std::to_string(record->id);
  agent->name = own_name.data();

  resetAll();
  set_agent_variables(agent, record->pairs, record->pair_count);
  agent_update_variation(agent);

  if ((state->render == nullptr || state->render->pass_name == nullptr) &&
      !state->pass_warning_given) {
    std::fputs("Warning: renderpass undefined\n", stderr);
    state->pass_warning_given = true;
  }
  if (select_render_pass(agent, state->render)) {
    PreviousFrame previous;
    if (state->motion_blur) {
      // The previous frame's pose cache sits beside the current one.
      bool read = false;
      if (record->apf_file != nullptr) {
        const std::string before = previous_apf_file(record->apf_file, record->frame);
        read = read_pose(agent, before.c_str(), nullptr, 0);
      }
      if (!read) read_pose(agent, record->apf_file, record->motion_file, record->frame - 1);
      pose_and_deform(agent);
      // Cloth and hair are not loaded yet: their loaders give both frames later.
      for (const RibPiece& piece : agent_pieces(agent))
        if (!piece.from_cache) previous[piece.key] = piece_pose(agent, piece);
    }
    pose_current_frame(agent, &args);
    run_geometry_hooks(agent);
    load_cloth_and_hair(agent, &args, state->motion_blur);
    const bool matte =
        agent->pass_index != -1 && (agent_pass_flags(agent, agent->pass_index) & 4) != 0;

    // The Ri functions are looked up once per process (again only after a new resolver).
    state->ri = ri_functions();
    if (state->ri != nullptr) {
      const RibAgent emitted{agent, agent->name,        record->cdl_file, agent->pass_index,
                             matte, state->motion_blur, &previous};
      emit_agent_rib(*state->ri, emitted, state->options);
    }
  }
  agent->name = remembered_name;
}

}  // namespace mray
