// Taking shader descriptions apart and filling in an agent's values.
#include "mray/shader_description.h"

#include <cctype>
#include <charconv>
#include <cstdio>
#include <cstdlib>

#include "sim/expression.h"

namespace mray {
namespace {

bool is_blank(char c) {
  return std::isspace(static_cast<unsigned char>(c)) != 0;
}

// The value written as the shortest text that reads back as the same float.
std::string number_text(double value) {
  char buffer[64];
  const auto [end, code] = std::to_chars(buffer, buffer + sizeof buffer, static_cast<float>(value));
  if (code != std::errc()) return "0";
  return std::string(buffer, end);
}

}  // namespace

std::vector<std::string_view> split_description(std::string_view text) {
  std::vector<std::string_view> words;
  size_t at = 0;
  while (at < text.size()) {
    while (at < text.size() && is_blank(text[at])) ++at;
    if (at >= text.size()) break;
    const size_t start = at;
    while (at < text.size() && !is_blank(text[at])) {
      const char open = text[at];
      if (open == '[' || open == '"') {
        const char close = open == '[' ? ']' : '"';
        const size_t end = text.find(close, at + 1);
        at = end == std::string_view::npos ? text.size() : end + 1;
      } else {
        ++at;
      }
    }
    words.push_back(text.substr(start, at - start));
  }
  return words;
}

std::string expand_description(std::string_view description, Agent* agent, std::string* error) {
  std::string expanded;
  expanded.reserve(description.size());
  size_t at = 0;
  while (at < description.size()) {
    const size_t open = description.find('\'', at);
    const size_t close = open == std::string_view::npos ? open : description.find('\'', open + 1);
    if (close == std::string_view::npos) {
      expanded.append(description.substr(at));
      break;
    }
    expanded.append(description.substr(at, open - at));
    const std::string expression(description.substr(open + 1, close - open - 1));
    double value = 0;
    const char* failure = nullptr;
    if (!expression_evaluate(expression.c_str(), agent, 0, nullptr, nullptr, &value, nullptr,
                             &failure)) {
      value = 0;
      if (error != nullptr && error->empty())
        *error = "'" + expression + "': " + (failure ? failure : "cannot be evaluated");
    }
    expanded.append(number_text(value));
    at = close + 1;
  }
  return expanded;
}

std::string quoted_text(std::string_view word) {
  if (word.empty()) return {};
  const std::string_view rest = word.substr(1);
  return std::string(rest.substr(0, rest.find('"')));
}

std::vector<std::string> quoted_items(std::string_view value) {
  std::vector<std::string> items;
  size_t at = 0;
  while (true) {
    const size_t open = value.find('"', at);
    if (open == std::string_view::npos) break;
    const size_t close = value.find('"', open + 1);
    if (close == std::string_view::npos) break;
    items.emplace_back(value.substr(open + 1, close - open - 1));
    at = close + 1;
  }
  return items;
}

std::vector<float> number_items(std::string_view value) {
  std::vector<float> numbers;
  if (!value.empty() && value.front() == '[') value.remove_prefix(1);
  size_t at = 0;
  while (at < value.size()) {
    while (at < value.size() && is_blank(value[at])) ++at;
    if (at >= value.size()) break;
    size_t end = at;
    while (end < value.size() && !is_blank(value[end])) ++end;
    const std::string item(value.substr(at, end - at));
    at = end;
    if (item == "]") break;  // the closing bracket written apart from the last number
    float number = 0;
    if (std::sscanf(item.c_str(), "%f", &number) != 1) number = 0;
    numbers.push_back(number);
    if (item.find(']') != std::string::npos) break;
  }
  return numbers;
}

std::string flatten_file_name(std::string_view file) {
  std::string flat(file);
  for (char& c : flat)
    if (c == '/' || c == '.') c = '_';
  return flat;
}

bool is_image_file_name(std::string_view file) {
  static constexpr std::string_view kExtensions[] = {
      ".tex",   ".tx",  ".tdl", ".tiff", ".tif",     ".exr", ".gif", ".sgi", ".rla", ".rlb", ".pic",
      ".alias", ".rgb", ".jpg", ".iff",  ".picture", ".hdr", ".ppm", ".tga", ".lwi", ".bmp", ".qnt",
      ".ct",    ".st",  ".vt",  ".wt",   ".zt",      ".nt",  ".mt",  ".tt",  ".bit", ".map"};
  const size_t slash = file.find_last_of('/');
  const size_t dot = file.find_last_of('.');
  if (dot == std::string_view::npos || (slash != std::string_view::npos && dot < slash))
    return false;
  std::string extension(file.substr(dot));
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  for (std::string_view known : kExtensions)
    if (extension == known) return true;
  return false;
}

}  // namespace mray
