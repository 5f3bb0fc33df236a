// Pose-cache files: the exact text written, names found again, the "#spawn" difference between
// plain and gzip files, skipped lines, round trips and missing files.
#include "motion/apf.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "agent/agent.h"
#include "agent/skeleton.h"
#include "base/stream.h"
#include "base/vecmath.h"
#include "sim/scene_setup.h"
#include "sim/simulation.h"
#include "tests/support/scratch_files.h"

namespace {

using scratch::stderr_of;

// Checks all six channels of a segment, in the order tx ty tz rx ry rz.
void expect_channels(const Segment* segment, const std::vector<float>& expected) {
  for (int i = 0; i < 6; ++i) EXPECT_FLOAT_EQ(segment->channels[i], expected[i]) << i;
}

class ApfTest : public scratch::FolderTest {
 protected:
  void SetUp() override {
    scratch::FolderTest::SetUp();
    type_ = new_agent_type("man");
    new_segment(type_, "root");
    Segment* arm = new_segment(type_, "arm");
    arm->animated = 1;
  }
  void TearDown() override {
    while (root_agent) delete_agent_instance(root_agent);
    free_groups();
    apf_sound_output = apf_value_set_output = apf_variable_output = 0;
    scratch::FolderTest::TearDown();
  }

  Agent* make_agent(const char* base, int id) {
    Agent* agent = new_agent_instance(type_);
    free(agent->name);
    agent->name = strdup((std::string(base) + "." + std::to_string(id)).c_str());
    agent->id = id;
    agent->activity = 1;
    agent->birth_frame = -1;
    return agent;
  }

  std::string dir() const { return folder_.string(); }
  std::string file(int frame, bool compressed) const {
    char path[4096];
    apf_file_name(path, sizeof path, dir().c_str(), frame, compressed);
    return path;
  }
  std::string read_text(int frame, bool compressed) const {
    Stream* in = stream_open(file(frame, compressed).c_str(), "r", compressed);
    EXPECT_NE(in, nullptr);
    std::string text;
    char buffer[4096];
    size_t n;
    while (in && (n = stream_read(in, buffer, sizeof buffer)) > 0) text.append(buffer, n);
    stream_close(in);
    return text;
  }
  void write_text(int frame, bool compressed, const std::string& text) const {
    scratch::write_stream(file(frame, compressed), text, compressed);
  }

