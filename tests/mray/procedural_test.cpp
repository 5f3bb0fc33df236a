// The RenderMan procedural: its parameter string and options, and what Subdivide emits through
// the host's Ri functions, read back with a RIB reader of the tests' own.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "host/rib_writer.h"
#include "mray/procedural_record.h"
#include "mray/procedural_subdivide.h"
#include "mray/ri_functions.h"
#include "mray/ri_interface.h"
#include "mray/rib_options.h"
#include "mray/rib_shader.h"
#include "tests/support/plugin_scenario.h"
#include "tests/support/rib_reader.h"
#include "tests/support/walker_fixture.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

namespace fs = std::filesystem;

fs::path fixture_directory() {
  static const fs::path directory = fs::path(testing::TempDir()) / "walker";
  static const std::string agent_file = rib_test::write_walker(directory);
  return directory;
}

ProceduralRecord* convert(const std::string& text) {
  std::vector<char> copy(text.begin(), text.end());
  copy.push_back('\0');
  return static_cast<ProceduralRecord*>(ConvertParameters(copy.data()));
}

// Runs the procedural for one parameter string and returns the RIB written.
std::string subdivide(const std::string& parameters) {
  std::ostringstream out;
  host::RibWriter writer(out);
  host::RibWriter* previous = host::set_rib_writer(&writer);
  ProceduralRecord* record = convert(parameters);
  Subdivide(record, 10.0f);
  Free(record);
  host::set_rib_writer(previous);
  return out.str();
}

std::string walker_string(int id, const std::string& rest = "") {
  const fs::path dir = fixture_directory();
  return std::to_string(id) + " " + (dir / "walker.cdl").string() + " " +
         (dir / "frame.5.apf").string() + " 5" + rest;
}

using plugin_test::count_of;
using rib_test::expect_numbers;

// Kept first: the warning is once per process, and later tests name passes.
TEST(Procedural, RenderPassWarningComesOnceForManyAgents) {
  testing::internal::CaptureStderr();
  std::string rib;
  for (int i = 0; i < 5; ++i) rib += subdivide(walker_string(12, " options motion_blur 0"));
  const std::string errors = testing::internal::GetCapturedStderr();
  EXPECT_EQ(1, count_of(errors, "Warning: renderpass undefined\n")) << errors;
  EXPECT_EQ(5, count_of(rib, "PointsPolygons"));
}

TEST(Procedural, ParameterStringsGiveRecordsOrNotEnoughParameters) {
  ProceduralRecord* record = convert("12 /c/a.cdl /s/frame.5.apf 5 speed 2");
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(12, record->id);
  EXPECT_STREQ("/c/a.cdl", record->cdl_file);
  EXPECT_STREQ("/s/frame.5.apf", record->apf_file);
  EXPECT_EQ(nullptr, record->motion_file);
  EXPECT_EQ(5, record->frame);
  ASSERT_EQ(1, record->pair_count);
  EXPECT_STREQ("speed", record->pairs[0].name);
  EXPECT_EQ(MRAY_PAIR_NUMBER, record->pairs[0].kind);
  EXPECT_FLOAT_EQ(2.0f, record->pairs[0].number);
  EXPECT_EQ(PROCEDURAL_PARSED, record->flags & PROCEDURAL_PARSED);
  Free(record);

  // Accepted options end the walk: nothing after "options" becomes a pair.
  record = convert("12 a.cdl x.amc 5 options motion_blur 1 rib_comments 1");
  ASSERT_NE(record, nullptr);
  EXPECT_STREQ("x.amc", record->motion_file);
  EXPECT_EQ(nullptr, record->apf_file);
  ASSERT_EQ(3, record->pair_count);
  EXPECT_EQ(MRAY_PAIR_UNSET, record->pairs[0].kind);
  EXPECT_STREQ("", record->pairs[0].name);
  Free(record);

  // Refused options: the walk goes on after "options", so the option word becomes a pair name.
  record = convert("12 a.cdl x.amc 5 options velocity");
  ASSERT_NE(record, nullptr);
  ASSERT_EQ(1, record->pair_count);
  EXPECT_STREQ("velocity", record->pairs[0].name);
  EXPECT_EQ(MRAY_PAIR_UNSET, record->pairs[0].kind);
  Free(record);

  testing::internal::CaptureStderr();
  for (const char* few : {"", "   ", "12 a.cdl", "\x01\xff"}) EXPECT_EQ(nullptr, convert(few));
  EXPECT_EQ(4, count_of(testing::internal::GetCapturedStderr(), "not enough parameters\n"));

  // Hostile strings that still give a clean record, which Free takes back whole.
  const std::string huge_name(5000, 'n');
  std::string many;
  for (int i = 0; i < 20000; ++i) many += " w" + std::to_string(i);
  for (const std::string& text :
       {std::string("\"12 a.cdl \"b.apf 3 \"x"), std::string("\xff\xfe \x80 \x7f\x01 options"),
        "7 a.cdl b.apf 2 " + huge_name + " 1", "1 a.cdl b.apf 2" + many,
        std::string("-1 -1 a.cdl b.apf.gz 9 options options")}) {
    record = convert(text);
    ASSERT_NE(record, nullptr) << text.substr(0, 40);
    EXPECT_NE(record->cdl_file, nullptr);
    for (int i = 0; i < record->pair_count; ++i)
      EXPECT_LE(std::strlen(record->pairs[i].name), 202u);
    Free(record);
  }
  Free(nullptr);
}

