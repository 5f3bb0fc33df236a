// OBJ meshes and the polygon mesh record: what is read, how faults are reported (hostile files
// included), the per-polygon refresh and transforms, and the single-precision refresh that the
// skin's output goes through.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "agent/mesh.h"
#include "agent/obj_reader.h"
#include "tests/support/engine_fixtures.h"
#include "tests/support/scratch_files.h"

namespace {

using engine_test::expect_vector_near;
using scratch::stderr_of;
using testing::HasSubstr;

class ObjTest : public scratch::FolderTest {
 protected:
  // Loads `bytes` as an OBJ file; checks that a refusal names the file and that an accepted mesh
  // only refers to points, corners and texture coordinates it has.
  void load_checked(const std::string& name, const std::string& bytes) {
    const std::string file = write(name, bytes);
    Mesh* mesh = nullptr;
    const std::string errors = stderr_of([&] { mesh = loadGeometry(file.c_str()); });
    if (mesh == nullptr) {
      EXPECT_NE(errors.find(file), std::string::npos) << name << ": " << errors;
      return;
    }
    int32_t corners = 0;
    for (int32_t f = 0; f < mesh->polygon_count; ++f) {
      EXPECT_EQ(mesh->polygons[f].first_corner, corners) << name;
      corners += mesh->polygons[f].corner_count;
    }
    EXPECT_EQ(corners, mesh->corner_count) << name;
    for (int32_t c = 0; c < mesh->corner_count; ++c) {
      EXPECT_GE(mesh->corners[c], 0) << name;
      EXPECT_LT(mesh->corners[c], mesh->point_count) << name;
    }
    mesh_free(mesh);
  }
};

TEST_F(ObjTest, ReadsPointsCornersTextureAndNormalsInFileOrderInEveryCornerForm) {
  const std::string path = write("quad.obj",
                                 "# a quad and a triangle\no thing\nusemtl skin\ns 1\n"
                                 "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 2 0 0\n"
                                 "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\nvn 0 0 1\n"
                                 "f 1/1/1 2/2/1 3/3/1 4/4/1\n"
                                 "f -4/-3/-1 -1/-4/-1 3/3/1\r\n");  // relative indices, CRLF
  Mesh* mesh = loadGeometry(path.c_str());
  ASSERT_NE(mesh, nullptr);
  EXPECT_EQ(mesh->point_count, 5);
  EXPECT_EQ(mesh->polygon_count, 2);
  EXPECT_EQ(mesh->corner_count, 7);
  EXPECT_EQ(mesh->flags, uint32_t(MESH_HAS_NORMALS | MESH_HAS_TEXTURE));
  const int expected_corners[7] = {0, 1, 2, 3, 1, 4, 2};
  for (int i = 0; i < 7; ++i) EXPECT_EQ(mesh->corners[i], expected_corners[i]) << i;
  EXPECT_EQ(mesh->polygons[1].first_corner, 4);
  EXPECT_EQ(mesh->polygons[1].corner_count, 3);
  // Texture coordinates belong to corners: corner 5 (point 4) took "vt -4" = the first one.
  expect_vector_near(mesh->texture[2], 1, 1, 0);
  expect_vector_near(mesh->texture[4], 1, 0, 0);
  expect_vector_near(mesh->texture[5], 0, 0, 0);
  for (int p = 0; p < 5; ++p) expect_vector_near(mesh->normals[p], 0, 0, 1);
  expect_vector_near(mesh->polygons[0].normal, 0, 0, 1);
  EXPECT_NEAR(mesh->polygons[0].area, 1.0f, 1e-6f);
  expect_vector_near(mesh->polygons[0].centre, 0.5f, 0.5f, 0);
  mesh_free(mesh);

  // "v//vn" corners, a pentagon, a face that refers to a vertex defined after it, and a point
  // without a normal of its own, which takes its polygons' normal.
  mesh = loadGeometry(write("forms.obj",
                            "vn 0 0 2\nf 1//1 2//1 3//1 4//1 5//1\n"
                            "v 0 0 0\nv 1 0 0\nv 2 1 0\nv 1 2 0\nv 0 1 0\n"
                            "v 0 0 1\nv 1 0 1\nv 0 1 1\nf 6 7 8\n")
                          .c_str());
  ASSERT_NE(mesh, nullptr);
  EXPECT_EQ(mesh->polygon_count, 2);
  EXPECT_EQ(mesh->polygons[0].corner_count, 5);
  EXPECT_EQ(mesh->flags, uint32_t(MESH_HAS_NORMALS));
  EXPECT_EQ(mesh->texture, nullptr);
  expect_vector_near(mesh->normals[0], 0, 0, 1);  // normalised from (0, 0, 2)
  expect_vector_near(mesh->normals[6], 0, 0, 1);  // from the triangle's plane
  mesh_free(mesh);
}

TEST_F(ObjTest, FaultsNameFileAndLine) {
  // A face with an out-of-range index is left out and reported; the rest is kept.
  const std::string bad_face =
      write("bad_face.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 9\nf 1 2 3\nf 0 1 2\n");
  Mesh* mesh = nullptr;
  std::string errors = stderr_of([&] { mesh = loadGeometry(bad_face.c_str()); });
  ASSERT_NE(mesh, nullptr);
  EXPECT_EQ(mesh->polygon_count, 1);
  EXPECT_EQ(mesh->corners[2], 2);
  EXPECT_THAT(errors, HasSubstr(bad_face + ":4: vertex index 9 is out of range"));
  EXPECT_THAT(errors, HasSubstr(bad_face + ":6: vertex index 0 is not allowed"));
  mesh_free(mesh);

  // A number that does not parse loses the whole mesh: a dropped vertex would shift indices.
  const std::string bad_number = write("bad_number.obj", "v 0 0 0\nv 1 zero 0\nf 1 2 1\n");
  errors = stderr_of([&] { EXPECT_EQ(loadGeometry(bad_number.c_str()), nullptr); });
  EXPECT_THAT(errors, HasSubstr(bad_number + ":2: cannot read 'zero' as a number"));

  // Relative index before the first vertex, missing values, non-finite numbers.
  const std::string relative = write("relative.obj", "v 0 0 0\nf -2 1 1\nv 1 1\n");
  errors = stderr_of([&] { EXPECT_EQ(loadGeometry(relative.c_str()), nullptr); });
  EXPECT_THAT(errors, HasSubstr(relative + ":2: relative vertex index -2"));
  EXPECT_THAT(errors, HasSubstr(relative + ":3: a \"v\" line needs 3 values, found 2"));
  EXPECT_EQ(loadGeometry(write("nan.obj", "v nan 0 0\n").c_str()), nullptr);

  // Wrong extension, missing file, no vertices.
  errors = stderr_of([&] {
    EXPECT_EQ(loadGeometry(write("mesh.txt", "v 0 0 0\n").c_str()), nullptr);
    EXPECT_EQ(loadGeometry(path("missing.obj").c_str()), nullptr);
    EXPECT_EQ(loadGeometry(write("empty.obj", "# nothing\n").c_str()), nullptr);
  });
  EXPECT_THAT(errors, HasSubstr("mesh.txt: unsupported mesh format"));
  EXPECT_THAT(errors, HasSubstr("missing.obj: cannot open the mesh file"));
  EXPECT_THAT(errors, HasSubstr("empty.obj: no vertices"));
}

TEST_F(ObjTest, RefreshWarnsAboutShortPolygonsAndFollowsOrientation) {
  const std::string file =
      write("short.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\nf 1 2\nl 1 2\nf 3 2 1\n");
  Mesh* mesh = nullptr;
  EXPECT_EQ(stderr_of([&] { mesh = loadGeometry(file.c_str()); }), "poly 1 has only 2 points!\n");
  ASSERT_NE(mesh, nullptr);
  EXPECT_EQ(mesh->polygon_count, 3);  // the "l" line is not a polygon
  expect_vector_near(mesh->polygons[0].normal, 0, 0, 1);
  expect_vector_near(mesh->polygons[2].normal, 0, 0, -1);  // wound the other way
  EXPECT_NEAR(mesh->polygons[0].area, 0.5f, 1e-6f);

  EXPECT_EQ(stderr_of([&] { EXPECT_EQ(mesh_refresh(mesh, 1), 1); }), "poly 1 has only 2 points!\n");
  EXPECT_EQ(mesh->orientation, 1);
  expect_vector_near(mesh->polygons[0].normal, 0, 0, -1);
  expect_vector_near(mesh->polygons[1].normal, 0, 0, 0);
  mesh_free(mesh);
}

TEST_F(ObjTest, CopyIsDeepAndTransformMovesPointsAndNormalsDifferently) {
  const std::string file =
      write("tri.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nvt 0.5 0.5\nvn 1 1 0\nf 1/1/1 2/1/1 3/1/1\n");
  Mesh* mesh = loadGeometry(file.c_str());
  ASSERT_NE(mesh, nullptr);
  Mesh* copy = mesh_copy(mesh);
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy->points, mesh->points);
  EXPECT_NE(copy->texture, mesh->texture);

