// Per-frame cloth and hair caches at render time.
#include "motion/cloth_hair_cache.h"

extern "C" {

int cloth_load_frame(Agent*, ClothNode*, const char*, int, int) {
  return 0;
}
int hair_load_frame(Agent*, HairNode*, const char*, int, int) {
  return 0;
}
int hair_build_render_geometry(Agent*, HairNode*) {
  return 0;
}

}  // extern "C"
