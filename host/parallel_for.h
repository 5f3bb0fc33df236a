// Sharing independent pieces of the host's own work (meshes to convert, picture tiles to trace)
// among threads.
#pragma once

#include <cstddef>
#include <functional>

namespace host {

// The number of threads a "--threads N" option asks for: N, or every core for 0 or less.
int thread_count(int requested);

// Calls `work(i)` for every i from 0 to count - 1 on up to `threads` threads, the calling
// thread among them; each thread takes the next piece not yet taken, so pieces of unequal cost
// even out. Returns when every piece is done. `work` must not throw.
void parallel_for(size_t count, int threads, const std::function<void(size_t)>& work);

}  // namespace host
