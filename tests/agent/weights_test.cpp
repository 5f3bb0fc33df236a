// Weights files: deformer table, mapping to bones by segment name, vertex lines, attach-list
// ordering, the writer's exact text and a write-read round trip.
#include "agent/weights.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "agent/agent.h"
#include "agent/nodes.h"
#include "tests/support/engine_fixtures.h"
#include "tests/support/scratch_files.h"

namespace {

using scratch::stderr_of;
using testing::HasSubstr;

// Expects one array per bone of the type, four vertices each, holding `expected`; frees them.
void expect_arrays(float** arrays, int32_t count, const float (&expected)[3][4]) {
  ASSERT_EQ(count, 3);
  for (int b = 0; b < 3; ++b)
    for (int v = 0; v < 4; ++v) EXPECT_FLOAT_EQ(arrays[b][v], expected[b][v]) << b << "," << v;
  free_weight_arrays(arrays, count);
}

// A fixture with an agent type of segments "hip", "spine", "head" and a bone for each, in that
// order (deformer positions 0, 1, 2).
class WeightsTest : public scratch::FolderTest {
 protected:
  void SetUp() override {
    scratch::FolderTest::SetUp();
    type_ = new_agent_type("weights_test");
    Bone** tail = &type_->bones;
    for (const char* name : {"hip", "spine", "head"}) {
      Bone* bone = engine_test::zeroed_record<Bone>();
      bone->name = strdup(name);
      bone->segment = new_segment(type_, name);
      *tail = bone;
      tail = &bone->next;
    }
  }

