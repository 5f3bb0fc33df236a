// Hostile agent files: truncated and malformed input must be read without crashing or hanging,
// with a message that names the file where one is due. Binary noise is the agent-file fuzzer's.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "cdl/cdl.h"

namespace {

namespace fs = std::filesystem;

const char kSample[] =
    "# CDL created with hordera v1.2.3\n"
    "units cm\n"
    "object robust\n"
    "variables\n  height 1.2\nend variables\n"
    "variable size 1 [0 2] `height*2`\n"
    "render_pass robust_pass 3\n"
    "rib_include 1 robust_pass extra.rib\n"
    "transform\n1 0 0 0\n0 1 0 0\n0 0 1 0\n0 0 0 1\n"
    "segment root\n dof tx ty tz rx ry rz\n order rz ry rx\n translate 0 `height` 0\n"
    " rotate 10 20 30\n primitive box\n limits\n  tx -1 1\n  rx inf\n"
    " bind_pose 0 1 0 0 0 0\n"
    "segment spine\n parent root\n transform\n1 0 0 0\n0 1 0 0\n0 0 1 0\n0 1 0 1\n"
    " dynamics\n  active 1\n  ERP 0.2\n  lock\n end dynamics\n"
    "fuzzy input\n name sensor\n id 1\n channel spine:ty\n range 0 2\n"
    "fuzzy fuzz\n id 2\n input 1\n user inference\n0 0\n0.5 1\n1 0\n"
    "fuzzy output\n id 3\n inputs 2 1 99\n channel root:tx\n"
    "bone spine\n translate 0 1 0\n outer 0.5\n"
    "material skin\n diffuse hsv 0.1 0.5 `height`\n shader robust_pass \"phong\"\n"
    "geometry body\n file body.obj\n attach root spine\n rotate 0 90 0 zyx\n scale size\n"
    " blend smile smile.obj radial 1 2 3\n weights_file body.w\n"
    "option heads\n manual 1\n geo body\n cl cape\n"
    "cloth cape\n grid 4 4 1 1\n constrain 0 0 0 spine\n"
    "hair fur\n hair_dynamics 1\n"
    "spring s\n from root 0 0 0\n to spine 0 1 0\n"
    "end object\n";

class CdlRobustnessTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() /
           ("cdl_robust_" + std::to_string(::getpid()) + "_" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  std::string write(const std::string& name, const std::string& bytes) {
    fs::path path = dir_ / name;
    std::ofstream(path, std::ios::binary) << bytes;
    return path.string();
  }

  // Reads from the top level; returns the reader's result.
  int read(const std::string& path) {
    Agent* object = nullptr;
    Segment* segment = nullptr;
    BrainNode* node = nullptr;
    int state = 0, count = 0;
    uint32_t version = 0;
    return read_cdl_file(path.c_str(), &object, &segment, &node, &state, &count, nullptr, &version);
  }

  fs::path dir_;
};

TEST_F(CdlRobustnessTest, EveryTruncationOfAFullFileReads) {
  std::string sample = kSample;
  ::testing::internal::CaptureStderr();
  for (size_t length = 0; length <= sample.size(); length += 7)
    EXPECT_EQ(1, read(write("cut.cdl", sample.substr(0, length)))) << length;
  ::testing::internal::GetCapturedStderr();
}

TEST_F(CdlRobustnessTest, MalformedLinesAreSkippedOrReported) {
  const std::vector<std::string> files = {
      "object\nsegment\nparent\nparent \nbind_pose\nlimits\n",
      "object a\nsegment s\nparent s\n",  // its own parent
      "object a\nsegment s\ntransform\n1 2\n",
      "object a\nvariables\nx 1\n",
      "object a\nfuzzy fuzz\nuser inference\n1 2\n",
      "object a\nfuzzy nonsense\nid 4\n",
      "object a\nsegment s\nradius `(((((`\nlength `1/0`\nthreshold 99999999999999999999\n",
      "object a\nsegment s\nsize ` \ncentre -\nrange e e\nik_order 99999999999999999\n",
      "object a\ngeometry g\nblend\nblend a\nattach\nrotate\nscale\nmaterial\n",
      "object a\nmaterial m\nshader\nshader pass_only\ndispl_bounds\ncolour_map x\n",
      "object a\noption o\ngeo\ncl +\ninputs x y\nvar\n",
      "object a\nspring s\nfrom\nto nowhere 1 2 3\n",
      "object a\ndefault_action 7 a b\ndefault_action -1 a b\ntree active\nrender_pass\n",
      "end object\nend object\nend dynamics\nfuzzy input\n",
      std::string(100000, 'x') + "\n" + std::string(50000, '`') + "\n",
      "object a\nsegment s\nlimits\n" + std::string(1000, ' ') + "\nrz\nrx \ntxsoft\n",
  };
  ::testing::internal::CaptureStderr();
  for (size_t i = 0; i < files.size(); ++i)
    EXPECT_EQ(1, read(write("bad" + std::to_string(i) + ".cdl", files[i]))) << i;
  std::string err = ::testing::internal::GetCapturedStderr();
  // A self-parent and an unknown brain node kind are reported with file and line.
  EXPECT_NE(std::string::npos, err.find("bad1.cdl:3: a segment cannot be its own ancestor"));
  EXPECT_NE(std::string::npos, err.find("bad5.cdl:2: unknown brain node kind"));
  EXPECT_NE(std::string::npos, err.find("bad3.cdl:"));  // unterminated variables block
  EXPECT_NE(std::string::npos, err.find("ERROR: nowhere not a valid parent for spring.\n"));
}

TEST_F(CdlRobustnessTest, IncludeCyclesAndMissingIncludesNameTheFile) {
  // A file that includes itself twice would otherwise be read 2^depth times.
  std::string self = write("self.cdl", "object loop\ninclude self.cdl\ninclude ./self.cdl\n");
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(1, read(self));
  std::string err = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(std::string::npos, err.find("self.cdl:2: include of a file that is being read"));
  EXPECT_NE(std::string::npos, err.find("self.cdl:3: include of a file that is being read"));
  EXPECT_LT(err.size(), 1000u);

  // A cycle through another file stops where it closes.
  write("ping.cdl", "segment ping\ninclude pong.cdl\n");
  write("pong.cdl", "segment pong\ninclude ping.cdl\n");
  ::testing::internal::CaptureStderr();
  Agent* cycle =
      load_agent_type(write("cycle.cdl", "object c\ninclude ping.cdl\nend object\n").c_str());
  err = ::testing::internal::GetCapturedStderr();
  ASSERT_NE(nullptr, cycle);
  EXPECT_NE(std::string::npos, err.find("pong.cdl:2: include of a file that is being read"));
  ASSERT_NE(nullptr, findSegment(cycle, "pong"));
  EXPECT_EQ(nullptr, findSegment(cycle, "pong")->next);

  // Files that include the next one many times stop at the read's budget of includes.
  for (int level = 0; level < 12; ++level) {
    std::string next = "fan" + std::to_string(level + 1) + ".cdl";
    std::string text;
    for (int i = 0; i < 4; ++i) text += "include " + next + "\n";
    write("fan" + std::to_string(level) + ".cdl", text);
  }
  write("fan12.cdl", "segment leaf\n");
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(1, read(write("fan.cdl", "object fan\ninclude fan0.cdl\n")));
  EXPECT_NE(std::string::npos,
            ::testing::internal::GetCapturedStderr().find("too many included files"));

  // The same file included twice in a row (not a cycle) is read twice.
  write("part.cdl", "segment part\n");
  ::testing::internal::CaptureStderr();
  Agent* twice = load_agent_type(
      write("twice.cdl", "object t\ninclude part.cdl\ninclude part.cdl\nend object\n").c_str());
  EXPECT_EQ("", ::testing::internal::GetCapturedStderr());
  ASSERT_NE(nullptr, twice);
  Segment* first = findSegment(twice, "part");
  ASSERT_NE(nullptr, first);
  ASSERT_NE(nullptr, first->next);
  EXPECT_STREQ("part", first->next->name);

  std::string outer = write("outer.cdl", "object o\ninclude missing.cdl\ninclude notes.txt\n");
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(1, read(outer));
  err = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(std::string::npos,
            err.find("Couldn't open cdl file \"" + (dir_ / "missing.cdl").string() + "\"\n"));
  EXPECT_NE(std::string::npos, err.find("cdl or .act\n"));
}

}  // namespace
