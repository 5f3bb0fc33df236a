// The by-name table of renderer functions and the module it resolves them in.
#include "mray/renderer_functions.h"

#include <dlfcn.h>

#include <atomic>
#include <cstdint>
#include <cstdio>

namespace mray {
namespace {

// Slot states: not looked up yet, looked up and missing, or the function's address.
constexpr uintptr_t unresolved = 0;
constexpr uintptr_t missing = 1;

std::atomic<void*> module_handle{nullptr};

const char* const names[] = {
#define HORDERA_RENDERER_NAME(name) #name,
    HORDERA_RENDERER_FUNCTIONS(HORDERA_RENDERER_NAME)
#undef HORDERA_RENDERER_NAME
};

}  // namespace

std::atomic<uintptr_t> renderer_slots[renderer_function_slots];

const char* renderer_function_name(RendererFunction which) {
  return names[static_cast<int>(which)];
}

void* resolve_renderer_function(RendererFunction which) {
  std::atomic<uintptr_t>& slot = renderer_slots[static_cast<int>(which)];
  uintptr_t value = slot.load(std::memory_order_acquire);
  if (value == unresolved) {
    void* module = module_handle.load(std::memory_order_acquire);
    void* address = module ? dlsym(module, renderer_function_name(which)) : nullptr;
    const uintptr_t found = address ? reinterpret_cast<uintptr_t>(address) : missing;
    uintptr_t expected = unresolved;
    if (slot.compare_exchange_strong(expected, found, std::memory_order_acq_rel)) {
      value = found;
      // Only the thread that settled the slot reports, so the message appears once.
      if (found == missing)
        std::fprintf(stderr,
                     "-->horderaMray: renderer function %s is missing from the renderer module; "
                     "the call is skipped.\n",
                     renderer_function_name(which));
    } else {
      value = expected;
    }
  }
  return value == missing ? nullptr : reinterpret_cast<void*>(value);
}

}  // namespace mray

extern "C" void miSetModuleHandle(void* module) {
  mray::module_handle.store(module, std::memory_order_release);
  for (auto& slot : mray::renderer_slots) slot.store(mray::unresolved, std::memory_order_release);
}
