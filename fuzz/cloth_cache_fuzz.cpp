// Fuzzes the cloth cache loader: the input is frame 2 of a 3 by 2 grid piece's cache, loaded
// with motion blur (frame 1 is absent) and without; then as frame 3 with the input as frame 2
// before it.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "agent/nodes.h"
#include "fuzz/fuzz_input.h"
#include "fuzz/mocap_agent.h"
#include "motion/cloth_hair_cache.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static ClothNode* cloth = [] {
    auto* node = static_cast<ClothNode*>(std::calloc(1, sizeof(ClothNode)));
    node->name = strdup("cape");
    node->grid_columns = 3;
    node->grid_rows = 2;
    agent_type_of(fuzz::mocap_agent())->cloth_nodes = node;
    return node;
  }();
  Agent* agent = fuzz::mocap_agent();
  fuzz::write_input(data, size, "walker.cape.2.cloth");
  const char* directory = fuzz::temp_dir().c_str();
  cloth_load_frame(agent, cloth, directory, 2, 1);
  cloth_load_frame(agent, cloth, directory, 2, 0);
  static const char kNext[] = "points 6\n0 0 0\n1 0 0\n2 0 0\n0 1 0\n1 1 0\n2 1 0\n";
  fuzz::write_input(reinterpret_cast<const uint8_t*>(kNext), sizeof kNext - 1,
                    "walker.cape.3.cloth");
  cloth_load_frame(agent, cloth, directory, 3, 1);
  hordera::cloth_release(cloth);
  return 0;
}
