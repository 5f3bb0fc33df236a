// Bringing a type's render agent into one agent's state: the parameter string parsed into files,
// frame and pairs, the agent file, pose from the pose cache, skin, and the previous frame for
// motion blur; expected points are worked out here from the pose itself.
#include "mray/agent_pose.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "agent/agent.h"
#include "agent/mesh.h"
#include "agent/nodes.h"
#include "host/memory.h"
#include "motion/apf_cache.h"
#include "mray/parameter_string.h"
#include "mray/renderer_functions.h"
#include "tests/support/crowd_fixture.h"
#include "tests/support/files.h"

namespace {

namespace fs = std::filesystem;

using test_files::write_file;

// A pose-cache block for an agent named "man" with its root moved along x and its arm turned
// about z: root and arm lines in the default channel order rx ry rz tx ty tz.
std::string pose_block(int id, float root_x, float arm_rz) {
  return "BEGIN man_" + std::to_string(id) + "\nroot 0 0 0 " + std::to_string(root_x) +
         " 0 0\narm 0 0 " + std::to_string(arm_rz) + " 0 1 0\n";
}

struct Point {
  float x, y, z;
};

// Where a mesh point with this weight on the arm (the rest on root) goes for root at (root_x, 0, 0)
// and the arm turned arm_rz degrees about z: linear blend skinning written out, the arm's bind
// undoing its rest offset (0, 1, 0) before the turn, the offset and root's move coming back after.
Point skinned(Point rest, float arm_weight, float root_x, float arm_rz) {
  const double a = arm_rz * M_PI / 180.0;
  const double local_x = rest.x, local_y = rest.y - 1.0;
  const Point by_arm{static_cast<float>(local_x * std::cos(a) - local_y * std::sin(a) + root_x),
                     static_cast<float>(local_x * std::sin(a) + local_y * std::cos(a) + 1.0),
                     rest.z};
  const Point by_root{rest.x + root_x, rest.y, rest.z};
  const float w = arm_weight;
  return {by_root.x * (1 - w) + by_arm.x * w, by_root.y * (1 - w) + by_arm.y * w,
          by_root.z * (1 - w) + by_arm.z * w};
}

const Point kRest[6] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 2, 0}, {1, 2, 0}};
const float kArmWeight[6] = {0, 0, 0.5f, 0.5f, 1, 1};

class AgentPose : public ::testing::Test {
 protected:
  void SetUp() override {
    apf_cache_init();
    // Every test writes its own agent file: loaded types stay for the whole process.
    const std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    dir_ = fs::path(testing::TempDir()) / ("pose_" + name);
    crowd_test::write_man_meshes(dir_);  // body.obj: the six points of kRest, weights kArmWeight
    write_file(dir_ / "man.cdl",
               "object man\n"
               "variables\nspeed 1\nheight 2\nend variables\n"
               "segment root\n"
               "segment arm\nparent root\ntranslate 0 1 0\n"
               "bone root\nbone arm\n"
               "geometry body\nfile body.obj\nweights_file body.w\n"
               "end object\n");
    cdl_ = (dir_ / "man.cdl").string();
    agent_ = mray::find_render_agent(cdl_.c_str());
    ASSERT_NE(agent_, nullptr);
    node_ = agent_->type->geometry_nodes;
    ASSERT_NE(node_, nullptr);
  }

  // The render arguments of agent `id` at `frame` reading `apf`; the render agent takes the id,
  // as the driver gives it.
  MrayRenderArgs args(int id, int frame, const std::string& apf) {
    agent_->id = id;
    MrayRenderArgs record{};
    record.id = id;
    record.frame = frame;
    apf_ = apf;
    record.cdl_file = cdl_.data();
    record.apf_file = apf_.data();
    for (int i = 0; i < 3; ++i) {
      record.bbox_min[i] = -0.5f;
      record.bbox_max[i] = 0.5f;
    }
    return record;
  }

  void expect_points(const Vector* points, float root_x, float arm_rz, const char* what) {
    for (int i = 0; i < 6; ++i) {
      const Point want = skinned(kRest[i], kArmWeight[i], root_x, arm_rz);
      EXPECT_NEAR(points[i].x, want.x, 1e-5) << what << " point " << i;
      EXPECT_NEAR(points[i].y, want.y, 1e-5) << what << " point " << i;
      EXPECT_NEAR(points[i].z, want.z, 1e-5) << what << " point " << i;
    }
  }

