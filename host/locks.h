// Renderer locks. A lock may be taken again by the thread that holds it (as the renderer's
// locks can), so a plug-in that returns while still holding the global lock does not dead-lock
// its own next call on that thread; other threads wait.
#pragma once

#include "mray/mi_interface.h"

namespace host {

// The global lock handed to shaders in the render state.
miLock global_lock();
// How many times the lock is held now (0 when free); for reports and tests.
int lock_depth(miLock lock);
// Releases `lock` entirely when this thread holds it, and returns how many times it was held
// (0 when this thread did not hold it).
int release_lock_held_by_this_thread(miLock lock);

}  // namespace host
