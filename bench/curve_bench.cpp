// Cost of evaluating one action curve, the innermost step of action playback: a 16-key curve of
// each interpolating type, at phases spread over the whole cycle and at phases in the wrap span
// between the last key and the first key of the next cycle.
#include <benchmark/benchmark.h>

#include <cmath>

#include "motion/curve.h"

namespace {

constexpr int kKeys = 16;
constexpr int kPhases = 256;  // a power of two, so the phase index wraps with a mask

// A 16-key curve of `type`: keys unevenly spaced from about 0.02 to 0.92 of the cycle (so the
// wrap span is about a tenth of it), values of a walk-like swing; spline types get the automatic
// tangents that changing the type computes.
Curve* make_curve(int type) {
  Curve* curve = newCurve(nullptr);
  curve_allocate_points(curve, kKeys);
  for (int i = 0; i < kKeys; ++i) {
    curve_set_key_time(curve, i, 0.02f + 0.06f * i + 0.004f * std::sin(3.0f * i));
    curve_set_key_value(curve, i, 30.0f * std::sin(0.7f * i) + 5.0f * i);
  }
  curve_set_type(curve, type);
  return curve;
}

// Phases in [lo, lo + width), wrapped into [0, 1), visited in a scrambled order (golden-ratio
// steps) so that the interval guess cannot ride on the previous call's answer.
void fill_phases(float* phases, float lo, float width) {
  double x = 0;
  for (int i = 0; i < kPhases; ++i) {
    x += 0.6180339887498949;
    x -= std::floor(x);
    float t = lo + width * static_cast<float>(x);
    phases[i] = t >= 1 ? t - 1 : t;
  }
}

void run(benchmark::State& state, int type, float lo, float width) {
  Curve* curve = make_curve(type);
  if (curve->points == nullptr || curve->points->count != kKeys || curve->points->type != type) {
    state.SkipWithError("curve was not built as asked");
    curve_free(curve);
    return;
  }
  float phases[kPhases];
  fill_phases(phases, lo, width);
  unsigned i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(curve_evaluate(curve, phases[i++ & (kPhases - 1)]));
  }
  state.SetItemsProcessed(state.iterations());
  curve_free(curve);
}

// Phases over the whole cycle; about one in ten falls in the wrap span.
void BM_CurveEvaluate(benchmark::State& state, int type) {
  run(state, type, 0.0f, 1.0f);
}
// Phases only in the wrap span, from the last key (0.92) past 1 to the first key (0.02).
void BM_CurveEvaluateWrap(benchmark::State& state, int type) {
  const float last = 0.02f + 0.06f * (kKeys - 1) + 0.004f * std::sin(3.0f * (kKeys - 1));
  run(state, type, last + 0.001f, 1.0f - last + 0.02f - 0.002f);
}

BENCHMARK_CAPTURE(BM_CurveEvaluate, linear, CURVE_LINEAR);
BENCHMARK_CAPTURE(BM_CurveEvaluate, cosine, CURVE_COSINE);
BENCHMARK_CAPTURE(BM_CurveEvaluate, spline1d, CURVE_SPLINE1D);
BENCHMARK_CAPTURE(BM_CurveEvaluate, spline2d, CURVE_SPLINE2D);
BENCHMARK_CAPTURE(BM_CurveEvaluateWrap, linear, CURVE_LINEAR);
BENCHMARK_CAPTURE(BM_CurveEvaluateWrap, cosine, CURVE_COSINE);
BENCHMARK_CAPTURE(BM_CurveEvaluateWrap, spline1d, CURVE_SPLINE1D);
BENCHMARK_CAPTURE(BM_CurveEvaluateWrap, spline2d, CURVE_SPLINE2D);

}  // namespace
