// `hordera simulate` and `hordera example`: frames written under their final names only for the
// range asked, bad scene lines reported with file and line while the rest runs, and the sample
// crowd reproducible for a seed, its agents walking apart rather than into one place.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/command_run.h"
#include "tests/support/files.h"

namespace {

using ::testing::HasSubstr;

namespace fs = std::filesystem;

using command_test::CommandRun;
using command_test::run;
using test_files::read_file;

// Agent name -> (x, z) of its root segment, from the root lines of a pose cache.
std::map<std::string, std::pair<double, double>> positions(const std::string& path) {
  std::map<std::string, std::pair<double, double>> result;
  std::istringstream lines(read_file(path));
  std::string line, agent;
  bool root_next = false;
  while (std::getline(lines, line)) {
    if (line.rfind("BEGIN ", 0) == 0) {
      agent = line.substr(6);
      root_next = true;
    } else if (root_next) {
      std::istringstream words(line);
      std::string segment;
      double rx, ry, rz, tx, ty, tz;
      words >> segment >> rx >> ry >> rz >> tx >> ty >> tz;
      result[agent] = {tx, tz};
      root_next = false;
    }
  }
  return result;
}

TEST(SimulateCommand, WritesTheRangeAndReportsBadLines) {
  const std::string dir = testing::TempDir() + "simulate/";
  fs::create_directories(dir);
  // One segment; the brain's output moves the root along x at 2.4 units a second.
  std::ofstream(dir + "tiny.cdl") << "# CDL created with hordera v4.1.18\n"
                                     "object tiny\nsegment root\n"
                                     "fuzzy input\nid 1\nmanual 1\n"
                                     "fuzzy output\nid 2\ninputs 1\nchannel tx\nrange 0 2.4\n"
                                     "integrate velocity\nend object\n";
  std::ofstream(dir + "crowd.scene") << "fps 24\nagent tiny.cdl\nagent missing.cdl\nbogus line\n"
                                        "group g tiny count 2 spacing 3\n"
                                        "group h nobody count 1\ngroup k tiny count x\n";
  CommandRun result = run("simulate " + dir + "crowd.scene --frames 2-3 -q -o " + dir + "out");
  EXPECT_EQ(result.status, 1);
  const std::string scene = dir + "crowd.scene:";
  EXPECT_THAT(result.err, HasSubstr(scene + "3: cannot read agent file " + dir + "missing.cdl\n"));
  EXPECT_THAT(result.err, HasSubstr(scene + "4: unknown keyword \"bogus\"\n"));
  EXPECT_THAT(result.err, HasSubstr(scene + "6: no agent type named \"nobody\" has been loaded\n"));
  EXPECT_THAT(result.err, HasSubstr(scene + "7: bad value for \"count\"\n"));
  // Frames 2 and 3 only, under their final names; nothing partial is left behind.
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(dir + "out"))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"frame.2.apf", "frame.3.apf"}));
  auto frame3 = positions(dir + "out/frame.3.apf");
  ASSERT_EQ(frame3.size(), 2u);
  EXPECT_NEAR(frame3["g_1"].first, 0.3, 1e-5);  // three frames of 0.1
  EXPECT_NEAR(frame3["g_2"].first, 3.3, 1e-5);

  result = run("simulate " + dir + "crowd.scene --frames 3-1 -o " + dir + "out");
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err, "hordera simulate: frames \"3-1\": give A-B with 1 <= A <= B <= 1000000\n");
}

TEST(SampleCrowd, SameSeedSameCachesAndAgentsWalkApart) {
  const std::string dir = testing::TempDir() + "sample/";
  const std::string options = " --frames 12 --agents 16 -q";
  ASSERT_EQ(run("example " + dir + "a --seed 5" + options).status, 0);
  ASSERT_EQ(run("example " + dir + "b --seed 5" + options).status, 0);
  ASSERT_EQ(run("example " + dir + "c --seed 6" + options).status, 0);
  for (int frame = 1; frame <= 12; ++frame) {
    std::string name = "/cache/frame." + std::to_string(frame) + ".apf";
    std::string a = read_file(dir + "a" + name);
    ASSERT_FALSE(a.empty()) << name;
    EXPECT_EQ(a, read_file(dir + "b" + name)) << name;
    if (frame == 12) {
      EXPECT_NE(a, read_file(dir + "c" + name));
    }
  }
  EXPECT_TRUE(fs::exists(dir + "a/scenes/crowd.12.mi"));

  auto first = positions(dir + "a/cache/frame.1.apf");
  auto last = positions(dir + "a/cache/frame.12.apf");
  ASSERT_EQ(first.size(), 48u);
  ASSERT_EQ(last.size(), 48u);
  double min_x = 1e9, max_x = -1e9, closest = 1e9;
  for (const auto& [agent, place] : last) {
    auto [x0, z0] = first[agent];
    EXPECT_GT(std::hypot(place.first - x0, place.second - z0), 0.05) << agent << " stood still";
    min_x = std::min(min_x, place.first);
    max_x = std::max(max_x, place.first);
    for (const auto& [other, there] : last)
      if (other != agent)
        closest =
            std::min(closest, std::hypot(place.first - there.first, place.second - there.second));
  }
  EXPECT_GT(max_x - min_x, 5.0);
  EXPECT_GT(closest, 0.3);
}

}  // namespace
