// Fuzzes the agent-file reader: the input is written as an agent file and loaded as an agent
// type. Agent types are never freed by the engine, so after each input the types it made are
// taken off the type list (kept reachable here) and its agents are deleted with everything the
// simulation gave them (brain output copies among it); the next input starts from an empty scene.
#include <cstdint>
#include <string>
#include <vector>

#include "agent/agent.h"
#include "cdl/cdl.h"
#include "fuzz/fuzz_input.h"
#include "sim/simulation.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static auto* retired = new std::vector<Agent*>;  // never destroyed: keeps them reachable
  std::string path = fuzz::write_input(data, size, "input.cdl");
  load_agent_type(path.c_str());

  while (root_agent) sim_delete_agent(root_agent);
  for (Agent* type = first_agent_type; type; type = type->next) retired->push_back(type);
  first_agent_type = last_agent_type = nullptr;
  currentAgent = nullptr;
  return 0;
}
