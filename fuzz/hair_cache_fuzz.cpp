// Fuzzes the hair cache loader and the strands built from it: the input is frame 2 of a hair
// piece's cache, loaded with motion blur (frame 1 is absent) and built, then as the frame before
// a small fixed frame 3.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "agent/nodes.h"
#include "fuzz/fuzz_input.h"
#include "fuzz/mocap_agent.h"
#include "motion/cloth_hair_cache.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static HairNode* hair = [] {
    auto* node = static_cast<HairNode*>(std::calloc(1, sizeof(HairNode)));
    node->name = strdup("mane");
    node->root_radius = 0.1f;
    node->tip_radius = 0.01f;
    node->density = 3;
    node->vertices_number = 4;
    node->clump_ratio = 0.5f;
    node->clump_rate = 2;
    agent_type_of(fuzz::mocap_agent())->hair_nodes = node;
    return node;
  }();
  Agent* agent = fuzz::mocap_agent();
  fuzz::write_input(data, size, "walker.mane.2.hair");
  const char* directory = fuzz::temp_dir().c_str();
  if (hair_load_frame(agent, hair, directory, 2, 1)) hair_build_render_geometry(agent, hair);
  static const char kNext[] = "curve 3\n0 0 0\n0 1 0\n0 2 0\n";
  fuzz::write_input(reinterpret_cast<const uint8_t*>(kNext), sizeof kNext - 1,
                    "walker.mane.3.hair");
  if (hair_load_frame(agent, hair, directory, 3, 1)) hair_build_render_geometry(agent, hair);
  hordera::hair_release(hair);
  return 0;
}
