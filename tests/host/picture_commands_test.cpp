// `hordera render` and `hordera bake` as a farm runs them: a sequence carries on past a frame
// whose scene is missing, reports every failed frame and exits non-zero, and leaves no file
// for a frame that could not be made; bad arguments fail with a clear message.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/command_run.h"

namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

using command_test::CommandRun;
using command_test::run;

TEST(PictureCommands, SequenceGoesOnPastAMissingSceneAndWritesNothingForFailedFrames) {
  const fs::path dir = fs::path(::testing::TempDir()) / "sequence";
  fs::create_directories(dir / "out");
  // Frames 1 and 3 exist; their agent file does not, so they pose no geometry.
  for (int frame : {1, 3})
    std::ofstream(dir / ("crowd." + std::to_string(frame) + ".mi"))
        << "instance \"agent1\" geometry \"hordera_mray\"( \"id\" 1, \"paramStr\" "
           "\"missing.cdl\", \"bbox_min\" 0 0 0, \"bbox_max\" 1 1 1 ) end instance\n";
  const std::string scenes = (dir / "crowd.%d.mi").string();
  const CommandRun render =
      run("render " + scenes + " --frames 1-3 -q -o " + (dir / "out" / "frame.png").string());
  EXPECT_EQ(render.status, 1);
  EXPECT_THAT(render.err, HasSubstr("error: frame 2: " + (dir / "crowd.2.mi").string() +
                                    ": cannot open the scene file\n"));
  EXPECT_THAT(render.err, HasSubstr("error: frame 3: " + (dir / "out" / "frame.0003.png").string() +
                                    ": nothing to draw: the frame holds no triangles\n"));
  EXPECT_THAT(render.err, HasSubstr("error: 3 of 3 frames failed: 1 2 3\n"));
  EXPECT_TRUE(fs::is_empty(dir / "out"));

  const CommandRun bake =
      run("bake " + (dir / "crowd.1.mi").string() + " -o " + (dir / "out" / "crowd.obj").string());
  EXPECT_EQ(bake.status, 1);
  EXPECT_THAT(bake.err, HasSubstr("nothing to bake: the frame holds no triangles"));
  EXPECT_TRUE(fs::is_empty(dir / "out"));
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
