// Weights files: deformer table, mapping to bones by segment name, vertex lines, attach-list
// ordering, the writer's exact text and a write-read round trip.
#include "agent/weights.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "agent/agent.h"
#include "agent/nodes.h"

namespace {

namespace fs = std::filesystem;

// An agent type with segments "hip", "spine", "head" and bones for "hip", "spine", "head" in
// that order (deformer positions 0, 1, 2).
Agent* make_type() {
  Agent* type = new_agent_type("weights_test");
  Bone** tail = &type->bones;
  for (const char* name : {"hip", "spine", "head"}) {
    Segment* segment = new_segment(type, name);
    Bone* bone = static_cast<Bone*>(std::calloc(1, sizeof(Bone)));
    bone->name = strdup(name);
    bone->segment = segment;
    *tail = bone;
    tail = &bone->next;
  }
  return type;
}

class WeightsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    directory_ = fs::temp_directory_path() /
                 ("hordera_weights_" + std::to_string(::getpid()) + "_" +
                  ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(directory_);
    type_ = make_type();
  }
  void TearDown() override { fs::remove_all(directory_); }

  std::string write(const std::string& name, const std::string& text) {
    const std::string path = (directory_ / name).string();
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }
  std::string read(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }

  fs::path directory_;
  Agent* type_ = nullptr;
};

TEST_F(WeightsTest, DeformerTableIsSizedByLargestNumberAndMappedByName) {
  const std::string path = write("sparse.w",
                                 "# comment\n\n"
                                 "deformer 0 head\n"
                                 "deformer 2 hip\n"
                                 "deformer 5 tail\n"  // no segment of that name
                                 "\n0:  0 1\n");
  std::vector<int> table;
  ASSERT_TRUE(hordera::read_weights_deformer_table(path.c_str(), type_, table));
  EXPECT_EQ(table, (std::vector<int>{2, -1, 0, -1, -1, -1}));
}

TEST_F(WeightsTest, VertexLinesFillBoneArraysSkippingWhatDoesNotFit) {
  const std::string path = write("body.w",
                                 "# Hordera vertex weights file\n\n"
                                 "deformer 0 hip\n"
                                 "deformer 1 spine\n"
                                 "deformer 2 head\n"
                                 "deformer 3 nowhere\n\n"
                                 "0:  0 0.25 1 0.75\n"
                                 "1:  2 0.5 2 0.9\n"    // listed twice: the later weight stays
                                 "2:\t3 1 9 1 1 0.5\n"  // unknown and unmapped deformers skipped
                                 "7:  0 1\n"            // vertex out of range
                                 "-1:  0 1\n"           // negative vertex
                                 "3: 1 oops 2 1\n");    // bad weight: rest of line skipped
  float** arrays = nullptr;
  int32_t count = 0;
  ::testing::internal::CaptureStderr();
  ASSERT_EQ(read_weights_file(path.c_str(), type_, 4, nullptr, 0, &arrays, &count), 1);
  const std::string errors = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(errors, path + ":13: cannot read 'oops' as a weight; rest of line skipped\n");
  ASSERT_EQ(count, 3);
  const float expected[3][4] = {{0.25f, 0, 0, 0}, {0.75f, 0, 0.5f, 0}, {0, 0.9f, 0, 0}};
  for (int b = 0; b < 3; ++b)
    for (int v = 0; v < 4; ++v) EXPECT_FLOAT_EQ(arrays[b][v], expected[b][v]) << b << "," << v;
  free_weight_arrays(arrays, count);

  // Re-ordered to an attach list: head, then a segment without a bone, then hip, then head again
  // (the same weights a second time, in an array of its own).
  Segment* loose = new_segment(type_, "loose");
  Segment* attach[4] = {findSegment(type_, "head"), loose, findSegment(type_, "hip"),
                        findSegment(type_, "head")};
  ::testing::internal::CaptureStderr();
  ASSERT_EQ(read_weights_file(path.c_str(), type_, 4, attach, 4, &arrays, &count), 1);
  ::testing::internal::GetCapturedStderr();
  ASSERT_EQ(count, 4);
  EXPECT_FLOAT_EQ(arrays[0][1], 0.9f);
  EXPECT_FLOAT_EQ(arrays[1][0], 0.0f);
  EXPECT_FLOAT_EQ(arrays[2][0], 0.25f);
  EXPECT_NE(arrays[3], arrays[0]);
  for (int v = 0; v < 4; ++v) EXPECT_FLOAT_EQ(arrays[3][v], arrays[0][v]) << v;
  free_weight_arrays(arrays, count);
}

TEST_F(WeightsTest, RefusedAndMissingFilesLeaveNoWeights) {
  float** arrays = reinterpret_cast<float**>(1);
  int32_t count = 7;
  const std::string wrong = write("body.txt", "deformer 0 hip\n0: 0 1\n");
  const std::string missing = (directory_ / "missing.w").string();
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(read_weights_file(wrong.c_str(), type_, 1, nullptr, 0, &arrays, &count), 0);
  EXPECT_EQ(arrays, nullptr);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(read_weights_file(missing.c_str(), type_, 1, nullptr, 0, &arrays, &count), 0);
  const std::string errors = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(errors.find("\"" + wrong + "\": expected a *.w file\n"), std::string::npos) << errors;
  EXPECT_NE(errors.find("Error opening weights file \"" + missing + "\"\n"), std::string::npos)
      << errors;
}

TEST_F(WeightsTest, WriterTextSkipsZeroWeightsAndReadsBack) {
  const std::string path = (directory_ / "out.w").string();
  // Influences out of vertex order; a zero weight; vertex 2 has none.
  const int32_t vertices[] = {1, 0, 0, 1, 3};
  const int32_t deformers[] = {2, 0, 1, 0, 1};
  const float weights[] = {1.0f, 0.25f, 0.75f, 0.0f, 0.5f};
  ASSERT_EQ(write_agent_weights_file(path.c_str(), type_, 4, 5, vertices, deformers, weights), 1);
  EXPECT_EQ(read(path),
            "# Hordera vertex weights file, written by version 4.1.18\n\n"
            "deformer 0 hip\n"
            "deformer 1 spine\n"
            "deformer 2 head\n"
            "\n"
            "0:  0 0.25 1 0.75\n"
            "1:  2 1\n"
            "2: \n"
            "3:  1 0.5\n");

  float** arrays = nullptr;
  int32_t count = 0;
  ASSERT_EQ(read_weights_file(path.c_str(), type_, 4, nullptr, 0, &arrays, &count), 1);
  ASSERT_EQ(count, 3);
  const float expected[3][4] = {{0.25f, 0, 0, 0}, {0.75f, 0, 0, 0.5f}, {0, 1, 0, 0}};
  for (int b = 0; b < 3; ++b)
    for (int v = 0; v < 4; ++v) EXPECT_FLOAT_EQ(arrays[b][v], expected[b][v]) << b << "," << v;
  free_weight_arrays(arrays, count);

  // An influence out of range writes nothing.
  const std::string refused = (directory_ / "refused.w").string();
  const int32_t bad_deformer[] = {3};
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(write_agent_weights_file(refused.c_str(), type_, 4, 1, vertices, bad_deformer, weights),
            0);
  EXPECT_NE(::testing::internal::GetCapturedStderr().find(refused), std::string::npos);
  EXPECT_FALSE(fs::exists(refused));
}

}  // namespace