  fs::path dir_;
  std::string cdl_, apf_;
  Agent* agent_ = nullptr;
  GeometryNode* node_ = nullptr;
};

TEST_F(AgentPose, TheAgentFileIsLoadedOnceAndAnUnreadableOneGivesNoAgent) {
  EXPECT_EQ(mray::find_render_agent(cdl_.c_str()), agent_);
  EXPECT_EQ(agent_->type->cdl_file, cdl_);
  // Names are compared exactly: another spelling of the same file loads a second type.
  const std::string other = (dir_ / "." / "man.cdl").string();
  Agent* second = mray::find_render_agent(other.c_str());
  ASSERT_NE(second, nullptr);
  EXPECT_NE(second, agent_);
  testing::internal::CaptureStderr();
  EXPECT_EQ(mray::find_render_agent((dir_ / "missing.cdl").c_str()), nullptr);
  EXPECT_EQ(mray::find_render_agent((dir_ / "body.obj").c_str()), nullptr);
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(mray::find_render_agent(nullptr), nullptr);
}

TEST_F(AgentPose, RestPoseGivesBackTheMeshAndAPoseCacheRecordPosesTheSkin) {
  mray::pose_and_deform(agent_);
  ASSERT_NE(node_->mesh, nullptr);
  ASSERT_EQ(node_->mesh->point_count, 6);
  EXPECT_TRUE(node_->bones);
  expect_points(node_->mesh->points, 0, 0, "rest");

  write_file(dir_ / "frame.4.apf", pose_block(1, 5, 90) + "\n" + pose_block(2, -3, 30));
  MrayRenderArgs first = args(1, 4, (dir_ / "frame.4.apf").string());
  mray::pose_current_frame(agent_, &first);
  expect_points(node_->mesh->points, 5, 90, "agent 1");
  MrayRenderArgs second = args(2, 4, (dir_ / "frame.4.apf").string());
  mray::pose_current_frame(agent_, &second);
  expect_points(node_->mesh->points, -3, 30, "agent 2");
}

TEST_F(AgentPose, ThePreviousFrameGivesPreviousPointsTransformsAndASweptBox) {
  write_file(dir_ / "frame.6.apf", pose_block(1, 1, 0));
  write_file(dir_ / "frame.7.apf", pose_block(1, 4, 90));
  MrayRenderArgs record = args(1, 7, (dir_ / "frame.7.apf").string());
  mray::pose_previous_frame(agent_, &record);
  mray::pose_current_frame(agent_, &record);

  ASSERT_EQ(node_->previous_point_count, 6);
  expect_points(node_->previous_points, 1, 0, "previous");
  expect_points(node_->mesh->points, 4, 90, "current");
  Segment* root = agent_->segments;
  EXPECT_FLOAT_EQ(root->last_matrix[12], 1.0f);
  EXPECT_FLOAT_EQ(root->matrix[12], 4.0f);
  // Frame 6's skeleton: root at (1, 0, 0), arm at (1, 1, 0); the shader's box is +-0.5.
  EXPECT_FLOAT_EQ(record.swept_min[0], -0.5f);
  EXPECT_FLOAT_EQ(record.swept_max[0], 1.0f);
  EXPECT_FLOAT_EQ(record.swept_max[1], 1.0f);
  EXPECT_FLOAT_EQ(record.swept_min[2], -0.5f);

  // Without the previous frame's file the current frame's pose serves for both.
  write_file(dir_ / "frame.12.apf", pose_block(1, -2, 0));
  MrayRenderArgs lone = args(1, 12, (dir_ / "frame.12.apf").string());
  testing::internal::CaptureStderr();
  mray::pose_previous_frame(agent_, &lone);
  testing::internal::GetCapturedStderr();
  expect_points(node_->previous_points, -2, 0, "fallback");
}

TEST(PreviousPoseCacheName, CutsAtTheFirstDotOfThePath) {
  EXPECT_EQ(mray::previous_pose_cache_name("/s/frame.12.apf", 12), "/s/frame.11.apf");
  EXPECT_EQ(mray::previous_pose_cache_name("/s/frame.12.apf.gz", 12), "/s/frame.11.apf.gz");
  EXPECT_EQ(mray::previous_pose_cache_name("/s.old/frame.12.apf", 12), "/s.11.apf");
  EXPECT_EQ(mray::previous_pose_cache_name("/s/frame.0.apf", 0), "/s/frame.-1.apf");
}

