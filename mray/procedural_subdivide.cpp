// Subdivide: one agent of the procedural path, built as the geometry shader's driver builds it,
// without the renderer's lock and traces, and emitted as RenderMan calls.
#include "mray/procedural_subdivide.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "agent/agent.h"
#include "agent/nodes.h"
#include "agent/skeleton.h"
#include "agent/skinning.h"
#include "cdl/cdl.h"
#include "motion/apf_cache.h"
#include "motion/motion_capture.h"
#include "mray/rib_emit.h"
#include "sim/scene_setup.h"
#include "sim/simulation.h"
#include "sim/variation.h"

namespace mray {
namespace {

Agent* find_or_load_type(const char* cdl_file) {
  for (Agent* type = first_agent_type; type != nullptr; type = type->next)
    if (type->cdl_file != nullptr && std::strcmp(type->cdl_file, cdl_file) == 0) return type;
  return load_agent_type(cdl_file);
}

void set_variables(Agent* agent, const ProceduralRecord& record) {
  for (int i = 0; i < record.pair_count; ++i) {
    const MrayPair& pair = record.pairs[i];
    for (UserVar* variable = agent->user_vars; variable; variable = variable->next) {
      if (variable->name != nullptr && std::strcmp(variable->name, pair.name) == 0) {
        // A string pair carries the number 0.
        variable->value = pair.kind == MRAY_PAIR_NUMBER ? pair.number : 0.0f;
        break;
      }
    }
  }
}

// The position of the scene's render pass named `name`, or -1.
int pass_position(const char* name) {
  int position = 0;
  for (const RenderPass* pass = render_passes; pass; pass = pass->next, ++position)
    if (pass->name != nullptr && std::strcmp(pass->name, name) == 0) return position;
  return -1;
}

// The flags byte of the agent for the pass: its own byte when it has one, else its type's
// "render_pass" entry, else 3 (taking part, visible and casting shadows).
int pass_flags(const Agent* agent, const Agent* type, int pass) {
  if (agent->pass_flags != nullptr && pass < agent->pass_flag_count) return agent->pass_flags[pass];
  const auto* passes = static_cast<const ObjectRenderPasses*>(type->render_passes);
  if (passes != nullptr && pass < passes->count && passes->set != nullptr && passes->set[pass])
    return passes->flags[pass];
  return 3;
}

void pose_and_deform(Agent* agent) {
  agent_pose_from_channels(agent);
  agent_deform_geometry(agent);
}

bool read_pose(Agent* agent, const ProceduralRecord& record, const char* apf_file, int frame) {
  if (apf_file != nullptr) return apf_cache_read(apf_file, agent) != 0;
  return record.motion_file != nullptr && amc_read_frame(agent, record.motion_file, frame) != 0;
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
  Agent* type = find_or_load_type(record->cdl_file);
  if (type == nullptr || type->render_agent == nullptr) return;
  Agent* agent = type->render_agent;

  agent->id = record->id;
  char* remembered_name = agent->name;
  const std::string own_name = std::string(remembered_name != nullptr ? remembered_name : "") +
                               "_" + std::to_string(record->id);
  agent->name = const_cast<char*>(own_name.c_str());

  resetAll();
  set_variables(agent, *record);
  agent_update_variation(agent);

  const char* pass_name = state->render != nullptr ? state->render->pass_name : nullptr;
  if (pass_name == nullptr && !state->pass_warning_given) {
    std::fputs("Warning: renderpass undefined\n", stderr);
    state->pass_warning_given = true;
  }
  agent->pass_index = pass_name != nullptr ? pass_position(pass_name) : -1;
  bool included = true;
  bool matte = false;
  if (pass_name != nullptr) {
    const int flags = agent->pass_index >= 0 ? pass_flags(agent, type, agent->pass_index) : 0;
    included = (flags & 3) != 0;
    matte = (flags & 4) != 0;
  }

  if (included) {
    PreviousFrame previous;
    if (state->motion_blur) {
      bool read = false;
      if (record->apf_file != nullptr) {
        const std::string before = previous_apf_file(record->apf_file, record->frame);
        read = read_pose(agent, *record, before.c_str(), record->frame - 1);
        if (!read) read = read_pose(agent, *record, record->apf_file, record->frame);
      } else {
        read = read_pose(agent, *record, nullptr, record->frame - 1);
      }
      pose_and_deform(agent);
      for (const RibPiece& piece : agent_pieces(agent))
        previous[piece.node] = piece_pose(agent, piece);
      (void)read;
    }
    if (!read_pose(agent, *record, record->apf_file, record->frame) && record->apf_file != nullptr)
      std::fprintf(stderr, "Warning: Couldn't find APF file %s\n", record->apf_file);
    pose_and_deform(agent);

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
