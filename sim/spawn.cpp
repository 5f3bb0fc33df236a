// Adding agents while the loop runs: an agent of a group from its prototype, and an agent
// spawned from a segment.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "agent/agent.h"
#include "agent/skeleton.h"
#include "base/vecmath.h"
#include "sim/brain.h"
#include "sim/scene_setup.h"
#include "sim/simulation.h"

namespace {

// Gives the new agent the prototype's settings, rest transforms and user variables.
void copy_prototype(Agent* agent, const Agent* prototype) {
  if (prototype == agent->type) return;  // the type's own settings are already in place
  if (prototype->scale != 0) agent->scale = prototype->scale;
  agent->activity = prototype->activity != 0 ? prototype->activity : agent->activity;
  agent->colour = prototype->colour;
  agent->cache_input = prototype->cache_input;
  matrix_copy(prototype->rest_matrix, agent->rest_matrix);
  for (Segment* source = prototype->segments; source; source = source->next) {
    if (Segment* segment = findSegment(agent, source->name)) {
      matrix_copy(source->rest_matrix, segment->rest_matrix);
      matrix_copy(source->rest_matrix, segment->matrix);
    }
  }
  for (UserVar* variable = prototype->user_vars; variable; variable = variable->next) {
    if (UserVar* own = new_userVar(agent, variable->name)) {
      own->value = variable->value;
      own->defined = variable->defined;
      own->flags = variable->flags;
    }
  }
}

}  // namespace

extern "C" Agent* group_create_agent(Group* group, int64_t number) {
  Agent* prototype = group ? group->prototype : nullptr;
  if (!prototype || !group->type) {
    std::fprintf(stderr, "ERROR: create_instance(NULL)\n");
    return nullptr;
  }
  Agent* agent = new_agent_instance(group->type);
  if (!agent) return nullptr;
  char name[1024];
  std::snprintf(name, sizeof name, "%s.%ld", prototype->name ? prototype->name : "",
                static_cast<long>(number));
  char* copy = strdup(name);
  if (copy) {
    std::free(agent->name);
    agent->name = copy;
  }
  agent->id = static_cast<int32_t>(number);
  agent->birth_frame = simTime;
  agent->activity = 1;
  if (agent->scale == 0) agent->scale = 1;
  copy_prototype(agent, prototype);
  agent->group = group;
  agent->prototype = prototype;
  sim_assign_pass_flags(agent, prototype);
  brain_create_output_copies(agent);
  compileOutputs(agent);
  if (number >= group->number) group->number = number + 1;
  return agent;
}

extern "C" Agent* createInstance(Group* group) {
  if (!group) {
    std::fprintf(stderr, "ERROR: create_instance(NULL)\n");
    return nullptr;
  }
  // The group's number moves past every id in the scene: ids are unique across groups.
  for (Agent* agent = root_agent; agent; agent = agent->next)
    if (agent->id >= group->number) group->number = agent->id + 1;
  return group_create_agent(group, group->number);
}

extern "C" int spawn(Segment* segment) {
  if (!segment || !segment->spawn_group) return 0;
  Group* group = findGroup(segment->spawn_group);
  if (!group) return 0;
  Agent* agent = createInstance(group);
  if (!agent) return 0;
  // The group becomes a spawning group only once it has supplied an agent.
  group->spawns = 1;
  agent->spawned = 1;
  worldSpace(segment, agent->matrix);
  Vector scale = {agent->scale, agent->scale, agent->scale};
  matrix_scale(agent->matrix, &scale);
  agent->root[3] = agent->matrix[12];
  agent->root[4] = agent->matrix[13];
  agent->root[5] = agent->matrix[14];
  for (int i = 0; i < 6; ++i) agent->last_root[i] = agent->root[i];
  return 1;
}
