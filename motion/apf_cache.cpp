// The render-time cache of parsed pose-cache files.
#include "motion/apf_cache.h"

#include <cstdlib>

namespace {

// Entries of the pose reader's shared line buffer.
constexpr size_t kSharedLineEntries = 6000;

bool g_cache_initialised = false;
float* g_shared_line_buffer = nullptr;

}  // namespace

extern "C" void apf_cache_init(void) {
  if (g_cache_initialised) return;
  g_cache_initialised = true;
  g_shared_line_buffer = static_cast<float*>(std::calloc(kSharedLineEntries, sizeof(float)));
}

extern "C" int apf_cache_read(const char* path, Agent* agent) {
  (void)path;
  (void)agent;
  return 0;
}
