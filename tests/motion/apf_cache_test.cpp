// The renderer's cache of parsed pose-cache files: records by id, channel order, motion values,
// the two-file limit and hostile files.
#include "motion/apf_cache.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "agent/agent.h"
#include "agent/skeleton.h"
#include "tests/support/scratch_files.h"

namespace {

using scratch::stderr_of;

class ApfCacheTest : public scratch::FolderTest {
 protected:
  void SetUp() override {
    apf_cache_init();
    scratch::FolderTest::SetUp();
    type_ = new_agent_type("man");
    new_segment(type_, "root");
    new_segment(type_, "arm")->order = strToOrder("rz ry rx");
  }
  void TearDown() override {
    while (root_agent) delete_agent_instance(root_agent);
    scratch::FolderTest::TearDown();
  }

  Agent* make_agent(int id) {
    Agent* agent = new_agent_instance(type_);
    agent->id = id;
    return agent;
  }
  std::string write(const std::string& leaf, const std::string& text, bool compressed = false) {
    scratch::write_stream(path(leaf), text, compressed);
    return path(leaf);
  }

  Agent* type_ = nullptr;
};

// Checks all six channels of a segment, in the order tx ty tz rx ry rz.
void expect_channels(const Segment* segment, const std::vector<float>& expected) {
  for (int i = 0; i < 6; ++i) EXPECT_EQ(segment->channels[i], expected[i]) << segment->name << i;
}

const char* kThreeAgents =
    "BEGIN man_1\nroot 1 1 1 1 1 1\n\n"
    "#spawn crowd 3\n\n"
    "BEGIN man_3\n  root 10 20 30 40 50 60\n#v speed 2\narm 1 2 3 4 5 6\n"
    "motion 70 71 72 73 74 75\n\n"
    "BEGIN man_2\nroot 2 2 2 2 2 2\n";

TEST_F(ApfCacheTest, AppliesRecordsByIdInChannelOrder) {
  for (int compressed = 0; compressed < 2; ++compressed) {
    std::string path = write(compressed ? "a.apf.gz" : "a.apf", kThreeAgents, compressed);
    Agent* agent = make_agent(3);
    ASSERT_EQ(apf_cache_read(path.c_str(), agent), 1);
    Segment* root = agent->segments;
    Segment* arm = root->next;
    expect_channels(root, {40, 50, 60, 10, 20, 30});  // default order RX RY RZ TX TY TZ
    expect_channels(arm, {4, 5, 6, 3, 2, 1});         // order RZ RY RX TX TY TZ
    // Motion values, the first two swapped.
    for (int i = 0; i < 6; ++i) EXPECT_EQ(agent->motion[i], i < 2 ? 71 - i : 70 + i) << i;
    // The pose follows the channels.
    EXPECT_FLOAT_EQ(root->matrix[12], 40);

    Agent* beyond = make_agent(4);
    EXPECT_EQ(apf_cache_read(path.c_str(), beyond), 0);
    Agent* none = make_agent(0);
    EXPECT_EQ(apf_cache_read(path.c_str(), none), 0);
    EXPECT_EQ(apf_cache_read(path.c_str(), nullptr), 0);
  }
}

// Numbers as the C library reads them, whatever the spacing; a line longer than the line reader
// takes is read as two lines, so the first word of its remainder is skipped as a name.
TEST_F(ApfCacheTest, ReadsOddlyWrittenNumbersAndSplitsLongLines) {
  const std::string split_line = "root" + std::string(8180, ' ') + " 1 2 3 4 5 6 7 8\n";
  const std::string frame =
      "BEGIN man_1\n\troot\t-0  1e2 +4\t0x10 2.5E-1 -.5\r\narm  inf 1e-46 3 4 5 6 junk 7\n\n"
      "BEGIN man_2\n" +
      split_line;
  for (int compressed = 0; compressed < 2; ++compressed) {
    SCOPED_TRACE(compressed);
    const std::string path = write(compressed ? "odd.apf.gz" : "odd.apf", frame, compressed);
    Agent* agent = make_agent(1);
    ASSERT_EQ(apf_cache_read(path.c_str(), agent), 1);
    const float* root = agent->segments->channels;       // tx ty tz rx ry rz
    EXPECT_TRUE(root[3] == 0 && std::signbit(root[3]));  // "-0" keeps its sign
    EXPECT_EQ(root[4], 100.0f);
    EXPECT_EQ(root[5], 4.0f);   // "+4"
    EXPECT_EQ(root[0], 16.0f);  // hexadecimal "0x10"
    EXPECT_EQ(root[1], 0.25f);
    EXPECT_EQ(root[2], -0.5f);
    const float* arm = agent->segments->next->channels;  // order rz ry rx tx ty tz
    EXPECT_TRUE(std::isinf(arm[5]) && arm[5] > 0);
    EXPECT_EQ(arm[4], 0.0f);  // 1e-46 is below the smallest float
    EXPECT_EQ(arm[3], 3.0f);
    EXPECT_EQ(arm[2], 6.0f);
    EXPECT_EQ(agent->motion[1], 0.0f);  // "junk" ended the line: no motion values

    // The 8191-byte piece ends after "3"; the rest, "4 5 6 7 8", loses "4" as its name.
    Agent* second = make_agent(2);
    ASSERT_EQ(apf_cache_read(path.c_str(), second), 1);
    expect_channels(second->segments, {5, 6, 7, 1, 2, 3});
    expect_channels(second->segments->next, {0, 0, 0, 0, 0, 8});
  }
}

TEST_F(ApfCacheTest, KeepsAtMostTwoFilesAndReportsMissingFilesAndWideLines) {
  Agent* agent = make_agent(1);
  std::string first = write("1.apf", "BEGIN man_1\nroot 1 0 0 0 0 0\n");
  std::string second = write("2.apf", "BEGIN man_1\nroot 2 0 0 0 0 0\n");
  std::string third = write("3.apf", "BEGIN man_1\nroot 3 0 0 0 0 0\n");
  ASSERT_EQ(apf_cache_read(first.c_str(), agent), 1);
  ASSERT_EQ(apf_cache_read(second.c_str(), agent), 1);
  ASSERT_EQ(apf_cache_read(third.c_str(), agent), 1);
  EXPECT_EQ(apf_cache_file_count(), 2);
  EXPECT_FALSE(apf_cache_holds(first.c_str()));
  EXPECT_TRUE(apf_cache_holds(second.c_str()));
  EXPECT_TRUE(apf_cache_holds(third.c_str()));
  // A parsed file is not read again: a change on disk is not seen while it is cached.
  write("3.apf", "BEGIN man_1\nroot 9 0 0 0 0 0\n");
  ASSERT_EQ(apf_cache_read(third.c_str(), agent), 1);
  EXPECT_FLOAT_EQ(agent->segments->channels[3], 3);

  const std::string missing = path("none.apf");
  // The missing file is reported once: its entry stays cached, so the second read fails quietly.
  EXPECT_EQ(stderr_of([&] {
              EXPECT_EQ(apf_cache_read(missing.c_str(), agent), 0);
              EXPECT_EQ(apf_cache_read(missing.c_str(), agent), 0);
            }),
            "Failed to open file '" + missing + "' for caching\n");
  EXPECT_TRUE(apf_cache_holds(missing.c_str()));

  std::string wide = "root";
  for (int i = 0; i < 3000; ++i) wide += " 1";
  const std::string file = write("wide.apf", "BEGIN man_1\n" + wide + "\n");
  EXPECT_EQ(stderr_of([&] { EXPECT_EQ(apf_cache_read(file.c_str(), agent), 1); }),
            "Buffer reallocation required for file '" + file + "'\n");
  EXPECT_FLOAT_EQ(agent->segments->next->channels[0], 1);
}

TEST_F(ApfCacheTest, HostileFilesDoNotCrash) {
  Agent* agent = make_agent(1);
  // Truncated gzip: the first half of a valid compressed file.
  const std::string full = write("t.apf.gz", kThreeAgents, true);
  const std::string bytes = scratch::read_file(full);
  scratch::write_file(full, bytes.substr(0, bytes.size() / 2));
  apf_cache_read(full.c_str(), agent);
  apf_cache_read(write("c.apf.gz", "\x1f\x8b\x08\x00garbage that is not deflate").c_str(), agent);
  std::string overlong = write("o.apf", "BEGIN man_1\nroot" + std::string(30000, '7') + "\n");
  apf_cache_read(overlong.c_str(), agent);
  // A huge id sets the record count without costing memory: every id up to it reads (an empty
  // record), one beyond it fails.
  std::string huge = write("h.apf",
                           "BEGIN man_99999999999\nBEGIN\nBEGIN man_-4\nroot x 1\n"
                           "BEGIN man_7\nroot nan 2 -inf 4 5 6 7 8 9 10 11 12 1e40\n");
  EXPECT_EQ(apf_cache_read(huge.c_str(), agent), 1);
  Agent* far = make_agent(2000000000);
  EXPECT_EQ(apf_cache_read(huge.c_str(), far), 1);
  Agent* seventh = make_agent(7);
  EXPECT_EQ(apf_cache_read(huge.c_str(), seventh), 1);
  EXPECT_FLOAT_EQ(seventh->segments->channels[4], 2);  // beside a NaN, in order position
  // The first motion value (out of float range) goes to the second slot; the rest stay.
  EXPECT_TRUE(std::isinf(seventh->motion[1]));
  EXPECT_FLOAT_EQ(seventh->motion[0], 0);
  std::string small = write("s.apf", "BEGIN man_3\nroot 1\n");
  EXPECT_EQ(apf_cache_read(small.c_str(), far), 0);
  Agent* negative = make_agent(-3);
  EXPECT_EQ(apf_cache_read(small.c_str(), negative), 0);
}

}  // namespace
