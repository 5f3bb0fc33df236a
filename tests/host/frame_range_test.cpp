// Frame ranges, per-frame file names, and sequences that go on after a failed frame.
#include "host/frame_range.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>

namespace {

using ::testing::HasSubstr;

TEST(FrameRange, ParsesRangesAndRefusesBadOnes) {
  host::FrameRange range;
  std::string error;
  const struct {
    const char* text;
    int first, last;
    long long count;
  } good[] = {{"1-4", 1, 4, 4},
              {"7", 7, 7, 1},
              {"-3--1", -3, -1, 3},
              {"-2147483648-2147483647", INT32_MIN, INT32_MAX, 4294967296LL}};
  for (const auto& c : good) {
    ASSERT_TRUE(host::parse_frame_range(c.text, &range, &error)) << c.text;
    EXPECT_EQ(range.first, c.first) << c.text;
    EXPECT_EQ(range.last, c.last) << c.text;
    EXPECT_EQ(range.count(), c.count) << c.text;
  }

  for (const char* bad : {"", "a", "1-", "-", "1-2-3", "1..4", " 1-4", "1-4 ", "99999999999"}) {
    EXPECT_FALSE(host::parse_frame_range(bad, &range, &error)) << bad;
    EXPECT_EQ(error, std::string("bad frame range \"") + bad + "\": expected A or A-B");
  }
  EXPECT_FALSE(host::parse_frame_range("4-1", &range, &error));
  EXPECT_EQ(error, "bad frame range \"4-1\": the first frame is after the last");
}

TEST(FrameRange, FormatsFramePatterns) {
  EXPECT_EQ(host::format_frame_path("frame.%04d.png", 7), "frame.0007.png");
  EXPECT_EQ(host::format_frame_path("frame.%04d.png", 12345), "frame.12345.png");
  EXPECT_EQ(host::format_frame_path("f%d", -5), "f-5");
  EXPECT_EQ(host::format_frame_path("f%3d", 5), "f  5");
  EXPECT_EQ(host::format_frame_path("100%%_%03d.obj", 5), "100%_005.obj");
  EXPECT_EQ(host::format_frame_path("still.png", 5), "still.png");
  EXPECT_FALSE(host::has_frame_conversion("100%%.png"));
  EXPECT_TRUE(host::has_frame_conversion("a%02d"));

  std::string error;
  EXPECT_TRUE(host::check_frame_pattern("a%%b%05d", &error));
  for (const char* bad : {"%s.png", "%d_%d.png", "50%.png", "%", "%-4d", "%999d"}) {
    EXPECT_FALSE(host::check_frame_pattern(bad, &error)) << bad;
    EXPECT_THAT(error, HasSubstr(bad));
  }

  EXPECT_EQ(host::sequence_pattern("out.png", true), "out.%04d.png");
  EXPECT_EQ(host::sequence_pattern("out.png", false), "out.png");
  EXPECT_EQ(host::sequence_pattern("f.%d.png", true), "f.%d.png");
  EXPECT_EQ(host::sequence_pattern("v1.2/out", true), "v1.2/out.%04d");
  EXPECT_EQ(host::sequence_pattern("dir/.hidden", true), "dir/.hidden.%04d");
}

TEST(FrameRange, RunsEveryFrameInOrderAndReportsTheFailedOnes) {
  std::vector<int> seen, progress;
  ::testing::internal::CaptureStderr();
  const int failed = host::run_frames(
      {3, 6},
      [&](int frame, std::string* error) {
        seen.push_back(frame);
        if (frame == 4 || frame == 6) *error = "crowd." + std::to_string(frame) + ".apf: missing";
        return frame != 4 && frame != 6;
      },
      [&](int done) { progress.push_back(done); });
  const std::string printed = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(failed, 2);
  EXPECT_EQ(seen, (std::vector<int>{3, 4, 5, 6}));
  EXPECT_EQ(progress, (std::vector<int>{1, 2, 3, 4}));
  EXPECT_EQ(printed,
            "error: frame 4: crowd.4.apf: missing\n"
            "error: frame 6: crowd.6.apf: missing\n"
            "error: 2 of 4 frames failed: 4 6\n");
}

}  // namespace
