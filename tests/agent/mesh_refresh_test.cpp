// The single-precision polygon refresh that the skin's output goes through: unit normals by
// Newell's method (reversed by the orientation flag), centres and areas, worked out by hand for a
// quad, a non-planar quad, a triangle, a pentagon with a corner on an edge and a short polygon.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "agent/mesh.h"

namespace {

void expect_vector(const Vector& v, float x, float y, float z, const char* what) {
  EXPECT_NEAR(v.x, x, 1e-6f) << what;
  EXPECT_NEAR(v.y, y, 1e-6f) << what;
  EXPECT_NEAR(v.z, z, 1e-6f) << what;
}

TEST(MeshRefreshForRenderTest, NormalsCentresAndAreasOfEachPolygonKind) {
  const std::vector<Vector> points = {
      {0, 0, 0}, {2, 0, 0}, {2, 1, 0}, {0, 1, 0},              // 0-3: 2x1 rectangle
      {0, 0, 0}, {1, 0, 0}, {1, 1, 1}, {0, 1, 0},              // 4-7: quad lifted at one corner
      {0, 0, 0}, {0, 0, 3}, {0, 4, 0},                         // 8-10: right triangle
      {0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0}};  // 11-15: square, corner on edge
  const std::vector<std::vector<int32_t>> polygons = {
      {0, 1, 2, 3}, {4, 5, 6, 7}, {8, 9, 10}, {11, 12, 13, 14, 15}, {0, 1}};
  Mesh* mesh = mesh_new();
  int32_t corners = 0;
  for (const auto& polygon : polygons) corners += int32_t(polygon.size());
  ASSERT_TRUE(mesh_allocate(mesh, int32_t(points.size()), int32_t(polygons.size()), corners, 0));
  std::copy(points.begin(), points.end(), mesh->points);
  int32_t next = 0;
  for (size_t i = 0; i < polygons.size(); ++i) {
    mesh->polygons[i].first_corner = next;
    mesh->polygons[i].corner_count = int32_t(polygons[i].size());
    for (int32_t corner : polygons[i]) mesh->corners[next++] = corner;
  }

  testing::internal::CaptureStderr();
  EXPECT_EQ(hordera::refresh_polygons_for_render(mesh, 0), 1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "poly 4 has only 2 points!\n");
  const MeshPolygon* p = mesh->polygons;
  expect_vector(p[0].normal, 0, 0, 1, "rectangle normal");
  expect_vector(p[0].centre, 1, 0.5f, 0, "rectangle centre");
  EXPECT_NEAR(p[0].area, 2.0f, 1e-6f);
  // Diagonals (1,1,1) and (-1,1,0): twice the area vector is (-1,-1,2).
  const float root6 = std::sqrt(6.0f);
  expect_vector(p[1].normal, -1 / root6, -1 / root6, 2 / root6, "lifted quad normal");
  expect_vector(p[1].centre, 0.5f, 0.5f, 0.25f, "lifted quad centre");
  EXPECT_NEAR(p[1].area, root6 / 2, 1e-6f);
  // (0,0,3) x (0,4,0) = (-12, 0, 0).
  expect_vector(p[2].normal, -1, 0, 0, "triangle normal");
  expect_vector(p[2].centre, 0, 4.0f / 3, 1, "triangle centre");
  EXPECT_NEAR(p[2].area, 6.0f, 1e-6f);
  expect_vector(p[3].normal, 0, 0, 1, "pentagon normal");
  expect_vector(p[3].centre, 1, 0.8f, 0, "pentagon centre");
  EXPECT_NEAR(p[3].area, 4.0f, 1e-6f);
  expect_vector(p[4].normal, 0, 0, 0, "short polygon normal");
  EXPECT_EQ(p[4].area, 0.0f);

  // The orientation flag reverses normals only, and is recorded.
  testing::internal::CaptureStderr();
  hordera::refresh_polygons_for_render(mesh, 1);
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(mesh->orientation, 1);
  expect_vector(p[0].normal, 0, 0, -1, "flipped rectangle normal");
  expect_vector(p[2].normal, 1, 0, 0, "flipped triangle normal");
  EXPECT_NEAR(p[2].area, 6.0f, 1e-6f);
  mesh_free(mesh);
}

}  // namespace