TEST(Procedural, OptionsReaderTakesAllOrNothing) {
  mray::RibOptions options;
  bool blur = true;
  ASSERT_TRUE(mray::read_rib_options(
      "motion_blur 0 render_pass beauty rib_comments off velocity yes openGL 1 3delight", &options,
      &blur));
  EXPECT_FALSE(blur);
  EXPECT_TRUE(options.has_pass_name);
  EXPECT_EQ("beauty", options.pass_name);
  EXPECT_FALSE(options.rib_comments);
  EXPECT_TRUE(options.velocity);
  EXPECT_TRUE(options.opengl);
  EXPECT_EQ(mray::RibFlavour::delight, options.flavour);

  for (const char* refused : {"", "  ", "motion_blur", "motion_blur maybe", "render_pass",
                              "prman unknown 1", "velocity 1 openGL"}) {
    mray::RibOptions kept;
    bool kept_blur = true;
    EXPECT_FALSE(mray::read_rib_options(refused, &kept, &kept_blur)) << refused;
    EXPECT_TRUE(kept_blur) << refused;
    EXPECT_TRUE(kept.rib_comments && !kept.velocity && !kept.opengl && !kept.has_pass_name &&
                kept.flavour == mray::RibFlavour::any)
        << refused;
  }

  mray::RibOptions environment;
  for (const char* flip : {"1", "0", static_cast<const char*>(nullptr)}) {
    if (flip)
      ::setenv("HORDERA_RMAN_FLIPV", flip, 1);
    else
      ::unsetenv("HORDERA_RMAN_FLIPV");
    mray::read_rib_environment(&environment);
    EXPECT_EQ(environment.flip_v, flip != nullptr && *flip == '1') << (flip ? flip : "unset");
  }

  // The previous frame's cache sits in the same directory, whatever dots the path holds.
  EXPECT_EQ("/s/frame.4.apf", mray::previous_apf_file("/s/frame.5.apf", 5));
  EXPECT_EQ("/s.old/frame.11.apf.gz", mray::previous_apf_file("/s.old/frame.12.apf.gz", 12));
  EXPECT_EQ("./frame.0.apf", mray::previous_apf_file("frame.1.apf", 1));
}

