// Reading shader descriptions into RenderMan shader calls.
#include "mray/rib_shader.h"

#include <cctype>
#include <cstdlib>
#include <string>

#include "mray/shader_description.h"

namespace mray {
namespace {

// The texts between pairs of double quotes in `word`, in order.
std::vector<std::string> quoted_strings(std::string_view word) {
  std::vector<std::string> strings;
  size_t at = 0;
  while (true) {
    const size_t open = word.find('"', at);
    if (open == std::string_view::npos) break;
    const size_t close = word.find('"', open + 1);
    if (close == std::string_view::npos) break;
    strings.emplace_back(word.substr(open + 1, close - open - 1));
    at = close + 1;
  }
  return strings;
}

// The numbers of a word such as "0.5" or "[1 0.5 0]", read as the C library reads them.
std::vector<float> numbers_of(std::string_view word) {
  std::vector<float> numbers;
  std::string text(word);
  for (char& c : text)
    if (c == '[' || c == ']') c = ' ';
  const char* at = text.c_str();
  while (true) {
    char* end = nullptr;
    const float value = std::strtof(at, &end);
    if (end == at) break;
    numbers.push_back(value);
    at = end;
  }
  return numbers;
}

bool has_type(std::string_view token) {
  return token.find(' ') != std::string_view::npos;
}

std::string typed_token(const std::string& token, const RibShaderCall::Parameter& value) {
  if (has_type(token)) return token;
  if (!value.strings.empty()) return "string " + token;
  if (value.numbers.size() == 1) return "float " + token;
  if (value.numbers.size() == 3) return "color " + token;
  return "float[" + std::to_string(value.numbers.size()) + "] " + token;
}

bool read_shader_name(const std::vector<std::string_view>& words, RibShaderCall* call) {
  if (words.empty()) return false;
  const std::vector<std::string> name = quoted_strings(words[0]);
  if (name.empty() || name[0].empty()) return false;
  call->name = name[0];
  call->parameters.clear();
  return true;
}

}  // namespace

bool parse_rman_description(std::string_view text, RibShaderCall* call) {
  const std::vector<std::string_view> words = split_description(text);
  if (!read_shader_name(words, call)) return false;
  for (size_t i = 1; i + 1 < words.size(); i += 2) {
    const std::vector<std::string> token = quoted_strings(words[i]);
    if (token.empty() || token[0].empty()) continue;
    RibShaderCall::Parameter parameter;
    if (words[i + 1].find('"') != std::string_view::npos)
      parameter.strings = quoted_strings(words[i + 1]);
    else
      parameter.numbers = numbers_of(words[i + 1]);
    if (parameter.strings.empty() && parameter.numbers.empty()) continue;
    parameter.token = typed_token(token[0], parameter);
    call->parameters.push_back(std::move(parameter));
  }
  return true;
}

bool parse_pass_description(std::string_view text, RibShaderCall* call) {
  const std::vector<std::string_view> words = split_description(text);
  if (!read_shader_name(words, call)) return false;
  for (size_t i = 1; i + 2 < words.size(); i += 3) {
    const std::vector<std::string> name = quoted_strings(words[i]);
    if (name.empty() || name[0].empty()) continue;
    const int code = std::atoi(std::string(words[i + 1]).c_str());
    RibShaderCall::Parameter parameter;
    const bool has_strings = words[i + 2].find('"') != std::string_view::npos;
    if (has_strings)
      parameter.strings = quoted_strings(words[i + 2]);
    else
      parameter.numbers = numbers_of(words[i + 2]);
    std::string type;
    if (code == 2 && !has_strings && parameter.numbers.size() >= 3) {
      parameter.numbers.resize(3);
      type = "color ";
    } else if ((code == 7 || code == 8 || code == 9) && !parameter.numbers.empty()) {
      parameter.numbers.resize(1);
      type = "float ";
    } else if ((code == 2 || code == 6 || code == 12 || (code >= 13 && code <= 19)) &&
               has_strings && !parameter.strings.empty()) {
      parameter.strings.resize(1);
      type = "string ";
    } else {
      continue;
    }
    parameter.token = type + name[0];
    call->parameters.push_back(std::move(parameter));
  }
  return true;
}

}  // namespace mray
