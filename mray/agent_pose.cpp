// The engine side of rendering one agent: variables, render pass, pose, skin and the previous
// frame for motion blur.
#include "mray/agent_pose.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "agent/agent.h"
#include "agent/mesh.h"
#include "agent/nodes.h"
#include "agent/skeleton.h"
#include "agent/skinning.h"
#include "cdl/cdl.h"
#include "motion/apf_cache.h"
#include "motion/cloth_hair_cache.h"
#include "motion/motion_capture.h"
#include "mray/exporter.h"
#include "sim/scene_setup.h"

extern "C" GeometryHook* add_geometry_hook(Agent* agent,
                                           void (*function)(Agent*, int32_t, GeometryHook*),
                                           void* data) {
  if (agent == nullptr) return nullptr;
  auto* record = static_cast<GeometryHook*>(std::calloc(1, sizeof(GeometryHook)));
  if (record == nullptr) return nullptr;
  record->function = function;
  record->data = data;
  auto** tail = reinterpret_cast<GeometryHook**>(&agent->geometry_hooks);
  while (*tail != nullptr) tail = &(*tail)->next;
  *tail = record;
  return record;
}

extern "C" void free_geometry_hooks(Agent* agent) {
  if (agent == nullptr) return;
  auto* record = static_cast<GeometryHook*>(agent->geometry_hooks);
  while (record != nullptr) {
    GeometryHook* next = record->next;
    std::free(record);
    record = next;
  }
  agent->geometry_hooks = nullptr;
}

