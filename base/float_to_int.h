// Whole numbers from floating-point values without undefined behaviour: C++ leaves a conversion
// of a value outside int's range undefined. The renderers agent files were written for ran on
// x86, where the truncating conversion gives INT_MIN ("integer indefinite") for NaN and for
// every value out of range, so that is the answer here too.
#pragma once

#include <climits>
#include <cmath>

namespace hordera {

// `value` truncated toward zero, or INT_MIN when it is NaN or outside int's range.
inline int truncate_to_int(double value) {
  if (!(value > -2147483649.0 && value < 2147483648.0)) return INT_MIN;
  return static_cast<int>(value);
}

}  // namespace hordera
