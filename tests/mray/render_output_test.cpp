// What the front-end hands to the renderer, read back from the stand-in host's scene database:
// whole agents rendered by hordera.so, shader calls and objects built by the front-end's own
// functions, each scenario in a child process, and the shader descriptions the calls are built
// from taken apart; expected values are worked out by hand.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "agent/agent.h"
#include "agent/mesh.h"
#include "host/memory.h"
#include "host/messages.h"
#include "host/plugin.h"
#include "host/render_session.h"
#include "host/scene_names.h"
#include "host/scene_view.h"
#include "mray/object_output.h"
#include "mray/renderer_functions.h"
#include "mray/shader_call.h"
#include "mray/shader_description.h"
#include "tests/support/crowd_fixture.h"
#include "tests/support/files.h"
#include "tests/support/plugin_scenario.h"
#include "tests/support/skin_shader.h"

namespace {

using plugin_test::list;

using ::testing::HasSubstr;

using plugin_test::expect_vector;
using plugin_test::in_render;
using plugin_test::man;
using plugin_test::message_texts;
using plugin_test::names_of;
using plugin_test::render_agents;
using test_files::write_file;

namespace fs = std::filesystem;

// A man (the crowd fixture's meshes): root and an arm one unit above it, a skinned body of two
// quads (normals and texture coordinates), a prop carried by the arm, a selector of three
// alternatives with value 1.6, a Phong material in HSV and a material shaded by a description with
// a texture and an expression.
fs::path write_agent(const std::string& name) {
  const fs::path dir = fs::path(testing::TempDir()) / name;
  crowd_test::write_man_meshes(dir);
  write_file(dir / "man.cdl",
             "object man\n"
             "variables\nred 0.25\nend variables\n"
             "render_pass beauty\nrender_pass night 7\nrender_pass front 1\n"
             "render_pass hidden 4\n"
             "segment root\n"
             "segment arm\nparent root\ntranslate 0 1 0\n"
             "bone root\nbone arm\n"
             "material skin\nid 0\nambient 0.1 0.2 0.3\ndiffuse hsv 0 1 1\n"
             "specular 0.5 0.5 0.5\ndispl_bounds beauty 0.5\n"
             "displacement night \"bumpy\" \"amount\" 9 ['red * 2']\n"
             "material cloth\nid 3\ndiffuse red 0.2 0.1\n"
             "shader beauty \"mib_illum_phong\" \"diffuse\" 2 [\"maps/skin.tif\"] "
             "\"exponent\" 9 ['red * 40'] \"mode\" 8 [2]\n"
             "geometry body\nfile body.obj\nweights_file body.w\nmaterial 0\n"
             "geometry prop\nfile prop.obj\nattach arm\nmaterial 3\n"
             "option pick\nmanual 1.6\ngeo a\ngeo b\ngeo c\n"
             "geometry a\nfile prop.obj\n"
             "geometry b\nfile prop.obj\n"
             "geometry c\nfile prop.obj\n"
             "end object\n");
  // Frame 11: root at x = 1. Frame 12: agent 1's root at x = 3, agent 2's at x = -4 with the arm
  // turned 90 degrees about z.
  write_file(dir / "frame.11.apf",
             "BEGIN man_1\nroot 0 0 0 1 0 0\narm 0 0 0 0 1 0\n\n"
             "BEGIN man_2\nroot 0 0 0 1 0 0\narm 0 0 0 0 1 0\n");
  write_file(dir / "frame.12.apf",
             "BEGIN man_1\nroot 0 0 0 3 0 0\narm 0 0 0 0 1 0\n\n"
             "BEGIN man_2\nroot 0 0 0 -4 0 0\narm 0 0 90 0 1 0\n");
  return dir;
}

miTag named(const std::string& name) {
  const auto names = host::view_names();
  const auto found = names.find(name);
  return found == names.end() ? miNULLTAG : found->second;
}

// The call's parameter of this name (an empty one when it has none).
const host::ParameterData& parameter(const host::CallData* call, const std::string& name) {
  static const host::ParameterData none{};
  for (const host::ParameterData& each : call->parameters)
    if (each.name == name) return each;
  return none;
}

std::vector<double> numbers_of(const host::CallData& call, const std::string& name) {
  return parameter(&call, name).numbers;
}

std::vector<std::string> parameter_names(const host::CallData& call) {
  std::vector<std::string> names;
  for (const host::ParameterData& each : call.parameters) names.push_back(each.name);
  return names;
}

TEST(AgentOutput, APassWithMotionBlurGivesMaterialsObjectsAndMotionPerAgent) {
  const fs::path dir = write_agent("beauty");
  in_render([&](host::Plugin&, host::RenderSession& session) {
    testing::internal::CaptureStderr();
    const std::string files = (dir / "man.cdl").string() + " " + (dir / "frame.12.apf").string();
    const auto agents = render_agents(session, plugin_test::render_options("beauty", 1),
                                      {man(1, files + " 12"), man(2, files + " 12 red 0.5")});
    testing::internal::GetCapturedStderr();
    ASSERT_EQ(agents.size(), 2u);
    EXPECT_EQ(message_texts(host::Level::error), std::vector<std::string>{});

    // Objects in order: skinned body, the prop carried by the arm, the selector's third choice.
    const auto& first = agents[0];
    ASSERT_EQ(names_of(first), (std::vector<std::string>{"body", "prop", "c"}));
    const host::ObjectData& body = *first[0];
    EXPECT_EQ(body.record.visible, 2);
    EXPECT_EQ(body.record.shadow, 3);
    EXPECT_FLOAT_EQ(body.record.maxdisplace, 0.5f);
    ASSERT_EQ(body.groups.size(), 1u);
    const host::GroupData& group = body.groups[0];
    // 6 points, 6 normals, 8 texture vectors (one per corner), 6 motion vectors.
    ASSERT_EQ(group.vectors.size(), 26u);
    expect_vector(group.vectors[0], 3, 0, 0, "point 0");
    expect_vector(group.vectors[5], 4, 2, 0, "point 5");
    expect_vector(group.vectors[6], 0, 0, -1, "normal 0, negated");
    expect_vector(group.vectors[12 + 4], 0, 0, 0, "texture of corner 4");
    expect_vector(group.vectors[12 + 6], 1, 1, 0, "texture of corner 6");
    for (int p = 0; p < 6; ++p) expect_vector(group.vectors[20 + p], 2, 0, 0, "motion");
    expect_vector(body.record.bbox_min, 3, 0, 0, "box min");
    expect_vector(body.record.bbox_max, 4, 2, 0, "box max");
    expect_vector(body.record.bbox_min_m, 2, 0, 0, "motion box min");
    expect_vector(body.record.bbox_max_m, 2, 0, 0, "motion box max");
    EXPECT_TRUE(body.record.mbox_explicit);
    ASSERT_EQ(group.vertices.size(), 8u);
    // Corner 4 is the second quad's first corner: point 3.
    EXPECT_EQ(group.vertices[4].position, 3);
    EXPECT_EQ(group.vertices[4].normal, 9);
    EXPECT_EQ(list(group.textures(group.vertices[4])), std::vector<int>{16});
    EXPECT_EQ(list(group.motions(group.vertices[4])), std::vector<int>{23});
    ASSERT_EQ(group.polygons.size(), 2u);
    EXPECT_EQ(list(group.corners(group.polygons[1])), (std::vector<int>{4, 5, 6, 7}));
    EXPECT_EQ(group.polygons[0].material, named("mat_1_0"));

    // The prop rides on the arm: at (3, 1, 0) now, at (1, 1, 0) on frame 11.
    const host::GroupData& prop = first[1]->groups.at(0);
    expect_vector(prop.vectors[1], 3.5f, 1, 0, "prop point");
    expect_vector(prop.vectors[3 + 1], 2, 0, 0, "prop motion");
    EXPECT_EQ(prop.polygons.at(0).material, named("mat_1_3"));

    // Agent 2 has its own pose: the arm turned 90 degrees, the root at x = -4.
    const auto& second = agents[1];
    ASSERT_EQ(names_of(second), (std::vector<std::string>{"body", "prop", "c"}));
    expect_vector(second[0]->groups.at(0).vectors[4], -5, 1, 0, "agent 2 point 4");
    EXPECT_EQ(second[0]->groups.at(0).polygons.at(0).material, named("mat_2_0"));

    // Default Phong in the documented order, the HSV diffuse turned into red.
    const host::MaterialData* skin = host::view_material(named("mat_1_0"));
    ASSERT_NE(skin, nullptr);
    EXPECT_TRUE(skin->record.opaque);
    EXPECT_EQ(skin->record.displace, miNULLTAG);
    const host::CallData* phong = host::view_call(skin->record.shader);
    ASSERT_NE(phong, nullptr);
    EXPECT_EQ(phong->declaration, "mib_illum_phong");
    EXPECT_EQ(parameter_names(*phong), (std::vector<std::string>{"ambience", "ambient", "diffuse",
                                                                 "specular", "exponent", "mode"}));
    EXPECT_EQ(numbers_of(*phong, "diffuse"), (std::vector<double>{1, 0, 0}));
    EXPECT_EQ(numbers_of(*phong, "ambience"), (std::vector<double>{1, 1, 1}));
    EXPECT_EQ(numbers_of(*phong, "exponent"), std::vector<double>{50});
    EXPECT_EQ(numbers_of(*phong, "mode"), std::vector<double>{2});

    // The description: both agents connect to the file's one texture shader, and each agent's
    // expression took its own variable.
    for (int id : {1, 2}) {
      const std::string name = "mat_" + std::to_string(id) + "_3";
      const host::MaterialData* cloth = host::view_material(named(name));
      ASSERT_NE(cloth, nullptr) << name;
      const host::CallData* call = host::view_call(cloth->record.shader);
      ASSERT_NE(call, nullptr) << name;
      EXPECT_EQ(call->name, name);
      EXPECT_EQ(numbers_of(*call, "exponent"), std::vector<double>{id == 1 ? 10.0 : 20.0});
      ASSERT_FALSE(call->parameters.empty());
      EXPECT_TRUE(call->parameters[0].connected);
      EXPECT_EQ(call->parameters[0].text, "maps_skin_tif_shd");
    }
  });
}

TEST(AgentOutput, MatteFrontOnlyExcludedAndPasslessAgents) {
  const fs::path dir = write_agent("passes");
  in_render([&](host::Plugin&, host::RenderSession& session) {
    testing::internal::CaptureStderr();
    const std::string words = (dir / "man.cdl").string() + " " + (dir / "frame.12.apf").string();

    // Matte (flags 7): not opaque, the one matte shader, the displacement still made.
    auto agents = render_agents(session, plugin_test::render_options("night", 0),
                                {man(1, words + " 12"), man(2, words + " 12")});
    ASSERT_EQ(agents.size(), 2u);
    EXPECT_EQ(host::view_variables()["hordera_matte_shader"], "true");
    EXPECT_EQ(host::view_declarations().count("hordera_matte"), 1u);
    const host::MaterialData* skin = host::view_material(named("mat_2_0"));
    ASSERT_NE(skin, nullptr);
    EXPECT_FALSE(skin->record.opaque);
    EXPECT_NE(skin->record.shader, miNULLTAG);
    const host::CallData* displacement = host::view_call(skin->record.displace);
    ASSERT_NE(displacement, nullptr);
    EXPECT_EQ(displacement->name, "mat_2_0_dis");
    EXPECT_EQ(numbers_of(*displacement, "amount"), std::vector<double>{0.5});
    const host::CallData* matte = host::view_call(skin->record.shader);
    ASSERT_NE(matte, nullptr);
    EXPECT_EQ(matte->declaration, "hordera_matte");
    EXPECT_TRUE(matte->parameters.empty());
    const auto night = agents[0];
    ASSERT_FALSE(night.empty());
    EXPECT_EQ(night[0]->record.visible, 2);
    EXPECT_EQ(night[0]->record.shadow, 3);
    // Without motion blur: points, normals and texture vectors only, no motion box.
    EXPECT_EQ(night[0]->groups.at(0).vectors.size(), 20u);
    EXPECT_FALSE(night[0]->record.mbox_explicit);

    // Visible but casting no shadow (flags 1).
    agents =
        render_agents(session, plugin_test::render_options("front", 0), {man(3, words + " 12")});
    const auto front = agents.at(0);
    ASSERT_FALSE(front.empty());
    EXPECT_EQ(front[0]->record.visible, 2);
    EXPECT_EQ(front[0]->record.shadow, 0);

    // Matte alone (flags 4) does not take part; nor does a pass the agent file never names.
    host::clear_messages();
    agents = render_agents(session, plugin_test::render_options("hidden", 0),
                           {man(4, words + " 12"), man(5, words + " 12")});
    EXPECT_EQ(agents, (std::vector<std::vector<const host::ObjectData*>>(2)));
    EXPECT_EQ(named("mat_4_0"), miNULLTAG);
    int unlocked = 0;
    for (const host::Message& message : host::messages())
      unlocked += message.text == "-->after unlocking agent4\n";
    EXPECT_EQ(unlocked, 1);

    // No pass: materials are still made, objects use "default_mtl" and are visible.
    agents =
        render_agents(session, plugin_test::render_options(nullptr, 0), {man(6, words + " 12")});
    EXPECT_NE(named("mat_6_0"), miNULLTAG);
    const auto passless = agents.at(0);
    ASSERT_EQ(passless.size(), 3u);
    EXPECT_EQ(passless[0]->record.visible, 2);
    EXPECT_EQ(passless[0]->record.shadow, 3);
    EXPECT_EQ(passless[0]->record.maxdisplace, 0.0f);
    EXPECT_EQ(passless[0]->groups.at(0).polygons.at(0).material, named("default_mtl"));
    testing::internal::GetCapturedStderr();
    // Every name and table the plug-in took from renderer memory was handed over or given back.
    for (const host::MemoryBlock& block : host::memory_in_use())
      ADD_FAILURE() << "still held: " << block.file << ":" << block.line;
  });
}

TEST(AgentOutput, MissingPoseCachesAreReportedAndTheAgentIsDrawnInThePoseItHas) {
  const fs::path dir = write_agent("bad");
  in_render([&](host::Plugin&, host::RenderSession& session) {
    const std::string cdl = (dir / "man.cdl").string();

    // A pose cache that is missing, and one that has no record for agent 7: a warning each,
    // and the agent drawn in the pose it has (here its rest pose).
    testing::internal::CaptureStderr();
    const auto agents =
        render_agents(session, plugin_test::render_options("beauty", 0),
                      {man(1, cdl + " " + (dir / "frame.99.apf").string() + " 99"),
                       man(7, cdl + " " + (dir / "frame.12.apf").string() + " 12")});
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_THAT(printed, HasSubstr("Warning: Couldn't find APF file " +
                                   (dir / "frame.99.apf").string() + "\n"));
    EXPECT_THAT(printed, HasSubstr("Warning: Couldn't find APF file " +
                                   (dir / "frame.12.apf").string() + "\n"));
    ASSERT_EQ(agents.size(), 2u);
    const auto& rest = agents[1];
    ASSERT_FALSE(rest.empty());
    expect_vector(rest[0]->groups.at(0).vectors[5], 1, 2, 0, "rest point 5");
  });
}

// Scenarios that call the front-end's own functions (linked into this test) rather than the
// loaded plug-in: they find the host's renderer functions in this process, and start from a
// database that knows the base shaders.
void use_own_front_end() {
  miSetModuleHandle(dlopen(nullptr, RTLD_NOW));
  host::declare_base_shaders();
}

TEST(ShaderCall, EveryTypeCodeIsHandedOverAsTheRendererTakesIt) {
  plugin_test::in_child([] {
    use_own_front_end();
    support::declare_skin_shader();
    for (const char* light : {"key", "fill"}) {
      mi_api_function_call(support::renderer_copy("mib_illum_phong"));
      mi_api_shader_add(support::renderer_copy(light), mi_api_function_call_end(miNULLTAG));
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
    EXPECT_EQ(parameter_names(*call),
              (std::vector<std::string>{"base", "tint", "on", "count", "gain", "label", "bump",
                                        "lights", "odd"}));
    EXPECT_TRUE(parameter(call, "base").connected);
    EXPECT_EQ(parameter(call, "base").text, "other");
    EXPECT_EQ(parameter(call, "tint").numbers, (std::vector<double>{1, 0.5, 0}));
    EXPECT_EQ(parameter(call, "on").numbers, std::vector<double>{1});
    EXPECT_EQ(parameter(call, "count").numbers, std::vector<double>{-2});
    EXPECT_EQ(parameter(call, "gain").numbers, std::vector<double>{0.25});
    EXPECT_EQ(parameter(call, "label").text, "left arm");
    // A scalar texture declared for the file, handed over by name.
    EXPECT_EQ(parameter(call, "bump").text, "maps_b_tif_tex");
    const host::TextureData* texture = host::view_texture(named("maps_b_tif_tex"));
    ASSERT_NE(texture, nullptr);
    EXPECT_EQ(texture->kind, 1);
    EXPECT_EQ(texture->file, "maps/b.tif");
    const host::ParameterData& lights = parameter(call, "lights");
    ASSERT_EQ(lights.elements.size(), 2u);
    EXPECT_EQ(lights.elements[0].text, "::key");
    EXPECT_EQ(lights.elements[1].text, "::fill");
    EXPECT_EQ(lights.elements[1].tag, named("fill"));
    // An unknown code gives the name only.
    EXPECT_TRUE(parameter(call, "odd").numbers.empty());
    EXPECT_EQ(message_texts(host::Level::error), std::vector<std::string>{});
    // One debug message per parameter name and per value, "|" between messages.
    std::string traces;
    for (const std::string& text : message_texts(host::Level::debug))
      traces += (traces.empty() ? "" : "|") + text;
    EXPECT_EQ(traces,
              "-->call shaders for mat_1_0\n|-->\"base\" | \"other\"\n|-->\"tint\" | 1.000000 "
              "0.500000 0.000000\n|-->\"on\" | 1\n|-->\"count\" | -2\n|-->\"gain\" | "
              "0.250000\n|-->\"label\" | \"left arm\"\n|-->\"bump\" | \"maps_b_tif_tex\"\n|"
              "-->\"lights\" | \"key\"\n| \"fill\"\n|-->\"odd\" ");
  });
}

TEST(ShaderCall, NamesAloneTexturesReusedAndDescriptionsThatBuildNothing) {
  plugin_test::in_child([] {
    use_own_front_end();
    // A call known by name is used as it is; a declaration's name gets a new call each time.
    mi_api_function_call(support::renderer_copy("mib_illum_phong"));
    const miTag existing = mi_api_function_call_end(miNULLTAG);
    mi_api_shader_add(support::renderer_copy("red_skin"), existing);
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
  plugin_test::in_child([] {
    use_own_front_end();
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
    EXPECT_EQ(list(group.motions(group.vertices[3])), std::vector<int>{8});
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

using Words = std::vector<std::string_view>;

TEST(ShaderDescription, WordsKeepBracketedAndQuotedGroupsWhole) {
  EXPECT_EQ(mray::split_description(
                "\"mib_illum_phong\" \"diffuse\" 2 [0.8 0.2 0.1]\t\"exponent\" 9 [20]"),
            (Words{"\"mib_illum_phong\"", "\"diffuse\"", "2", "[0.8 0.2 0.1]", "\"exponent\"", "9",
                   "[20]"}));
  // A quoted group holds blanks and brackets; a bracketed group holds quotes.
  EXPECT_EQ(mray::split_description(" \"my shader\"  \"maps\" 21 [\"a b\" \"c\"] "),
            (Words{"\"my shader\"", "\"maps\"", "21", "[\"a b\" \"c\"]"}));
  // A group left open runs to the end instead of past it.
  EXPECT_EQ(mray::split_description("\"s\" \"p\" 9 [1 2"), (Words{"\"s\"", "\"p\"", "9", "[1 2"}));
  EXPECT_EQ(mray::split_description("\"unterminated name"), (Words{"\"unterminated name"}));
  EXPECT_TRUE(mray::split_description(" \t ").empty());
}

TEST(ShaderDescription, ValuesBetweenSingleQuotesComeFromTheAgent) {
  Agent* type = new_agent_type("expander");
  new_userVar(type, "height")->value = 1.5f;
  new_userVar(type, "variant")->value = 3;
  std::string error;
  EXPECT_EQ(mray::expand_description(
                "\"s\" \"k\" 9 ['height * 2'] \"map\" 13 [\"skin_'variant'.tif\"]", type, &error),
            "\"s\" \"k\" 9 [3] \"map\" 13 [\"skin_3.tif\"]");
  EXPECT_EQ(error, "");
  // Values keep every digit a float holds, and no more.
  EXPECT_EQ(mray::expand_description("['height / 3'] ['0.1'] ['-1e-7']", type),
            "[0.5] [0.1] [-1e-07]");
  // An expression that cannot be read gives 0 and says which; a lone quote stays as written.
  EXPECT_EQ(mray::expand_description("['height +'] it's", type, &error), "[0] it's");
  EXPECT_THAT(error, HasSubstr("'height +'"));
  // An unknown variable reads 0, as everywhere in agent files.
  EXPECT_EQ(mray::expand_description("'nothing'", type), "0");
  EXPECT_EQ(mray::expand_description("no quotes at all", nullptr), "no quotes at all");
}

TEST(ShaderDescription, NumberListsAndImageFileNames) {
  EXPECT_EQ(mray::number_items("[ 2 3 ]"), (std::vector<float>{2, 3}));
  EXPECT_EQ(mray::number_items("[abc 4]"), (std::vector<float>{0, 4}));
  EXPECT_EQ(mray::quoted_items("[\"a\" \"b c\" \"\"]"), (std::vector<std::string>{"a", "b c", ""}));
  EXPECT_TRUE(mray::is_image_file_name("/a/b.SKIN.Map"));
  EXPECT_FALSE(mray::is_image_file_name("maps/skin.tiff.bak"));
  EXPECT_FALSE(mray::is_image_file_name("dir.tif/file"));
}

}  // namespace
