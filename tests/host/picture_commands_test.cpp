// `hordera render` and `hordera bake` as a farm runs them: a sequence carries on past a frame
// whose pose cache or scene is missing, reports every failed frame and exits non-zero, and
// leaves no file for a frame that could not be made; bad arguments fail with a clear message.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/command_run.h"
#include "tests/support/walker_fixture.h"

namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

using command_test::CommandRun;
using command_test::run;

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
  std::vector<std::string> written;
  for (const auto& entry : fs::directory_iterator(dir / "out"))
    written.push_back(entry.path().filename().string());
  std::sort(written.begin(), written.end());
  EXPECT_EQ(written, (std::vector<std::string>{"frame.0004.png", "frame.0005.png"}));

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
