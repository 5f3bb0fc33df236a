// Linear blend skinning through a skin layout: per point, its bones' skin matrices are summed by
// weight once and the rest point and normal go through the sum once. A plain loop, and the same
// loop with AVX2 and FMA instructions, chosen at run time.
#include <immintrin.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "agent/skin_layout.h"

namespace hordera {
namespace {

// ---------------------------------------------------------------------------------------------
// Plain loop
// ---------------------------------------------------------------------------------------------

// The 3x4 part of a skin matrix that moves points and normals: the three axis rows and the
// translation row, three columns each (elements 0-2, 4-6, 8-10, 12-14).
struct Blend {
  float m[12];
};

inline void blend_first(Blend& b, const float* __restrict m, float w) {
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 3; ++c) b.m[r * 3 + c] = w * m[r * 4 + c];
}

inline void blend_add(Blend& b, const float* __restrict m, float w) {
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 3; ++c) b.m[r * 3 + c] += w * m[r * 4 + c];
}

inline void apply_blend(const Blend& b, const Vector& p, const Vector* normal, Vector& out_point,
                        Vector* out_normal) {
  out_point = {p.x * b.m[0] + p.y * b.m[3] + p.z * b.m[6] + b.m[9],
               p.x * b.m[1] + p.y * b.m[4] + p.z * b.m[7] + b.m[10],
               p.x * b.m[2] + p.y * b.m[5] + p.z * b.m[8] + b.m[11]};
  if (out_normal != nullptr) {
    const Vector& n = *normal;
    *out_normal = {n.x * b.m[0] + n.y * b.m[3] + n.z * b.m[6],
                   n.x * b.m[1] + n.y * b.m[4] + n.z * b.m[7],
                   n.x * b.m[2] + n.y * b.m[5] + n.z * b.m[8]};
  }
}

// One partition; `width` is the bones per point, or 0 for the wide partition's own run lengths.
void skin_partition_plain(const SkinPartition& part, int width, const Vector* __restrict points,
                          const Vector* __restrict normals, const float* __restrict matrices,
                          Vector* __restrict out_points, Vector* __restrict out_normals) {
  const size_t count = part.points.size();
  const int32_t* __restrict bones = part.bones.data();
  const float* __restrict weights = part.weights.data();
  for (size_t i = 0; i < count; ++i) {
    const size_t first = width ? i * static_cast<size_t>(width) : size_t(part.offsets[i]);
    const size_t last = width ? first + static_cast<size_t>(width) : size_t(part.offsets[i + 1]);
    Blend b;
    blend_first(b, matrices + static_cast<size_t>(bones[first]) * 16, weights[first]);
    for (size_t j = first + 1; j < last; ++j)
      blend_add(b, matrices + static_cast<size_t>(bones[j]) * 16, weights[j]);
    const int32_t v = part.points[i];
    apply_blend(b, points[v], normals ? &normals[v] : nullptr, out_points[v],
                out_normals ? &out_normals[v] : nullptr);
  }
}

// ---------------------------------------------------------------------------------------------
// AVX2 and FMA
// ---------------------------------------------------------------------------------------------

// A skin matrix is held as two 8-float registers: axis rows 0 and 1, then axis row 2 and the
// translation row. A point is then (x x x x | y y y y) * first + (z z z z | 1 1 1 1) * second,
// with the two halves of the result added; a normal the same with 0 in place of the 1.

__attribute__((target("avx2,fma"))) inline __m256 pair(const float* low, const float* high) {
  return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_broadcast_ss(low)), _mm_broadcast_ss(high),
                              1);
}

__attribute__((target("avx2,fma"))) inline void store3(Vector& out, __m256 sum) {
  const __m128 v = _mm_add_ps(_mm256_castps256_ps128(sum), _mm256_extractf128_ps(sum, 1));
  _mm_storel_pi(reinterpret_cast<__m64*>(&out.x), v);
  _mm_store_ss(&out.z, _mm_movehl_ps(v, v));
}

