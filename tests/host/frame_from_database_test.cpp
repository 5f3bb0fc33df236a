// The posed crowd read out of the scene database as the plug-in fills it: an assembly's
// objects, their triangulated polygons, and the Phong parameters of their materials; made on
// several threads, the same meshes and material order as on one.
#include "host/frame_from_database.h"

#include <gtest/gtest.h>

#include "host/messages.h"
#include "host/scene_names.h"
#include "mray/mi_interface.h"

namespace {

char* copy(const char* text) {
  return mi_mem_int_strdup("mray", 1, text);
}

void colour(const char* name, float r, float g, float b) {
  mi_api_parameter_name(copy(name));
  for (float component : {r, g, b}) mi_api_parameter_value(miTYPE_SCALAR, &component, 0, 0);
}

miTag material(const char* name, miTag shader = 0) {
  miMaterial* record = mi_api_material_begin(copy(name));
  record->opaque = miTRUE;
  record->shader = shader;
  return mi_api_material_end();
}

TEST(FrameFromDatabase, TakesAnAssemblysVisibleObjectsWithTheirPhongMaterials) {
  host::clear_scene();
  host::declare_base_shaders();
  host::set_verbosity(0);
  mi_api_function_call(copy("mib_illum_phong"));
  colour("ambience", 0.5f, 0.5f, 0.5f);
  colour("ambient", 0.2f, 0.4f, 0.6f);
  colour("diffuse", 0.8f, 0.1f, 0.1f);
  colour("specular", 0.3f, 0.3f, 0.3f);
  int exponent = 20;
  mi_api_parameter_name(copy("exponent"));
  mi_api_parameter_value(miTYPE_INTEGER, &exponent, 0, 0);
  const miTag phong = material("mat_1_0", mi_api_function_call_end(0));
  mi_api_function_call(copy("skin_shader"));
  const miTag custom = material("mat_1_1", mi_api_function_call_end(0));
  const miTag fallback = material("default_mtl", 0);

  miTag result = 0;
  for (const char* name : {"body", "hidden"}) {
    miObject* object = mi_api_object_begin(copy(name));
    object->visible = name[0] == 'b' ? 2 : 0;
    mi_api_object_group_begin(0.0);
    for (float y : {0.0f, 1.0f})
      for (float x : {0.0f, 1.0f}) {
        miVector point{x, y, 2}, uv{x * 0.5f, y, 0};
        mi_api_vector_xyz_add(&point);
        mi_api_vector_xyz_add(&uv);
      }
    miVector normal{0, 0, 1};
    mi_api_vector_xyz_add(&normal);
    for (int corner = 0; corner < 4; ++corner) {
      mi_api_vertex_add(corner * 2);
      mi_api_vertex_normal_add(8);
      mi_api_vertex_tex_add(corner * 2 + 1, -1, -1);
    }
    // A vertex made of the same vectors as vertex 0 is the same point of the mesh.
    mi_api_vertex_add(0);
    mi_api_vertex_normal_add(8);
    mi_api_vertex_tex_add(1, -1, -1);
    const std::vector<std::pair<miTag, std::vector<int>>> polygons = {
        {phong, {0, 1, 3, 2}}, {custom, {0, 1, 3}}, {fallback, {4, 3, 2}}};
    for (const auto& [tag, corners] : polygons) {
      mi_api_poly_begin_tag(0, tag);
      for (int corner : corners) mi_api_poly_index_add(corner);
      mi_api_poly_end();
    }
    mi_api_object_group_end();
    mi_geoshader_add_result(&result, mi_api_object_end());
  }

  host::AssemblyRun run;
  run.name = "asm_1";
  run.result = result;
  host::FrameGeometry frame;
  std::vector<std::string> warnings;
  host::frame_from_database({run}, &frame, &warnings);
  host::clear_scene();

  ASSERT_EQ(frame.meshes.size(), 1u);  // the hidden object is left out
  const host::FrameMesh& mesh = frame.meshes[0];
  EXPECT_EQ(mesh.name, "body");
  EXPECT_EQ(mesh.agent, "asm_1");
  ASSERT_EQ(mesh.positions.size(), 4u);
  EXPECT_EQ(mesh.positions[3], (host::Vec3{1, 1, 2}));
  EXPECT_EQ(mesh.normals[1], (host::Vec3{0, 0, 1}));
  EXPECT_EQ(mesh.uvs[1], (host::Vec2{0.5f, 0}));
  // The quad as two triangles, then the two triangles.
  EXPECT_EQ(mesh.triangles, (std::vector<uint32_t>{0, 1, 3, 0, 3, 2, 0, 1, 3, 0, 3, 2}));
  EXPECT_EQ(mesh.triangle_materials, (std::vector<int>{0, 0, 1, -1}));
  ASSERT_EQ(frame.materials.size(), 2u);
  const host::FrameMaterial& skin = frame.materials[0];
  EXPECT_EQ(skin.name, "mat_1_0");
  EXPECT_FLOAT_EQ(skin.ambient[1], 0.2f);  // ambience times ambient
  EXPECT_EQ(skin.diffuse, (host::Vec3{0.8f, 0.1f, 0.1f}));
  EXPECT_EQ(skin.exponent, 20.0f);
  EXPECT_TRUE(skin.evaluated);
  EXPECT_EQ(frame.materials[1].name, "mat_1_1");
  EXPECT_FALSE(frame.materials[1].evaluated);
  EXPECT_TRUE(warnings.empty());
}

// A quad of two triangles given as six corner vertices (four distinct points), the first
// triangle with `first`, the second with `second` (0: the material before).
miTag quads(const char* name, int count, miTag first, miTag second) {
  mi_api_object_begin(copy(name))->visible = miTRUE;
  mi_api_object_group_begin(0.0);
  for (int q = 0; q < count; ++q)
    for (float y : {0.0f, 1.0f})
      for (float x : {0.0f, 1.0f}) {
        miVector point{x + 2.0f * q, y, 0};
        mi_api_vector_xyz_add(&point);
      }
  for (int q = 0; q < count; ++q) {
    const int base = 6 * q;
    for (int corner : {0, 1, 3, 0, 3, 2}) mi_api_vertex_add(4 * q + corner);
    mi_api_poly_begin_tag(0, first);
    for (int v : {0, 1, 2}) mi_api_poly_index_add(base + v);
    mi_api_poly_end();
    mi_api_poly_begin_tag(0, second);
    for (int v : {3, 4, 5}) mi_api_poly_index_add(base + v);
    mi_api_poly_end();
  }
  mi_api_object_group_end();
  return mi_api_object_end();
}

TEST(FrameMeshesOnThreads, SameMeshesAndMaterialOrderAsOnOneThread) {
  host::clear_scene();
  host::set_verbosity(0);
  const miTag red = material("red"), green = material("green"), blue = material("blue");
  // Agent a: "skin" names blue then red; "hat" green. Agent b: "skin" red then green, and a
  // group of the two objects "cape" (nothing new) and "boot" (blue only).
  std::vector<host::AssemblyRun> runs(2);
  runs[0].name = "a";
  runs[1].name = "b";
  const miTag skin_a = quads("skin", 3, blue, red);
  const miTag hat = quads("hat", 1, green, 0);
  runs[0].result = skin_a;
  mi_geoshader_add_result(&runs[0].result, hat);
  runs[1].result = quads("skin", 2, red, green);
  mi_geoshader_add_result(&runs[1].result, quads("cape", 1, 0, 0));
  mi_geoshader_add_result(&runs[1].result, quads("boot", 50, blue, blue));

  host::FrameGeometry one, many;
  host::frame_from_database(runs, &one, nullptr, 1);
  host::frame_from_database(runs, &many, nullptr, 3);
  host::clear_scene();

  // Materials in the order polygons first name them: blue, red (skin of a), green (hat).
  ASSERT_EQ(one.materials.size(), 3u);
  EXPECT_EQ(one.materials[0].name, "blue");
  EXPECT_EQ(one.materials[1].name, "red");
  EXPECT_EQ(one.materials[2].name, "green");
  ASSERT_EQ(one.meshes.size(), 5u);
  const char* names[] = {"skin", "hat", "skin", "cape", "boot"};
  const char* agents[] = {"a", "a", "b", "b", "b"};
  const size_t quad_counts[] = {3, 1, 2, 1, 50};
  for (size_t m = 0; m < 5; ++m) {
    const host::FrameMesh& mesh = one.meshes[m];
    EXPECT_EQ(mesh.name, names[m]) << m;
    EXPECT_EQ(mesh.agent, agents[m]) << m;
    EXPECT_EQ(mesh.positions.size(), 4 * quad_counts[m]) << m;  // six corners, four points
    EXPECT_EQ(mesh.triangle_count(), 2 * quad_counts[m]) << m;
  }
  // The hat's second triangle keeps green; the cape's triangles name none.
  EXPECT_EQ(one.meshes[0].triangle_materials, (std::vector<int>{0, 1, 0, 1, 0, 1}));
  EXPECT_EQ(one.meshes[1].triangle_materials, (std::vector<int>{2, 2}));
  EXPECT_EQ(one.meshes[2].triangle_materials, (std::vector<int>{1, 2, 1, 2}));
  EXPECT_EQ(one.meshes[3].triangle_materials, (std::vector<int>{-1, -1}));
  // The first quad's corners 0 1 3 / 0 3 2 are points 0 1 2 / 0 2 3.
  EXPECT_EQ(
      std::vector<uint32_t>(one.meshes[0].triangles.begin(), one.meshes[0].triangles.begin() + 6),
      (std::vector<uint32_t>{0, 1, 2, 0, 2, 3}));
  EXPECT_EQ(one.meshes[0].positions[2], (host::Vec3{1, 1, 0}));

  ASSERT_EQ(many.materials.size(), one.materials.size());
  for (size_t i = 0; i < one.materials.size(); ++i)
    EXPECT_EQ(many.materials[i].name, one.materials[i].name);
  ASSERT_EQ(many.meshes.size(), one.meshes.size());
  for (size_t m = 0; m < one.meshes.size(); ++m) {
    EXPECT_EQ(many.meshes[m].name, one.meshes[m].name) << m;
    EXPECT_EQ(many.meshes[m].agent, one.meshes[m].agent) << m;
    EXPECT_EQ(many.meshes[m].positions, one.meshes[m].positions) << m;
    EXPECT_EQ(many.meshes[m].triangles, one.meshes[m].triangles) << m;
    EXPECT_EQ(many.meshes[m].triangle_materials, one.meshes[m].triangle_materials) << m;
  }
}

}  // namespace
