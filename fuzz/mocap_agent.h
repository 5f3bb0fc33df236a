// Shared by the motion-capture and cache fuzzers: an agent type whose segments carry the bone
// names of the seed files (root, femur, tibia, hips, spine), with one agent, and the release of
// the actions an input imported onto the type.
#pragma once

#include <cstdlib>
#include <cstring>

#include "agent/agent.h"
#include "fuzz/action_agent.h"
#include "sim/brain.h"

namespace fuzz {

inline Agent* mocap_agent() {
  static Agent* agent = [] {
    Agent* type = new_agent_type("mocap_fuzz");
    Segment* root = new_segment(type, "root");
    Segment* femur = new_segment(type, "femur");
    Segment* tibia = new_segment(type, "tibia");
    Segment* hips = new_segment(type, "hips");
    Segment* spine = new_segment(type, "spine");
    femur->parent = root;
    root->child = femur;
    tibia->parent = femur;
    femur->child = tibia;
    spine->parent = hips;
    hips->child = spine;
    brain_new_node(type, BRAIN_OUTPUT);  // so imports add no default brain node
    Agent* instance = new_agent_instance(type);
    std::free(instance->name);
    instance->name = strdup("walker");
    return instance;
  }();
  return agent;
}

inline void reset_mocap_agent() {
  Agent* agent = mocap_agent();
  Agent* type = agent_type_of(agent);
  playback_free_table(agent);
  free_actions(&type->actions);
}

}  // namespace fuzz
