// Key editing: insertion, the key and tangent setters with their spline constraints, automatic
// tangents, sorting, angle unwrapping and the smoothing filter.
#include <cmath>
#include <cstring>
#include <utility>

#include "motion/curve.h"

namespace {

bool has_tangents(const Curve* curve) {
  return curve && curve->points && curve->points->in_x &&
         hordera::curve_type_is_spline(curve->points->type);
}

// Largest time component a tangent may have on a spline2d interval of length `span` whose other
// end has the tangent time component `m`, so that the interval's time Hermite stays monotonic:
// the larger root k of k^2 + k m + m^2 - 6 span (k + m) + 9 span^2 = 0, which is
// sqrt(3 m span - 3 m^2 / 4) + 3 span - m / 2. The condition is symmetric in the two tangents, so
// the same bound serves an in-tangent (against the previous key's out-tangent) and an out-tangent
// (against the next key's in-tangent). When no real root exists the result is NaN and no bound
// applies.
float monotonic_bound(float m, float span) {
  return std::sqrt(3 * m * span - 3 * m * m / 4) + 3 * span - m / 2;
}

// Applies the tangent constraint of the curve's type to (x, y).
void constrain_tangent(const CurvePoints& k, float bound, float* x, float* y) {
  if (k.type == CURVE_SPLINE1D) {
    // A unit vector along the slope, its time component always positive.
    if (*x == 0 && *y == 0) {
      *x = 1;
      return;
    }
    double angle = std::atan(double(*y) / double(*x));
    *x = static_cast<float>(std::cos(angle));
    *y = static_cast<float>(std::sin(angle));
  } else if (*x >= bound) {
    float target = bound - 0.0001f;
    if (*x != 0) *y *= target / *x;
    *x = target;
  }
}

}  // namespace

namespace hordera {

void curve_auto_tangents(Curve* curve) {
  if (!has_tangents(curve)) return;
  CurvePoints& k = *curve->points;
  int n = k.count;
  // Tangents come from the neighbouring keys: a lone key keeps the tangents it has.
  if (n < 2) return;
  for (int i = 0; i < n; ++i) {
    float x, y;
    if (i == 0) {
      x = k.time[1] - k.time[0], y = k.value[1] - k.value[0];
    } else if (i == n - 1) {
      x = k.time[n - 1] - k.time[n - 2], y = k.value[n - 1] - k.value[n - 2];
    } else {
      x = 0.5f * (k.time[i + 1] - k.time[i - 1]), y = 0.5f * (k.value[i + 1] - k.value[i - 1]);
    }
    k.in_x[i] = k.out_x[i] = x;
    k.in_y[i] = k.out_y[i] = y;
  }
  for (int i = 0; i < n; ++i) {
    curve_set_in_tangent(curve, i, k.in_x[i], k.in_y[i]);
    curve_set_out_tangent(curve, i, k.out_x[i], k.out_y[i]);
  }
}

}  // namespace hordera

