// Motion capture: frames of the public CMU walk checked against forward kinematics worked out here
// from the ASF and AMC numbers; AMC and BVH clips imported as actions, onto skeletons turned at
// rest too; broken files of each kind give a located message and never a crash.
#include "motion/motion_capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "agent/agent.h"
#include "agent/skeleton.h"
#include "cdl/cdl.h"
#include "motion/action.h"
#include "sim/action_loading.h"
#include "tests/support/scratch_files.h"

namespace {

namespace fs = std::filesystem;
using scratch::read_file;
using scratch::stderr_of;
using scratch::write_file;
using testing::HasSubstr;

// --- our own column-vector matrices (world = M * local), independent of the engine's ---

struct M3 {
  double m[3][3];
};
struct V3 {
  double x, y, z;
};
const M3 kIdentity{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};

M3 mul(const M3& a, const M3& b) {
  M3 r{};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      for (int k = 0; k < 3; ++k) r.m[i][j] += a.m[i][k] * b.m[k][j];
  return r;
}

// Rotation about axis 0 (x), 1 (y) or 2 (z) by `degrees`, right-handed.
M3 rot(int axis, double degrees) {
  double a = degrees * M_PI / 180, c = std::cos(a), s = std::sin(a);
  M3 r = kIdentity;
  int i = (axis + 1) % 3, j = (axis + 2) % 3;
  r.m[i][i] = c;
  r.m[i][j] = -s;
  r.m[j][i] = s;
  r.m[j][j] = c;
  return r;
}

// Rotations applied to a point in the listed order: the last listed is the leftmost factor.
M3 rotations(const std::vector<std::pair<int, double>>& in_order) {
  M3 r = kIdentity;
  for (auto [axis, degrees] : in_order) r = mul(rot(axis, degrees), r);
  return r;
}

// `from` moved by the offset `v` turned by `a`.
V3 moved(V3 from, const M3& a, V3 v) {
  return {from.x + a.m[0][0] * v.x + a.m[0][1] * v.y + a.m[0][2] * v.z,
          from.y + a.m[1][0] * v.x + a.m[1][1] * v.y + a.m[1][2] * v.z,
          from.z + a.m[2][0] * v.x + a.m[2][1] * v.y + a.m[2][2] * v.z};
}

// --- the left leg of 12.asf, copied from the file ---

// ASF lengths are inches times 0.45; the scene is in metres.
constexpr double kScale = 0.0254 / 0.45;

// A bone's offset in metres from its ASF direction and length.
V3 bone(V3 direction, double length) {
  const double s = length * kScale;
  return {direction.x * s, direction.y * s, direction.z * s};
}
const V3 kHip = bone({0.734638, -0.55547, 0.389564}, 2.86753);
const V3 kFemur = bone({0.34202, -0.939693, 0}, 5.95383);
const V3 kTibia = bone({0.34202, -0.939693, 0}, 8.02158);

// One frame's values of the bones the test agent has.
struct WalkFrame {
  double root[6];
  double lfemur[3];  // rx ry rz
  double ltibia;     // rx
  double lfoot[2];   // rx rz
};

// Frames 1 and 100 of 02_01.amc.
const WalkFrame kFrame1{{10.4194, 16.7048, -30.1003, -2.48972, -9.82194, -3.00914},
                        {-28.0191, -1.02078, -20.1783},
                        22.3977,
                        {-12.1104, 13.478}};
const WalkFrame kFrame100{{9.46191, 17.1086, -13.1364, -4.35104, 2.06377, -2.3252},
                          {-8.16597, 2.24934, -20.0031},
                          70.8802,
                          {5.44167, 16.6653}};

// Local rotation of a bone in the skeleton's axes: C * M * C^-1, C from the "axis" line (XYZ);
// C^-1 undoes its turns in reverse order.
M3 bone_rotation(V3 axis, const M3& motion) {
  M3 c = rotations({{0, axis.x}, {1, axis.y}, {2, axis.z}});
  return mul(mul(c, motion), rotations({{2, -axis.z}, {1, -axis.y}, {0, -axis.x}}));
}

struct LegPose {
  V3 femur_start, tibia_start, foot_start;
  M3 foot;  // the foot's world rotation
};

LegPose expected_pose(const WalkFrame& f) {
  V3 root{f.root[0] * kScale, f.root[1] * kScale, f.root[2] * kScale};
  M3 w_root = rotations({{0, f.root[3]}, {1, f.root[4]}, {2, f.root[5]}});
  M3 w_hip = w_root;  // lhipjoint has no degrees of freedom and no axis
  M3 w_femur = mul(
      w_hip,
      bone_rotation({0, 0, 20}, rotations({{0, f.lfemur[0]}, {1, f.lfemur[1]}, {2, f.lfemur[2]}})));
  M3 w_tibia = mul(w_femur, bone_rotation({0, 0, 20}, rotations({{0, f.ltibia}})));
  M3 w_foot = mul(w_tibia, bone_rotation({-90, 7.62852e-16, 20},
                                         rotations({{0, f.lfoot[0]}, {2, f.lfoot[1]}})));
  LegPose pose;
  pose.femur_start = moved(root, w_hip, kHip);
  pose.tibia_start = moved(pose.femur_start, w_femur, kFemur);
  pose.foot_start = moved(pose.tibia_start, w_tibia, kTibia);
  pose.foot = w_foot;
  return pose;
}

// --- the test agent: segments named as the skeleton's bones, offsets from its numbers ---

Segment* add_segment(Agent* type, const char* name, Segment* parent, V3 offset) {
  Segment* segment = new_segment(type, name);
  segment->parent = parent;
  if (parent) {
    Segment** slot = &parent->child;
    while (*slot) slot = &(*slot)->sibling;
    *slot = segment;
  }
  float t[3] = {float(offset.x), float(offset.y), float(offset.z)};
  for (int i = 0; i < 3; ++i) {
    segment->channels[i] = t[i];
    segment->matrix[12 + i] = segment->rest_matrix[12 + i] = segment->last_matrix[12 + i] = t[i];
  }
  return segment;
}

Agent* make_walker(const char* name) {
  Agent* type = new_agent_type(name);
  Segment* root = add_segment(type, "root", nullptr, {0, 0, 0});
  Segment* hip = add_segment(type, "lhipjoint", root, {0, 0, 0});
  Segment* femur = add_segment(type, "lfemur", hip, kHip);
  Segment* tibia = add_segment(type, "ltibia", femur, kFemur);
  add_segment(type, "lfoot", tibia, kTibia);
  add_segment(type, "tail", root, {0, -0.5, 0});  // no bone of that name in the clip
  return type;
}

void expect_near(V3 expected, Segment* segment, const char* what) {
  float x, y, z;
  segmentInAgentSpace(segment, &x, &y, &z);
  EXPECT_NEAR(x, expected.x, 2e-4) << what;
  EXPECT_NEAR(y, expected.y, 2e-4) << what;
  EXPECT_NEAR(z, expected.z, 2e-4) << what;
}

void expect_pose(Agent* agent, const WalkFrame& frame, const char* what) {
  LegPose pose = expected_pose(frame);
  expect_near(pose.femur_start, findSegment(agent, "lfemur"), what);
  expect_near(pose.tibia_start, findSegment(agent, "ltibia"), what);
  expect_near(pose.foot_start, findSegment(agent, "lfoot"), what);
  float m[16];
  agentSpace(findSegment(agent, "lfoot"), m);
  // Row-vector matrices hold the transpose of our column-vector rotation.
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) EXPECT_NEAR(m[j * 4 + i], pose.foot.m[i][j], 1e-4) << what;
}

