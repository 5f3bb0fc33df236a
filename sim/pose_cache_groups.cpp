// The groups the pose-cache reader and writer see: the hooks through which they name an agent's
// group and create the agents that "#spawn" lines announce.
#include "sim/pose_cache_groups.h"

#include "agent/agent.h"
#include "motion/apf.h"
#include "sim/scene_setup.h"

namespace {

const char* group_name(const Agent* agent) {
  return agent->group ? agent->group->name : nullptr;
}

const char* agent_name(const char* group) {
  const Group* found = findGroup(group);
  return found ? group_agent_name(found) : nullptr;
}

Agent* create_agent(const char* group, int id) {
  Group* found = findGroup(group);
  return found ? group_create_agent(found, id) : nullptr;
}

}  // namespace

void hordera::install_pose_cache_groups() {
  apf_group_hooks = {group_name, agent_name, create_agent};
}
