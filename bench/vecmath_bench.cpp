// Costs of the hot maths: the affine matrix product used by every segment transform, point
// transformation used by skinning, and three-dimensional noise used by brain noise nodes.
#include <benchmark/benchmark.h>

#include "base/vecmath.h"

namespace {

void BM_MatrixMul(benchmark::State& state) {
  float m[16], b[16];
  hordera::matrix_identity(m);
  hordera::matrix_identity(b);
  z_rotate(b, 0.001f);
  const Vector shift = {0.01f, 0.0f, 0.0f};
  matrix_translate(b, &shift);
  for (auto _ : state) {
    matrix_mul(m, b);
    benchmark::DoNotOptimize(m);
  }
}
BENCHMARK(BM_MatrixMul);

void BM_TransformPoint(benchmark::State& state) {
  float m[16];
  hordera::matrix_identity(m);
  x_rotate(m, 0.3f);
  y_rotate(m, 0.7f);
  const Vector t = {1.0f, 2.0f, 3.0f};
  matrix_translate(m, &t);
  Vector p = {0.5f, -0.25f, 2.0f};
  for (auto _ : state) {
    p = transformPoint(&p, m);
    benchmark::DoNotOptimize(p);
    p.x *= 0.5f;  // keeps the values bounded across iterations
  }
}
BENCHMARK(BM_TransformPoint);

void BM_Noise3(benchmark::State& state) {
  float x = 0.1f;
  for (auto _ : state) {
    benchmark::DoNotOptimize(noise3(x, x * 0.7f + 3.1f, 5.3f - x));
    x += 0.013f;
    if (x > 200.0f) x = 0.1f;
  }
}
BENCHMARK(BM_Noise3);

}  // namespace
