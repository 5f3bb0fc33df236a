// Per-frame cloth and hair caches at render time: the loaders that fill a cloth piece's or a hair
// piece's render mesh for one frame from the directory the parameter string names.
#pragma once

struct Agent;
struct ClothNode;
struct HairNode;

extern "C" {

// Loads the cloth piece's points for `frame` from the cloth cache in `directory` into its render
// mesh (ClothNode::mesh); with `motion_blur` set also the previous frame's points
// (ClothNode::previous_points). Returns 1, or 0 when the cache could not be read (the piece then
// has no render mesh for the frame; the agent's body still renders).
int cloth_load_frame(Agent* agent, ClothNode* cloth, const char* directory, int frame,
                     int motion_blur);
// Loads the hair piece's guide curves for `frame` from the hair cache in `directory`, with the
// previous frame's when `motion_blur` is set. Returns 1, or 0 when the cache could not be read.
int hair_load_frame(Agent* agent, HairNode* hair, const char* directory, int frame,
                    int motion_blur);
// Builds the hair piece's render geometry (HairNode::mesh, and previous_points with motion blur)
// from its loaded guide curves. Returns 1, or 0 when there is nothing to build.
int hair_build_render_geometry(Agent* agent, HairNode* hair);

}  // extern "C"

namespace hordera {
// Frees what the loaders gave a piece (render mesh, previous points, guide curves) and clears
// the fields.
void cloth_release(ClothNode* cloth);
void hair_release(HairNode* hair);
}  // namespace hordera
