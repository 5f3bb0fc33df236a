// Fuzzes the one-pass pose-cache reader: the input is written as the cache file of frame 1 and
// read onto a scene of one group ("crowd", agents "crowd.1" and "crowd.2" with two segments, a
// user variable, a value set and a simulation value table), as a plain file and through the
// gzip path, with agent creation on. Agents that "#spawn" lines created are deleted after each
// input, so the scene stays the same size.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "agent/agent.h"
#include "fuzz/fuzz_input.h"
#include "motion/apf.h"
#include "sim/scene_setup.h"
#include "sim/simulation.h"

namespace {

void give_value_set(Agent* agent) {
  auto* set = static_cast<ValueSet*>(std::calloc(1, sizeof(ValueSet)));
  set->name = strdup("blend");
  set->count = 2;
  set->members = static_cast<char**>(std::calloc(2, sizeof(char*)));
  set->members[0] = strdup("smile");
  set->members[1] = strdup("frown");
  agent->value_sets = set;
}

void make_scene() {
  static bool made = false;
  if (made) return;
  made = true;
  Agent* type = new_agent_type("crowd");
  new_segment(type, "hip");
  new_segment(type, "spine");
  new_userVar(type, "speed");
  Agent* prototype = new_agent_instance(type);
  prototype->activity = 1;
  new_group("crowd", type, prototype, 2, 1.0f);
  place_groups();
  if (Agent* first = findAgent("crowd.1")) {
    give_value_set(first);
    first->sim_value_count = kSimValueFirstVariable + 1;
    first->sim_values = static_cast<float*>(std::calloc(kSimValueFirstVariable + 1, sizeof(float)));
  }
}

void delete_spawned_agents() {
  Agent* agent = root_agent;
  while (agent) {
    Agent* next = agent->next;
    if (agent->spawned) sim_delete_agent(agent);
    agent = next;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  make_scene();
  fuzz::write_input(data, size, "frame.1.apf");
  fuzz::write_input(data, size, "frame.1.apf.gz");
  apf_read(fuzz::temp_dir().c_str(), 1, 1, 0);
  delete_spawned_agents();
  apf_read(fuzz::temp_dir().c_str(), 1, 1, 1);
  delete_spawned_agents();
  return 0;
}
