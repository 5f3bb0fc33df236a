// The scene database and the renderer's database functions.
#include "host/database.h"

#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/messages.h"

namespace host {
namespace {

struct Element {
  int type;
  void* data;
  int size;
  int pins;
  std::function<void(void*)> destroy;
};

std::mutex database_mutex;
std::atomic<unsigned> generation{1};
std::vector<std::unique_ptr<Element>> elements;  // tag t is elements[t - 1]

Element* find(miTag tag) {
  if (tag == 0 || tag > elements.size()) return nullptr;
  return elements[tag - 1].get();
}

}  // namespace

miTag db_create(int type, void* data, int size, std::function<void(void*)> destroy) {
  std::lock_guard lock(database_mutex);
  elements.push_back(std::make_unique<Element>(Element{type, data, size, 0, std::move(destroy)}));
  return static_cast<miTag>(elements.size());
}

miTag db_create_string(std::string_view text) {
  auto* copy = new char[text.size() + 1];
  std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return db_create(miSCENE_STRING, copy, static_cast<int>(text.size() + 1),
                   [](void* data) { delete[] static_cast<char*>(data); });
}

void* db_data(miTag tag) {
  std::lock_guard lock(database_mutex);
  Element* element = find(tag);
  return element ? element->data : nullptr;
}

int db_pins(miTag tag) {
  std::lock_guard lock(database_mutex);
  Element* element = find(tag);
  return element ? element->pins : -1;
}

int db_count() {
  std::lock_guard lock(database_mutex);
  int count = 0;
  for (const auto& element : elements) count += element != nullptr;
  return count;
}

void db_clear() {
  std::vector<std::unique_ptr<Element>> gone;
  {
    std::lock_guard lock(database_mutex);
    gone.swap(elements);
    generation.fetch_add(1, std::memory_order_acq_rel);
  }
  for (auto& element : gone)
    if (element && element->destroy) element->destroy(element->data);
}

unsigned db_generation() {
  return generation.load(std::memory_order_acquire);
}

}  // namespace host

extern "C" void* mi_db_access(miTag tag) {
  std::unique_lock lock(host::database_mutex);
  host::Element* element = host::find(tag);
  if (element == nullptr) {
    lock.unlock();
    host::log_message(host::Level::error,
                      "mi_db_access: no database element has tag " + std::to_string(tag) + "\n");
    return nullptr;
  }
  ++element->pins;
  return element->data;
}

extern "C" void mi_db_unpin(miTag tag) {
  std::unique_lock lock(host::database_mutex);
  host::Element* element = host::find(tag);
  if (element == nullptr || element->pins == 0) {
    lock.unlock();
    host::log_message(host::Level::error,
                      "mi_db_unpin: database element " + std::to_string(tag) + " is not pinned\n");
    return;
  }
  --element->pins;
}

extern "C" int mi_db_type(miTag tag) {
  std::lock_guard lock(host::database_mutex);
  host::Element* element = host::find(tag);
  return element ? element->type : miSCENE_NONE;
}

extern "C" int mi_db_size(miTag tag) {
  std::lock_guard lock(host::database_mutex);
  host::Element* element = host::find(tag);
  return element ? element->size : 0;
}
