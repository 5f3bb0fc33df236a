// Keeping the memory a session gives back for the next one.
#pragma once

namespace host {

// Makes the C heap keep the memory freed at the end of a session (up to a limit) instead of
// returning it to the system, and serve the scene database's large arrays from the heap. A
// frame's database is tens of megabytes that the next frame needs again; returning it and
// asking for it anew costs a page fault and a cleared page for every 4 kB. Safe to call often;
// only the first call acts.
void keep_freed_memory_for_reuse();

}  // namespace host
