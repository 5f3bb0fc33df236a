// Groups of agents: a prototype agent of one agent type, the agents made from it, and their
// placement for frame 0.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "agent/agent.h"
#include "sim/pose_cache_groups.h"
#include "sim/scene_setup.h"
#include "sim/simulation.h"

extern "C" Group* findGroup(const char* name) {
  if (!name) return nullptr;
  for (Group* group = groups; group; group = group->next)
    if (group->name && std::strcmp(group->name, name) == 0) return group;
  return nullptr;
}

extern "C" Group* new_group(const char* name, Agent* type, Agent* prototype, int32_t count,
                            float spacing) {
  auto* group = static_cast<Group*>(std::calloc(1, sizeof(Group)));
  if (!group) return nullptr;
  hordera::install_pose_cache_groups();
  group->name = name ? strdup(name) : nullptr;
  group->type = agent_type_of(type);
  group->prototype = prototype;
  group->number = 1;
  group->count = count;
  group->spacing = spacing;
  Group** tail = &groups;
  while (*tail) tail = &(*tail)->next;
  *tail = group;
  return group;
}

extern "C" void free_groups(void) {
  while (groups) {
    Group* next = groups->next;
    for (Agent* agent = root_agent; agent; agent = agent->next)
      if (agent->group == groups) agent->group = nullptr;
    std::free(groups->name);
    std::free(groups);
    groups = next;
  }
}

extern "C" const char* group_agent_name(const Group* group) {
  if (group->prototype && group->prototype->name) return group->prototype->name;
  if (group->type && group->type->name) return group->type->name;
  return "";
}

// Agents of the groups are numbered on from one group to the next (the first group's 1 .. count,
// the next group's count + 1 onwards, ...), since an agent's number is its id and the renderer
// names its assembly and materials and finds its pose-cache record by id alone. Each group sets
// its agents out in rows of ceil(sqrt(count)) along x, rows following each other along z,
// `spacing` apart, from the group's origin.
extern "C" void place_groups(void) {
  int64_t first = 1;
  for (Group* group = groups; group; group = group->next) {
    if (group->count <= 0) continue;
    int columns = static_cast<int>(std::ceil(std::sqrt(static_cast<double>(group->count))));
    for (int32_t i = 0; i < group->count; ++i) {
      const int64_t number = first + i;
      char name[1024];
      std::snprintf(name, sizeof name, "%s.%ld", group_agent_name(group),
                    static_cast<long>(number));
      Agent* agent = findAgent(name);
      if (!agent) agent = group_create_agent(group, number);
      if (!agent) break;
      agent->birth_frame = 0;
      agent->spawned = 0;
      float place[6] = {0,
                        0,
                        0,
                        group->origin[0] + group->spacing * static_cast<float>(i % columns),
                        group->origin[1],
                        group->origin[2] + group->spacing * static_cast<float>(i / columns)};
      for (int k = 0; k < 6; ++k) agent->root[k] = agent->last_root[k] = place[k];
      sim_build_root_matrix(agent);
      std::memcpy(agent->last_matrix, agent->matrix, sizeof(Matrix));
    }
    first += group->count;
  }
}

// Groups place their agents only for frame 0; generators that add agents during a run hang off
// `gen` and have no work here yet.
extern "C" void update_groups(int32_t frame) {
  (void)frame;
}
