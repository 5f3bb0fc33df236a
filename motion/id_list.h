// Appending to the engine's doubly linked lists of records that carry an id unique in their list
// (actions, curves): the new record goes at the tail with an id one past the largest present.
#pragma once

#include <algorithm>
#include <cstdint>

namespace hordera {

// Appends `item` at the tail of `*list` and gives it the id one past the largest in the list.
template <typename Record>
void append_with_next_id(Record** list, Record* item) {
  int32_t largest = 0;
  Record* tail = nullptr;
  for (Record* record = *list; record; record = record->next) {
    largest = std::max(largest, record->id);
    tail = record;
  }
  item->id = largest + 1;
  item->prev = tail;
  if (tail)
    tail->next = item;
  else
    *list = item;
}

}  // namespace hordera