TEST(Procedural, EmitsThePosedAgentWithItsMaterialMotionAndRestPose) {
  const std::string blurred =
      subdivide(walker_string(12, " speed 2 options motion_blur 1 rib_comments 1"));
  const std::string cdl = (fixture_directory() / "walker.cdl").string();
  EXPECT_THAT(blurred, HasSubstr("# Agent: walker_12\n# CDL: " + cdl + "\n"));
  const std::vector<rib_test::Request> requests = rib_test::parse_rib(blurred);

  const auto declares = rib_test::find_requests(requests, "Declare");
  ASSERT_EQ(1u, declares.size());
  ASSERT_EQ(2u, declares[0]->arguments.size());
  EXPECT_EQ("Pref", declares[0]->arguments[0].text);
  EXPECT_EQ("varying point", declares[0]->arguments[1].text);
  const auto identifiers = rib_test::find_requests(requests, "Attribute");
  ASSERT_EQ(1u, identifiers.size());
  ASSERT_NE(nullptr, identifiers[0]->parameter("string name"));
  EXPECT_EQ(std::vector<std::string>{"walker_12"},
            identifiers[0]->parameter("string name")->strings);

  // hsv (0, 1, 1) is pure red; no shader description, so the plastic default.
  const auto colours = rib_test::find_requests(requests, "Color");
  ASSERT_EQ(1u, colours.size());
  expect_numbers({1, 0, 0}, &colours[0]->arguments[0], "Color");
  const auto surfaces = rib_test::find_requests(requests, "Surface");
  ASSERT_EQ(1u, surfaces.size());
  EXPECT_EQ("plastic", surfaces[0]->arguments[0].text);
  EXPECT_TRUE(rib_test::find_requests(requests, "Matte").empty());

  // MotionBegin [0 1], frame 4's mesh, frame 5's mesh, MotionEnd.
  size_t motion = 0;
  while (motion < requests.size() && requests[motion].keyword != "MotionBegin") ++motion;
  ASSERT_LT(motion + 3, requests.size());
  expect_numbers({0, 1}, &requests[motion].arguments[0], "MotionBegin");
  EXPECT_EQ("PointsPolygons", requests[motion + 1].keyword);
  EXPECT_EQ("PointsPolygons", requests[motion + 2].keyword);
  EXPECT_EQ("MotionEnd", requests[motion + 3].keyword);
  for (int step = 0; step < 2; ++step) {
    const rib_test::Request& mesh = requests[motion + 1 + step];
    expect_numbers({4}, &mesh.arguments[0], "nverts");
    expect_numbers({0, 1, 2, 3}, &mesh.arguments[1], "verts");
    expect_numbers(rib_test::walker_points(4 + step), mesh.parameter("P"), "P");
    // The normal (0, 0, 1) turns about z and stays; it reaches the renderer negated.
    expect_numbers({0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1}, mesh.parameter("N"), "N");
    expect_numbers({0, 0, 1, 0, 1, 1, 0, 1}, mesh.parameter("facevarying float[2] st"), "st");
    expect_numbers({1, 2, 0, 1, 1, 0, 0, 0.5, 0, 0, 2, 0}, mesh.parameter("Pref"), "Pref");
  }

  // Without comments and with velocity: one mesh carrying the step from frame 4 to 5.
  const std::string moving = subdivide(walker_string(12, " options rib_comments 0 velocity 1"));
  EXPECT_THAT(moving, Not(HasSubstr("# Agent")));
  const std::vector<rib_test::Request> velocity = rib_test::parse_rib(moving);
  EXPECT_TRUE(rib_test::find_requests(velocity, "MotionBegin").empty());
  const auto meshes = rib_test::find_requests(velocity, "PointsPolygons");
  ASSERT_EQ(1u, meshes.size());
  expect_numbers(rib_test::walker_points(5), meshes[0]->parameter("P"), "P");
  expect_numbers({1, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0},
                 meshes[0]->parameter("varying vector dPdtime"), "dPdtime");

  // Agent 3 of the same type gets its own pose (x = 15) from the same files.
  const std::string third = subdivide(walker_string(3, " options velocity 0 motion_blur 0"));
  const auto parsed_third = rib_test::parse_rib(third);
  const auto other = rib_test::find_requests(parsed_third, "PointsPolygons");
  ASSERT_EQ(1u, other.size());
  expect_numbers(rib_test::walker_points(15), other[0]->parameter("P"), "P of agent 3");
}

// A renderer may subdivide from several threads; agents of one type share a render agent, so
// each must still come out whole with its own pose.
TEST(Procedural, AgentsSubdividedFromSeveralThreadsKeepTheirOwnPose) {
  std::ostringstream out;
  host::RibWriter writer(out);
  host::RibWriter* previous = host::set_rib_writer(&writer);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t] {
      for (int i = 0; i < 4; ++i) {
        ProceduralRecord* record =
            convert(walker_string((t + i) % 2 ? 3 : 12, " options motion_blur 0"));
        Subdivide(record, 1.0f);
        Free(record);
      }
    });
  for (std::thread& thread : threads) thread.join();
  host::set_rib_writer(previous);

  const std::vector<rib_test::Request> requests = rib_test::parse_rib(out.str());
  int counts[2] = {0, 0};
  const std::vector<double> places[2] = {rib_test::walker_points(5), rib_test::walker_points(15)};
  for (const rib_test::Request* mesh : rib_test::find_requests(requests, "PointsPolygons")) {
    const rib_test::Value* points = mesh->parameter("P");
    ASSERT_NE(nullptr, points);
    for (int agent = 0; agent < 2; ++agent)
      if (points->numbers.size() == 12 && std::abs(points->numbers[0] - places[agent][0]) < 1e-5)
        ++counts[agent];
  }
  EXPECT_EQ(8, counts[0]);
  EXPECT_EQ(8, counts[1]);
}

TEST(Procedural, NothingIsEmittedForAnUnloadableAgentOrMissingRiFunctions) {
  testing::internal::CaptureStderr();
  EXPECT_EQ("", subdivide("3 /nowhere/ghost.cdl /nowhere/frame.1.apf 1"));
  EXPECT_EQ("", subdivide("3"));  // refused: no record, and Subdivide takes null
  testing::internal::GetCapturedStderr();

  mray::ri_set_resolver([](const char* name) -> void* {
    return std::strcmp(name, "RiPointsPolygonsV") == 0 ? nullptr : dlsym(RTLD_DEFAULT, name);
  });
  testing::internal::CaptureStderr();
  const std::string rib = subdivide(walker_string(12)) + subdivide(walker_string(12));
  const std::string errors = testing::internal::GetCapturedStderr();
  mray::ri_set_resolver(nullptr);
  EXPECT_EQ("", rib);
  EXPECT_EQ(1, count_of(errors, "RiPointsPolygonsV")) << errors;
  EXPECT_NE("", subdivide(walker_string(12)));
}

