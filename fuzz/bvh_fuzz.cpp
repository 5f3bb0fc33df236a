// Fuzzes the BVH reader: the input is imported as a clip onto an agent with "hips" and "spine".
#include <cstdint>
#include <string>

#include "fuzz/fuzz_input.h"
#include "fuzz/mocap_agent.h"
#include "motion/motion_capture.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string path = fuzz::write_input(data, size, "input.bvh");
  hordera::import_bvh_action(fuzz::mocap_agent(), path.c_str());
  fuzz::reset_mocap_agent();
  return 0;
}
