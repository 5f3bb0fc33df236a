// Taking a procedural's parameter string apart.
#include "mray/procedural_parameters.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "mray/parameter_string.h"

namespace mray {
namespace {

// An engine-owned, NUL-terminated copy of `word`; null when no memory is to be had.
char* copy_word(std::string_view word) {
  char* copy = static_cast<char*>(std::malloc(word.size() + 1));
  if (copy != nullptr) {
    std::memcpy(copy, word.data(), word.size());
    copy[word.size()] = '\0';
  }
  return copy;
}

}  // namespace

ProceduralRecord* parse_procedural_parameters(const char* text, RibOptions* options,
                                              bool* motion_blur) {
  // A private copy: the conversions below read NUL-terminated words.
  const std::string copy(text != nullptr ? text : "");
  const std::string_view all(copy);
  const size_t words = count_parameter_words(all);
  if (words < 3) {
    std::fputs("not enough parameters\n", stderr);
    return nullptr;
  }

  auto* record = static_cast<ProceduralRecord*>(std::calloc(1, sizeof(ProceduralRecord)));
  if (record == nullptr) return nullptr;
  record->id = -1;
  record->frame = 1;
  const size_t pair_count = (words - 3) / 2;
  // A count beyond what the record's 32-bit field holds is memory not to be had.
  if (pair_count != 0 && pair_count <= static_cast<size_t>(INT32_MAX)) {
    record->pairs = static_cast<MrayPair*>(std::calloc(pair_count, sizeof(MrayPair)));
    // Without an array there is nothing to fill, so the record claims no pairs.
    if (record->pairs != nullptr) record->pair_count = static_cast<int32_t>(pair_count);
  }

  bool frame_read = false;
  int pair = 0;
  std::string word_text;
  for (size_t at = 0; at < all.size();) {
    const std::string_view word = next_parameter_word(all, &at);
    if (word.substr(0, 7) == "options") {
      if (read_rib_options(all.substr(at), options, motion_blur)) break;
      continue;
    }
    word_text.assign(word);
    if (record->id == -1) {
      record->id = std::atoi(word_text.c_str());
    } else if (record->cdl_file == nullptr) {
      record->cdl_file = copy_word(word);
    } else if (record->motion_file == nullptr && record->apf_file == nullptr) {
      char* name = copy_word(word);
      if (name != nullptr && is_apf_file_name(name))
        record->apf_file = name;
      else
        record->motion_file = name;
    } else if (!frame_read) {
      record->frame = std::atoi(word_text.c_str());
      frame_read = true;
    } else if (pair < record->pair_count) {
      // A last name without a value has no record of its own and is dropped.
      if (fill_pair(&record->pairs[pair], word, copy_word)) ++pair;
    }
  }
  record->flags |= PROCEDURAL_PARSED;
  return record;
}

void free_procedural_record(ProceduralRecord* record) {
  if (record == nullptr) return;
  std::free(record->cdl_file);
  std::free(record->motion_file);
  std::free(record->apf_file);
  if (record->pairs != nullptr) {
    for (int i = 0; i < record->pair_count; ++i) std::free(record->pairs[i].string);
    std::free(record->pairs);
  }
  std::free(record);
}

}  // namespace mray