TEST(Procedural, ShaderDescriptionsBecomeTypedRenderManCalls) {
  mray::RibShaderCall call;
  ASSERT_TRUE(mray::parse_rman_description(
      "\"skin\" \"Kd\" 0.5 \"color tint\" [1 0 0] \"texturename\" \"a b.tx\" \"w\" [1 2]", &call));
  EXPECT_EQ("skin", call.name);
  ASSERT_EQ(4u, call.parameters.size());
  EXPECT_EQ("float Kd", call.parameters[0].token);
  EXPECT_EQ("color tint", call.parameters[1].token);
  EXPECT_EQ((std::vector<float>{1, 0, 0}), call.parameters[1].numbers);
  EXPECT_EQ("string texturename", call.parameters[2].token);
  EXPECT_EQ(std::vector<std::string>{"a b.tx"}, call.parameters[2].strings);
  EXPECT_EQ("float[2] w", call.parameters[3].token);

  ASSERT_TRUE(mray::parse_pass_description(
      "\"phong\" \"diffuse\" 2 [1 0.5 0] \"exponent\" 8 [50] \"map\" 13 [\"a.tif\"] "
      "\"link\" 0 [\"other\"] \"odd\" 99 [1]",
      &call));
  EXPECT_EQ("phong", call.name);
  ASSERT_EQ(3u, call.parameters.size());
  EXPECT_EQ("color diffuse", call.parameters[0].token);
  EXPECT_EQ((std::vector<float>{1, 0.5f, 0}), call.parameters[0].numbers);
  EXPECT_EQ("float exponent", call.parameters[1].token);
  EXPECT_EQ("string map", call.parameters[2].token);

  for (const char* broken : {"", "phong", "\"phong", "\"\" \"Kd\" 1"})
    EXPECT_FALSE(mray::parse_rman_description(broken, &call)) << broken;
  // Unterminated groups run to the end and are dropped without harm.
  ASSERT_TRUE(mray::parse_rman_description("\"s\" \"Kd\" [0.5 \"x", &call));
  EXPECT_TRUE(call.parameters.empty());
}

// Kept last: the pass named here stays this path's pass for the rest of the process.
TEST(Procedural, ThePassFiltersAgentsAndMakesThemMatte) {
  const fs::path dir = fixture_directory();
  rib_test::write_file(dir / "ghost.cdl",
                       "# CDL created with hordera v1.0.0\n"
                       "object ghost\nrender_pass beauty 5\n"
                       "segment root\ntranslate 0 1 0\nsegment arm\nparent root\n"
                       "translate 0 1 0\nbone root\nbone arm\n"
                       "material veil\nrman_surface \"veil\" \"Kd\" 0.25\n"
                       "geometry body\nfile body.obj\nweights_file body.w\nmaterial 0\n"
                       "subdiv\ninterpolateboundary 1\nend object\n");
  const std::string ghost = "12 " + (dir / "ghost.cdl").string() + " " +
                            (dir / "frame.5.apf").string() +
                            " 5 options render_pass beauty motion_blur 0";
  const std::vector<rib_test::Request> requests = rib_test::parse_rib(subdivide(ghost));
  ASSERT_EQ(1u, rib_test::find_requests(requests, "Matte").size());
  EXPECT_EQ(1, rib_test::find_requests(requests, "Matte")[0]->arguments[0].number);
  const auto surfaces = rib_test::find_requests(requests, "Surface");
  ASSERT_EQ(1u, surfaces.size());
  EXPECT_EQ("veil", surfaces[0]->arguments[0].text);
  ASSERT_NE(nullptr, surfaces[0]->parameter("float Kd"));
  EXPECT_EQ(std::vector<double>{0.25}, surfaces[0]->parameter("float Kd")->numbers);
  // Subdivision geometry: the cage with its boundary tag, and no normals.
  EXPECT_TRUE(rib_test::find_requests(requests, "PointsPolygons").empty());
  const auto cages = rib_test::find_requests(requests, "SubdivisionMesh");
  ASSERT_EQ(1u, cages.size());
  EXPECT_EQ("catmull-clark", cages[0]->arguments[0].text);
  EXPECT_EQ(std::vector<std::string>{"interpolateboundary"}, cages[0]->arguments[3].strings);
  expect_numbers(rib_test::walker_points(5), cages[0]->parameter("P"), "cage P");
  EXPECT_EQ(nullptr, cages[0]->parameter("N"));
  // The walker's agent file names no pass, so it takes no part in "beauty".
  EXPECT_EQ("", subdivide(walker_string(12)));
}

}  // namespace
