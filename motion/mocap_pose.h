// Turning motion-capture frames into segment channels: an AMC frame through its skeleton's
// axes, dof orders and units, and a BVH row through its joints' channel orders.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "motion/mocap_formats.h"

struct Agent;
struct Segment;

namespace hordera::mocap {

// An AMC clip with the skeleton that describes its bones (when one was found), checked against
// each other once: every clip bone is matched to its skeleton bone, and unknown bones and wrong
// value counts are reported then, naming the file and the first line where they occur.
struct LinkedAmc {
  AmcClip clip;
  bool has_skeleton = false;
  AsfSkeleton skeleton;
  // Per clip bone: the skeleton bone's index, kRootBone for the root, kUnusable for a bone the
  // skeleton does not know (or whose lines never hold the right number of values).
  std::vector<int> skeleton_bone;
  static constexpr int kRootBone = -1;
  static constexpr int kUnusable = -2;
};

// The skeleton file that goes with an AMC file: beside it, with the same stem (walk.amc or
// walk.amc.gz: walk.asf), then the file its "#!OML:ASF" header names, then the stem up to its
// last '_' (02_01.amc: 02.asf), then beside the agent file `agent_file` (may be empty) with its
// stem (walker.cdl: walker.asf); ".asf" or ".ASF". Empty when none exists.
std::string find_skeleton_for(const std::string& amc_path, const std::string& agent_file);

// Reads an AMC file and the skeleton found for it; null when the AMC file cannot be opened.
std::unique_ptr<LinkedAmc> load_linked_amc(const char* path, const std::string& agent_file);

// Receives one channel value (channel 0..5: tx, ty, tz, rx, ry, rz; rotations in degrees).
using ChannelSink = std::function<void(Segment* segment, int channel, float value)>;

// The channels that frame `frame_index` of the clip gives the agent's segments (bones matched
// to segments by name; the root to the segment named "root", else to the agent's first
// segment). Bones without a segment, and segments without a bone, are left out.
void amc_frame_channels(const LinkedAmc& amc, int frame_index, Agent* agent,
                        const ChannelSink& sink);

// The same for row `frame` of a BVH clip.
void bvh_frame_channels(const BvhClip& clip, uint32_t frame, Agent* agent, const ChannelSink& sink);

}  // namespace hordera::mocap
