// Fuzzes the AMC reader with its skeleton: the input is an AMC file beside a fixed two-bone
// skeleton of the same stem; frames 1 and 2 are read into an agent and the whole clip is
// imported as an action. Then the same without a skeleton (unless the input's header names
// the fixed one).
#include <cstdint>
#include <string>

#include "fuzz/fuzz_input.h"
#include "fuzz/mocap_agent.h"
#include "motion/motion_capture.h"

namespace {

const char kSkeleton[] =
    ":units\n  length 0.45\n  angle deg\n:root\n  order TX TY TZ RX RY RZ\n  axis XYZ\n"
    ":bonedata\n  begin\n    name femur\n    direction 0 -1 0\n    length 5\n"
    "    axis 0 0 20 XYZ\n    dof rx ry rz\n  end\n  begin\n    name tibia\n"
    "    direction 0 -1 0\n    length 6\n    axis 0 0 20 XYZ\n    dof rx\n  end\n"
    ":hierarchy\n  begin\n    root femur\n    femur tibia\n  end\n";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string skeleton = fuzz::write_input(reinterpret_cast<const uint8_t*>(kSkeleton),
                                                        sizeof kSkeleton - 1, "input.asf");
  (void)skeleton;
  std::string path = fuzz::write_input(data, size, "input.amc");
  hordera::amc_cache_clear();  // inputs written within one clock tick look alike to the cache
  Agent* agent = fuzz::mocap_agent();
  amc_read_frame(agent, path.c_str(), 1);
  amc_read_frame(agent, path.c_str(), 2);
  hordera::import_amc_action(agent, path.c_str());
  fuzz::reset_mocap_agent();
  // The same clip without a skeleton of its name beside it.
  std::string lone = fuzz::write_input(data, size, "lone.amc");
  amc_read_frame(agent, lone.c_str(), 1);
  hordera::import_amc_action(agent, lone.c_str());
  fuzz::reset_mocap_agent();
  return 0;
}
