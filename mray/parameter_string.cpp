// Taking the geometry shader's parameter string apart into a render-arguments record.
#include "mray/parameter_string.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>

#include "mray/renderer_memory.h"

namespace mray {
namespace {

bool is_blank(char c) {
  return std::isspace(static_cast<unsigned char>(c)) != 0;
}

// A renderer-owned, NUL-terminated copy of `word`; null when no memory is to be had.
char* copy_word(std::string_view word) {
  char* copy = static_cast<char*>(MRAY_ALLOCATE(word.size() + 1));
  if (copy != nullptr) std::memcpy(copy, word.data(), word.size());
  return copy;
}

// A word read as a number starts with a digit, a sign or a decimal point.
bool looks_numeric(std::string_view word) {
  const char c = word.empty() ? '\0' : word.front();
  return std::isdigit(static_cast<unsigned char>(c)) || c == '-' || c == '.' || c == '+';
}

}  // namespace

std::string_view next_parameter_word(std::string_view text, size_t* at) {
  const size_t start = *at;
  size_t end = start;
  while (end < text.size() && !is_blank(text[end])) ++end;
  size_t next = end;
  while (next < text.size() && is_blank(text[next])) ++next;
  *at = next;
  return text.substr(start, end - start);
}

size_t count_parameter_words(std::string_view text) {
  size_t count = 0;
  for (size_t at = 0; at < text.size(); ++count) next_parameter_word(text, &at);
  return count;
}

bool fill_pair(MrayPair* pair, std::string_view word, char* (*copy)(std::string_view)) {
  if (pair->name[0] == '\0') {
    // Names longer than the buffer are cut to fit it.
    const size_t length = std::min<size_t>(word.size(), MRAY_PAIR_NAME_MAX);
    std::memcpy(pair->name, word.data(), length);
    pair->name[length] = '\0';
    return false;
  }
  if (looks_numeric(word)) {
    // The word lies in a NUL-terminated string and ends at white space or at its end, where
    // the conversion stops, so it reads the word alone.
    pair->number = static_cast<float>(std::atof(word.data()));
    pair->kind = MRAY_PAIR_NUMBER;
  } else {
    pair->string = copy(word);
    pair->kind = MRAY_PAIR_STRING;
  }
  return true;
}

void init_render_args(MrayRenderArgs* args) {
  std::memset(args, 0, sizeof *args);
  args->id = -1;
  args->frame = 1;
}

bool is_apf_file_name(const char* word) {
  const char* apf = std::strstr(word, ".apf");
  return apf != nullptr && (std::strcmp(apf, ".apf") == 0 || std::strcmp(apf, ".apf.gz") == 0);
}

void parse_parameter_string(MrayRenderArgs* args, const char* text) {
  // The walk allocates nothing but renderer memory, so nothing can throw out of asm_exec.
  const std::string_view all(text);
  const size_t words = count_parameter_words(all);
  if (words < 2) {
    std::fputs("not enough parameters\n", stderr);
    return;
  }
  const long long pair_count = (static_cast<long long>(words) - 3) / 2;
  if (pair_count != 0) {
    // The renderer's allocator takes a 32-bit size; an array beyond that is memory not to be had.
    const unsigned long long bytes = sizeof(MrayPair) * static_cast<unsigned long long>(pair_count);
    if (bytes <= std::numeric_limits<miUint>::max())
      args->pairs = static_cast<MrayPair*>(MRAY_TEST_ALLOCATE(bytes));
    // Without an array there is nothing to fill, so the record claims no pairs.
    args->pair_count = args->pairs != nullptr ? static_cast<int32_t>(pair_count) : 0;
  }

  bool frame_read = false;
  int pair = 0;
  for (size_t at = 0; at < all.size();) {
    const std::string_view word = next_parameter_word(all, &at);
    if (args->cdl_file == nullptr) {
      args->cdl_file = copy_word(word);
    } else if (args->motion_file == nullptr && args->apf_file == nullptr) {
      char* copy = copy_word(word);
      if (copy != nullptr && is_apf_file_name(copy))
        args->apf_file = copy;
      else
        args->motion_file = copy;
    } else if (!frame_read) {
      // The conversion stops at the white space that ends the word, so it reads the word alone.
      args->frame = std::atoi(word.data());
      frame_read = true;
    } else if (pair < args->pair_count) {
      // A last name without a value has no record of its own and is dropped.
      if (fill_pair(&args->pairs[pair], word, copy_word)) ++pair;
    }
  }
}

void free_render_args(MrayRenderArgs* args) {
  MI_CALL(mi_debug, "-->mray_args_free()\n");
  if (args == nullptr) return;
  if (args->cdl_file) MRAY_RELEASE(args->cdl_file);
  if (args->motion_file) MRAY_RELEASE(args->motion_file);
  if (args->apf_file) MRAY_RELEASE(args->apf_file);
  if (args->pairs != nullptr) {
    for (int i = 0; i < args->pair_count; ++i)
      if (args->pairs[i].string) MRAY_RELEASE(args->pairs[i].string);
    MRAY_RELEASE(args->pairs);
  }
  MRAY_RELEASE(args);
}

}  // namespace mray