// Checks row `row` of a segment's agent-space matrix: where its x (0), y (1) or z (2) axis points,
// or its origin (3).
void expect_row(Agent* agent, const char* segment, int row, V3 expected) {
  float m[16];
  agentSpace(findSegment(agent, segment), m);
  const double e[3] = {expected.x, expected.y, expected.z};
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(m[row * 4 + i], e[i], 1e-4) << segment << row << i;
}

std::string data_dir() {
  return HORDERA_MOCAP_DATA;
}

std::string temp_dir(const std::string& name) {
  std::string dir = testing::TempDir() + "mocap_" + name + "/";
  fs::create_directories(dir);
  return dir;
}

// Puts key `key` of each curve of `action` on the agent's segment channels and poses it.
void pose_from_keys(Agent* agent, Action* action, int key) {
  for (Curve* c = action->curves; c; c = c->next) {
    const std::string channel = c->points->channel;
    const size_t colon = channel.find(':');
    Segment* s = findSegment(agent, channel.substr(0, colon).c_str());
    ASSERT_NE(s, nullptr) << channel;
    s->channels[std::string("txtytzrxryrz").find(channel.substr(colon + 1)) / 2] =
        c->points->value[key];
  }
  agent_pose_from_channels(agent);
}

#define SKIP_WITHOUT_DATA()                                      \
  if (data_dir().empty() || !fs::exists(data_dir() + "/12.asf")) \
  GTEST_SKIP() << "motion-capture data not found"

