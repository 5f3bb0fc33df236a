// The words of a scene file: quoted strings (C escapes), numbers, bare words and punctuation,
// each with its line; '#' comments and '$' command lines are dropped by the reader.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace host {

struct Token {
  enum class Kind { string, number, word, symbol, end } kind;
  std::string text;  // a string's characters after escapes; a number, word or symbol as written
  int line;
  bool closed = true;  // false for a string that runs to the end of its line
};

// Splits `text` into tokens, ending with one `end` token. `$` lines are returned as one word
// token holding the whole line.
std::vector<Token> tokenize_scene(std::string_view text);

}  // namespace host
