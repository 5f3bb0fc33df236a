// The dump of the scene database: its text for a small crowd, written by hand from the calls a
// stand-in plug-in makes, and the same text whatever the number of render threads, including
// when an agent's callback returns still holding the global lock.
#include "host/scene_dump.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "host/locks.h"
#include "host/memory.h"
#include "host/messages.h"
#include "host/render_session.h"
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

}  // namespace