TEST(AmcReadFrame, PosesTheWalkAsTheSkeletonAndClipSay) {
  SKIP_WITHOUT_DATA();
  // The CMU subject convention: 02_01.amc finds its skeleton as 02.asf.
  std::string dir = temp_dir("walk");
  fs::copy_file(data_dir() + "/12.asf", dir + "02.asf", fs::copy_options::overwrite_existing);
  fs::copy_file(data_dir() + "/02_01.amc", dir + "02_01.amc", fs::copy_options::overwrite_existing);
  const std::string amc = dir + "02_01.amc";
  Agent* walker = new_agent_instance(make_walker("walker"));

  EXPECT_EQ(stderr_of([&] { EXPECT_EQ(amc_read_frame(walker, amc.c_str(), 1), 1); }), "");
  expect_pose(walker, kFrame1, "frame 1");
  ASSERT_EQ(amc_read_frame(walker, amc.c_str(), 100), 1);
  expect_pose(walker, kFrame100, "frame 100");
  // The root's channels are the clip's own numbers (scaled translation, rotations as written).
  Segment* root = findSegment(walker, "root");
  EXPECT_NEAR(root->channels[0], 9.46191 * kScale, 1e-5);
  EXPECT_NEAR(root->channels[3], -4.35104, 1e-3);
  EXPECT_NEAR(root->channels[5], -2.3252, 1e-3);
  // A segment the clip has no bone for keeps its rest offset and rotation.
  Segment* tail = findSegment(walker, "tail");
  EXPECT_FLOAT_EQ(tail->matrix[13], -0.5f);
  EXPECT_FLOAT_EQ(tail->matrix[0], 1.0f);

  // No such frame (the clip runs 1..343) or no such file: 0, the pose left as it was.
  float before = findSegment(walker, "ltibia")->channels[3];
  EXPECT_EQ(amc_read_frame(walker, amc.c_str(), 0), 0);
  EXPECT_EQ(amc_read_frame(walker, amc.c_str(), 344), 0);
  EXPECT_EQ(amc_read_frame(walker, amc.c_str(), 343), 1);
  EXPECT_NE(findSegment(walker, "ltibia")->channels[3], before);
  // A clip whose name says nothing of its skeleton finds it beside the agent file.
  std::string types = temp_dir("types");
  fs::copy_file(data_dir() + "/12.asf", types + "walker.asf", fs::copy_options::overwrite_existing);
  fs::copy_file(data_dir() + "/02_01.amc", dir + "take.amc", fs::copy_options::overwrite_existing);
  Agent* typed = new_agent_instance(make_walker("typed"));
  typed->type->cdl_file = strdup((types + "walker.cdl").c_str());
  ASSERT_EQ(amc_read_frame(typed, (dir + "take.amc").c_str(), 100), 1);
  expect_pose(typed, kFrame100, "skeleton beside the agent file");
  delete_agent_instance(typed);

  EXPECT_EQ(
      stderr_of([&] { EXPECT_EQ(amc_read_frame(walker, (dir + "absent.amc").c_str(), 1), 0); }),
      "AMC file " + dir + "absent.amc could not be opened\n");
  delete_agent_instance(walker);
}

