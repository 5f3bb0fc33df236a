// The renderer's memory functions.
#include "host/memory.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <unordered_map>

#include "host/messages.h"
#include "mray/mi_interface.h"

namespace host {
namespace {

struct Record {
  std::string file;
  int line;
  size_t size;
};

std::mutex memory_mutex;
std::unordered_map<void*, Record> blocks;
size_t release_faults = 0;

void* allocate(const char* file, int line, size_t size, bool may_fail) {
  void* memory = std::calloc(1, size == 0 ? 1 : size);
  if (memory == nullptr) {
    if (may_fail) return nullptr;
    std::fprintf(stderr, "%s:%d: out of renderer memory allocating %zu bytes\n", file ? file : "?",
                 line, size);
    std::abort();
  }
  std::lock_guard lock(memory_mutex);
  blocks[memory] = {file ? file : "", line, size};
  return memory;
}

// Forgets the block; false when it was not held.
bool forget(void* memory, size_t* size) {
  std::lock_guard lock(memory_mutex);
  const auto found = blocks.find(memory);
  if (found == blocks.end()) {
    ++release_faults;
    return false;
  }
  if (size != nullptr) *size = found->second.size;
  blocks.erase(found);
  return true;
}

}  // namespace

std::vector<MemoryBlock> memory_in_use() {
  std::lock_guard lock(memory_mutex);
  std::vector<MemoryBlock> held;
  for (const auto& [address, record] : blocks)
    held.push_back({address, record.file, record.line, record.size});
  return held;
}

size_t memory_release_faults() {
  std::lock_guard lock(memory_mutex);
  return release_faults;
}

void release_memory(void* memory) {
  mi_mem_int_release(__FILE__, __LINE__, memory);
}

}  // namespace host

extern "C" void* mi_mem_int_allocate(const char* file, int line, miUint size) {
  return host::allocate(file, line, size, false);
}

extern "C" void* mi_mem_int_test_allocate(const char* file, int line, miUint size) {
  return host::allocate(file, line, size, true);
}

extern "C" void mi_mem_int_release(const char* file, int line, void* memory) {
  if (memory == nullptr) return;
  if (!host::forget(memory, nullptr)) {
    host::log_message(host::Level::error,
                      std::string(file ? file : "?") + ":" + std::to_string(line) +
                          ": release of renderer memory that is not held (released twice, or "
                          "never allocated by the renderer)\n");
    return;
  }
  std::free(memory);
}

extern "C" void* mi_mem_int_reallocate(const char* file, int line, void* memory, miUint size) {
  if (memory == nullptr) return mi_mem_int_allocate(file, line, size);
  size_t old_size = 0;
  if (!host::forget(memory, &old_size)) {
    host::log_message(host::Level::error,
                      std::string(file ? file : "?") + ":" + std::to_string(line) +
                          ": reallocation of renderer memory that is not held\n");
    return nullptr;
  }
  void* grown = mi_mem_int_allocate(file, line, size);
  std::memcpy(grown, memory, old_size < size ? old_size : size);
  std::free(memory);
  return grown;
}

extern "C" char* mi_mem_int_strdup(const char* file, int line, const char* text) {
  if (text == nullptr) return nullptr;
  const size_t length = std::strlen(text);
  auto* copy = static_cast<char*>(mi_mem_int_allocate(file, line, static_cast<miUint>(length + 1)));
  std::memcpy(copy, text, length + 1);
  return copy;
}
