// Shader calls and subdivision objects built by the front-end's own functions (linked into this
// test) in the stand-in host's scene database, and read back from it. Each scenario starts from
// an empty database in a child process of its own.
#include "mray/shader_call.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "agent/mesh.h"
#include "host/messages.h"
#include "host/scene_names.h"
#include "host/scene_view.h"
#include "mray/object_output.h"
#include "mray/renderer_functions.h"

namespace {

template <class Scenario>
void in_child(Scenario scenario) {
  std::fflush(nullptr);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    miSetModuleHandle(dlopen(nullptr, RTLD_NOW));
    host::declare_base_shaders();
    scenario();
    std::fflush(nullptr);
    _exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the scenario failed, see above";
}

miTag named(const std::string& name) {
  const auto names = host::view_names();
  const auto found = names.find(name);
  return found == names.end() ? miNULLTAG : found->second;
}

const host::ParameterData* parameter(const host::CallData* call, const std::string& name) {
  for (const host::ParameterData& each : call->parameters)
    if (each.name == name) return &each;
  return nullptr;
}

std::vector<std::string> debug_texts() {
  std::vector<std::string> found;
  for (const host::Message& message : host::messages())
    if (message.level == host::Level::debug) found.push_back(message.text);
  return found;
}

char* copy(const char* text) {
  return mi_mem_int_strdup("test", __LINE__, text);
}

// Declares the shader "skin" with one parameter of each kind the test hands over.
void declare_skin() {
  const struct {
    miParam_type type;
    const char* name;
  } declared[] = {{miTYPE_SHADER, "base"},     {miTYPE_COLOR, "tint"},   {miTYPE_BOOLEAN, "on"},
                  {miTYPE_INTEGER, "count"},   {miTYPE_SCALAR, "gain"},  {miTYPE_STRING, "label"},
                  {miTYPE_SCALAR_TEX, "bump"}, {miTYPE_ARRAY, "lights"}, {miTYPE_SCALAR, "odd"}};
  miParameter* list = nullptr;
  for (const auto& each : declared) {
    miParameter* parameter = mi_api_parameter_decl(each.type, copy(each.name), 0);
    if (each.type == miTYPE_ARRAY)
      mi_api_parameter_child(parameter, mi_api_parameter_decl(miTYPE_SHADER, nullptr, 0));
    list = list ? mi_api_parameter_append(list, parameter) : parameter;
  }
  mi_api_funcdecl_begin(mi_api_parameter_decl(miTYPE_COLOR, nullptr, 0), copy("skin"), list);
  mi_api_funcdecl_end();
}

TEST(ShaderCall, EveryTypeCodeIsHandedOverAsTheRendererTakesIt) {
  in_child([] {
    declare_skin();
    for (const char* light : {"key", "fill"}) {
      mi_api_function_call(copy("mib_illum_phong"));
      mi_api_shader_add(copy(light), mi_api_function_call_end(miNULLTAG));
    }
    const char* description =
        "\"skin\" \"base\" 0 [\"other\"] \"tint\" 2 [1 0.5 0] \"on\" 7 [1.9] \"count\" 8 [-2.7] "
        "\"gain\" 9 [0.25] \"label\" 6 [\"left arm\"] \"bump\" 14 [\"maps/b.tif\"] "
        "\"lights\" 21 [\"key\" \"fill\"] \"odd\" 3 [5]";
    host::clear_messages();
    const miTag tag = mray::build_shader_call(description, "mat_1_0");
    const host::CallData* call = host::view_call(tag);
    ASSERT_NE(call, nullptr);
    EXPECT_EQ(call->declaration, "skin");
    EXPECT_EQ(call->name, "mat_1_0");
    EXPECT_EQ(named("mat_1_0"), tag);
    std::vector<std::string> order;
    for (const host::ParameterData& each : call->parameters) order.push_back(each.name);
    EXPECT_EQ(order, (std::vector<std::string>{"base", "tint", "on", "count", "gain", "label",
                                               "bump", "lights", "odd"}));
    EXPECT_TRUE(parameter(call, "base")->connected);
    EXPECT_EQ(parameter(call, "base")->text, "other");
    EXPECT_EQ(parameter(call, "tint")->numbers, (std::vector<double>{1, 0.5, 0}));
    EXPECT_EQ(parameter(call, "on")->numbers, std::vector<double>{1});
    EXPECT_EQ(parameter(call, "count")->numbers, std::vector<double>{-2});
    EXPECT_EQ(parameter(call, "gain")->numbers, std::vector<double>{0.25});
    EXPECT_EQ(parameter(call, "label")->text, "left arm");
    // A scalar texture declared for the file, handed over by name.
    EXPECT_EQ(parameter(call, "bump")->text, "maps_b_tif_tex");
    const host::TextureData* texture = host::view_texture(named("maps_b_tif_tex"));
    ASSERT_NE(texture, nullptr);
    EXPECT_EQ(texture->kind, 1);
    EXPECT_EQ(texture->file, "maps/b.tif");
    const host::ParameterData* lights = parameter(call, "lights");
    ASSERT_EQ(lights->elements.size(), 2u);
    EXPECT_EQ(lights->elements[0].text, "::key");
    EXPECT_EQ(lights->elements[1].text, "::fill");
    EXPECT_EQ(lights->elements[1].tag, named("fill"));
    // An unknown code gives the name only.
    EXPECT_TRUE(parameter(call, "odd")->numbers.empty());
    for (const host::Message& message : host::messages())
      EXPECT_NE(message.level, host::Level::error) << message.text;
    const std::vector<std::string> traces = debug_texts();
    const std::vector<std::string> expected = {"-->call shaders for mat_1_0\n",
                                               "-->\"base\" ",
                                               " \"other\"\n",
                                               "-->\"tint\" ",
                                               " 1.000000 0.500000 0.000000\n",
                                               "-->\"on\" ",
                                               " 1\n",
                                               "-->\"count\" ",
                                               " -2\n",
                                               "-->\"gain\" ",
                                               " 0.250000\n",
                                               "-->\"label\" ",
                                               " \"left arm\"\n",
                                               "-->\"bump\" ",
                                               " \"maps_b_tif_tex\"\n",
                                               "-->\"lights\" ",
                                               " \"key\"\n",
                                               " \"fill\"\n",
                                               "-->\"odd\" "};
    EXPECT_EQ(traces, expected);
  });
}

TEST(ShaderCall, NamesAloneTexturesReusedAndDescriptionsThatBuildNothing) {
  in_child([] {
    // A call known by name is used as it is; a declaration's name gets a new call each time.
    mi_api_function_call(copy("mib_illum_phong"));
    const miTag existing = mi_api_function_call_end(miNULLTAG);
    mi_api_shader_add(copy("red_skin"), existing);
    EXPECT_EQ(mray::build_shader_call("\"red_skin\"", "mat_2_0"), existing);
    const miTag fresh = mray::build_shader_call(" \"mib_illum_phong\" ", "mat_2_1");
    ASSERT_NE(host::view_call(fresh), nullptr);
    EXPECT_NE(fresh, existing);
    EXPECT_EQ(host::view_call(fresh)->declaration, "mib_illum_phong");

    // An image file for a colour becomes one texture and one texture shader, reused.
    const miTag first = mray::build_shader_call("\"a\" \"c\" 2 [\"maps/skin.tif\"]", "m1");
    const miTag second = mray::build_shader_call("\"a\" \"c\" 2 [\"maps/skin.tif\"]", "m2");
    ASSERT_NE(host::view_call(first), nullptr);
    ASSERT_NE(host::view_call(second), nullptr);
    EXPECT_EQ(host::view_call(second)->parameters.at(0).text, "maps_skin_tif_shd");
    const host::CallData* textured = host::view_call(named("maps_skin_tif_shd"));
    ASSERT_NE(textured, nullptr);
    EXPECT_EQ(textured->declaration, "textured_mtl_sh");
    EXPECT_EQ(textured->parameters.at(0).tag, named("maps_skin_tif_tex"));
    int textures = 0, texture_shaders = 0;
    for (const auto& [name, tag] : host::view_names()) {
      textures += host::view_texture(tag) != nullptr;
      texture_shaders +=
          host::view_call(tag) && host::view_call(tag)->declaration == "textured_mtl_sh";
    }
    EXPECT_EQ(textures, 1);
    EXPECT_EQ(texture_shaders, 1);
    // A name that is no image file is connected as it is.
    const miTag plain = mray::build_shader_call("\"a\" \"c\" 2 [\"noise_shader\"]", "m3");
    EXPECT_EQ(host::view_call(plain)->parameters.at(0).text, "noise_shader");

    // No quoted name: nothing. Broken descriptions make no crash and at most one call.
    EXPECT_EQ(mray::build_shader_call("mib_illum_phong", "m4"), miNULLTAG);
    EXPECT_EQ(mray::build_shader_call("\"unclosed", "m5"), miNULLTAG);
    EXPECT_EQ(mray::build_shader_call("]]]", "m6"), miNULLTAG);
    EXPECT_EQ(mray::build_shader_call(nullptr, "m7"), miNULLTAG);
    for (const char* hostile : {"\"s\" \"p\"", "\"s\" \"p\" 2", "\"s\" \"p\" 2 [", "\"s\" 21 []]",
                                "\"s\" \"p\" 0x15 [\"a\" \"b", "\"s\" \"p\" 13 [\"\"]",
                                "\"s\" \"p\" 2 [\"\"] \"q\" 9 [1e40]"})
      mray::build_shader_call(hostile, "hostile");
  });
}

TEST(ObjectOutput, SubdivisionMeshesIndexOneVertexPerPoint) {
  in_child([] {
    Mesh* mesh = mesh_new();
    ASSERT_TRUE(mesh_allocate(mesh, 5, 2, 7, 0));
    for (int i = 0; i < 5; ++i) mesh->points[i] = {static_cast<float>(i), 1, 0};
    const int corners[7] = {0, 1, 2, 3, 2, 1, 4};
    for (int i = 0; i < 7; ++i) mesh->corners[i] = corners[i];
    mesh->polygons[0] = {0, 4, {}, {}, 0};
    mesh->polygons[1] = {4, 3, {}, {}, 0};
    const Vector previous[5] = {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {3, 0, 0}, {4, 0, 0}};

    mray::ObjectPiece piece{};
    piece.name = "cage";
    piece.mesh = mesh;
    piece.previous = previous;
    piece.previous_count = 5;
    piece.subdivision = true;
    piece.material = -1;
    mray::ObjectSettings settings{};
    settings.id = 4;
    settings.pass = -1;
    settings.motion_blur = true;
    settings.visible = 2;
    settings.shadow = 3;
    settings.trace = "mi_bonesed_geometry_out()";
    const host::ObjectData* object = host::view_object(mray::output_piece(piece, settings));
    ASSERT_NE(object, nullptr);
    ASSERT_EQ(object->subdivision_meshes.size(), 1u);
    const host::SubdivisionMeshData& cage = object->subdivision_meshes[0];
    EXPECT_EQ(cage.name, "ccmesh");
    EXPECT_EQ(cage.approximation, "ccmesh");
    EXPECT_EQ(cage.polygons, (std::vector<std::vector<miUint>>{{0, 1, 2, 3}, {2, 1, 4}}));
    const host::GroupData& group = object->groups.at(cage.group);
    ASSERT_EQ(group.vectors.size(), 10u);  // five points, five motion vectors
    EXPECT_EQ(group.vectors[7].y, 1.0f);
    ASSERT_EQ(group.vertices.size(), 5u);
    EXPECT_EQ(group.vertices[3].motions, std::vector<int>{8});
    EXPECT_EQ(object->record.bbox_max.x, 4.0f);
    EXPECT_EQ(object->record.bbox_max_m.y, 1.0f);

    // A corner naming a point that does not exist: reported, no object.
    mesh->corners[6] = 5;
    host::clear_messages();
    EXPECT_EQ(mray::output_piece(piece, settings), miNULLTAG);
    bool reported = false;
    for (const host::Message& message : host::messages())
      reported |= message.level == host::Level::error &&
                  message.text.find("cage (agent 4) is inconsistent") != std::string::npos;
    EXPECT_TRUE(reported);
    mesh_free(mesh);
  });
}

}  // namespace