  Agent* type_ = nullptr;
};

TEST_F(WeightsTest, DeformerTableAndVertexLinesFillBoneArraysSkippingWhatDoesNotFit) {
  // The deformer table is sized by the largest number and mapped to bones by segment name.
  // No segment is named "tail".
  const std::string sparse = write(
      "sparse.w", "# comment\n\ndeformer 0 head\ndeformer 2 hip\ndeformer 5 tail\n\n0:  0 1\n");
  std::vector<int> table;
  ASSERT_TRUE(hordera::read_weights_deformer_table(sparse.c_str(), type_, table));
  EXPECT_EQ(table, (std::vector<int>{2, -1, 0, -1, -1, -1}));

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
  EXPECT_EQ(stderr_of([&] {
              EXPECT_EQ(read_weights_file(path.c_str(), type_, 4, nullptr, 0, &arrays, &count), 1);
            }),
            path + ":13: cannot read 'oops' as a weight; rest of line skipped\n");
  expect_arrays(arrays, count, {{0.25f, 0, 0, 0}, {0.75f, 0, 0.5f, 0}, {0, 0.9f, 0, 0}});

  // Re-ordered to an attach list: head, then a segment without a bone, then hip, then head again
  // (the same weights a second time, in an array of its own).
  Segment* loose = new_segment(type_, "loose");
  Segment* attach[4] = {findSegment(type_, "head"), loose, findSegment(type_, "hip"),
                        findSegment(type_, "head")};
  stderr_of(
      [&] { EXPECT_EQ(read_weights_file(path.c_str(), type_, 4, attach, 4, &arrays, &count), 1); });
  ASSERT_EQ(count, 4);
  EXPECT_FLOAT_EQ(arrays[0][1], 0.9f);
  EXPECT_FLOAT_EQ(arrays[1][0], 0.0f);
  EXPECT_FLOAT_EQ(arrays[2][0], 0.25f);
  EXPECT_NE(arrays[3], arrays[0]);
  for (int v = 0; v < 4; ++v) EXPECT_FLOAT_EQ(arrays[3][v], arrays[0][v]) << v;
  free_weight_arrays(arrays, count);
}

TEST_F(WeightsTest, WriterTextSkipsZeroWeightsAndReadsBack) {
  const std::string file = path("out.w");
  // Influences out of vertex order; a zero weight; vertex 2 has none.
  const int32_t vertices[] = {1, 0, 0, 1, 3};
  const int32_t deformers[] = {2, 0, 1, 0, 1};
  const float weights[] = {1.0f, 0.25f, 0.75f, 0.0f, 0.5f};
  ASSERT_EQ(write_agent_weights_file(file.c_str(), type_, 4, 5, vertices, deformers, weights), 1);
  EXPECT_EQ(scratch::read_file(file),
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
  ASSERT_EQ(read_weights_file(file.c_str(), type_, 4, nullptr, 0, &arrays, &count), 1);
  expect_arrays(arrays, count, {{0.25f, 0, 0, 0}, {0.75f, 0, 0, 0.5f}, {0, 1, 0, 0}});

  // An influence out of range writes nothing.
  const std::string refused = path("refused.w");
  const int32_t bad_deformer[] = {3};
  EXPECT_THAT(stderr_of([&] {
                EXPECT_EQ(write_agent_weights_file(refused.c_str(), type_, 4, 1, vertices,
                                                   bad_deformer, weights),
                          0);
              }),
              HasSubstr(refused));
  EXPECT_FALSE(std::filesystem::exists(refused));
}

// Cuts of a good file and malformed lines (binary noise and deformer numbers out of range are the
// weights fuzzer corpus's, an enormous line the hostile-file suite's): nothing crashes, a refused
// file is named and leaves no weights, an accepted one gives an array per bone.
TEST_F(WeightsTest, HostileAndMissingFiles) {
  std::string errors;
  auto load = [&](const std::string& name, const std::string& bytes) {
    const std::string file = write(name, bytes);
    float** arrays = reinterpret_cast<float**>(1);
    int32_t count = 7;
    int ok = 0;
    errors = stderr_of(
        [&] { ok = read_weights_file(file.c_str(), type_, 5, nullptr, 0, &arrays, &count); });
    if (ok) {
      EXPECT_EQ(count, 3) << name;
      free_weight_arrays(arrays, count);
    } else {
      EXPECT_EQ(arrays, nullptr) << name;
      EXPECT_EQ(count, 0) << name;
      EXPECT_THAT(errors, HasSubstr(file)) << name;
    }
    return ok;
  };

  const std::string good =
      "# Hordera vertex weights file, written by version 4.1.18\n\n"
      "deformer 0 hip\ndeformer 1 spine\n\n"
      "0:  0 1\n1:  0 0.5 1 0.5\n2:  1 1\n3:  1 0.25 0 0.75\n4:  0 1\n";
  for (const char* cut : {"deformer 1 sp", "1:  0 0.", "3:  1 0.25 0"}) {
    const size_t length = good.find(cut) + std::strlen(cut);
    load("cut_" + std::to_string(length) + ".w", good.substr(0, length));
  }
  EXPECT_TRUE(load("whole.w", good));

  const char* const malformed[] = {
      "deformer 2000000 hip\n0: 2000000 1\n",
      "deformer 0 hip\n-2147483648: 0 1\n2147483648: 0 1\n",
      "deformer 0\n0: 0 1\n",
      "deformer 0 hip\n0: 0\n",
      "deformer 0 hip\n0: 0 1e999\n",
      "deformer 0 hip\n0: 0 nan\n",
      "deformer 0 hip\n0: x 1\n",
      "deformer 0 hip\n99999999999999999999: 0 1\n",
      "deformer 0 hip\n:0 1\n",
      "deformer 0 hip\n0:0 1 0 1 0 1 0\n",
  };
  int index = 0;
  for (const char* text : malformed) load("malformed_" + std::to_string(index++) + ".w", text);

  // A name that is not *.w, and a missing file.
  EXPECT_FALSE(load("body.txt", "deformer 0 hip\n0: 0 1\n"));
  EXPECT_THAT(errors, HasSubstr("\"" + path("body.txt") + "\": expected a *.w file\n"));
  const std::string missing = path("missing.w");
  float** arrays = nullptr;
  int32_t count = 0;
  EXPECT_EQ(stderr_of([&] {
              EXPECT_EQ(read_weights_file(missing.c_str(), type_, 1, nullptr, 0, &arrays, &count),
                        0);
            }),
            "Error opening weights file \"" + missing + "\"\n");
}

}  // namespace