extern "C" {

void curve_set_in_tangent(Curve* curve, int index, float x, float y) {
  if (!has_tangents(curve)) return;
  CurvePoints& k = *curve->points;
  if (index <= 0 || index >= k.count) return;
  float bound = monotonic_bound(k.out_x[index - 1], k.time[index] - k.time[index - 1]);
  constrain_tangent(k, bound, &x, &y);
  k.in_x[index] = x;
  k.in_y[index] = y;
}

void curve_set_out_tangent(Curve* curve, int index, float x, float y) {
  if (!has_tangents(curve)) return;
  CurvePoints& k = *curve->points;
  if (index < 0 || index >= k.count - 1) return;
  float bound = monotonic_bound(k.in_x[index + 1], k.time[index + 1] - k.time[index]);
  constrain_tangent(k, bound, &x, &y);
  k.out_x[index] = x;
  k.out_y[index] = y;
}

void curve_set_key_time(Curve* curve, int index, float time) {
  if (!curve || !curve->points) return;
  CurvePoints& k = *curve->points;
  if (index < 0 || index >= k.count) return;
  if (k.type == CURVE_SPLINE2D && k.in_x) {
    // Keep the key far enough from its neighbours for both intervals' tangents to fit.
    if (index > 0) {
      float a = k.out_x[index - 1], b = k.in_x[index];
      float lowest = k.time[index - 1] + (a + b - std::sqrt(a * b)) / 3 + 0.0001f;
      if (time < lowest) time = lowest;
    }
    if (index < k.count - 1) {
      float a = k.out_x[index], b = k.in_x[index + 1];
      float highest = k.time[index + 1] - (a + b - std::sqrt(a * b)) / 3 - 0.0001f;
      if (time > highest) time = highest;
    }
  }
  k.time[index] = time;
}

void curve_set_key_value(Curve* curve, int index, float value) {
  if (!curve || !curve->points) return;
  if (index < 0 || index >= curve->points->count) return;
  curve->points->value[index] = value;
}

int curve_insert_key(Curve* curve, float t) {
  if (!curve || !curve->points) return -1;
  float value = curve_evaluate(curve, t);
  CurvePoints& k = *curve->points;
  int count = k.count;
  int index = 0;
  while (index < count && k.time[index] <= t) {
    if (k.time[index] == t) return index;
    ++index;
  }
  if (!hordera::curve_rebuild_storage(&k, count + 1, k.in_x != nullptr)) return -1;
  float* arrays[] = {k.time, k.value, k.in_x, k.in_y, k.out_x, k.out_y};
  for (float* array : arrays) {
    if (array) std::memmove(array + index + 1, array + index, (count - index) * sizeof(float));
  }
  k.time[index] = t;
  k.value[index] = value;
  if (has_tangents(curve)) {
    int a = index > 0 ? index - 1 : 0;
    int b = index + 1 < k.count ? index + 1 : k.count - 1;
    float x = 0.5f * (k.time[b] - k.time[a]), y = 0.5f * (k.value[b] - k.value[a]);
    k.in_x[index] = k.out_x[index] = x;
    k.in_y[index] = k.out_y[index] = y;
    curve_set_in_tangent(curve, index, x, y);
    curve_set_out_tangent(curve, index, x, y);
  }
  return index;
}

void curve_sort_keys(Curve* curve) {
  if (!curve || !curve->points || !curve->points->time) return;
  CurvePoints& k = *curve->points;
  // Adjacent swaps of time and value only: the tangent arrays keep their order.
  for (bool swapped = true; swapped;) {
    swapped = false;
    for (int i = 0; i + 1 < k.count; ++i) {
      if (k.time[i] > k.time[i + 1]) {
        std::swap(k.time[i], k.time[i + 1]);
        std::swap(k.value[i], k.value[i + 1]);
        swapped = true;
      }
    }
  }
}

void curve_unwrap_angles(Curve* curve) {
  if (!curve || !curve->points || !curve->points->time) return;
  CurvePoints& k = *curve->points;
  for (int i = 1; i < k.count; ++i) {
    float d = k.value[i] - k.value[i - 1];
    if (d > 270)
      k.value[i] -= 360;
    else if (d < -270)
      k.value[i] += 360;
  }
}

float curve_filter_value(Curve* curve, int centre, const float* weights, int width, int cyclic) {
  if (!curve || !curve->points || curve->points->count <= 0 || !weights || width <= 0) return 0;
  const CurvePoints& k = *curve->points;
  int last = k.count - 1;
  int start = centre - width / 2;
  float sum = 0;
  for (int w = 0; w < width; ++w) {
    int j = start + w;
    if (cyclic && last > 0) {
      // The first and last keys of a cyclic curve coincide, so indices wrap by n - 1; a window
      // wider than the curve keeps wrapping.
      while (j > last) j -= last;
      while (j < 0) j += last;
    } else {
      j = j < 0 ? 0 : (j > last ? last : j);
    }
    sum += weights[w] * k.value[j];
  }
  return sum;
}

}  // extern "C"