namespace mray {
namespace {

// Keeps the node's deformed points as the previous frame's.
void keep_previous_points(GeometryNode* node) {
  const Mesh* mesh = node->mesh;
  if (mesh == nullptr || mesh->points == nullptr || mesh->point_count <= 0) return;
  if (node->previous_point_count != mesh->point_count) {
    std::free(node->previous_points);
    node->previous_point_count = 0;
    node->previous_points =
        static_cast<Vector*>(std::malloc(sizeof(Vector) * static_cast<size_t>(mesh->point_count)));
    if (node->previous_points == nullptr) return;
    node->previous_point_count = mesh->point_count;
  }
  std::memcpy(node->previous_points, mesh->points,
              sizeof(Vector) * static_cast<size_t>(mesh->point_count));
}

// The agent's transforms and channels become the previous frame's.
void keep_previous_transforms(Agent* agent) {
  std::memcpy(agent->last_matrix, agent->matrix, sizeof(Matrix));
  std::memcpy(agent->last_root, agent->root, sizeof agent->root);
  for (Segment* segment = agent->segments; segment != nullptr; segment = segment->next) {
    std::memcpy(segment->last_matrix, segment->matrix, sizeof(Matrix));
    std::memcpy(segment->last_channels, segment->channels, sizeof segment->channels);
  }
}

// Drops the render meshes a cloth or hair piece holds from an earlier agent, so that an agent
// without a cache directory draws none of another agent's cloth or hair.
template <class Piece>
void drop_render_mesh(Piece* piece) {
  mesh_free(piece->mesh);
  piece->mesh = nullptr;
  std::free(piece->previous_points);
  piece->previous_points = nullptr;
}

}  // namespace

Agent* find_render_agent(const char* cdl_file) {
  if (cdl_file == nullptr) return nullptr;
  Agent* type = nullptr;
  for (Agent* candidate = first_agent_type; candidate != nullptr; candidate = candidate->next) {
    if (candidate->cdl_file != nullptr && std::strcmp(candidate->cdl_file, cdl_file) == 0) {
      type = candidate;
      break;
    }
  }
  if (type == nullptr) type = load_agent_type(cdl_file);
  return type != nullptr ? type->render_agent : nullptr;
}

void set_agent_variables(Agent* agent, const MrayPair* pairs, int32_t pair_count) {
  if (agent == nullptr || pairs == nullptr) return;
  for (int32_t i = 0; i < pair_count; ++i) {
    for (UserVar* variable = agent->user_vars; variable != nullptr; variable = variable->next) {
      if (variable->name != nullptr && std::strcmp(variable->name, pairs[i].name) == 0) {
        variable->value = pairs[i].number;
        break;
      }
    }
  }
}

uint8_t agent_pass_flags(const Agent* agent, int pass) {
  if (agent == nullptr || pass < 0) return 0;
  if (agent->pass_flags != nullptr && pass < agent->pass_flag_count) return agent->pass_flags[pass];
  const Agent* type = agent->type != nullptr ? agent->type : agent;
  const auto* passes = static_cast<const ObjectRenderPasses*>(type->render_passes);
  if (passes != nullptr && pass < passes->count && passes->set[pass]) return passes->flags[pass];
  return 0;
}

bool select_render_pass(Agent* agent, const RenderRecord* current) {
  if (agent == nullptr) return false;
  if (current == nullptr) {
    agent->pass_index = -1;
    return true;
  }
  agent->pass_index =
      current->pass_name != nullptr ? find_render_pass(current->pass_name, current->renderer) : -1;
  if (current->pass_name == nullptr) return true;
  return agent->pass_index != -1 && (agent_pass_flags(agent, agent->pass_index) & 3) != 0;
}

std::string previous_pose_cache_name(const char* apf_file, int32_t frame) {
  if (apf_file == nullptr) return {};
  const std::string name = apf_file;
  // The cut falls at the first dot of the whole path, directories included, as existing scenes
  // expect; a dotted directory therefore gives a name that usually does not exist, and the
  // current frame's file is used instead.
  const std::string stem = name.substr(0, name.find('.'));
  const size_t extension = name.find(".apf");
  const bool gzip =
      extension != std::string::npos && name.compare(extension, std::string::npos, ".apf.gz") == 0;
  char number[16];
  std::snprintf(number, sizeof number, ".%d", static_cast<int>(frame - 1));
  return stem + number + (gzip ? ".apf.gz" : ".apf");
}

void pose_and_deform(Agent* agent) {
  agent_pose_from_channels(agent);
  agent_deform_geometry(agent);
}

void pose_previous_frame(Agent* agent, MrayRenderArgs* args) {
  if (args->apf_file == nullptr) {
    if (args->motion_file != nullptr) amc_read_frame(agent, args->motion_file, args->frame - 1);
  } else {
    const std::string previous = previous_pose_cache_name(args->apf_file, args->frame);
    if (!apf_cache_read(previous.c_str(), agent)) apf_cache_read(args->apf_file, agent);
  }
  pose_and_deform(agent);
  Agent* type = agent->type != nullptr ? agent->type : agent;
  for (GeometryNode* node = type->geometry_nodes; node != nullptr; node = node->next)
    keep_previous_points(node);
  keep_previous_transforms(agent);
  float min[3], max[3];
  export_agent_box(agent, min, max);
  for (int i = 0; i < 3; ++i) {
    args->swept_min[i] = args->bbox_min[i] < min[i] ? args->bbox_min[i] : min[i];
    args->swept_max[i] = args->bbox_max[i] > max[i] ? args->bbox_max[i] : max[i];
  }
}

void pose_current_frame(Agent* agent, const MrayRenderArgs* args) {
  if (args->apf_file != nullptr) {
    if (!apf_cache_read(args->apf_file, agent))
      std::fprintf(stderr, "Warning: Couldn't find APF file %s\n", args->apf_file);
  } else if (args->motion_file != nullptr) {
    amc_read_frame(agent, args->motion_file, args->frame);
  }
  pose_and_deform(agent);
}

void run_geometry_hooks(Agent* agent) {
  for (auto* hook = static_cast<GeometryHook*>(agent->geometry_hooks); hook != nullptr;
       hook = hook->next) {
    if (hook->function != nullptr) hook->function(agent, 1, hook);
  }
}

const MrayPair* find_pair(const MrayRenderArgs* args, const char* name) {
  if (args == nullptr || args->pairs == nullptr) return nullptr;
  for (int32_t i = 0; i < args->pair_count; ++i)
    if (std::strcmp(args->pairs[i].name, name) == 0) return &args->pairs[i];
  return nullptr;
}

void load_cloth_and_hair(Agent* agent, const MrayRenderArgs* args, bool motion_blur) {
  Agent* type = agent->type != nullptr ? agent->type : agent;
  if (type->cloth_nodes != nullptr) {
    const MrayPair* pair = find_pair(args, "cloth_path");
    for (ClothNode* cloth = type->cloth_nodes; cloth != nullptr; cloth = cloth->next) {
      if (pair != nullptr && pair->string != nullptr)
        cloth_load_frame(agent, cloth, pair->string, args->frame, motion_blur ? 1 : 0);
      else
        drop_render_mesh(cloth);
    }
  }
  if (type->hair_nodes != nullptr) {
    const MrayPair* pair = find_pair(args, "hair_path");
    for (HairNode* hair = type->hair_nodes; hair != nullptr; hair = hair->next) {
      if (pair != nullptr && pair->string != nullptr) {
        hair_load_frame(agent, hair, pair->string, args->frame, motion_blur ? 1 : 0);
        hair_build_render_geometry(agent, hair);
      } else {
        drop_render_mesh(hair);
      }
    }
  }
}

}  // namespace mray