TEST_F(AgentPose, PairsSetTheFirstVariableOfTheirNameAndEachAgentGetsItsOwn) {
  MrayPair pairs[3] = {};
  std::snprintf(pairs[0].name, sizeof pairs[0].name, "height");
  pairs[0].kind = MRAY_PAIR_NUMBER;
  pairs[0].number = 1.75f;
  std::snprintf(pairs[1].name, sizeof pairs[1].name, "nothing");
  pairs[1].kind = MRAY_PAIR_NUMBER;
  pairs[1].number = 9;
  std::snprintf(pairs[2].name, sizeof pairs[2].name, "speed");
  pairs[2].kind = MRAY_PAIR_STRING;
  mray::set_agent_variables(agent_, pairs, 3);
  EXPECT_FLOAT_EQ(find_userVar(agent_, "height")->value, 1.75f);
  EXPECT_FLOAT_EQ(find_userVar(agent_, "speed")->value, 0.0f);
  EXPECT_EQ(find_userVar(agent_, "nothing"), nullptr);

  pairs[0].number = 1.5f;
  mray::set_agent_variables(agent_, pairs, 1);
  EXPECT_FLOAT_EQ(find_userVar(agent_, "height")->value, 1.5f);
}

TEST_F(AgentPose, GeometryHooksRunInOrderWithTheValueOne) {
  static std::vector<std::string> calls;
  calls.clear();
  auto hook = [](Agent* agent, int32_t value, GeometryHook* record) {
    calls.push_back(std::string(static_cast<const char*>(record->data)) + " " +
                    std::to_string(value) + (agent ? "" : " no agent"));
  };
  ASSERT_NE(add_geometry_hook(agent_, hook, const_cast<char*>("first")), nullptr);
  ASSERT_NE(add_geometry_hook(agent_, hook, const_cast<char*>("second")), nullptr);
  mray::run_geometry_hooks(agent_);
  EXPECT_EQ(calls, (std::vector<std::string>{"first 1", "second 1"}));
  free_geometry_hooks(agent_);
  mray::run_geometry_hooks(agent_);
  EXPECT_EQ(calls.size(), 2u);
}

// Renderer memory for the parser comes from the stand-in host linked into this test.
class ParameterString : public ::testing::Test {
 protected:
  void SetUp() override { miSetModuleHandle(dlopen(nullptr, RTLD_NOW)); }

  // Parses `text` into `args_`; returns what the parser printed on standard error.
  std::string parse(const std::string& text) {
    mray::init_render_args(&args_);
    testing::internal::CaptureStderr();
    mray::parse_parameter_string(&args_, text.c_str());
    return testing::internal::GetCapturedStderr();
  }

  // Gives the strings and pairs back, leaving the record itself (a local) alone.
  void TearDown() override {
    for (char* text : {args_.cdl_file, args_.motion_file, args_.apf_file})
      host::release_memory(text);
    for (int i = 0; i < args_.pair_count; ++i) host::release_memory(args_.pairs[i].string);
    host::release_memory(args_.pairs);
    EXPECT_TRUE(host::memory_in_use().empty());
    EXPECT_EQ(host::memory_release_faults(), 0u);
  }

  MrayRenderArgs args_{};
};

TEST_F(ParameterString, PoseCacheNamesAreRecognisedByTheirEnding) {
  EXPECT_TRUE(mray::is_apf_file_name("x.apf"));
  EXPECT_TRUE(mray::is_apf_file_name("/s/frame.3.apf.gz"));
  EXPECT_FALSE(mray::is_apf_file_name("x.apf.bak"));
  EXPECT_FALSE(mray::is_apf_file_name("x.apfx"));
  EXPECT_FALSE(mray::is_apf_file_name("walk.amc"));
  // Only the first ".apf" counts: here it is followed by more than ".apf".
  EXPECT_FALSE(mray::is_apf_file_name("a.apf.d/frame.1.apf"));
}

