// Keeping the memory a session gives back for the next one.
#include "host/heap_reuse.h"

#include <malloc.h>

#include <mutex>

namespace host {

void keep_freed_memory_for_reuse() {
  static std::once_flag once;
  std::call_once(once, [] {
    // Blocks below 64 MiB come from the heap rather than from a mapping of their own (a freed
    // mapping goes back to the system at once), and up to 1 GiB of free heap is kept.
    mallopt(M_MMAP_THRESHOLD, 64 << 20);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
  });
}

}  // namespace host
