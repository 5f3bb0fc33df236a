// `hordera info` summarises an agent file for its author, and refuses what it cannot read with
// the file's name and a failing exit code.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/command_run.h"
#include "tests/support/files.h"

namespace {

using ::testing::HasSubstr;

using command_test::CommandRun;
using test_files::write_file;

CommandRun run_info(const std::string& argument, const std::string& options = "") {
  return command_test::run("info '" + argument + "' " + options);
}

// A two-segment agent with a skinned mesh, a material, variables, a brain and one bone line
// that names no segment.
std::string write_agent() {
  const std::string dir = testing::TempDir();
  write_file(dir + "body.obj",
             "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 0 2 0\nv 1 2 0\nvn 0 0 1\n"
             "f 1//1 2//1 3//1 4//1\nf 4//1 3//1 6//1 5//1\n");
  write_file(dir + "body.w",
             "# Hordera vertex weights file, written by version 4.1.18\n\n"
             "deformer 0 root\ndeformer 1 spine\n\n"
             "0:  0 1\n1:  0 1\n2:  0 0.5 1 0.5\n3:  0 0.5 1 0.5\n4:  1 1\n5:  1 1\n");
  write_file(dir + "man.cdl",
             "# CDL created with hordera v4.1.18\nobject man\nvariables\nspeed 1.5\nend variables\n"
             "segment root\norder rz ry rx\nsegment spine\nparent root\ndof rx\n"
             "bone root\nbone spine\n"
             "geometry body\nfile body.obj\nweights_file body.w\nmaterial 1\nbone ghost\n"
             "material skin\nid 1\ndiffuse 0.8 0.5 0.4\n"
             "fuzzy input\nchannel tx\nfuzzy output\nchannel spine:rx\nend object\n");
  return dir + "man.cdl";
}

TEST(InfoCommand, SummarisesAnAgentFileAndRefusesOnesItCannotRead) {
  const CommandRun run = run_info(write_agent());
  ASSERT_EQ(0, run.status) << run.err;
  const std::string& out = run.out;
  EXPECT_THAT(out, HasSubstr("agent type man (number 1)"));
  // The spine is listed under the root, indented one step further, with its order and mask.
  EXPECT_THAT(out, HasSubstr("  root  order rz ry rx tx ty tz"));
  EXPECT_THAT(out, HasSubstr("    spine  order rx ry rz tx ty tz  dof rx (8)"));
  EXPECT_THAT(out, HasSubstr("6 vertices, 2 polygons"));
  EXPECT_THAT(out, HasSubstr("weights body.w: 2 deformer arrays"));
  EXPECT_THAT(out, HasSubstr("1 skin:"));
  EXPECT_THAT(out, HasSubstr("speed = 1.5"));
  EXPECT_THAT(out, HasSubstr("brain nodes: 2 (input 1, output 1)"));
  // What the reader said while loading is shown to the author, not lost.
  EXPECT_THAT(out, HasSubstr("bones WARNING: Couldn't find bone called `ghost'"));

  // Missing and wrongly named files are refused, named.
  const CommandRun missing = run_info(testing::TempDir() + "nowhere.cdl");
  EXPECT_NE(0, missing.status);
  EXPECT_THAT(missing.err, HasSubstr("nowhere.cdl"));

  const std::string text = testing::TempDir() + "agent.txt";
  write_file(text, "object nope\nend object\n");
  const CommandRun refused = run_info(text);
  EXPECT_NE(0, refused.status);
  EXPECT_THAT(refused.err, HasSubstr("cdl or .act"));
  EXPECT_THAT(refused.err, HasSubstr("agent.txt"));
}

TEST(InfoCommand, DeepSkeletonIsListedInBoundedSpace) {
  // A chain of 3000 segments, each the parent of the next.
  const std::string path = testing::TempDir() + "chain.cdl";
  std::string text = "object chain\n";
  for (int i = 0; i < 3000; ++i) {
    text += "segment s" + std::to_string(i) + "\n";
    if (i > 0) text += "parent s" + std::to_string(i - 1) + "\n";
  }
  write_file(path, text + "end object\n");
  const CommandRun run = run_info(path);
  ASSERT_EQ(0, run.status) << run.err;
  // Indentation stops growing; deeper segments are marked with their depth instead.
  EXPECT_LT(run.out.size(), 1000000u);
  EXPECT_THAT(run.out, HasSubstr("\n" + std::string(2 + 64, ' ') + "s32  order"));
  EXPECT_THAT(run.out, HasSubstr(std::string(2 + 64, ' ') + "[depth 2999] s2999  "));
  EXPECT_LT(run.out.find("s2998  "), run.out.find("s2999  "));
}

TEST(InfoCommand, ListsClothAndHairPiecesAndImportedClipLengths) {
  const std::string dir = testing::TempDir();
  write_file(dir + "dressed.cdl",
             "object dressed\nsegment hips\ncloth cape\ngrid 3 2 1 0.5\nmaterial 1\n"
             "cloth\ngeo skirt.obj\n"
             "hair mane\nroot_radius 0.1\ntip_radius 0.01\ndensity 4\nvertices_number 5\n"
             "end object\n");
  write_file(dir + "sway.bvh",
             "HIERARCHY\nROOT hips\n{\n OFFSET 0 0 0\n CHANNELS 1 Zrotation\n}\n"
             "MOTION\nFrames: 3\nFrame Time: 0.04\n0\n10\n20\n");
  const CommandRun run = run_info(dir + "dressed.cdl",
                                  "--import '" + dir + "sway.bvh' --import '" + dir + "gone.amc'");
  ASSERT_EQ(0, run.status) << run.err;
  const std::string& out = run.out;
  EXPECT_THAT(out, HasSubstr("cloth: 2\n  cape: grid 3 x 2 points, 1 x 0.5, material 1\n"
                             "  cloth1: mesh skirt.obj\n"));
  EXPECT_THAT(out,
              HasSubstr("hair: 1\n  mane: radius 0.1 at the root, 0.01 at the tip, density 4, 5 "
                        "vertices per strand\n"));
  EXPECT_THAT(out, HasSubstr("imported clips: 2\n  " + dir + "sway.bvh: action sway, 3 frames\n  " +
                             dir + "gone.amc: not imported\n    AMC file " + dir +
                             "gone.amc could not be opened\n"));
}

}  // namespace
