// Expansion of environment variables in paths.
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string>

#include "sim/scene_setup.h"

namespace {

bool is_name_char(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
}

}  // namespace

// "$NAME" and "${NAME}" are replaced by the variable's value (empty when it is unset); a "$" not
// followed by a name, or a "${" without its closing brace, is kept as written.
extern "C" char* convert_env_variables(const char* path) {
  if (!path) return nullptr;
  std::string result;
  const char* p = path;
  while (*p) {
    if (*p != '$') {
      result += *p++;
      continue;
    }
    std::string name;
    const char* after = nullptr;
    if (p[1] == '{') {
      const char* close = std::strchr(p + 2, '}');
      if (close) {
        name.assign(p + 2, close);
        after = close + 1;
      }
    } else {
      const char* end = p + 1;
      while (*end && is_name_char(*end)) ++end;
      if (end > p + 1) {
        name.assign(p + 1, end);
        after = end;
      }
    }
    if (!after || name.empty()) {
      result += *p++;
      continue;
    }
    if (const char* value = std::getenv(name.c_str())) result += value;
    p = after;
  }
  char* copy = static_cast<char*>(std::malloc(result.size() + 1));
  if (copy) std::memcpy(copy, result.c_str(), result.size() + 1);
  return copy;
}
