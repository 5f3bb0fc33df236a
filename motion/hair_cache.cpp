// Hair at render time: a hair piece's guide curves for a frame (and the frame before, for motion
// blur) from the hair cache, and the strands built from them.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "agent/agent.h"
#include "agent/mesh.h"
#include "agent/nodes.h"
#include "motion/cache_files.h"
#include "motion/cloth_hair_cache.h"
#include "motion/hair_geometry.h"
#include "motion/line_reader.h"

namespace hordera {

namespace {

// What hair_load_frame leaves in HairNode::guides for hair_build_render_geometry.
struct HairGuides {
  CacheFrame current;
  CacheFrame previous;
  bool has_previous = false;
  bool motion_blur = false;
};

int position_in(HairNode* list, HairNode* node) {
  int position = 0;
  for (HairNode* h = list; h; h = h->next, ++position)
    if (h == node) return position;
  return 0;
}

}  // namespace

void hair_release(HairNode* hair) {
  if (!hair) return;
  mesh_free(hair->mesh);
  hair->mesh = nullptr;
  std::free(hair->previous_points);
  hair->previous_points = nullptr;
  delete static_cast<HairGuides*>(hair->guides);
  hair->guides = nullptr;
}

}  // namespace hordera

extern "C" {

int hair_load_frame(Agent* agent, HairNode* hair, const char* directory, int frame,
                    int motion_blur) {
  using namespace hordera;
  if (!agent || !hair) return 0;
  hair_release(hair);
  Agent* type = agent_type_of(agent);
  std::string piece = cache_piece_name(hair->name, "hair", position_in(type->hair_nodes, hair));
  std::string path = find_cache_file(directory, agent, piece, frame, "hair");
  auto guides = std::make_unique<HairGuides>();
  if (path.empty()) {
    report_at((std::string(directory ? directory : ".") + "/" + (agent->name ? agent->name : "") +
               "." + piece + "." + std::to_string(frame) + ".hair")
                  .c_str(),
              0, "no hair cache for the frame");
    return 0;
  }
  if (!read_cache_frame(path, true, guides->current)) return 0;
  Matrix placement;
  agent_space_matrix(agent, CacheTime::current, placement);
  cache_to_world(guides->current, placement);
  guides->motion_blur = motion_blur != 0;
  if (motion_blur) {
    std::string previous = find_cache_file(directory, agent, piece, frame - 1, "hair");
    if (!previous.empty() && read_cache_frame(previous, true, guides->previous)) {
      agent_space_matrix(agent, CacheTime::previous, placement);
      cache_to_world(guides->previous, placement);
      guides->has_previous = true;
    }
  }
  hair->guides = guides.release();
  return 1;
}

int hair_build_render_geometry(Agent* agent, HairNode* hair) {
  using namespace hordera;
  if (!agent || !hair) return 0;
  mesh_free(hair->mesh);
  hair->mesh = nullptr;
  std::free(hair->previous_points);
  hair->previous_points = nullptr;
  auto* guides = static_cast<HairGuides*>(hair->guides);
  if (!guides || hair->disabled) return 0;
  hair->mesh = build_hair_mesh(guides->current, *hair);
  if (!hair->mesh) return 0;
  if (!guides->motion_blur) return 1;
  // The strands of the frame before give the motion when they match point for point (the same
  // guides); otherwise the hair does not move during the exposure.
  const size_t count = static_cast<size_t>(hair->mesh->point_count);
  Mesh* before = guides->has_previous ? build_hair_mesh(guides->previous, *hair) : nullptr;
  hair->previous_points = static_cast<Vector*>(std::malloc(sizeof(Vector) * (count ? count : 1)));
  if (hair->previous_points) {
    bool same = before && static_cast<size_t>(before->point_count) == count;
    std::memcpy(hair->previous_points, same ? before->points : hair->mesh->points,
                sizeof(Vector) * count);
  }
  mesh_free(before);
  return 1;
}

}  // extern "C"