  Agent* type_ = nullptr;
};

TEST_F(ApfTest, SmallRotationsAreWrittenAsZeroOthersRoundedAndLargeRootAnglesFlattened) {
  Agent* agent = make_agent("man", 12);
  Segment* root = agent->segments;
  hordera::matrix_identity(root->matrix);
  x_rotate(root->matrix, 0.005f / 57.2957795f);
  y_rotate(root->matrix, 0.003f / 57.2957795f);
  root->matrix[12] = 1.5f;
  Segment* arm = root->next;
  arm->channels[0] = 2.5f;    // tx
  arm->channels[3] = 0.005f;  // rx, held as 0.00499999988824129: above 0.004, rounds down
  arm->channels[4] = 0.003f;  // ry
  arm->channels[5] = -45.0f;  // rz
  arm->channels[1] = 0.055f;  // ty, a translation: %g
  ASSERT_EQ(apf_write(dir().c_str(), 3, 0), 1);
  EXPECT_EQ(read_text(3, false),
            "BEGIN man_12\n"
            "root 0.005 0 0 1.500000 0.000000 0.000000\n"
            "arm 0.00 0 -45.00 2.5 0.055 0\n");
  // Rotations are rounded from the value held: 0.055f is 0.0549999997 and 0.045f 0.0450000018
  // (a seven-digit decimal would give 0.055 and 0.045, rounding the other way).
  arm->channels[3] = 0.055f;
  arm->channels[4] = 0.045f;
  ASSERT_EQ(apf_write(dir().c_str(), 3, 0), 1);
  EXPECT_NE(read_text(3, false).find("\narm 0.05 0.05 -45.00 "), std::string::npos);

  // Angles (170, 20, 170) in xyz order: x and z are above 90, so each moves by 180 towards zero
  // (-10, -10) and y becomes 180 - 20 = 160. The same rotation, written flatter.
  Matrix world;
  rotation_matrix_from_angles(170 / 57.2957795f, 20 / 57.2957795f, 170 / 57.2957795f,
                              kDefaultRotationOrder, world);
  float degrees[3];
  apf_root_rotations(world, kDefaultRotationOrder, degrees);
  EXPECT_NEAR(degrees[0], -10, 1e-3f);
  EXPECT_NEAR(degrees[1], 160, 1e-3f);
  EXPECT_NEAR(degrees[2], -10, 1e-3f);
}

TEST_F(ApfTest, BlocksAreSeparatedAndSpawnLinesPrecedeNewAgents) {
  Group* group = new_group("crowd", type_, type_, 0, 1);
  make_agent("man", 1);
  Agent* second = make_agent("big_man", 2);
  second->group = group;
  second->birth_frame = 4;
  Agent* inactive = make_agent("man", 3);
  inactive->active = 0;
  ASSERT_EQ(apf_write(dir().c_str(), 4, 0), 1);
  std::string text = read_text(4, false);
  EXPECT_EQ(text.rfind("BEGIN man_1\n", 0), 0u) << text;
  EXPECT_NE(text.find("\n\n#spawn crowd 2\n\nBEGIN big_man_2\n"), std::string::npos) << text;
  EXPECT_EQ(text.find("man_3"), std::string::npos);
}

TEST_F(ApfTest, NamesAreFoundAgainThroughTheLastUnderscore) {
  Agent* man = make_agent("man", 12);
  Agent* big = make_agent("big_man", 3);
  // An agent made from its type, marked for cache input, needs no further setup.
  Agent* plain = new_agent_instance(type_);
  free(plain->name);
  plain->name = strdup("man.4");
  plain->id = 4;
  plain->cache_input = 1;
  write_text(1, false,
             "BEGIN man_12\nroot 1 2 3 0 0 0\n\n"
             "BEGIN big_man_3\nroot 4 5 6 0 0 0\n\nBEGIN man_4\nroot 0 0 0 5 6 7\n");
  ASSERT_EQ(apf_read(dir().c_str(), 1, 1, 0), 1);
  // Default order RX RY RZ TX TY TZ: the first three values are rotations.
  expect_channels(man->segments, {0, 0, 0, 1, 2, 3});
  expect_channels(big->segments, {0, 0, 0, 4, 5, 6});
  expect_channels(plain->segments, {5, 6, 7, 0, 0, 0});
}

TEST_F(ApfTest, UnknownSegmentAndOverlongLinesAreSkippedAndShortLinesKeepLaterChannels) {
  Agent* agent = make_agent("man", 5);
  Segment* arm = agent->segments->next;
  arm->channels[2] = 99;  // tz, beyond what the line gives
  // A line longer than the reader takes comes in pieces, none of which names a segment.
  write_text(2, false,
             "BEGIN man_5\nnosuch 7 7 7 7 7 7\narm" + std::string(20000, '1') +
                 "\narm 10 20 30 1 2\nroot 0 0 0 8 9 10\n\narm 5 5 5 5 5 5\n");
  ASSERT_EQ(apf_read(dir().c_str(), 2, 0, 0), 1);
  EXPECT_FLOAT_EQ(arm->channels[0], 0);  // agent not marked for cache input: untouched
  agent->cache_input = 1;
  ASSERT_EQ(apf_read(dir().c_str(), 2, 0, 0), 1);
  // The line after the empty line is outside the block: ry stays 20.
  expect_channels(arm, {1, 2, 99, 10, 20, 30});
  // The block continued after the unknown and the long line.
  expect_channels(agent->segments, {8, 9, 10, 0, 0, 0});
  // The pose follows the channels.
  EXPECT_FLOAT_EQ(agent->segments->matrix[12], 8);
}

TEST_F(ApfTest, SpawnLineWithIdSpawnsOnlyFromPlainFiles) {
  new_group("crowd", type_, type_, 0, 1);
  const std::string text = "#spawn crowd 5\n\nBEGIN man_5\nroot 0 0 0 1 2 3\n";
  write_text(1, true, text);
  ASSERT_EQ(apf_read(dir().c_str(), 1, 1, 1), 1);
  EXPECT_EQ(findAgent("man.5"), nullptr);

  write_text(1, false, text);
  ASSERT_EQ(apf_read(dir().c_str(), 1, 1, 0), 1);
  Agent* spawned = findAgent("man.5");
  ASSERT_NE(spawned, nullptr);
  EXPECT_EQ(spawned->id, 5);
  EXPECT_FLOAT_EQ(spawned->segments->channels[1], 2);
  // Its block read, the created agent no longer carries the spawned mark, and its root position
  // (tx 1, ty 2, tz 3 in the default order) is in entries 4 to 6 of its simulation value table.
  EXPECT_EQ(spawned->spawned, 0);
  ASSERT_NE(spawned->sim_values, nullptr);
  ASSERT_GE(spawned->sim_value_count, 7);
  EXPECT_FLOAT_EQ(spawned->sim_values[4], 1);
  EXPECT_FLOAT_EQ(spawned->sim_values[5], 2);
  EXPECT_FLOAT_EQ(spawned->sim_values[6], 3);
  // Reading the same file again does not create a second agent.
  ASSERT_EQ(apf_read(dir().c_str(), 1, 1, 0), 1);
  int count = 0;
  for (Agent* a = root_agent; a; a = a->next) count += std::strcmp(a->name, "man.5") == 0;
  EXPECT_EQ(count, 1);

  // Without `create` nothing is spawned; a group-only line acts in a gzip file.
  write_text(2, true, "#spawn crowd\n\n");
  ASSERT_EQ(apf_read(dir().c_str(), 2, 0, 1), 1);
  EXPECT_EQ(findAgent("man.0"), nullptr);
  ASSERT_EQ(apf_read(dir().c_str(), 2, 1, 1), 1);
  EXPECT_NE(findAgent("man.0"), nullptr);
}

TEST_F(ApfTest, RoundTripInBothCompressions) {
  for (int compressed = 0; compressed < 2; ++compressed) {
    SCOPED_TRACE(compressed);
    apf_sound_output = apf_value_set_output = apf_variable_output = 1;
    Agent* agent = make_agent("man", 1);
    UserVar* speed = new_userVar(agent, "speed");
    speed->value = 2.25f;
    speed->flags = 1;
    new_userVar(agent, "hidden")->value = 7;
    char* members[2] = {const_cast<char*>("a"), const_cast<char*>("b")};
    float values[2] = {0.5f, -1.25f};
    ValueSet set{const_cast<char*>("mood"), 2, members, values, nullptr};
    agent->value_sets = &set;
    for (int i = 0; i < 6; ++i) agent->sound[i] = static_cast<float>(i) + 0.5f;
    Segment* root = agent->segments;
    root->channels[0] = 3;
    root->channels[4] = 30;  // ry
    segment_pose_from_channels(root);
    Segment* arm = root->next;
    float arm_channels[6] = {0.25f, -1, 2, 12.5f, -33.25f, 90};
    std::memcpy(arm->channels, arm_channels, sizeof arm_channels);

    ASSERT_EQ(apf_write(dir().c_str(), 9, compressed), 1);
    std::string text = read_text(9, compressed);
    EXPECT_NE(text.find("sound 0.5 1.5 2.5 3.5 4.5 5.5\n"), std::string::npos) << text;
    EXPECT_NE(text.find("#:mood 0.500000 -1.250000\n"), std::string::npos) << text;
    EXPECT_NE(text.find("#v speed 2.250000\n"), std::string::npos) << text;
    EXPECT_EQ(text.find("hidden"), std::string::npos);

    std::memset(arm->channels, 0, sizeof arm->channels);
    std::memset(root->channels, 0, sizeof root->channels);
    std::memset(agent->sound, 0, sizeof agent->sound);
    values[0] = values[1] = 0;
    speed->value = 0;
    agent->changed = 0;
    ASSERT_EQ(apf_read(dir().c_str(), 9, 1, compressed), 1);
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(arm->channels[i], arm_channels[i], 1e-4) << i;
    EXPECT_NEAR(root->channels[0], 3, 1e-5);
    EXPECT_NEAR(root->channels[4], 30, 1e-3);
    EXPECT_FLOAT_EQ(agent->sound[5], 5.5f);
    EXPECT_FLOAT_EQ(values[1], -1.25f);
    EXPECT_FLOAT_EQ(speed->value, 2.25f);
    EXPECT_EQ(agent->changed, 1);
    agent->value_sets = nullptr;
    delete_agent_instance(agent);
  }
}

TEST_F(ApfTest, FileNamesMissingFilesAndUnwritableFolders) {
  char name[256];
  apf_file_name(name, sizeof name, "/sim", 7, 0);
  EXPECT_STREQ(name, "/sim/frame.7.apf");
  apf_file_name(name, sizeof name, "/sim", 120, 1);
  EXPECT_STREQ(name, "/sim/frame.120.apf.gz");

  // A missing file warns once for each agent it affects, and zeroes their motion.
  Agent* first = make_agent("man", 1);
  Agent* second = make_agent("man", 2);
  first->motion[0] = second->motion[3] = 4;
  second->cache_input = 1;
  const std::string warning = "Warning: Couldn't open APF file \"" + file(77, false) + "\"\n";
  EXPECT_EQ(stderr_of([&] { EXPECT_EQ(apf_read(dir().c_str(), 77, 0, 0), 0); }), warning);
  EXPECT_FLOAT_EQ(first->motion[0], 4);
  EXPECT_FLOAT_EQ(second->motion[3], 0);
  EXPECT_EQ(stderr_of([&] { EXPECT_EQ(apf_read(dir().c_str(), 77, 1, 0), 0); }), warning + warning);
  EXPECT_FLOAT_EQ(first->motion[0], 0);

  const std::string missing = dir() + "/no/such";
  EXPECT_EQ(stderr_of([&] { EXPECT_EQ(apf_write(missing.c_str(), 1, 0), 0); }),
            "ERROR: Couldn't write to " + missing + "/frame.1.apf\n");
}

TEST_F(ApfTest, MotionBlurWritesThePreviousFrameFromLastChannels) {
  apf_sound_output = 1;
  Agent* agent = make_agent("man", 1);
  Segment* arm = agent->segments->next;
  arm->channels[0] = 5;
  arm->last_channels[0] = 4;
  ASSERT_EQ(apf_write_motion_blur(dir().c_str(), 6, 0), 1);
  std::string previous = read_text(5, false);
  std::string current = read_text(6, false);
  EXPECT_NE(previous.find("arm 0 0 0 4 0 0\n"), std::string::npos) << previous;
  EXPECT_EQ(previous.find("sound"), std::string::npos);
  EXPECT_NE(current.find("arm 0 0 0 5 0 0\n"), std::string::npos) << current;
  EXPECT_NE(current.find("sound"), std::string::npos);
}

}  // namespace
