// Fuzzes the render-time pose-cache reader: the input is written as a cache file under a name
// of its own (the cache keeps parsed files by name) and the records of agents 1 and 3 of a type
// with two segments are applied. The cache keeps at most two parsed files, so memory stays
// bounded however many inputs are read.
#include <cstdint>
#include <string>

#include "agent/agent.h"
#include "fuzz/fuzz_input.h"
#include "motion/apf_cache.h"

namespace {

Agent* cached_agent() {
  static Agent* agent = [] {
    Agent* type = new_agent_type("cached");
    new_segment(type, "hip");
    new_segment(type, "spine");
    return new_agent_instance(type);
  }();
  return agent;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static unsigned long inputs = 0;
  apf_cache_init();
  Agent* agent = cached_agent();
  std::string name = "frame." + std::to_string(++inputs) + ".apf";
  std::string path = fuzz::write_input(data, size, name);
  agent->id = 1;
  apf_cache_read(path.c_str(), agent);
  agent->id = 3;
  apf_cache_read(path.c_str(), agent);
  std::remove(path.c_str());
  return 0;
}
