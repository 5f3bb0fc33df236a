// `hordera dump` with the real plug-in: the crowd fixture, posed from pose caches with motion
// blur, dumps the same text with one render thread and with several, each agent posed on its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/command_run.h"
#include "tests/support/crowd_fixture.h"

namespace {

using ::testing::HasSubstr;

namespace fs = std::filesystem;

using command_test::CommandRun;
using command_test::run;

TEST(DumpCommand, SameTextWhateverTheThreadsAndEachAgentPosedOnItsOwn) {
  const fs::path dir = fs::path(testing::TempDir()) / "dump_crowd";
  crowd_test::write_crowd_files(dir, 12);
  const std::string scene = crowd_test::write_crowd_scene(dir, 12);
  const CommandRun single = run("dump --threads 1 " + scene);
  ASSERT_EQ(single.status, 0) << single.out;
  for (int round = 0; round < 3; ++round) {
    const CommandRun many = run("dump --threads 4 " + scene);
    EXPECT_EQ(many.status, 0);
    EXPECT_EQ(many.out, single.out);
  }
  // Agent 7, a man: its root moved 7 along x since frame 11 and turned about y, which leaves its
  // points on the y axis (corners 0 and 3) at x = 7; its material named after its id.
  const size_t agent = single.out.find("assembly \"asm_7\"");
  ASSERT_NE(agent, std::string::npos);
  const std::string section =
      single.out.substr(agent, single.out.find("assembly", agent + 1) - agent);
  EXPECT_THAT(section, HasSubstr("vertex 0: position (7 0 0) normal"));
  EXPECT_THAT(section, HasSubstr("vertex 3: position (7 1 0) normal"));
  EXPECT_THAT(section, HasSubstr("texture (0 1 0) motion (7 0 0)\n"));
  EXPECT_THAT(section, HasSubstr("material \"mat_7_0\": 0 1 2 3"));
  EXPECT_THAT(single.out, HasSubstr("material \"mat_12_0\""));

  EXPECT_NE(run("dump /nonexistent/crowd.mi").status, 0);
  fs::remove_all(dir);
}

}  // namespace