template <int kWidth, bool kNormals>
__attribute__((target("avx2,fma"))) void skin_partition_avx2(const SkinPartition& part,
                                                             const Vector* __restrict points,
                                                             const Vector* __restrict normals,
                                                             const float* __restrict matrices,
                                                             Vector* __restrict out_points,
                                                             Vector* __restrict out_normals) {
  const size_t count = part.points.size();
  const int32_t* __restrict vertex = part.points.data();
  const int32_t* __restrict bones = part.bones.data();
  const float* __restrict weights = part.weights.data();
  const int32_t* __restrict offsets = kWidth == 0 ? part.offsets.data() : nullptr;
  const __m128 one = _mm_set1_ps(1.0f);
  for (size_t i = 0; i < count; ++i) {
    const size_t first = kWidth ? i * kWidth : size_t(offsets[i]);
    const size_t last = kWidth ? first + kWidth : size_t(offsets[i + 1]);
    const float* m = matrices + static_cast<size_t>(bones[first]) * 16;
    __m256 w = _mm256_broadcast_ss(&weights[first]);
    __m256 rows01 = _mm256_mul_ps(w, _mm256_loadu_ps(m));
    __m256 rows23 = _mm256_mul_ps(w, _mm256_loadu_ps(m + 8));
    for (size_t j = first + 1; j < last; ++j) {
      m = matrices + static_cast<size_t>(bones[j]) * 16;
      w = _mm256_broadcast_ss(&weights[j]);
      rows01 = _mm256_fmadd_ps(w, _mm256_loadu_ps(m), rows01);
      rows23 = _mm256_fmadd_ps(w, _mm256_loadu_ps(m + 8), rows23);
    }
    const int32_t v = vertex[i];
    const Vector& p = points[v];
    const __m256 z1 = _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_broadcast_ss(&p.z)), one, 1);
    store3(out_points[v], _mm256_fmadd_ps(pair(&p.x, &p.y), rows01, _mm256_mul_ps(z1, rows23)));
    if constexpr (kNormals) {
      const Vector& n = normals[v];
      // The translation row meets the zero upper half, so normals move without translation.
      const __m256 z0 =
          _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_broadcast_ss(&n.z)), _mm_setzero_ps(), 1);
      store3(out_normals[v], _mm256_fmadd_ps(pair(&n.x, &n.y), rows01, _mm256_mul_ps(z0, rows23)));
    }
  }
}

template <bool kNormals>
void skin_all_avx2(const SkinLayout& layout, const Vector* points, const Vector* normals,
                   const float* matrices, Vector* out_points, Vector* out_normals) {
  const SkinPartition* p = layout.partitions;
  skin_partition_avx2<1, kNormals>(p[0], points, normals, matrices, out_points, out_normals);
  skin_partition_avx2<2, kNormals>(p[1], points, normals, matrices, out_points, out_normals);
  skin_partition_avx2<3, kNormals>(p[2], points, normals, matrices, out_points, out_normals);
  skin_partition_avx2<4, kNormals>(p[3], points, normals, matrices, out_points, out_normals);
  skin_partition_avx2<0, kNormals>(p[4], points, normals, matrices, out_points, out_normals);
}

// ---------------------------------------------------------------------------------------------
// Choice of path
// ---------------------------------------------------------------------------------------------

bool processor_has_avx2() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
}

bool acceleration_wanted_by_environment() {
  const char* off = std::getenv("HORDERA_NO_SIMD");
  return off == nullptr || off[0] == '\0' || std::strcmp(off, "0") == 0;
}

std::atomic<bool>& acceleration_setting() {
  static std::atomic<bool> enabled{acceleration_wanted_by_environment()};
  return enabled;
}

}  // namespace

bool set_skin_acceleration(bool enabled) {
  return acceleration_setting().exchange(enabled);
}

bool skin_acceleration_active() {
  static const bool available = processor_has_avx2();
  return available && acceleration_setting().load(std::memory_order_relaxed);
}

void skin_points(const SkinLayout& layout, const Vector* points, const Vector* normals,
                 const float* matrices, Vector* out_points, Vector* out_normals) {
  if (normals == nullptr || out_normals == nullptr) normals = out_normals = nullptr;
  for (int32_t v : layout.unmoved) {
    out_points[v] = Vector{0, 0, 0};
    if (out_normals != nullptr) out_normals[v] = Vector{0, 0, 0};
  }
  if (skin_acceleration_active()) {
    if (out_normals != nullptr)
      skin_all_avx2<true>(layout, points, normals, matrices, out_points, out_normals);
    else
      skin_all_avx2<false>(layout, points, normals, matrices, out_points, out_normals);
    return;
  }
  for (int width = 1; width <= 5; ++width)
    skin_partition_plain(layout.partitions[width - 1], width == 5 ? 0 : width, points, normals,
                         matrices, out_points, out_normals);
}

}  // namespace hordera
