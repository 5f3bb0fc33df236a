// Splitting a scene file into tokens.
#include "host/scene_tokens.h"

#include <cctype>

namespace host {
namespace {

bool is_word_char(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == ':';
}

bool starts_number(std::string_view text, size_t at) {
  const char c = text[at];
  if (std::isdigit(static_cast<unsigned char>(c))) return true;
  const char next = at + 1 < text.size() ? text[at + 1] : '\0';
  if (c == '.') return std::isdigit(static_cast<unsigned char>(next));
  if (c == '-' || c == '+')
    return std::isdigit(static_cast<unsigned char>(next)) ||
           (next == '.' && at + 2 < text.size() &&
            std::isdigit(static_cast<unsigned char>(text[at + 2])));
  return false;
}

}  // namespace

std::vector<Token> tokenize_scene(std::string_view text) {
  std::vector<Token> tokens;
  int line = 1;
  size_t at = 0;
  bool line_start = true;
  while (at < text.size()) {
    const char c = text[at];
    if (c == '\n') {
      ++line, ++at;
      line_start = true;
      continue;
    }
    if (std::isspace(static_cast<unsigned char>(c))) {
      ++at;
      continue;
    }
    if (c == '#' || (c == '$' && line_start)) {
      const size_t end = text.find('\n', at);
      const size_t stop = end == std::string_view::npos ? text.size() : end;
      if (c == '$')
        tokens.push_back({Token::Kind::word, std::string(text.substr(at, stop - at)), line});
      at = stop;
      continue;
    }
    line_start = false;
    if (c == '"') {
      Token token{Token::Kind::string, {}, line};
      ++at;
      while (at < text.size() && text[at] != '"' && text[at] != '\n') {
        char ch = text[at++];
        if (ch == '\\' && at < text.size() && text[at] != '\n') {
          const char escaped = text[at++];
          switch (escaped) {
            case 'n':
              ch = '\n';
              break;
            case 't':
              ch = '\t';
              break;
            case 'r':
              ch = '\r';
              break;
            default:
              ch = escaped;
              break;
          }
        }
        token.text.push_back(ch);
      }
      if (at < text.size() && text[at] == '"')
        ++at;
      else
        token.closed = false;
      tokens.push_back(std::move(token));
      continue;
    }
    if (starts_number(text, at)) {
      const size_t start = at++;
      while (
          at < text.size() &&
          (std::isalnum(static_cast<unsigned char>(text[at])) || text[at] == '.' ||
           ((text[at] == '-' || text[at] == '+') && (text[at - 1] == 'e' || text[at - 1] == 'E'))))
        ++at;
      tokens.push_back({Token::Kind::number, std::string(text.substr(start, at - start)), line});
      continue;
    }
    if (is_word_char(c)) {
      const size_t start = at;
      while (at < text.size() && is_word_char(text[at])) ++at;
      tokens.push_back({Token::Kind::word, std::string(text.substr(start, at - start)), line});
      continue;
    }
    tokens.push_back({Token::Kind::symbol, std::string(1, c), line});
    ++at;
  }
  tokens.push_back({Token::Kind::end, {}, line});
  return tokens;
}

}  // namespace host