  // Non-uniform scale x2 along x plus a translation: points move with the translation, normals
  // keep no translation and stay perpendicular (inverse transpose): (1,1,0) -> (0.5,1,0) norm.
  const float m[16] = {2, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 10, 20, 30, 1};
  mesh_transform(copy, m);
  expect_vector_near(copy->points[1], 12, 20, 30);
  const float inv = 1.0f / std::sqrt(1.25f);
  expect_vector_near(copy->normals[0], 0.5f * inv, inv, 0);
  expect_vector_near(mesh->points[1], 1, 0, 0);  // the original is untouched
  expect_vector_near(mesh->normals[0], std::sqrt(0.5f), std::sqrt(0.5f), 0);

  EXPECT_EQ(mesh_copy_points(copy, mesh), 1);
  expect_vector_near(mesh->points[1], 12, 20, 30);
  Mesh* other = mesh_new();
  EXPECT_EQ(mesh_copy_points(copy, other), 0);  // point counts differ
  mesh_free(other);
  mesh_free(copy);
  mesh_free(mesh);
  mesh_free(nullptr);
}

TEST_F(ObjTest, CutAndMalformedFilesKeepTheMeshConsistent) {
  const std::string good =
      "# cube corner\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 0 0 1\n"
      "vt 0 0\nvt 1 0\nvt 1 1\nvn 0 0 -1\nvn 0 0 1\n"
      "f 1/1/1 4/3/1 3/2/1 2/1/1\nf -5/-3/-2 -4/-2/-2 -1/-1/-1\nf 1 2 5\n";
  // Cuts inside a number, inside a corner and after a slash; binary noise, NaN points and texture
  // indices out of range are the OBJ fuzzer corpus's.
  for (const char* cut : {"v 1 1", "f 1/1/1 4/", "f -5/-3/"}) {
    const size_t length = good.find(cut) + std::strlen(cut);
    load_checked("cut_" + std::to_string(length) + ".obj", good.substr(0, length));
  }
  Mesh* whole = loadGeometry(write("whole.obj", good).c_str());
  ASSERT_NE(whole, nullptr);
  EXPECT_EQ(whole->polygon_count, 3);
  mesh_free(whole);
  const char* const malformed[] = {
      "v 0 0 0\nf 99999999999999999999 1 1\n",
      "v 0 0 0\nf -99999999999999999999 1 1\n",
      "v 1e999 0 0\n",
      "v 0x10 0 0\n",
      "v 1 2 3 4 5\n",
      "v 0 0 0\nf 1/1/1/1 1 1\n",
      "v 0 0 0\nf /// // /\n",
      "v 0 0 0\nf 1/ 1/ 1//\n",
      "v 0 0 0\nf 1 1 1 \\\n",
      "v 0 0 \\\n0\nf 1 1 1\n",
      "v 0 0 0\nvt\nf 1/1 1/1 1/1\n",
      "v 0 0 0\nf 1//2 1 1\n",
      "v 0 0 0\nf\n",
      "\xef\xbb\xbfv 0 0 0\n",
      "v -0 +1 .5\nf 1 1 1\n",
      "v 0 0 0\nf -2147483648 2147483647 2147483648\n",
  };
  int index = 0;
  for (const char* text : malformed)
    load_checked("malformed_" + std::to_string(index++) + ".obj", text);
  // A very long line and very many faults stop cleanly.
  load_checked("long.obj", "v 0 0 0\nf" + std::string(200000, ' ') + "1 1 1\n");
  std::string faults = "v 0 0 0\n";
  for (int i = 0; i < 1000; ++i) faults += "f 7 8 9\n";
  load_checked("faults.obj", faults);
  // One polygon of 100000 corners reads whole.
  std::string wide;
  for (int i = 0; i < 100000; ++i) wide += "v " + std::to_string(i) + " 0 1\n";
  wide += "f";
  for (int i = 100000; i >= 1; --i) wide += " " + std::to_string(i);
  const std::string wide_path = write("wide.obj", wide + "\n");
  Mesh* mesh = loadGeometry(wide_path.c_str());
  ASSERT_NE(mesh, nullptr);
  EXPECT_EQ(mesh->polygon_count, 1);
  EXPECT_EQ(mesh->polygons[0].corner_count, 100000);
  mesh_free(mesh);
}

