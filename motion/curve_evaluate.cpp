// Curve evaluation at a phase, with the cyclic wrap span between the last and the first key, and
// the value and time ranges that editors and the smoother read.
#include <algorithm>
#include <cmath>

#include "base/vecmath.h"
#include "motion/curve.h"

namespace {

float hermite(float s, float p0, float p1, float m0, float m1) {
  float s2 = s * s;
  float s3 = s2 * s;
  return (2 * s3 - 3 * s2 + 1) * p0 + (-2 * s3 + 3 * s2) * p1 + (s3 - 2 * s2 + s) * m0 +
         (s3 - s2) * m1;
}

// Slope of a tangent; a tangent without a time component counts as flat.
float slope(float x, float y) {
  return x != 0 ? y / x : 0.0f;
}

// Solves the time Hermite of the spline2d interval `i` for its parameter at time `t` by bisection
// (at most 16 steps, tolerance 0.0001), then evaluates the value Hermite there.
float evaluate_spline2d(const CurvePoints& k, int i, float t, float s) {
  float x0 = k.time[i], x1 = k.time[i + 1];
  float mx0 = k.out_x[i], mx1 = k.in_x[i + 1];
  float a = 2 * x0 - 2 * x1 + mx0 + mx1;
  float b = -3 * x0 + 3 * x1 - 2 * mx0 - mx1;
  float p = s, lo = 0, hi = 1;
  for (int iteration = 0; iteration < 16; ++iteration) {
    float e = ((a * p + b) * p + mx0) * p + x0 - t;
    if (e > 0.0001f) {
      hi = p;
      p = p - (p - lo) / 2;
    } else if (e < -0.0001f) {
      lo = p;
      p = p + (hi - p) / 2;
    } else {
      break;
    }
  }
  return hermite(p, k.value[i], k.value[i + 1], k.out_y[i], k.in_y[i + 1]);
}

}  // namespace

extern "C" {

float curve_evaluate(Curve* curve, float t) {
  if (!curve || !curve->points || curve->points->count <= 0 || !curve->points->time) return 0;
  const CurvePoints& k = *curve->points;
  int n = k.count;
  int type = k.type;
  // A spline type without tangent storage (written into the record directly) plays as linear.
  bool tangents = k.in_x != nullptr;
  if (hordera::curve_type_is_spline(type) && !tangents) type = CURVE_LINEAR;
  if (n == 1) return k.value[0];
  float t0 = k.time[0], tl = k.time[n - 1];

  if (t < t0 || t > tl) {
    float gap = 1 - tl + t0;
    if (std::fabs(gap) < 1e-6f) return k.value[0];
    float u = t < t0 ? (1 - tl + t) / gap : (t - tl) / gap;
    switch (type) {
      case CURVE_LINEAR:
        return k.value[n - 1] + u * (k.value[0] - k.value[n - 1]);
      case CURVE_COSINE:
        return hordera::cosine_ease(k.value[n - 1] + u * (k.value[0] - k.value[n - 1]));
      case CURVE_CONSTANT:
      case CURVE_SPLINE1D:
      case CURVE_SPLINE2D:
        return t < t0 ? k.value[0] : k.value[n - 1];
      default:
        return 0;
    }
  }

  if (tl == t0) return k.value[n - 1];
  // Guess the interval from the phase, then walk to the keys that bracket `t`.
  double guess = std::floor(double(n - 1) * (double(t) - t0) / (double(tl) - t0));
  if (!(guess >= 0)) guess = 0;  // a phase that is not a number
  if (guess > n - 2) return k.value[n - 1];
  int i = static_cast<int>(guess);
  while (i > 0 && k.time[i] > t) --i;
  while (i < n - 2 && t > k.time[i + 1]) ++i;

  float ta = k.time[i], va = k.value[i];
  float tb = k.time[i + 1], vb = k.value[i + 1];
  float dt = tb - ta;
  if (std::fabs(dt) < 1e-6f || type == CURVE_CONSTANT) return va;
  float s = (t - ta) / dt;
  switch (type) {
    case CURVE_LINEAR:
      return va + s * (vb - va);
    case CURVE_COSINE:
      return hordera::cosine_ease(va + s * (vb - va));
    case CURVE_SPLINE1D:
      return hermite(s, va, vb, slope(k.out_x[i], k.out_y[i]) * dt,
                     slope(k.in_x[i + 1], k.in_y[i + 1]) * dt);
    case CURVE_SPLINE2D:
      return evaluate_spline2d(k, i, t, s);
    default:
      return 0;
  }
}

void curve_value_range(Curve* curve, float* lo, float* hi) {
  float low = 0, high = 0;
  if (curve && curve->points && curve->points->count > 0 && curve->points->time) {
    const CurvePoints& k = *curve->points;
    int n = k.count;
    low = high = k.value[0];
    if (k.type >= CURVE_CONSTANT && k.type <= CURVE_SPLINE2D) {
      float step = (k.time[n - 1] - k.time[0]) / 50;
      for (int sample = 0; sample < 50; ++sample) {
        float v = curve_evaluate(curve, k.time[0] + sample * step);
        low = std::min(low, v);
        high = std::max(high, v);
      }
    }
    for (int i = 0; i < n; ++i) {
      low = std::min(low, k.value[i]);
      high = std::max(high, k.value[i]);
    }
  }
  if (lo) *lo = low;
  if (hi) *hi = high;
}

void curve_time_range(Curve* curve, float* lo, float* hi) {
  float low = 0, high = 0;
  if (curve && curve->points && curve->points->count > 0 && curve->points->time) {
    const CurvePoints& k = *curve->points;
    low = high = k.time[0];
    for (int i = 1; i < k.count; ++i) {
      low = std::min(low, k.time[i]);
      high = std::max(high, k.time[i]);
    }
  }
  if (lo) *lo = low;
  if (hi) *hi = high;
}

}  // extern "C"
