// Fuzzes the binary action-file reader: the input is read as a binary action file bound to an
// agent with two segments, and then loaded as an ".actb" file onto that agent.
#include <cstdint>
#include <string>

#include "fuzz/action_agent.h"
#include "fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Agent* agent = fuzz::action_agent();
  std::string path = fuzz::write_input(data, size, "input.actb");

  Action* list = nullptr;
  actions_read_binary(path.c_str(), agent_type_of(agent), &list);
  fuzz::free_actions(&list);
  fuzz::reset_action_agent();

  load_action_file(agent, path.c_str());
  fuzz::reset_action_agent();
  return 0;
}
