// Decimal numbers through fast_float, falling back to strtof for every form it does not share.
#include "base/number_scan.h"

#include <fast_float/fast_float.h>

#include <cstdlib>

namespace hordera {
namespace {

// The white space strtof skips in the "C" locale.
inline bool is_c_space(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

inline bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

}  // namespace

float scan_float(const char* text, const char** end) {
  const char* p = text;
  while (is_c_space(*p)) ++p;
  // The fast path takes [-]digits[.digits][e[+-]digits] and [-].digits...; a leading "0x" is
  // hexadecimal to strtof, so it goes the slow way too.
  const char* q = p + (*p == '-');
  const bool decimal = (is_digit(*q) && !(q[0] == '0' && (q[1] == 'x' || q[1] == 'X'))) ||
                       (*q == '.' && is_digit(q[1]));
  if (decimal) {
    float value = 0;
    // A decimal number cannot run past the first character outside this set.
    const char* limit = q;
    while (is_digit(*limit) || *limit == '.' || *limit == 'e' || *limit == 'E' || *limit == '+' ||
           *limit == '-')
      ++limit;
    const fast_float::from_chars_result result = fast_float::from_chars(p, limit, value);
    if (result.ec == std::errc() && result.ptr != p) {
      *end = result.ptr;
      return value;
    }
  }
  char* stop = nullptr;
  const float value = std::strtof(text, &stop);
  *end = stop;
  return value;
}

}  // namespace hordera