TEST(AmcImport, WholeClipBecomesOneActionAndBrokenLinesAreReportedWithFileAndLine) {
  SKIP_WITHOUT_DATA();
  // A gzip clip beside a skeleton of the same stem.
  std::string dir = temp_dir("import");
  fs::copy_file(data_dir() + "/12.asf", dir + "walk.asf", fs::copy_options::overwrite_existing);
  scratch::write_stream(dir + "walk.amc.gz", read_file(data_dir() + "/02_01.amc"), 1);

  Agent* type = make_walker("importer");
  amc_sample_rate = 120;
  stderr_of([&] { EXPECT_EQ(agent_import_action(type, (dir + "walk.amc.gz").c_str()), 1); });
  amc_sample_rate = 1;
  Action* walk = findAction(type, "walk");
  ASSERT_NE(walk, nullptr);
  EXPECT_FLOAT_EQ(walk->rate, 120);
  // root: 6 channels; lfemur, ltibia and lfoot: three rotations each; nothing for the others.
  int curves = 0;
  for (Curve* c = walk->curves; c; c = c->next) ++curves;
  EXPECT_EQ(curves, 15);
  Curve* root_tx = findCurve(walk, "root:tx");
  ASSERT_NE(root_tx, nullptr);
  ASSERT_EQ(root_tx->points->count, 343);
  EXPECT_FLOAT_EQ(root_tx->points->time[1], 1.0f / 342);
  EXPECT_FLOAT_EQ(root_tx->points->time[342], 1.0f);
  EXPECT_NEAR(root_tx->points->value[0], 10.4194 * kScale, 1e-5);
  EXPECT_EQ(findCurve(walk, "tail:rx"), nullptr);
  EXPECT_EQ(findCurve(walk, "lhipjoint:rx"), nullptr);

  // Key 99 (frame 100) put on an agent gives the pose of frame 100.
  Agent* walker = new_agent_instance(type);
  pose_from_keys(walker, walk, 99);
  expect_pose(walker, kFrame100, "imported frame 100");
  delete_agent_instance(walker);

  // Broken lines of a clip are reported with file and line; the good ones are kept.
  fs::copy_file(data_dir() + "/12.asf", dir + "bad.asf", fs::copy_options::overwrite_existing);
  const std::string amc = dir + "bad.amc";
  write_file(amc,
             ":FULLY-SPECIFIED\n:DEGREES\nltibia 5\n"                    // lines 1-3
             "1\nroot 0 0 0 0 0 0\nltibia 10\nwing 1 2 3\nlfemur 1 2\n"  // lines 4-8
             "2\nroot 0 0 0 0 0 0\nltibia nan\n99999999999\n"            // lines 9-12
             "2000000000\nltibia 30\n");
  Agent* broken = make_walker("broken");
  std::string messages = stderr_of([&] { EXPECT_EQ(agent_import_action(broken, amc.c_str()), 1); });
  for (const char* expected :
       {":3: bone values before the first frame number ignored",
        ":7: bone \"wing\" is not in the skeleton", ":8: bone \"lfemur\" has 2 values",
        ":11: bad value \"nan\" for bone \"ltibia\"", ":12: frame number 99999999999 out of range"})
    EXPECT_THAT(messages, HasSubstr(amc + expected));
  // Three frames: a frame without a bone's line holds that bone's previous value.
  Curve* tibia = findCurve(findAction(broken, "bad"), "ltibia:rx");
  ASSERT_NE(tibia, nullptr);
  ASSERT_EQ(tibia->points->count, 3);
  // ltibia turns about its own x axis, tilted 20 degrees about z: the x channel of the
  // segment is cos(20) * angle for small angles only, so compare the held values instead.
  EXPECT_FLOAT_EQ(tibia->points->value[1], tibia->points->value[0]);
  EXPECT_NE(tibia->points->value[2], tibia->points->value[0]);
  // A frame number as large as 2000000000 is just a number: frame 2000000000 exists.
  Agent* reader = new_agent_instance(broken);
  EXPECT_EQ(amc_read_frame(reader, amc.c_str(), 2000000000), 1);
  EXPECT_EQ(amc_read_frame(reader, amc.c_str(), 3), 0);
  delete_agent_instance(reader);

  // A gzip file cut short keeps the frames before the damage.
  std::string whole = dir + "whole.amc.gz";
  scratch::write_stream(whole, read_file(data_dir() + "/02_01.amc"), 1);
  std::string packed = read_file(whole);
  write_file(dir + "cut.amc.gz", packed.substr(0, packed.size() / 2));
  fs::copy_file(data_dir() + "/12.asf", dir + "cut.asf", fs::copy_options::overwrite_existing);
  EXPECT_THAT(
      stderr_of([&] { EXPECT_EQ(agent_import_action(broken, (dir + "cut.amc.gz").c_str()), 1); }),
      HasSubstr("compressed data end early"));
  Curve* cut = findCurve(findAction(broken, "cut"), "root:tx");
  ASSERT_NE(cut, nullptr);
  EXPECT_GT(cut->points->count, 10);
  EXPECT_LT(cut->points->count, 343);

  // A missing clip gives the system's own message.
  EXPECT_THAT(
      stderr_of([&] { EXPECT_EQ(agent_import_action(broken, (dir + "none.amc").c_str()), 0); }),
      HasSubstr("AMC file " + dir + "none.amc could not be opened\n"));
}

