// `hordera rib` as a user runs it, read back with the tests' own RIB reader: procedural bounds
// hold everything the agents emit, the expanded agents are posed, and the frame carries a
// camera, lights and a Display line. Also the host's Ri functions on bad calls.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "host/rib_writer.h"
#include "mray/ri_interface.h"
#include "tests/support/command_run.h"
#include "tests/support/files.h"
#include "tests/support/rib_reader.h"
#include "tests/support/walker_fixture.h"

namespace {

using ::testing::HasSubstr;

namespace fs = std::filesystem;

fs::path work_directory() {
  return fs::path(testing::TempDir()) / "rib_command";
}

int run(const std::string& arguments, std::string* errors) {
  const command_test::CommandRun result = command_test::run(arguments);
  *errors = result.err;
  return result.status;
}

using test_files::read_file;

// Two walkers as the exporter writes them, with boxes far too small for their meshes.
std::string write_scene() {
  const fs::path dir = work_directory();
  rib_test::write_walker(dir);
  std::string text = "options \"opt\"\n    \"motion_blur\" on\nend options\n";
  for (int id : {12, 3}) {
    text += "instance \"walker." + std::to_string(id) +
            "_inst\"\n    geometry \"hordera_mray\"(\n        \"id\" " + std::to_string(id) +
            ",\n        \"paramStr\" \"" + (dir / "walker.cdl").string() + " " +
            (dir / "frame.5.apf").string() +
            " 5\",\n        \"bbox_min\" 0 0 0,\n        \"bbox_max\" 0.1 0.1 0.1\n    )\n"
            "end instance\n\n";
  }
  rib_test::write_file(dir / "crowd.mi", text);
  return (dir / "crowd.mi").string();
}

TEST(RibCommand, BoundsHoldWhatTheProceduralsEmitAndTheFrameIsComplete) {
  const std::string scene = write_scene();
  const fs::path procedurals = work_directory() / "crowd.rib";
  const fs::path expanded = work_directory() / "expanded.rib";
  std::string errors;
  ASSERT_EQ(0, run("rib " + scene + " -o " + procedurals.string(), &errors)) << errors;
  ASSERT_EQ(0, run("rib " + scene + " --expand -o " + expanded.string(), &errors)) << errors;
  EXPECT_FALSE(fs::exists(procedurals.string() + ".part"));

  // Agent 12 stands at x = 4 on frame 4 and x = 5 on frame 5, agent 3 ten units further.
  const std::vector<rib_test::Request> calls = rib_test::parse_rib(read_file(procedurals));
  const auto found = rib_test::find_requests(calls, "Procedural");
  ASSERT_EQ(2u, found.size());
  const double origins[2] = {4, 14};
  for (int agent = 0; agent < 2; ++agent) {
    const rib_test::Request& call = *found[agent];
    ASSERT_EQ(3u, call.arguments.size());
    EXPECT_EQ("DynamicLoad", call.arguments[0].text);
    ASSERT_EQ(2u, call.arguments[1].strings.size());
    EXPECT_EQ("hordera.so", call.arguments[1].strings[0]);
    EXPECT_EQ(0u, call.arguments[1].strings[1].rfind(agent == 0 ? "12 " : "3 ", 0));
    EXPECT_THAT(call.arguments[1].strings[1], HasSubstr(" options motion_blur 1"));
    const std::vector<double>& bound = call.arguments[2].numbers;
    ASSERT_EQ(6u, bound.size());
    for (double x : {origins[agent], origins[agent] + 1}) {
      const std::vector<double> points = rib_test::walker_points(x);
      for (size_t p = 0; p < points.size(); p += 3)
        for (int axis = 0; axis < 3; ++axis) {
          EXPECT_LE(bound[2 * axis], points[p + axis]) << "agent " << agent << " axis " << axis;
          EXPECT_GE(bound[2 * axis + 1], points[p + axis]) << "agent " << agent << " axis " << axis;
        }
    }
  }
  EXPECT_EQ(1u, rib_test::find_requests(calls, "Option").size());  // the procedural search path

  const std::vector<rib_test::Request> geometry = rib_test::parse_rib(read_file(expanded));
  EXPECT_TRUE(rib_test::find_requests(geometry, "Procedural").empty());
  const auto meshes = rib_test::find_requests(geometry, "PointsPolygons");
  ASSERT_EQ(4u, meshes.size());  // previous and current frame of each agent
  for (size_t m = 0; m < meshes.size(); ++m)
    rib_test::expect_numbers(rib_test::walker_points(origins[m / 2] + m % 2),
                             meshes[m]->parameter("P"), "P of mesh " + std::to_string(m));

  for (const auto* requests : {&calls, &geometry}) {
    const auto display = rib_test::find_requests(*requests, "Display");
    ASSERT_EQ(1u, display.size());
    EXPECT_EQ(display[0]->arguments[1].text, "file");
    const auto frame = rib_test::find_requests(*requests, "FrameBegin");
    ASSERT_EQ(1u, frame.size());
    EXPECT_EQ(5, frame[0]->arguments[0].number);
    EXPECT_EQ(1u, rib_test::find_requests(*requests, "Shutter").size());
    EXPECT_EQ(2u, rib_test::find_requests(*requests, "LightSource").size());
    const auto camera = rib_test::find_requests(*requests, "Transform");
    ASSERT_EQ(1u, camera.size());
    EXPECT_EQ(16u, camera[0]->arguments[0].numbers.size());
    EXPECT_EQ(1u, rib_test::find_requests(*requests, "WorldBegin").size());
    EXPECT_EQ(1u, rib_test::find_requests(*requests, "WorldEnd").size());
    EXPECT_EQ(rib_test::find_requests(*requests, "AttributeBegin").size(),
              rib_test::find_requests(*requests, "AttributeEnd").size());
  }
  EXPECT_EQ("crowd.tif", rib_test::find_requests(calls, "Display")[0]->arguments[0].text);
}

TEST(RibCommand, BadScenesAndFramesFailWithTheirName) {
  fs::create_directories(work_directory());
  std::string errors;
  const std::string out = (work_directory() / "never.rib").string();
  EXPECT_NE(0, run("rib /nowhere/scene.mi -o " + out, &errors));
  EXPECT_THAT(errors, HasSubstr("/nowhere/scene.mi"));
  rib_test::write_file(work_directory() / "empty.mi", "options \"o\"\nend options\n");
  EXPECT_NE(0, run("rib " + (work_directory() / "empty.mi").string() + " -o " + out, &errors));
  EXPECT_THAT(errors, HasSubstr("holds no crowd instance"));
  EXPECT_FALSE(fs::exists(out));

  // A range of frames: a frame whose scene is missing fails, the others are still written.
  fs::copy_file(write_scene(), work_directory() / "crowd.5.mi",
                fs::copy_options::overwrite_existing);
  const std::string frames = (work_directory() / "frames.#.rib").string();
  EXPECT_NE(0,
            run("rib " + (work_directory() / "crowd.#.mi").string() + " --frames 4-5 -o " + frames,
                &errors));
  EXPECT_THAT(errors, HasSubstr("crowd.4.mi"));
  EXPECT_FALSE(fs::exists(work_directory() / "frames.4.rib"));
  EXPECT_TRUE(fs::exists(work_directory() / "frames.5.rib"));
}

TEST(RibWriter, BadCallsAreLeftOutAndStringsQuoted) {
  std::ostringstream out;
  host::RibWriter writer(out);
  host::RibWriter* previous = host::set_rib_writer(&writer);
  testing::internal::CaptureStderr();
  RtInt counts[] = {3};
  RtInt bad_indices[] = {0, -1, 2};
  RtInt indices[] = {0, 1, 2};
  RtFloat points[] = {0, 0, 0, 1, 0, 0, 0, 1, 0};
  RtFloat weights[] = {1, 2, 3};
  RtToken p_only[] = {const_cast<char*>("P"), const_cast<char*>("weight")};
  RtPointer p_values[] = {points, weights};
  RiPointsPolygonsV(1, counts, bad_indices, 1, p_only, p_values);
  RiPointsPolygonsV(1, counts, indices, 2, p_only, p_values);  // "weight" is not declared
  RiDeclare(const_cast<char*>("weight"), const_cast<char*>("varying floot"));
  RiDeclare(const_cast<char*>("weight"), const_cast<char*>("varying float"));
  RiPointsPolygonsV(1, counts, indices, 2, p_only, p_values);
  RtString name = const_cast<char*>("say \"hi\"");
  RtToken name_token[] = {const_cast<char*>("string name")};
  RtPointer name_value[] = {&name};
  RiAttributeV(const_cast<char*>("identifier"), 1, name_token, name_value);
  const std::string errors = testing::internal::GetCapturedStderr();
  host::set_rib_writer(previous);

  const std::vector<rib_test::Request> requests = rib_test::parse_rib(out.str());
  const auto meshes = rib_test::find_requests(requests, "PointsPolygons");
  ASSERT_EQ(2u, meshes.size()) << out.str();
  EXPECT_EQ(nullptr, meshes[0]->parameter("weight"));
  ASSERT_NE(nullptr, meshes[1]->parameter("weight"));
  EXPECT_EQ((std::vector<double>{1, 2, 3}), meshes[1]->parameter("weight")->numbers);
  EXPECT_EQ(1u, rib_test::find_requests(requests, "Declare").size());
  EXPECT_THAT(errors, HasSubstr("\"weight\" is not declared"));
  EXPECT_THAT(errors, HasSubstr("PointsPolygons without valid polygons"));
  const auto attribute = rib_test::find_requests(requests, "Attribute");
  ASSERT_EQ(1u, attribute.size());
  EXPECT_EQ(std::vector<std::string>{"say \"hi\""},
            attribute[0]->parameter("string name")->strings);
  // The extent covers the points of the meshes written: (0, 0, 0) to (1, 1, 0).
  EXPECT_EQ(1.0f, writer.extent().max[0]);
  EXPECT_EQ(1.0f, writer.extent().max[1]);
  EXPECT_EQ(0.0f, writer.extent().min[2]);
}

}  // namespace
