// The renderer's lock functions.
#include "host/locks.h"

#include <condition_variable>
#include <mutex>
#include <thread>

#include "host/messages.h"

struct mi_lock {
  std::mutex mutex;
  std::condition_variable released;
  std::thread::id owner;
  int depth = 0;
};

namespace host {

miLock global_lock() {
  static struct mi_lock* const lock = new struct mi_lock;  // lives as long as the process
  miLock handle{};
  handle.addr = lock;
  return handle;
}

int lock_depth(miLock handle) {
  if (handle.addr == nullptr) return 0;
  std::lock_guard guard(handle.addr->mutex);
  return handle.addr->depth;
}

int release_lock_held_by_this_thread(miLock handle) {
  if (handle.addr == nullptr) return 0;
  std::unique_lock guard(handle.addr->mutex);
  if (handle.addr->depth == 0 || handle.addr->owner != std::this_thread::get_id()) return 0;
  const int held = handle.addr->depth;
  handle.addr->depth = 0;
  handle.addr->owner = {};
  guard.unlock();
  handle.addr->released.notify_all();
  return held;
}

}  // namespace host

extern "C" miBoolean mi_init_lock(miLock* handle) {
  if (handle == nullptr) return miFALSE;
  handle->addr = new struct mi_lock;
  return miTRUE;
}

extern "C" void mi_delete_lock(miLock* handle) {
  if (handle == nullptr) return;
  delete handle->addr;
  handle->addr = nullptr;
}

extern "C" void mi_lock(const miLock handle) {
  struct mi_lock* lock = handle.addr;
  if (lock == nullptr) {
    host::log_message(host::Level::error, "mi_lock: the lock was never initialised\n");
    return;
  }
  std::unique_lock guard(lock->mutex);
  const auto self = std::this_thread::get_id();
  lock->released.wait(guard, [&] { return lock->depth == 0 || lock->owner == self; });
  lock->owner = self;
  ++lock->depth;
}

extern "C" void mi_unlock(const miLock handle) {
  struct mi_lock* lock = handle.addr;
  if (lock == nullptr) {
    host::log_message(host::Level::error, "mi_unlock: the lock was never initialised\n");
    return;
  }
  std::unique_lock guard(lock->mutex);
  if (lock->depth == 0 || lock->owner != std::this_thread::get_id()) {
    guard.unlock();
    host::log_message(host::Level::error, "mi_unlock: the lock is not held by this thread\n");
    return;
  }
  if (--lock->depth == 0) {
    lock->owner = {};
    guard.unlock();
    lock->released.notify_all();
  }
}
