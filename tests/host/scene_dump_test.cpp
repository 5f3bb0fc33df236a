// What is read out of the scene database the plug-in fills: the dump's text, written by hand, the
// same whatever the render threads even when a callback keeps the global lock; and the frame's
// meshes and Phong materials, the same on several threads as on one.
#include "host/scene_dump.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "host/frame_from_database.h"
#include "host/locks.h"
#include "host/memory.h"
#include "host/messages.h"
#include "host/render_session.h"
#include "host/scene_names.h"
#include "mray/mi_interface.h"
#include "tests/support/crowd_fixture.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

char* copy(const char* text) {
  return mi_mem_int_strdup("mray", 1, text);
}

// The id whose callback returns holding the global lock, as the plug-in does for an agent
// file that cannot be loaded.
constexpr int lock_keeper = 13;

// A stand-in for the crowd plug-in's assembly callback: the object is built before the global
// lock is taken (so that threads build objects side by side), the material and the shared
// texture shader under it.
miTag build_agent(const miState* state, void* args) {
  const int id = static_cast<int>(reinterpret_cast<intptr_t>(args));
  std::this_thread::sleep_for(std::chrono::microseconds((id * 7919) % 400));
  char name[32];
  miObject* object = mi_api_object_begin(copy("body"));
  object->visible = 2;
  object->shadow = 3;
  mi_api_object_group_begin(0.0);
  for (int corner = 0; corner < 3; ++corner) {
    miVector point{static_cast<float>(id + (corner == 1)), static_cast<float>(corner == 2), 0};
    mi_api_vector_xyz_add(&point);
  }
  for (int corner = 0; corner < 3; ++corner) mi_api_vertex_add(corner);

  mi_lock(state->global_lock);
  if (id == lock_keeper) {
    mi_api_object_group_end();
    mi_api_object_end();
    return 0;  // the lock stays held
  }
  if (mi_api_name_lookup(copy("skin_shd")) == 0) {
    mi_api_texture_begin(copy("skin_tex"), 0, 0);
    mi_api_texture_file_def(copy("maps/skin.tif"));
    mi_api_texture_end();
    mi_api_function_call(copy("textured_mtl_sh"));
    mi_api_parameter_name(copy("texture"));
    mi_api_parameter_value(miTYPE_STRING, copy("skin_tex"), nullptr, nullptr);
    mi_api_shader_add(copy("skin_shd"), mi_api_function_call_end(0));
  }
  std::snprintf(name, sizeof name, "mat_%d_0", id);
  mi_api_function_call(copy("mib_illum_phong"));
  mi_api_parameter_name(copy("diffuse"));
  mi_api_parameter_shader(copy("skin_shd"));
  int mode = 2;
  mi_api_parameter_name(copy("mode"));
  mi_api_parameter_value(miTYPE_INTEGER, &mode, nullptr, nullptr);
  const miTag phong = mi_api_function_call_end(0);
  mi_api_material_begin(copy(name))->shader = phong;
  const miTag material = mi_api_material_end();
  mi_api_variable_set(copy("hordera_matte_shader"), copy("true"));
  mi_unlock(state->global_lock);

  mi_api_poly_begin_tag(1, material);
  for (int corner = 0; corner < 3; ++corner) mi_api_poly_index_add(corner);
  mi_api_poly_end();
  mi_api_object_group_end();
  miTag result = 0;
  mi_geoshader_add_result(&result, mi_api_object_end());
  mi_api_object_begin(copy("hat"));
  mi_geoshader_add_result(&result, mi_api_object_end());
  return result;
}

miBoolean declare_agent(miTag* result, miState*, void* parameters) {
  const int id = static_cast<HorderaMrayParameters*>(parameters)->id;
  char name[32];
  std::snprintf(name, sizeof name, "asm_%d", id);
  miAssembly* assembly = mi_api_assembly_begin(copy(name));
  assembly->bbox_max = {1, 2, 3};
  mi_api_assembly_callback(build_agent, nullptr, reinterpret_cast<void*>(intptr_t{id}));
  *result = mi_api_assembly_end();
  return miTRUE;
}

std::string dump_with_threads(int threads, int agents) {
  host::Plugin plugin;
  plugin.path = "stand-in";
  plugin.version = [] { return 2; };
  plugin.geometry = declare_agent;
  plugin.set_module_handle = [](void*) {};
  host::Scene scene;
  for (int id = 1; id <= agents; ++id) {
    host::SceneInstance instance;
    instance.name = "agent_" + std::to_string(id);
    instance.id = id;
    scene.instances.push_back(instance);
  }
  host::RenderSession session(plugin);
  session.set_threads(threads);
  std::string error;
  EXPECT_TRUE(session.start(&error)) << error;
  const std::string text = crowd_test::dump_text({session.render(scene)});
  host::release_lock_held_by_this_thread(host::global_lock());
  return text;
}

TEST(SceneDump, OneAgentReadsAsBuilt) {
  host::set_verbosity(0);
  const std::string text = dump_with_threads(1, 1);
  EXPECT_EQ(text, R"(render 1: 1 assemblies
  assembly "asm_1" from instance "agent_1" box (0 0 0) (1 2 3)
    group of 2 items
      object "body"
        type 0, visible 2, shadow 3, reflection 0, refraction 0, finalgather 0, max displace 0
        box (0 0 0) (0 0 0)
        group 0: 3 vectors, 3 vertices, 1 polygons
          vertex 0: position (1 0 0)
          vertex 1: position (2 0 0)
          vertex 2: position (1 1 0)
          polygon 0 convex material "mat_1_0": 0 1 2
      object "hat"
        type 0, visible 0, shadow 0, reflection 0, refraction 0, finalgather 0, max displace 0
        box (0 0 0) (0 0 0)
materials
  material "mat_1_0"
    shader call of "mib_illum_phong"
      "diffuse" color = "skin_shd"
      "mode" integer 2
shaders
  "skin_shd" = call of "textured_mtl_sh" named "skin_shd"
    "texture" color texture "skin_tex"
textures
  texture "skin_tex" color flags 0 file "maps/skin.tif"
declarations
  declare color "mib_illum_phong" (color "ambience", color "ambient", color "diffuse", color "specular", scalar "exponent", integer "mode", array { light } "lights")
  declare color "textured_mtl_sh" (color texture "texture")
variables
  "hordera_matte_shader" "true"
)");
}

TEST(SceneDump, ManyThreadsGiveTheTextOfOneEvenWhenALockIsKept) {
  host::set_verbosity(0);
  const size_t held_before = host::memory_in_use().size();
  host::clear_messages();
  const std::string single = dump_with_threads(1, 24);
  EXPECT_THAT(single, HasSubstr("assembly \"asm_24\""));
  EXPECT_THAT(single, HasSubstr("material \"mat_24_0\""));
  EXPECT_THAT(single, Not(HasSubstr("material \"mat_13_0\"")));
  for (int round = 0; round < 3; ++round) {
    host::clear_messages();
    EXPECT_EQ(dump_with_threads(4, 24), single);
    // The thread that ran the lock keeper gave the lock back when it ended; nobody waited
    // forever.
    int warnings = 0;
    for (const host::Message& message : host::messages())
      warnings += message.text.find("ended holding the global lock 1 times") != std::string::npos;
    EXPECT_EQ(warnings, 1);
  }
  EXPECT_EQ(host::lock_depth(host::global_lock()), 0);
  EXPECT_EQ(host::memory_in_use().size(), held_before);
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
