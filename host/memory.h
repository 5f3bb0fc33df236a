// Renderer-owned memory: every block is recorded with the file and line that asked for it, so
// that blocks still held can be listed and a release of a block not held (released twice, or
// never handed out) is reported instead of corrupting the heap.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace host {

// One block handed out and not yet released.
struct MemoryBlock {
  const void* address;
  std::string file;  // source name given by the caller
  int line;
  size_t size;  // bytes
};

// The blocks held now, in no particular order.
std::vector<MemoryBlock> memory_in_use();
// Number of releases of memory that was not held, since the start.
size_t memory_release_faults();
// Releases a block the host took over from the plug-in (strings passed to the scene API).
void release_memory(void* memory);

}  // namespace host