// How the words fall: the agent file, a pose cache or else a motion file, the frame, the pairs;
// too few words leave the record alone.
TEST_F(ParameterString, WordsFallIntoFilesFrameAndPairs) {
  const char* const too_few = "not enough parameters\n";
  const struct {
    const char* text;
    const char* cdl;
    const char* apf;
    const char* motion;
    int frame;
    int pairs;
    const char* printed = "";
  } cases[] = {
      {"a.cdl /sim/frame.12.apf 12 speed 1.5 cloth_path /c", "a.cdl", "/sim/frame.12.apf", nullptr,
       12, 2},
      {"a.cdl x.apf.gz 4", "a.cdl", "x.apf.gz", nullptr, 4, 0},
      {"a.cdl x.apf.bak 3", "a.cdl", nullptr, "x.apf.bak", 3, 0},
      {"a.cdl b.amc", "a.cdl", nullptr, "b.amc", 1, 0},  // two words keep frame 1
      // A leading blank makes an empty first word, and "x.apf" is read as a frame number; four
      // words counted, so "5" is a dangling name and there are no pair records.
      {" a.cdl x.apf 5", "", nullptr, "a.cdl", 0, 0},
      {"", nullptr, nullptr, nullptr, 1, 0, too_few},
      {"a.cdl", nullptr, nullptr, nullptr, 1, 0, too_few},
      {"   ", nullptr, nullptr, nullptr, 1, 0, too_few},
      {"a.cdl x.apf 2 speed", "a.cdl", "x.apf", nullptr, 2, 0},
      {"a.cdl x.apf 2 speed 3 height", "a.cdl", "x.apf", nullptr, 2, 1},  // "height" dropped
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    if (&c != cases) TearDown();  // gives the previous case's strings back
    EXPECT_EQ(parse(c.text), c.printed);
    EXPECT_STREQ(args_.cdl_file, c.cdl);
    EXPECT_STREQ(args_.apf_file, c.apf);
    EXPECT_STREQ(args_.motion_file, c.motion);
    EXPECT_EQ(args_.frame, c.frame);
    EXPECT_EQ(args_.id, -1);
    ASSERT_EQ(args_.pair_count, c.pairs);
    EXPECT_EQ(args_.pairs == nullptr, c.pairs == 0);
  }
  EXPECT_STREQ(args_.pairs[0].name, "speed");
  EXPECT_FLOAT_EQ(args_.pairs[0].number, 3.0f);
}

TEST_F(ParameterString, ValuesAreNumbersOnlyWhenTheyStartLikeOne) {
  EXPECT_EQ(parse("a.cdl m.amc 1 a .5 b -2 c abc d e5 e +3"), "");
  ASSERT_EQ(args_.pair_count, 5);
  const struct {
    const char* name;
    uint8_t kind;
    float number;
    const char* text;
  } expected[] = {{"a", MRAY_PAIR_NUMBER, 0.5f, nullptr},
                  {"b", MRAY_PAIR_NUMBER, -2.0f, nullptr},
                  {"c", MRAY_PAIR_STRING, 0.0f, "abc"},
                  {"d", MRAY_PAIR_STRING, 0.0f, "e5"},
                  {"e", MRAY_PAIR_NUMBER, 3.0f, nullptr}};
  for (int i = 0; i < 5; ++i) {
    SCOPED_TRACE(expected[i].name);
    EXPECT_STREQ(args_.pairs[i].name, expected[i].name);
    EXPECT_EQ(args_.pairs[i].kind, expected[i].kind);
    EXPECT_FLOAT_EQ(args_.pairs[i].number, expected[i].number);
    if (expected[i].text)
      EXPECT_STREQ(args_.pairs[i].string, expected[i].text);
    else
      EXPECT_EQ(args_.pairs[i].string, nullptr);
  }
  EXPECT_STREQ(args_.motion_file, "m.amc");
  // Renderer memory is tagged with the front-end's source name.
  for (const host::MemoryBlock& block : host::memory_in_use()) EXPECT_EQ(block.file, "mray");
}

TEST_F(ParameterString, OverlongNameIsCutToItsBuffer) {
  const std::string name(300, 'n');
  parse("a.cdl x.apf 2 " + name + " 1");
  ASSERT_EQ(args_.pair_count, 1);
  EXPECT_EQ(std::string(args_.pairs[0].name), name.substr(0, MRAY_PAIR_NAME_MAX));
  EXPECT_FLOAT_EQ(args_.pairs[0].number, 1.0f);
}

TEST_F(ParameterString, PairArrayBeyondTheAllocatorsSizeIsNotAllocated) {
  // 40 million words ask for more pair records than a 32-bit allocation size can hold; the
  // record must then claim no pairs rather than fill a truncated array.
  std::string text;
  text.reserve(80'000'000);
  text += "a.cdl x.apf 3";
  while (text.size() + 2 <= 80'000'000) text += " a";
  EXPECT_EQ(parse(text), "");
  EXPECT_STREQ(args_.cdl_file, "a.cdl");
  EXPECT_EQ(args_.frame, 3);
  EXPECT_EQ(args_.pair_count, 0);
  EXPECT_EQ(args_.pairs, nullptr);
}

}  // namespace
