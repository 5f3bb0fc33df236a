// Sharing independent pieces of the host's own work among threads.
#include "host/parallel_for.h"

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

namespace host {

int thread_count(int requested) {
  if (requested > 0) return requested;
  return std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
}

void parallel_for(size_t count, int threads, const std::function<void(size_t)>& work) {
  std::atomic<size_t> next{0};
  const auto run = [&] {
    for (size_t i = next++; i < count; i = next++) work(i);
  };
  const size_t helpers = std::min(count, static_cast<size_t>(std::max(threads, 1))) - (count > 0);
  std::vector<std::thread> pool;
  pool.reserve(helpers);
  for (size_t i = 0; i < helpers; ++i) pool.emplace_back(run);
  run();
  for (std::thread& thread : pool) thread.join();
}

}  // namespace host
