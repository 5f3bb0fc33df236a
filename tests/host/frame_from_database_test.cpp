// The posed crowd read out of the scene database as the plug-in fills it: an assembly's
// objects, their triangulated polygons, and the Phong parameters of their materials.
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

miTag material(const char* name, miTag shader) {
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

}  // namespace
