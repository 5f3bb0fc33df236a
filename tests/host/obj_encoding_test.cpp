// The OBJ text of a frame, made on one thread and on several: indices run on across objects, each
// kind of line counted on its own (an object with nothing drawn takes none, one without texture
// coordinates takes no "vt" index), materials are listed in the order their "usemtl"
// lines come, and the text is the same whatever the number of threads.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "host/obj_writer.h"

namespace {

host::FrameGeometry three_meshes();

host::FrameMesh triangle(const char* name, float x, int material) {
  host::FrameMesh mesh;
  mesh.name = name;
  mesh.agent = "asm 1";
  mesh.positions = {{x, 0, 0}, {x + 1, 0, 0}, {x, 1, 0}};
  mesh.triangles = {0, 1, 2};
  mesh.triangle_materials = {material};
  return mesh;
}

// Three meshes: "a" (skin), "lost" (nothing drawable), "b" (cloth, then the default material).
host::FrameGeometry three_meshes() {
  host::FrameGeometry frame;
  frame.materials.resize(2);
  frame.materials[0].name = "cloth";
  frame.materials[1].name = "skin";
  frame.meshes.push_back(triangle("a", 0, 1));
  // Nothing of "lost" is drawn (a point beyond reach): it is left out and takes no indices.
  frame.meshes.push_back(triangle("lost", 0, 0));
  frame.meshes.back().positions[1][0] = std::nanf("");
  host::FrameMesh two = triangle("b", 5, 0);
  two.positions.push_back({5, 5, 0});
  two.triangles.insert(two.triangles.end(), {0, 2, 3});
  two.triangle_materials.push_back(-1);
  two.uvs = {{0, 0}, {1, 0}, {0, 1}, {1, 1}};
  frame.meshes.push_back(two);
  return frame;
}

TEST(ObjEncoding, IndicesAndMaterialsRunOnAcrossObjectsOnAnyNumberOfThreads) {
  const host::FrameGeometry frame = three_meshes();
  std::string obj, mtl, error;
  std::vector<std::string> warnings;
  ASSERT_TRUE(host::encode_obj(frame, "crowd.mtl", &obj, &mtl, &error, &warnings, 1));
  const std::string expected =
      "o asm_1/a\n"
      "v 0 0 0\nv 1 0 0\nv 0 1 0\n"
      "usemtl skin\nf 1 2 3\n"
      "o asm_1/b\n"
      "v 5 0 0\nv 6 0 0\nv 5 1 0\nv 5 5 0\n"
      "vt 0 0\nvt 1 0\nvt 0 1\nvt 1 1\n"
      "usemtl cloth\nf 4/1 5/2 6/3\n"
      "usemtl default_mtl\nf 4/1 6/3 7/4\n";
  const size_t body = obj.find("o asm_1/a");
  ASSERT_NE(body, std::string::npos) << obj;
  EXPECT_EQ(obj.substr(body), expected);
  // The library in the order of first use: skin, cloth, the default.
  const size_t skin = mtl.find("newmtl skin"), cloth = mtl.find("newmtl cloth"),
               fallback = mtl.find("newmtl default_mtl");
  EXPECT_LT(skin, cloth);
  EXPECT_LT(cloth, fallback);
  EXPECT_NE(fallback, std::string::npos);
  ASSERT_EQ(warnings.size(), 1u);

  std::string obj_on_threads, mtl_on_threads;
  ASSERT_TRUE(
      host::encode_obj(frame, "crowd.mtl", &obj_on_threads, &mtl_on_threads, &error, &warnings, 3));
  EXPECT_EQ(obj_on_threads, obj);
  EXPECT_EQ(mtl_on_threads, mtl);
}

}  // namespace
