// OBJ meshes and the polygon mesh record: what is read, how faults are reported, and the
// per-polygon refresh and transforms.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <string>

#include "agent/mesh.h"
#include "agent/obj_reader.h"

namespace {

namespace fs = std::filesystem;

class ObjTest : public ::testing::Test {
 protected:
  void SetUp() override {
    directory_ = fs::temp_directory_path() /
                 ("hordera_obj_" + std::to_string(::getpid()) + "_" +
                  ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(directory_);
  }
  void TearDown() override { fs::remove_all(directory_); }

  std::string write(const std::string& name, const std::string& text) {
    const std::string path = (directory_ / name).string();
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }

  fs::path directory_;
};

void expect_vector(const Vector& v, float x, float y, float z) {
  EXPECT_NEAR(v.x, x, 1e-5f);
  EXPECT_NEAR(v.y, y, 1e-5f);
  EXPECT_NEAR(v.z, z, 1e-5f);
}

TEST_F(ObjTest, ReadsPointsCornersTextureAndNormalsInFileOrder) {
  const std::string path = write("quad.obj",
                                 "# a quad and a triangle\n"
                                 "o thing\nusemtl skin\ns 1\n"
                                 "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 2 0 0\n"
                                 "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\n"
                                 "vn 0 0 1\n"
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
  expect_vector(mesh->texture[2], 1, 1, 0);
  expect_vector(mesh->texture[4], 1, 0, 0);
  expect_vector(mesh->texture[5], 0, 0, 0);
  for (int p = 0; p < 5; ++p) expect_vector(mesh->normals[p], 0, 0, 1);
  expect_vector(mesh->polygons[0].normal, 0, 0, 1);
  EXPECT_NEAR(mesh->polygons[0].area, 1.0f, 1e-6f);
  expect_vector(mesh->polygons[0].centre, 0.5f, 0.5f, 0);
  mesh_free(mesh);
}

TEST_F(ObjTest, CornerFormsForwardReferencesAndMissingNormals) {
  // "v//vn" corners, a pentagon, a face that refers to a vertex defined after it, and a point
  // without a normal of its own, which takes its polygons' normal.
  const std::string path = write("forms.obj",
                                 "vn 0 0 2\n"
                                 "f 1//1 2//1 3//1 4//1 5//1\n"
                                 "v 0 0 0\nv 1 0 0\nv 2 1 0\nv 1 2 0\nv 0 1 0\n"
                                 "v 0 0 1\nv 1 0 1\nv 0 1 1\n"
                                 "f 6 7 8\n");
  Mesh* mesh = loadGeometry(path.c_str());
  ASSERT_NE(mesh, nullptr);
  EXPECT_EQ(mesh->polygon_count, 2);
  EXPECT_EQ(mesh->polygons[0].corner_count, 5);
  EXPECT_EQ(mesh->flags, uint32_t(MESH_HAS_NORMALS));
  EXPECT_EQ(mesh->texture, nullptr);
  expect_vector(mesh->normals[0], 0, 0, 1);  // normalised from (0, 0, 2)
  expect_vector(mesh->normals[6], 0, 0, 1);  // from the triangle's plane
  mesh_free(mesh);
}

TEST_F(ObjTest, FaultsNameFileAndLine) {
  // A face with an out-of-range index is left out and reported; the rest is kept.
  const std::string bad_face =
      write("bad_face.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 9\nf 1 2 3\nf 0 1 2\n");
  ::testing::internal::CaptureStderr();
  Mesh* mesh = loadGeometry(bad_face.c_str());
  std::string errors = ::testing::internal::GetCapturedStderr();
  ASSERT_NE(mesh, nullptr);
  EXPECT_EQ(mesh->polygon_count, 1);
  EXPECT_EQ(mesh->corners[2], 2);
  EXPECT_NE(errors.find(bad_face + ":4: vertex index 9 is out of range"), std::string::npos)
      << errors;
  EXPECT_NE(errors.find(bad_face + ":6: vertex index 0 is not allowed"), std::string::npos)
      << errors;
  mesh_free(mesh);

  // A number that does not parse loses the whole mesh: a dropped vertex would shift indices.
  const std::string bad_number = write("bad_number.obj", "v 0 0 0\nv 1 zero 0\nf 1 2 1\n");
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(loadGeometry(bad_number.c_str()), nullptr);
  errors = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(errors.find(bad_number + ":2: cannot read 'zero' as a number"), std::string::npos)
      << errors;

  // Relative index before the first vertex, missing values, non-finite numbers.
  const std::string relative = write("relative.obj", "v 0 0 0\nf -2 1 1\nv 1 1\n");
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(loadGeometry(relative.c_str()), nullptr);
  errors = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(errors.find(relative + ":2: relative vertex index -2"), std::string::npos) << errors;
  EXPECT_NE(errors.find(relative + ":3: a \"v\" line needs 3 values, found 2"), std::string::npos)
      << errors;
  EXPECT_EQ(loadGeometry(write("nan.obj", "v nan 0 0\n").c_str()), nullptr);

  // Wrong extension, missing file, no vertices.
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(loadGeometry(write("mesh.txt", "v 0 0 0\n").c_str()), nullptr);
  EXPECT_EQ(loadGeometry((directory_ / "missing.obj").string().c_str()), nullptr);
  EXPECT_EQ(loadGeometry(write("empty.obj", "# nothing\n").c_str()), nullptr);
  errors = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(errors.find("mesh.txt: unsupported mesh format"), std::string::npos) << errors;
  EXPECT_NE(errors.find("missing.obj: cannot open the mesh file"), std::string::npos) << errors;
  EXPECT_NE(errors.find("empty.obj: no vertices"), std::string::npos) << errors;
}

TEST_F(ObjTest, RefreshWarnsAboutShortPolygonsAndFollowsOrientation) {
  const std::string path =
      write("short.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\nf 1 2\nl 1 2\nf 3 2 1\n");
  ::testing::internal::CaptureStderr();
  Mesh* mesh = loadGeometry(path.c_str());
  std::string errors = ::testing::internal::GetCapturedStderr();
  ASSERT_NE(mesh, nullptr);
  EXPECT_EQ(mesh->polygon_count, 3);  // the "l" line is not a polygon
  EXPECT_EQ(errors, "poly 1 has only 2 points!\n");
  expect_vector(mesh->polygons[0].normal, 0, 0, 1);
  expect_vector(mesh->polygons[2].normal, 0, 0, -1);  // wound the other way
  EXPECT_NEAR(mesh->polygons[0].area, 0.5f, 1e-6f);

  ::testing::internal::CaptureStderr();
  EXPECT_EQ(mesh_refresh(mesh, 1), 1);
  errors = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(errors, "poly 1 has only 2 points!\n");
  EXPECT_EQ(mesh->orientation, 1);
  expect_vector(mesh->polygons[0].normal, 0, 0, -1);
  expect_vector(mesh->polygons[1].normal, 0, 0, 0);
  mesh_free(mesh);
}

TEST_F(ObjTest, CopyIsDeepAndTransformMovesPointsAndNormalsDifferently) {
  const std::string path =
      write("tri.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nvt 0.5 0.5\nvn 1 1 0\nf 1/1/1 2/1/1 3/1/1\n");
  Mesh* mesh = loadGeometry(path.c_str());
  ASSERT_NE(mesh, nullptr);
  Mesh* copy = mesh_copy(mesh);
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy->points, mesh->points);
  EXPECT_NE(copy->texture, mesh->texture);

  // Non-uniform scale x2 along x plus a translation: points move with the translation, normals
  // keep no translation and stay perpendicular (inverse transpose): (1,1,0) -> (0.5,1,0) norm.
  const float m[16] = {2, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 10, 20, 30, 1};
  mesh_transform(copy, m);
  expect_vector(copy->points[1], 12, 20, 30);
  const float inv = 1.0f / std::sqrt(1.25f);
  expect_vector(copy->normals[0], 0.5f * inv, inv, 0);
  expect_vector(mesh->points[1], 1, 0, 0);  // the original is untouched
  expect_vector(mesh->normals[0], std::sqrt(0.5f), std::sqrt(0.5f), 0);

  EXPECT_EQ(mesh_copy_points(copy, mesh), 1);
  expect_vector(mesh->points[1], 12, 20, 30);
  Mesh* other = mesh_new();
  EXPECT_EQ(mesh_copy_points(copy, other), 0);  // point counts differ
  mesh_free(other);
  mesh_free(copy);
  mesh_free(mesh);
  mesh_free(nullptr);
}

}  // namespace