// Unit normals by Newell's method (reversed by the orientation flag), centres and areas, worked
// out by hand for a quad, a non-planar quad, a triangle, a pentagon with a corner on an edge and a
// short polygon.
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

  EXPECT_EQ(stderr_of([&] { EXPECT_EQ(hordera::refresh_polygons_for_render(mesh, 0), 1); }),
            "poly 4 has only 2 points!\n");
  const MeshPolygon* p = mesh->polygons;
  expect_vector_near(p[0].normal, 0, 0, 1, 1e-6f, "rectangle normal");
  expect_vector_near(p[0].centre, 1, 0.5f, 0, 1e-6f, "rectangle centre");
  EXPECT_NEAR(p[0].area, 2.0f, 1e-6f);
  // Diagonals (1,1,1) and (-1,1,0): twice the area vector is (-1,-1,2).
  const float root6 = std::sqrt(6.0f);
  expect_vector_near(p[1].normal, -1 / root6, -1 / root6, 2 / root6, 1e-6f, "lifted quad normal");
  expect_vector_near(p[1].centre, 0.5f, 0.5f, 0.25f, 1e-6f, "lifted quad centre");
  EXPECT_NEAR(p[1].area, root6 / 2, 1e-6f);
  // (0,0,3) x (0,4,0) = (-12, 0, 0).
  expect_vector_near(p[2].normal, -1, 0, 0, 1e-6f, "triangle normal");
  expect_vector_near(p[2].centre, 0, 4.0f / 3, 1, 1e-6f, "triangle centre");
  EXPECT_NEAR(p[2].area, 6.0f, 1e-6f);
  expect_vector_near(p[3].normal, 0, 0, 1, 1e-6f, "pentagon normal");
  expect_vector_near(p[3].centre, 1, 0.8f, 0, 1e-6f, "pentagon centre");
  EXPECT_NEAR(p[3].area, 4.0f, 1e-6f);
  expect_vector_near(p[4].normal, 0, 0, 0, 1e-6f, "short polygon normal");
  EXPECT_EQ(p[4].area, 0.0f);

  // The orientation flag reverses normals only, and is recorded.
  stderr_of([&] { hordera::refresh_polygons_for_render(mesh, 1); });
  EXPECT_EQ(mesh->orientation, 1);
  expect_vector_near(p[0].normal, 0, 0, -1, 1e-6f, "flipped rectangle normal");
  expect_vector_near(p[2].normal, 1, 0, 0, 1e-6f, "flipped triangle normal");
  EXPECT_NEAR(p[2].area, 6.0f, 1e-6f);
  mesh_free(mesh);
}

}  // namespace
