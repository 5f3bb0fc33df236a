// `hordera inspect` as a user runs it: a scene with one broken instance is reported with its
// line while the other instances still reach the plug-in; bad arguments fail with a clear
// message.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/command_run.h"
#include "tests/support/files.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

using command_test::CommandRun;
using command_test::run;
using test_files::write_file;

// Writes a scene into the test's own temporary folder; returns its path.
std::string write_scene(const std::string& name, const std::string& text) {
  write_file(testing::TempDir() + name, text);
  return testing::TempDir() + name;
}

TEST(InspectCommand, BrokenInstanceIsReportedAndTheOthersStillLoad) {
  const std::string scene = write_scene("inspect_broken.mi", R"(options "opt"
    "render_pass" "beauty"
end options
instance "man_7_inst"
    geometry "hordera_mray"(
        "id" 7,
        "paramStr" "a.cdl a.apf 1",
        "bbox_min" -1.5 0 -0.25,
        "bbox_max" 1.5 2 0.25
    )
end instance
instance "man_8_inst"
    geometry "hordera_mray"(
        "id" eight,
        "paramStr" "b.cdl b.apf 1"
    )
end instance
instance "man_9_inst"
    geometry "hordera_mray"( "id" 9, "paramStr" "c.cdl c.apf 1" )
end instance
)");
  const CommandRun result = run("inspect " + scene);
  EXPECT_EQ(result.status, 1) << result.err;
  EXPECT_THAT(result.err, HasSubstr(scene + ":14: parameter \"id\" needs one integer"));
  EXPECT_THAT(result.out, HasSubstr("instances read: 2\n"));
  EXPECT_THAT(result.out,
              HasSubstr("assembly \"asm_7\" box (-1.5 0 -0.25) (1.5 2 0.25) from instance "
                        "\"man_7_inst\", built, freed"));
  EXPECT_THAT(result.out, HasSubstr("assembly \"asm_9\""));
  EXPECT_THAT(result.out, Not(HasSubstr("asm_8")));
  EXPECT_THAT(result.out, HasSubstr("  debug: -->resolve option: render_pass name=beauty\n"));
  EXPECT_THAT(result.err, HasSubstr("hordera 4.1.18 initialised"));
}

TEST(InspectCommand, CleanSceneSucceedsAndRendersEveryRenderStatement) {
  const std::string scene = write_scene("inspect_clean.mi", R"(
instance "man_1_inst" geometry "hordera_mray"( "id" 1 ) end instance
render "root" "cam" "opt"
render "root" "cam" "opt"
)");
  const CommandRun result = run("inspect " + scene);
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("render 1: 1 geometry-shader calls, 0 assemblies"));
  EXPECT_THAT(result.out, HasSubstr("render 2: 1 geometry-shader calls, 0 assemblies"));
  // Without an options block the render still has options, with neither custom option: no
  // pass name and no motion blur (the engine start alone would have left motion blur on).
  EXPECT_THAT(result.out, HasSubstr("  debug: -->resolve option: render_pass name=(null)\n"));
  EXPECT_THAT(result.out, HasSubstr("  debug: -->resolve option: motion_blur=0\n"));
}

TEST(InspectCommand, BadArgumentsFailWithAClearMessage) {
  CommandRun result = run("inspect /nonexistent/scene.mi");
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("/nonexistent/scene.mi: cannot open the scene file"));

  const std::string scene = write_scene("inspect_plugin.mi", "\n");
  result = run("inspect --plugin /nonexistent/hordera.so " + scene);
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("/nonexistent/hordera.so: cannot load the plug-in"));

  result = run("inspect --help");
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("--plugin"));
  EXPECT_NE(run("inspect").status, 0);
}

}  // namespace
