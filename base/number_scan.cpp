// Decimal numbers through fast_float, falling back to strtof for every form it does not share.
#include "base/number_scan.h"

#include <fast_float/fast_float.h>

#include <cstdint>
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

// Whether strtof could read a number starting with `c`: a sign, a digit, a point, or the first
// letter of "inf", "infinity" or "nan".
inline bool may_start_number(char c) {
  return is_digit(c) || c == '-' || c == '+' || c == '.' || c == 'i' || c == 'I' || c == 'n' ||
         c == 'N';
}

// Short plain decimals, [-]digits[.digits] with at most seven digits and no exponent, the bulk
// of what pose caches hold: the digits form an integer below 2^24 and the point divides it by a
// power of ten up to 10^7, both exact in single precision, so one division rounds the decimal
// correctly (as strtof does). Returns false, leaving *end alone, for anything else.
inline bool scan_short_decimal(const char* p, float* value, const char** end) {
  static constexpr float kPowers[8] = {1e0f, 1e1f, 1e2f, 1e3f, 1e4f, 1e5f, 1e6f, 1e7f};
  const bool negative = *p == '-';
  const char* c = p + negative;
  uint32_t mantissa = 0;
  int digits = 0, fraction = 0;
  for (; is_digit(*c) && digits <= 7; ++c, ++digits) mantissa = mantissa * 10 + uint32_t(*c - '0');
  if (*c == '.') {
    ++c;
    for (; is_digit(*c) && digits <= 7; ++c, ++digits, ++fraction)
      mantissa = mantissa * 10 + uint32_t(*c - '0');
  }
  // Too long, no digits at all, or more to come (digits, an exponent, a second point).
  if (digits == 0 || digits > 7 || is_digit(*c) || *c == 'e' || *c == 'E' || *c == '.')
    return false;
  const float magnitude = float(mantissa) / kPowers[fraction];
  *value = negative ? -magnitude : magnitude;
  *end = c;
  return true;
}

}  // namespace

float scan_float(const char* text, const char* text_end, const char** end) {
  const char* p = text;
  while (is_c_space(*p)) ++p;
  if (!may_start_number(*p)) {
    *end = text;
    return 0;
  }
  // The fast path takes [-]digits[.digits][e[+-]digits] and [-].digits...; a leading "0x" is
  // hexadecimal to strtof, so it goes the slow way too.
  const char* q = p + (*p == '-');
  const bool decimal = (is_digit(*q) && !(q[0] == '0' && (q[1] == 'x' || q[1] == 'X'))) ||
                       (*q == '.' && is_digit(q[1]));
  if (decimal && p < text_end) {
    float value = 0;
    if (scan_short_decimal(p, &value, end)) return value;
    const fast_float::from_chars_result result = fast_float::from_chars(p, text_end, value);
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
