// Splitting a line of text into its words: the runs of characters between white space.
#pragma once

#include <cctype>
#include <string_view>
#include <vector>

namespace hordera {

// The words of `text`, in order, as views into it.
inline std::vector<std::string_view> split_words(std::string_view text) {
  std::vector<std::string_view> words;
  size_t at = 0;
  while (at < text.size()) {
    while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at]))) ++at;
    const size_t start = at;
    while (at < text.size() && !std::isspace(static_cast<unsigned char>(text[at]))) ++at;
    if (at > start) words.push_back(text.substr(start, at - start));
  }
  return words;
}

}  // namespace hordera
