// Motion-capture files as read from disk: the Acclaim skeleton (ASF), Acclaim motion (AMC) and
// BVH. The readers keep the files' own numbers; turning them into segment channels is the job of
// motion/mocap_pose.h.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace hordera::mocap {

// Channels of a bone's "dof" list, a root "order" or a BVH "CHANNELS" line.
enum Channel : uint8_t { TX = 0, TY = 1, TZ = 2, RX = 3, RY = 4, RZ = 5, LENGTH = 6 };

// The channel named by a word ("rx", "TX", "l", "Xrotation", "Yposition", ...); false when the
// word names none.
bool channel_from_word(std::string_view word, Channel& channel);

struct AsfBone {
  std::string name;
  float direction[3] = {0, 0, 0};  // unit direction at rest, in the skeleton's global axes
  float length = 0;                // in the file's length unit
  float axis[3] = {0, 0, 0};       // orientation of the bone's frame, in the file's angle unit
  std::string axis_order = "XYZ";  // the order the axis angles apply in, first acting first
  std::vector<Channel> dofs;       // the values of an AMC line for this bone, in order
  int parent = -1;                 // index in AsfSkeleton::bones, -1 for a child of the root
  int line = 0;                    // where its "begin" stands
};

struct AsfSkeleton {
  std::string path;
  float mass = 1;
  float length = 1;     // ":units length": file lengths are inches times this factor
  bool degrees = true;  // ":units angle"
  std::vector<Channel> root_order = {TX, TY, TZ, RX, RY, RZ};
  std::string root_axis_order = "XYZ";
  float root_position[3] = {0, 0, 0};
  float root_orientation[3] = {0, 0, 0};
  std::vector<AsfBone> bones;

  // Index of the bone named `name`, or -1.
  int find(std::string_view name) const;
};

// Reads an ASF file. Bad items are reported as "file:line: what is wrong" and skipped; returns
// false (with a message) when the file cannot be opened or holds no bone data section.
bool read_asf(const char* path, AsfSkeleton& skeleton);

// One bone line of one AMC frame: `count` values starting at `first` in AmcClip::values.
struct AmcSample {
  int32_t bone;  // index in AmcClip::bone_names
  int32_t line;
  uint32_t first;
  uint8_t count;
};

struct AmcFrame {
  int32_t number;  // as written in the file
  int32_t line;
  std::vector<AmcSample> samples;
};

struct AmcClip {
  std::string path;
  int angle_unit = 0;  // 0 not stated, 1 ":DEGREES", 2 ":RADIANS"
  std::vector<std::string> bone_names;
  std::vector<AmcFrame> frames;  // in file order
  std::vector<float> values;

  // Index of the frame numbered `number`, or -1.
  int find_frame(int number) const;
};

// Reads an AMC file (".amc.gz" through gzip). Bad lines are reported and skipped; a file cut
// short keeps its complete frames. Returns false (without a message) when it cannot be opened.
bool read_amc(const char* path, AmcClip& clip);

struct BvhJoint {
  std::string name;
  int parent = -1;  // index in BvhClip::joints
  float offset[3] = {0, 0, 0};
  std::vector<Channel> channels;  // in the file's order
  uint32_t first_channel = 0;     // position of its first value in a frame row
};

struct BvhClip {
  std::string path;
  std::vector<BvhJoint> joints;  // in file order; "End Site" blocks are not joints
  uint32_t channel_count = 0;    // values per frame row
  float frame_time = 0;          // seconds per frame
  uint32_t frame_count = 0;      // complete rows read
  std::vector<float> values;     // frame_count rows of channel_count values
};

// Reads a BVH file. Returns false (with a message naming file and line) when it cannot be
// opened or its hierarchy cannot be read; bad motion rows are reported and skipped.
bool read_bvh(const char* path, BvhClip& clip);

}  // namespace hordera::mocap
