// Fuzzes the text reader of action lists: the input is read as an action list bound to an agent
// with two segments, and then loaded as an ".act" file onto that agent.
#include <cstdint>
#include <string>

#include "base/stream.h"
#include "fuzz/action_agent.h"
#include "fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Agent* agent = fuzz::action_agent();
  std::string path = fuzz::write_input(data, size, "input.act");

  if (Stream* stream = stream_open(path.c_str(), "r", 0)) {
    Action* list = nullptr;
    actions_read_text(stream, agent_type_of(agent), &list);
    stream_close(stream);
    fuzz::free_actions(&list);
  }
  fuzz::reset_action_agent();

  load_action_file(agent, path.c_str());
  fuzz::reset_action_agent();
  return 0;
}