TEST(AsfReader, BrokenSkeletonItemsAreSkippedWithTheirLine) {
  std::string dir = temp_dir("asf");
  write_file(dir + "odd.asf",
             ":units\n  length 1\n:bonedata\n"                                        // lines 1-3
             "begin\n  name arm\n  direction 1 0\n  length 1\nend\n"                  // lines 4-8
             "begin\n  name leg\n  direction 0 -1 0\n  length 2\n  axis 0 0 0 XYZ\n"  // 9-13
             "  dof rx wiggle\nend\n"                                                 // 14-15
             "begin\n  name shin\n  direction 0 -1 0\n  length 2\n  axis 0 0 90 XYZ\n"
             "  dof rx\nend\n"                                           // lines 16-22
             ":hierarchy\nbegin\n  root shin arm\n  shin shin\nend\n");  // lines 23-27
  write_file(dir + "odd.amc", "1\nroot 0 0 0 0 0 0\nshin 90\n");
  Agent* type = new_agent_type("odd");
  add_segment(type, "root", nullptr, {0, 0, 0});
  add_segment(type, "shin", type->segments, {0, 0, 0});
  Agent* agent = new_agent_instance(type);
  std::string messages =
      stderr_of([&] { EXPECT_EQ(amc_read_frame(agent, (dir + "odd.amc").c_str(), 1), 1); });
  for (const char* expected :
       {"odd.asf:6: direction needs three numbers", "odd.asf:14: unknown degree of freedom",
        "odd.asf:25: unknown bone \"arm\"", "odd.asf:26: bone \"shin\" cannot be its own"})
    EXPECT_THAT(messages, HasSubstr(expected));
  // shin turns 90 degrees about its own x axis, which the axis line turns onto the skeleton's
  // y axis: the segment's rotation is 90 degrees about y, taking x to -z and keeping y.
  expect_row(agent, "shin", 0, {0, 0, -1});
  expect_row(agent, "shin", 1, {0, 1, 0});
  delete_agent_instance(agent);
}

