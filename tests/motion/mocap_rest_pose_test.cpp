// A motion clip on an agent whose segments are turned at rest: each segment keeps its rest turn
// and takes the clip's turn in its parent's rest frame. Expected axes are worked out by hand.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "agent/agent.h"
#include "agent/skeleton.h"
#include "cdl/cdl.h"
#include "motion/action.h"
#include "sim/action_loading.h"

namespace {

TEST(MocapRestPose, SegmentsTurnedAtRestKeepTheirTurnAndTakeTheClipsInTheirParentsFrame) {
  const std::filesystem::path dir = std::filesystem::path(testing::TempDir()) / "rest_pose";
  std::filesystem::create_directories(dir);
  // The hips are turned 90 degrees about z at rest; the spine sits one unit along the hips' y.
  std::ofstream(dir / "turned.cdl") << "object turned\n"
                                       "segment hips\nrotate 0 0 90\n"
                                       "segment spine\nparent hips\ntranslate 0 1 0\n"
                                       "end object\n";
  // Frame 1: the hips keep the rest pose, the spine turns 90 degrees about x.
  std::ofstream(dir / "bend.bvh") << "HIERARCHY\nROOT hips\n{\n  OFFSET 0 0 0\n"
                                     "  CHANNELS 3 Zrotation Xrotation Yrotation\n"
                                     "  JOINT spine\n  {\n    OFFSET 0 1 0\n"
                                     "    CHANNELS 3 Zrotation Xrotation Yrotation\n"
                                     "    End Site\n    {\n      OFFSET 0 1 0\n    }\n  }\n}\n"
                                     "MOTION\nFrames: 1\nFrame Time: 0.04\n0 0 0 0 90 0\n";
  Agent* type = load_agent_type((dir / "turned.cdl").c_str());
  ASSERT_NE(type, nullptr);
  ASSERT_EQ(agent_import_action(type, (dir / "bend.bvh").c_str()), 1);
  Action* bend = findAction(type, "bend");
  ASSERT_NE(bend, nullptr);
  Agent* agent = new_agent_instance(type);
  for (Curve* curve = bend->curves; curve != nullptr; curve = curve->next) {
    const std::string channel = curve->points->channel;
    const size_t colon = channel.find(':');
    Segment* segment = findSegment(agent, channel.substr(0, colon).c_str());
    ASSERT_NE(segment, nullptr) << channel;
    segment->channels[std::string("txtytzrxryrz").find(channel.substr(colon + 1)) / 2] =
        curve->points->value[0];
  }
  agent_pose_from_channels(agent);
  // Rows 0 to 2 of a segment's agent-space matrix are where its x, y and z axes point.
  // The hips still point their x axis along y: the rest turn is kept.
  float hips[16];
  agentSpace(findSegment(agent, "hips"), hips);
  EXPECT_NEAR(hips[0], 0, 1e-5);
  EXPECT_NEAR(hips[1], 1, 1e-5);
  EXPECT_NEAR(hips[2], 0, 1e-5);
  // The spine at rest points its x axis along y (the hips' turn); the clip turns it 90 degrees
  // about the capture's x axis, which takes y to z. Its origin stays one unit along the hips' y
  // axis, at (-1, 0, 0).
  float spine[16];
  agentSpace(findSegment(agent, "spine"), spine);
  EXPECT_NEAR(spine[0], 0, 1e-5);
  EXPECT_NEAR(spine[1], 0, 1e-5);
  EXPECT_NEAR(spine[2], 1, 1e-5);
  // Its y axis, along -x at rest, is left alone by a turn about x.
  EXPECT_NEAR(spine[4], -1, 1e-5);
  EXPECT_NEAR(spine[12], -1, 1e-5);
  EXPECT_NEAR(spine[13], 0, 1e-5);
  delete_agent_instance(agent);
}

}  // namespace
