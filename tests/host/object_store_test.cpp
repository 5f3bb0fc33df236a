// The object store's flat arrays: each vertex's run of texture and motion indices and each
// polygon's run of corners stay its own whatever order the calls come in, whatever was dropped
// before, and however the sizes of successive objects differ; a material tag checked in one
// session is checked again after the database is cleared.
#include <gtest/gtest.h>

#include <span>
#include <string>
#include <vector>

#include "host/database.h"
#include "host/messages.h"
#include "host/scene_names.h"
#include "host/scene_view.h"
#include "mray/mi_interface.h"

namespace {

std::vector<int> list(std::span<const int> run) {
  return {run.begin(), run.end()};
}

char* copy(const char* text) {
  return mi_mem_int_strdup("mray", 1, text);
}

void add_vectors(int count) {
  for (int i = 0; i < count; ++i) {
    miVector v{float(i), 0, 0};
    mi_api_vector_xyz_add(&v);
  }
}

int errors() {
  int count = 0;
  for (const host::Message& message : host::messages())
    count += message.level == host::Level::error;
  return count;
}

class ObjectStore : public testing::Test {
 protected:
  void SetUp() override {
    host::clear_scene();
    host::clear_messages();
    host::set_verbosity(0);
  }
  void TearDown() override { host::clear_scene(); }
};

TEST_F(ObjectStore, RunsStayWithTheirVertexAndPolygon) {
  mi_api_object_begin(copy("runs"));
  mi_api_object_group_begin(0.0);
  add_vectors(20);
  // Vertex 0: the motion vector comes first, the textures after it (out of the usual order).
  mi_api_vertex_add(0);
  EXPECT_TRUE(mi_api_vertex_motion_add(10));
  EXPECT_TRUE(mi_api_vertex_tex_add(5, -1, -1));
  EXPECT_TRUE(mi_api_vertex_tex_add(6, -1, -1));
  EXPECT_TRUE(mi_api_vertex_motion_add(11));
  // Vertex 1: none. Vertex 2: one texture, two motion steps. Vertex 3: a texture left out.
  mi_api_vertex_add(1);
  mi_api_vertex_add(2);
  mi_api_vertex_tex_add(7, -1, -1);
  mi_api_vertex_motion_add(12), mi_api_vertex_motion_add(13);
  mi_api_vertex_add(3);
  EXPECT_FALSE(mi_api_vertex_tex_add(20, -1, -1));
  mi_api_vertex_motion_add(14);
  // A polygon of two corners is dropped; the ones around it keep exactly their own corners.
  mi_api_poly_begin_tag(1, 0);
  for (int v : {0, 1, 2}) mi_api_poly_index_add(v);
  mi_api_poly_end();
  mi_api_poly_begin_tag(0, 0);
  mi_api_poly_index_add(3), mi_api_poly_index_add(2);
  EXPECT_FALSE(mi_api_poly_end());
  mi_api_poly_begin_tag(0, 0);
  for (int v : {3, 2, 1, 0}) mi_api_poly_index_add(v);
  mi_api_poly_end();
  mi_api_object_group_end();
  const host::ObjectData* object = host::view_object(mi_api_object_end());
  ASSERT_NE(object, nullptr);
  EXPECT_EQ(errors(), 2);  // the texture out of range, the short polygon

  const host::GroupData& group = object->groups.at(0);
  ASSERT_EQ(group.vertices.size(), 4u);
  EXPECT_EQ(list(group.textures(group.vertices[0])), (std::vector<int>{5, 6}));
  EXPECT_EQ(list(group.motions(group.vertices[0])), (std::vector<int>{10, 11}));
  EXPECT_TRUE(group.textures(group.vertices[1]).empty());
  EXPECT_TRUE(group.motions(group.vertices[1]).empty());
  EXPECT_EQ(list(group.textures(group.vertices[2])), std::vector<int>{7});
  EXPECT_EQ(list(group.motions(group.vertices[2])), (std::vector<int>{12, 13}));
  EXPECT_TRUE(group.textures(group.vertices[3]).empty());
  EXPECT_EQ(list(group.motions(group.vertices[3])), std::vector<int>{14});
  ASSERT_EQ(group.polygons.size(), 2u);
  EXPECT_EQ(group.polygons[0].type, 1);
  EXPECT_EQ(list(group.corners(group.polygons[0])), (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(list(group.corners(group.polygons[1])), (std::vector<int>{3, 2, 1, 0}));
  EXPECT_EQ(group.polygon_corners.size(), 7u);  // nothing of the dropped polygon is left
}

TEST_F(ObjectStore, ObjectsOfDifferentSizesKeepTheirOwnGeometry) {
  // Large, small, large again: each group starts with room for the one before it.
  const int sizes[] = {3000, 4, 5000};
  std::vector<const host::ObjectData*> objects;
  for (int size : sizes) {
    mi_api_object_begin(nullptr);
    mi_api_object_group_begin(0.0);
    add_vectors(size);
    for (int v = 0; v < size; ++v) {
      mi_api_vertex_add(size - 1 - v);
      mi_api_vertex_motion_add(v);
    }
    for (int p = 0; p + 2 < size; p += 3) {
      mi_api_poly_begin_tag(0, 0);
      for (int k = 0; k < 3; ++k) mi_api_poly_index_add(p + k);
      mi_api_poly_end();
    }
    mi_api_object_group_end();
    objects.push_back(host::view_object(mi_api_object_end()));
  }
  EXPECT_EQ(errors(), 0);
  for (size_t i = 0; i < objects.size(); ++i) {
    const int size = sizes[i];
    const host::GroupData& group = objects[i]->groups.at(0);
    ASSERT_EQ(group.vectors.size(), size_t(size)) << i;
    EXPECT_EQ(group.vectors.back().x, float(size - 1)) << i;
    ASSERT_EQ(group.vertices.size(), size_t(size)) << i;
    EXPECT_EQ(group.vertices.front().position, size - 1) << i;
    EXPECT_EQ(group.vertices.back().position, 0) << i;
    EXPECT_EQ(list(group.motions(group.vertices.back())), std::vector<int>{size - 1}) << i;
    ASSERT_EQ(group.polygons.size(), size_t(size / 3)) << i;
    EXPECT_EQ(list(group.corners(group.polygons.back())),
              (std::vector<int>{size / 3 * 3 - 3, size / 3 * 3 - 2, size / 3 * 3 - 1}))
        << i;
  }
}

TEST_F(ObjectStore, MaterialTagIsCheckedAgainAfterTheDatabaseIsCleared) {
  mi_api_material_begin(copy("skin"));
  const miTag material = mi_api_material_end();
  mi_api_object_begin(nullptr);
  mi_api_object_group_begin(0.0);
  EXPECT_TRUE(mi_api_poly_begin_tag(0, material));
  mi_api_poly_end();
  mi_api_object_group_end();
  mi_api_object_end();
  EXPECT_EQ(errors(), 1);  // the empty polygon only

  // The same tag number names a string after the clear, which is no material.
  host::clear_scene();
  host::clear_messages();
  ASSERT_EQ(host::db_create_string("not a material"), material);
  mi_api_object_begin(nullptr);
  mi_api_object_group_begin(0.0);
  add_vectors(3);
  for (int v = 0; v < 3; ++v) mi_api_vertex_add(v);
  mi_api_poly_begin_tag(0, material);
  for (int v = 0; v < 3; ++v) mi_api_poly_index_add(v);
  mi_api_poly_end();
  mi_api_object_group_end();
  const host::ObjectData* object = host::view_object(mi_api_object_end());
  ASSERT_NE(object, nullptr);
  ASSERT_EQ(errors(), 1);
  EXPECT_EQ(host::messages().front().text,
            "mi_api_poly_begin_tag: tag " + std::to_string(material) + " is not a material\n");
  EXPECT_EQ(object->groups.at(0).polygons.at(0).material, 0u);
}

}  // namespace