TEST(BvhImport, ClipFollowsChannelOrdersAndLeavesOtherSegmentsAtRest) {
  std::string dir = temp_dir("bvh");
  const std::string bvh = dir + "hop.bvh";
  write_file(bvh,
             "HIERARCHY\nROOT hips\n{\n  OFFSET 0 0 0\n"  // lines 1-4
             "  CHANNELS 6 Xposition Yposition Zposition Zrotation Xrotation Yrotation\n"
             "  JOINT spine\n  {\n    OFFSET 0 1 0\n    CHANNELS 3 Zrotation Xrotation Yrotation\n"
             "    End Site\n    {\n      OFFSET 0 1 0\n    }\n  }\n"                    // 10-14
             "  JOINT wing\n  {\n    OFFSET 1 0 0\n    CHANNELS 1 Zrotation\n  }\n}\n"  // 15-20
             "MOTION\nFrames: 1000000000\nFrame Time: 0.0333333\n"                      // 21-23
             "1 2 3 0 0 0 0 0 0 0\n1 2 3 0 0 0\n"                                       // 24-25
             "4 5 6 30 0 0 90 90 0 5\n4 5 6 nan 0 0 90 90 0 5\n");                      // 26-27
  Agent* type = new_agent_type("hopper");
  Segment* hips = add_segment(type, "hips", nullptr, {0, 0, 0});
  add_segment(type, "spine", hips, {0, 1, 0});
  add_segment(type, "tail", hips, {0, -1, 0});
  std::string messages = stderr_of([&] { EXPECT_EQ(agent_import_action(type, bvh.c_str()), 1); });
  for (const char* expected :
       {"hop.bvh:25: frame has 6 values, the hierarchy 10", "hop.bvh:27: bad value \"nan\"",
        "1000000000 frames declared, 2 read"})
    EXPECT_THAT(messages, HasSubstr(expected));
  Action* hop = findAction(type, "hop");
  ASSERT_NE(hop, nullptr);
  EXPECT_EQ(findCurve(hop, "tail:rx"), nullptr);
  Curve* tx = findCurve(hop, "hips:tx");
  ASSERT_NE(tx, nullptr);
  ASSERT_EQ(tx->points->count, 2);
  EXPECT_FLOAT_EQ(tx->points->value[1], 4);
  EXPECT_NEAR(findCurve(hop, "hips:rz")->points->value[1], 30, 1e-4);

  // Frame 2 on an agent. The hips turn 30 degrees about z and sit at (4, 5, 6): the spine starts
  // at hips + Rz(30) (0, 1, 0) = (4 - sin 30, 5 + cos 30, 6), the tail at hips + Rz(30) (0, -1, 0).
  // The spine's Zrotation 90 then Xrotation 90 compose as v' = Rz Rx v: its y axis goes to z
  // (which the hips' turn keeps), its x axis to y, then by the hips to (-sin 30, cos 30, 0).
  Agent* agent = new_agent_instance(type);
  pose_from_keys(agent, hop, 1);
  const double half_root3 = std::sqrt(3.0) / 2;
  expect_row(agent, "spine", 3, {3.5, 5 + half_root3, 6});
  expect_row(agent, "spine", 1, {0, 0, 1});
  expect_row(agent, "spine", 0, {-0.5, half_root3, 0});
  expect_row(agent, "tail", 3, {4.5, 5 - half_root3, 6});
  delete_agent_instance(agent);

  // A hierarchy that cannot be read is refused with its line; nothing is added.
  write_file(dir + "open.bvh", "HIERARCHY\nROOT a\n{\n  OFFSET 0 0\n}\nMOTION\n");
  EXPECT_THAT(
      stderr_of([&] { EXPECT_EQ(agent_import_action(type, (dir + "open.bvh").c_str()), 0); }),
      HasSubstr("open.bvh:4: OFFSET needs three numbers"));
  EXPECT_EQ(findAction(type, "open"), nullptr);
}

// An agent whose segments are turned at rest keeps each rest turn and takes the clip's turn in
// its parent's rest frame.
TEST(BvhImport, SegmentsTurnedAtRestKeepTheirTurnAndTakeTheClipsInTheirParentsFrame) {
  const std::string dir = temp_dir("rest_pose");
  // The hips are turned 90 degrees about z at rest; the spine sits one unit along the hips' y.
  write_file(dir + "turned.cdl",
             "object turned\nsegment hips\nrotate 0 0 90\n"
             "segment spine\nparent hips\ntranslate 0 1 0\nend object\n");
  // Frame 1: the hips keep the rest pose, the spine turns 90 degrees about x.
  write_file(dir + "bend.bvh",
             "HIERARCHY\nROOT hips\n{\n  OFFSET 0 0 0\n  CHANNELS 3 Zrotation Xrotation Yrotation\n"
             "  JOINT spine\n  {\n    OFFSET 0 1 0\n    CHANNELS 3 Zrotation Xrotation Yrotation\n"
             "    End Site\n    {\n      OFFSET 0 1 0\n    }\n  }\n}\n"
             "MOTION\nFrames: 1\nFrame Time: 0.04\n0 0 0 0 90 0\n");
  Agent* type = load_agent_type((dir + "turned.cdl").c_str());
  ASSERT_NE(type, nullptr);
  ASSERT_EQ(agent_import_action(type, (dir + "bend.bvh").c_str()), 1);
  ASSERT_NE(findAction(type, "bend"), nullptr);
  Agent* agent = new_agent_instance(type);
  pose_from_keys(agent, findAction(type, "bend"), 0);
  // The hips still point their x axis along y: the rest turn is kept.
  expect_row(agent, "hips", 0, {0, 1, 0});
  // The spine at rest points its x axis along y (the hips' turn); the clip turns it 90 degrees
  // about the capture's x axis, which takes y to z. Its y axis, along -x at rest, is left alone
  // by a turn about x; its origin stays one unit along the hips' y axis, at (-1, 0, 0).
  expect_row(agent, "spine", 0, {0, 0, 1});
  expect_row(agent, "spine", 1, {-1, 0, 0});
  expect_row(agent, "spine", 3, {-1, 0, 0});
  delete_agent_instance(agent);
}

}  // namespace
