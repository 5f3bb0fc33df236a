// The regrouped skin against the per-influence sum, on both the accelerated and the plain path:
// points moved by one to seven bones, influences of one point scattered through the list, out of
// range entries, unmoved points, meshes without normals, and an output of the wrong size.
#include "agent/skin_layout.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "agent/mesh.h"
#include "agent/skinning.h"

namespace {

struct Influences {
  std::vector<int32_t> vertices, bones;
  std::vector<float> weights;
  void add(int32_t v, int32_t b, float w) {
    vertices.push_back(v);
    bones.push_back(b);
    weights.push_back(w);
  }
};

// The skin as the format states it, one influence at a time in double precision: the output point
// is the sum of w * (p * M) with the translation row, the normal the same without it.
void reference_skin(const std::vector<Vector>& points, const std::vector<Vector>& normals,
                    const Influences& in, const std::vector<float>& matrices, int matrix_count,
                    std::vector<double>& out_points, std::vector<double>& out_normals) {
  const size_t n = points.size();
  out_points.assign(n * 3, 0.0);
  out_normals.assign(n * 3, 0.0);
  for (size_t i = 0; i < in.vertices.size(); ++i) {
    const int32_t v = in.vertices[i], b = in.bones[i];
    if (v < 0 || v >= int32_t(n) || b < 0 || b >= matrix_count) continue;
    const float* m = &matrices[size_t(b) * 16];
    const double w = in.weights[i];
    const Vector& p = points[size_t(v)];
    const Vector& q = normals[size_t(v)];
    for (int c = 0; c < 3; ++c) {
      out_points[size_t(v) * 3 + c] +=
          w * (double(p.x) * m[c] + double(p.y) * m[4 + c] + double(p.z) * m[8 + c] + m[12 + c]);
      out_normals[size_t(v) * 3 + c] +=
          w * (double(q.x) * m[c] + double(q.y) * m[4 + c] + double(q.z) * m[8 + c]);
    }
  }
}

void expect_close(const Vector* got, const std::vector<double>& want, const char* what,
                  bool accelerated) {
  for (size_t v = 0; v * 3 < want.size(); ++v) {
    const float g[3] = {got[v].x, got[v].y, got[v].z};
    for (int c = 0; c < 3; ++c) {
      const double expected = want[v * 3 + c];
      ASSERT_NEAR(g[c], expected, 1e-5 * std::max(1.0, std::fabs(expected)))
          << what << " of point " << v << " component " << c
          << (accelerated ? " (accelerated)" : " (plain)");
    }
  }
}

TEST(SkinLayoutTest, MatchesThePerInfluenceSumOnBothPaths) {
  std::mt19937 random(12345);
  std::uniform_real_distribution<float> coordinate(-40.0f, 40.0f), unit(-1.0f, 1.0f),
      weight(0.05f, 1.0f);
  constexpr int kBones = 9;
  std::vector<float> matrices(kBones * 16);
  for (int b = 0; b < kBones; ++b) {
    for (int e = 0; e < 16; ++e) matrices[size_t(b) * 16 + e] = unit(random);
    for (int e = 12; e < 15; ++e) matrices[size_t(b) * 16 + e] = coordinate(random);
    matrices[size_t(b) * 16 + 15] = 1.0f;
  }
  constexpr int kPoints = 61;
  std::vector<Vector> points(kPoints), normals(kPoints);
  for (int v = 0; v < kPoints; ++v) {
    points[size_t(v)] = {coordinate(random), coordinate(random), coordinate(random)};
    normals[size_t(v)] = {unit(random), unit(random), unit(random)};
  }
  // Point v is moved by v % 8 bones (0 to 7), so every partition and the unmoved list are used.
  // The influences of a point are spread through the list in two passes; a few name a vertex or
  // a bone out of range and must be ignored.
  Influences in;
  for (int pass = 0; pass < 2; ++pass)
    for (int v = kPoints - 1; v >= 0; --v)
      for (int k = pass; k < v % 8; k += 2) in.add(v, (v + 3 * k) % kBones, weight(random));
  in.add(kPoints, 0, 1.0f);
  in.add(-1, 0, 1.0f);
  in.add(5, kBones, 1.0f);
  in.add(6, -2, 1.0f);

  std::vector<double> want_points, want_normals;
  reference_skin(points, normals, in, matrices, kBones, want_points, want_normals);

  Mesh* rest = mesh_new();
  Mesh* out = mesh_new();
  ASSERT_TRUE(mesh_allocate(rest, kPoints, 0, 0, MESH_HAS_NORMALS));
  ASSERT_TRUE(mesh_allocate(out, kPoints, 0, 0, MESH_HAS_NORMALS));
  std::copy(points.begin(), points.end(), rest->points);
  std::copy(normals.begin(), normals.end(), rest->normals);
  const bool previous = hordera::set_skin_acceleration(true);
  for (bool accelerated : {true, false}) {
    hordera::set_skin_acceleration(accelerated);
    // Stale output must be overwritten, unmoved points included.
    std::fill(out->points, out->points + kPoints, Vector{7, 7, 7});
    std::fill(out->normals, out->normals + kPoints, Vector{7, 7, 7});
    ASSERT_EQ(skin_mesh(rest, nullptr, int32_t(in.vertices.size()), in.vertices.data(),
                        in.bones.data(), in.weights.data(), matrices.data(), kBones, out),
              1);
    expect_close(out->points, want_points, "point", accelerated);
    expect_close(out->normals, want_normals, "normal", accelerated);

    // Without normals only points are written; the caller's normal array is left alone.
    hordera::SkinLayout layout;
    hordera::build_skin_layout(kPoints, kBones, int32_t(in.vertices.size()), in.vertices.data(),
                               in.bones.data(), in.weights.data(), layout);
    std::vector<Vector> only_points(kPoints, Vector{7, 7, 7});
    hordera::skin_points(layout, points.data(), nullptr, matrices.data(), only_points.data(),
                         out->normals);
    expect_close(only_points.data(), want_points, "point without normals", accelerated);
    EXPECT_EQ(out->normals[0].x, want_normals[0]);  // point 0 is unmoved: its normal stays 0
  }
  hordera::set_skin_acceleration(previous);
  // An output mesh of another point count is refused.
  Mesh* small = mesh_new();
  ASSERT_TRUE(mesh_allocate(small, kPoints - 1, 0, 0, MESH_HAS_NORMALS));
  EXPECT_EQ(skin_mesh(rest, nullptr, int32_t(in.vertices.size()), in.vertices.data(),
                      in.bones.data(), in.weights.data(), matrices.data(), kBones, small),
            0);
  mesh_free(small);
  mesh_free(rest);
  mesh_free(out);
}

}  // namespace
