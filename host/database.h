// The scene database: elements by tag, each with its kind, its data and a pin count.
#pragma once

#include <functional>
#include <string_view>

#include "mray/mi_interface.h"

namespace host {

// Adds an element of kind `type` (a miSCENE_* code) holding `data` of `size` bytes; `destroy`
// is called with the data when the element goes. Returns its tag (never 0).
miTag db_create(int type, void* data, int size, std::function<void(void*)> destroy);
// Adds a string element (miSCENE_STRING) holding a NUL-terminated copy of `text`.
miTag db_create_string(std::string_view text);
// The element's data without pinning it; null for an unknown tag.
void* db_data(miTag tag);
// How often the element is pinned now; -1 for an unknown tag.
int db_pins(miTag tag);
// Number of elements.
int db_count();
// Removes every element.
void db_clear();
// A number that changes whenever db_clear removes the elements (so a tag may name another
// element afterwards), for callers that remember what they learnt about a tag.
unsigned db_generation();

}  // namespace host
