// Frame ranges and per-frame file names, and `hordera render` and `hordera bake` as a farm runs
// them: a sequence carries on past a failed frame, reports every one and exits non-zero, leaving
// no file for a frame that could not be made; bad arguments fail with a clear message.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "host/frame_range.h"
#include "tests/support/command_run.h"
#include "tests/support/walker_fixture.h"

namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

using command_test::CommandRun;
using command_test::run;

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

TEST(PictureCommands, SequenceGoesOnPastMissingPoseCachesAndScenesAndWritesOnlyWholeFrames) {
  const fs::path dir = fs::path(::testing::TempDir()) / "sequence";
  fs::create_directories(dir / "out");
  // The walker has pose caches for frames 4 and 5 only; frame 7 has no scene file.
  rib_test::write_walker(dir);
  for (int frame : {4, 5, 6}) {
    const std::string n = std::to_string(frame);
    std::ofstream(dir / ("crowd." + n + ".mi"))
        << "instance \"agent1\" geometry \"hordera_mray\"( \"id\" 12, \"paramStr\" \""
        << (dir / "walker.cdl").string() << " " << (dir / ("frame." + n + ".apf")).string() << " "
        << n << "\", \"bbox_min\" -5 -5 -5, \"bbox_max\" 5 5 5 ) end instance\n";
  }
  const std::string scenes = (dir / "crowd.%d.mi").string();
  const CommandRun render = run("render " + scenes + " --frames 4-7 -q --width 32 --height 24 " +
                                "--spp 1 -o " + (dir / "out" / "frame.png").string());
  EXPECT_EQ(render.status, 1);
  EXPECT_THAT(render.err, HasSubstr("error: frame 6: " + (dir / "crowd.6.mi").string() + ": " +
                                    (dir / "frame.6.apf").string() +
                                    ": cannot read the pose cache (No such file or directory)\n"));
  EXPECT_THAT(render.err, HasSubstr("error: frame 7: " + (dir / "crowd.7.mi").string() +
                                    ": cannot open the scene file\n"));
  EXPECT_THAT(render.err, HasSubstr("error: 2 of 4 frames failed: 6 7\n"));
  std::set<std::string> written;
  for (const auto& entry : fs::directory_iterator(dir / "out"))
    written.insert(entry.path().filename());
  EXPECT_EQ(written, (std::set<std::string>{"frame.0004.png", "frame.0005.png"}));

  // One file that plays frames 4 and 5; none at all when a frame of the range fails.
  const std::string animated = (dir / "out" / "walk.glb").string();
  EXPECT_EQ(run("bake " + scenes + " --frames 4-6 --animate -q -o " + animated).status, 1);
  EXPECT_FALSE(fs::exists(animated));
  EXPECT_EQ(run("bake " + scenes + " --frames 4-5 --animate -q -o " + animated).status, 0);
  EXPECT_GT(fs::file_size(animated), 0u);

  // A frame whose only agent cannot be loaded has nothing to bake, and leaves no file.
  std::ofstream(dir / "empty.mi")
      << "instance \"agent1\" geometry \"hordera_mray\"( \"id\" 1, \"paramStr\" "
         "\"missing.cdl\", \"bbox_min\" 0 0 0, \"bbox_max\" 1 1 1 ) end instance\n";
  const CommandRun bake =
      run("bake " + (dir / "empty.mi").string() + " -o " + (dir / "out" / "crowd.obj").string());
  EXPECT_EQ(bake.status, 1);
  EXPECT_THAT(bake.err, HasSubstr("nothing to bake: the frame holds no triangles"));
  EXPECT_FALSE(fs::exists(dir / "out" / "crowd.obj"));
}

TEST(PictureCommands, BadArgumentsFailWithAClearMessage) {
  const std::string scene = (fs::path(::testing::TempDir()) / "none.mi").string();
  CommandRun result = run("render " + scene + " --frames 5-2 -o x.png");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "error: bad frame range \"5-2\": the first frame is after the last\n");
  result = run("render " + scene + " --frames 1-2 -o x%s.png");
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("bad file name pattern \"x%s.png\""));
  result = run("bake " + scene + " -o crowd.fbx");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err,
            "error: crowd.fbx: unknown bake format: the name must end in .glb, .gltf or .obj\n");
  result = run("render " + scene + " -o x.png --camera 1 2 3");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "error: --camera and --look-at go together, three numbers each\n");
}

}  // namespace
