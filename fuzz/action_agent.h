// Shared by the action-file fuzzers: an agent type with two segments and a brain, with its one
// agent, that actions are loaded onto, and the release of everything an input added to them.
#pragma once

#include <cstdlib>

#include "agent/agent.h"
#include "motion/action.h"
#include "motion/playback.h"
#include "sim/action_loading.h"
#include "sim/brain.h"

namespace fuzz {

// The agent actions are loaded onto (its type holds them). The type has a brain already, so
// loading adds no default brain node.
inline Agent* action_agent() {
  static Agent* agent = [] {
    Agent* type = new_agent_type("action_fuzz");
    new_segment(type, "hip");
    new_segment(type, "spine");
    brain_new_node(type, BRAIN_OUTPUT);
    return new_agent_instance(type);
  }();
  return agent;
}

inline void free_actions(Action** list) {
  while (Action* action = *list) {
    *list = action->next;
    action_free(action);
  }
}

// Frees what an input left on the agent and its type: actions, playback slots, and the user
// variables that binding curves created.
inline void reset_action_agent() {
  Agent* agent = action_agent();
  Agent* type = agent_type_of(agent);
  playback_free_table(agent);
  free_actions(&type->actions);
  while (UserVar* variable = type->user_vars) {
    type->user_vars = variable->next;
    std::free(variable->name);
    std::free(variable);
  }
}

}  // namespace fuzz
