// Motion-capture frames to segment channels.
//
// An Acclaim bone turns about its own axes: its frame is the rest frame rotated by its "axis"
// angles C, and the AMC values are rotations M about that frame's axes in the bone's dof order,
// so that, seen from its parent, the bone turns by D = C^-1 * M * C (row vectors, the first
// rotation of an order acting first). BVH joints turn by their channels' rotations directly. In
// both formats every bone of the rest pose is aligned with the skeleton's axes. The agent's rest
// pose is taken to be the capture's rest pose, but its segments may be turned at rest: the
// segment then keeps its rest rotation R and takes the capture's turn in its parent's rest frame
// P (the parent's rest rotation in agent space), giving the local rotation R * P * D * P^-1, which
// is D itself for unrotated segments. It is written as Euler angles in the segment's own order.
// Lengths are turned from the skeleton's units (inches times its length factor) into the scene's
// unit.
#include "motion/mocap_pose.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "agent/agent.h"
#include "agent/skeleton.h"
#include "base/vecmath.h"
#include "motion/line_reader.h"

namespace hordera::mocap {

namespace {

constexpr float kDegreesPerRadian = 57.29578f;
constexpr float kMetresPerInch = 0.0254f;

bool exists(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(path, error);
}

// The order code of rotations applied in `axes` order ("XYZ", "zx", ...), first acting first.
int32_t order_of_axes(const std::string& axes) {
  std::string text;
  for (char c : axes) {
    text += (c | 0x20) == 'x' ? "rx " : (c | 0x20) == 'y' ? "ry " : "rz ";
  }
  return strToOrder(text.c_str());
}

int32_t order_of_channels(const std::vector<Channel>& channels) {
  std::string axes;
  for (Channel channel : channels)
    if (channel >= RX && channel <= RZ) axes += static_cast<char>('x' + (channel - RX));
  return order_of_axes(axes);
}

void multiply(const float* a, const float* b, float* out) {
  float result[16];
  for (int row = 0; row < 4; ++row)
    for (int column = 0; column < 4; ++column) {
      float sum = 0;
      for (int k = 0; k < 4; ++k) sum += a[row * 4 + k] * b[k * 4 + column];
      result[row * 4 + column] = sum;
    }
  std::memcpy(out, result, sizeof result);
}

// The transpose of a rotation's 3x3 block (its inverse), translation cleared.
void rotation_inverse(const float* rotation, float* out) {
  float result[16] = {0};
  for (int row = 0; row < 3; ++row)
    for (int column = 0; column < 3; ++column)
      result[row * 4 + column] = rotation[column * 4 + row];
  result[15] = 1;
  std::memcpy(out, result, sizeof result);
}

// The rotation of a rest matrix, rows made unit length (a rest scale is not a turn), translation
// cleared.
void rest_rotation(const float* matrix, float* out) {
  float result[16] = {0};
  for (int row = 0; row < 3; ++row) {
    const float* in = matrix + row * 4;
    const float length = std::sqrt(in[0] * in[0] + in[1] * in[1] + in[2] * in[2]);
    for (int column = 0; column < 3; ++column)
      result[row * 4 + column] = length > 0 ? in[column] / length : (row == column ? 1.0f : 0.0f);
  }
  result[15] = 1;
  std::memcpy(out, result, sizeof result);
}

// Writes the rotation channels of `segment` for the capture's turn C^-1 * M * C, kept on top of
// the segment's rest rotation as the file comment says.
void sink_rotation(Segment* segment, const float* axis_radians, int32_t axis_order,
                   const float* motion_radians, int32_t motion_order, const ChannelSink& sink) {
  float c[16], c_inverse[16], m[16], local[16];
  rotation_matrix_from_angles(axis_radians[0], axis_radians[1], axis_radians[2], axis_order, c);
  rotation_inverse(c, c_inverse);
  rotation_matrix_from_angles(motion_radians[0], motion_radians[1], motion_radians[2], motion_order,
                              m);
  multiply(c_inverse, m, local);
  multiply(local, c, local);
  float parent[16], parent_inverse[16], rest[16];
  if (segment->parent != nullptr) {
    float chain[16];
    agentSpaceRest(segment->parent, chain);
    rest_rotation(chain, parent);
  } else {
    hordera::matrix_identity(parent);
  }
  rotation_inverse(parent, parent_inverse);
  rest_rotation(segment->rest_matrix, rest);
  multiply(parent, local, local);
  multiply(local, parent_inverse, local);
  multiply(rest, local, local);
  float r[3] = {0, 0, 0};
  rotationsFromMatrix(local, &r[0], &r[1], &r[2], segment->order);
  for (int i = 0; i < 3; ++i) sink(segment, 3 + i, r[i] * kDegreesPerRadian);
}

// One bone line with its channel list: rotations through the axis, translations scaled and,
// unless absolute, added to the segment's rest offset.
void sink_bone(Segment* segment, const std::vector<Channel>& channels, const float* values,
               const float* axis_radians, int32_t axis_order, float angle_factor,
               float length_factor, bool absolute, const ChannelSink& sink) {
  float motion[3] = {0, 0, 0};
  bool rotates = false;
  for (size_t i = 0; i < channels.size(); ++i) {
    Channel channel = channels[i];
    if (channel >= RX && channel <= RZ) {
      motion[channel - RX] = values[i] * angle_factor;
      rotates = true;
    } else if (channel <= TZ) {
      float base = absolute ? 0.0f : segment->rest_matrix[12 + channel];
      sink(segment, channel, base + values[i] * length_factor);
    }
  }
  if (rotates)
    sink_rotation(segment, axis_radians, axis_order, motion, order_of_channels(channels), sink);
}

Segment* root_segment(Agent* agent) {
  Segment* segment = findSegment(agent, "root");
  return segment ? segment : agent->segments;
}

}  // namespace

std::string find_skeleton_for(const std::string& amc_path, const std::string& agent_file) {
  namespace fs = std::filesystem;
  fs::path amc(amc_path);
  std::string name = amc.filename().string();
  for (const char* suffix : {".amc.gz", ".AMC.gz", ".amc", ".AMC"})
    if (ends_with(name, suffix)) {
      name.resize(name.size() - std::strlen(suffix));
      break;
    }
  fs::path directory = amc.parent_path();
  auto beside_in = [](const fs::path& folder, const std::string& stem) -> std::string {
    for (const char* extension : {".asf", ".ASF"}) {
      std::string candidate = (folder / (stem + extension)).string();
      if (exists(candidate)) return candidate;
    }
    return {};
  };
  auto beside = [&](const std::string& stem) { return beside_in(directory, stem); };
  if (std::string found = beside(name); !found.empty()) return found;
  // The header line "#!OML:ASF <path>" names the skeleton as recorded, often on another
  // machine: its file name is looked for beside the AMC file.
  LineReader in(amc_path.c_str());
  std::string line;
  for (int i = 0; i < 5 && in.next(line); ++i) {
    if (line.rfind("#!OML:ASF", 0) != 0) continue;
    std::string recorded = line.substr(9);
    while (!recorded.empty() && (recorded.front() == ' ' || recorded.front() == '\t'))
      recorded.erase(recorded.begin());
    size_t cut = recorded.find_last_of("/\\");
    if (cut != std::string::npos) recorded = recorded.substr(cut + 1);
    std::string candidate = (directory / recorded).string();
    if (!recorded.empty() && exists(candidate)) return candidate;
    break;
  }
  size_t underscore = name.rfind('_');
  if (underscore != std::string::npos && underscore > 0)
    if (std::string found = beside(name.substr(0, underscore)); !found.empty()) return found;
  if (agent_file.empty()) return {};
  fs::path agent(agent_file);
  return beside_in(agent.parent_path(), agent.stem().string());
}

std::unique_ptr<LinkedAmc> load_linked_amc(const char* path, const std::string& agent_file) {
  auto amc = std::make_unique<LinkedAmc>();
  if (!read_amc(path, amc->clip)) return nullptr;
  std::string skeleton_path = find_skeleton_for(path, agent_file);
  if (!skeleton_path.empty()) amc->has_skeleton = read_asf(skeleton_path.c_str(), amc->skeleton);
  const AmcClip& clip = amc->clip;
  amc->skeleton_bone.assign(clip.bone_names.size(), LinkedAmc::kUnusable);
  for (size_t b = 0; b < clip.bone_names.size(); ++b) {
    if (clip.bone_names[b] == "root")
      amc->skeleton_bone[b] = LinkedAmc::kRootBone;
    else if (!amc->has_skeleton)
      amc->skeleton_bone[b] = 0;  // matched to segments by name alone
    else if (int bone = amc->skeleton.find(clip.bone_names[b]); bone >= 0)
      amc->skeleton_bone[b] = bone;
  }
  if (!amc->has_skeleton) return amc;
  // Report each unknown bone and each bone with a wrong value count once, at its first line.
  std::vector<bool> reported(clip.bone_names.size(), false);
  for (const AmcFrame& frame : clip.frames)
    for (const AmcSample& sample : frame.samples) {
      int bone = amc->skeleton_bone[sample.bone];
      if (reported[sample.bone]) continue;
      const char* name = clip.bone_names[sample.bone].c_str();
      if (bone == LinkedAmc::kUnusable) {
        report_at(clip.path.c_str(), sample.line, "bone \"%s\" is not in the skeleton %s", name,
                  amc->skeleton.path.c_str());
        reported[sample.bone] = true;
        continue;
      }
      size_t expected = bone == LinkedAmc::kRootBone ? amc->skeleton.root_order.size()
                                                     : amc->skeleton.bones[bone].dofs.size();
      if (sample.count != expected) {
        report_at(clip.path.c_str(), sample.line,
                  "bone \"%s\" has %d values, the skeleton gives it %zu; such lines are skipped",
                  name, sample.count, expected);
        reported[sample.bone] = true;
      }
    }
  return amc;
}

void amc_frame_channels(const LinkedAmc& amc, int frame_index, Agent* agent,
                        const ChannelSink& sink) {
  if (!agent || frame_index < 0 || static_cast<size_t>(frame_index) >= amc.clip.frames.size())
    return;
  const AmcClip& clip = amc.clip;
  const AsfSkeleton& skeleton = amc.skeleton;
  bool degrees =
      clip.angle_unit == 1 || (clip.angle_unit == 0 && (!amc.has_skeleton || skeleton.degrees));
  const float angle_factor = degrees ? 1.0f / kDegreesPerRadian : 1.0f;
  const float axis_factor = skeleton.degrees ? 1.0f / kDegreesPerRadian : 1.0f;
  const float length_factor =
      amc.has_skeleton ? kMetresPerInch / skeleton.length * units_per_metre : 1.0f;
  for (const AmcSample& sample : clip.frames[frame_index].samples) {
    int bone = amc.skeleton_bone[sample.bone];
    if (bone == LinkedAmc::kUnusable) continue;
    const float* values = clip.values.data() + sample.first;  // a line may hold no values
    bool root = bone == LinkedAmc::kRootBone;
    Segment* segment =
        root ? root_segment(agent) : findSegment(agent, clip.bone_names[sample.bone].c_str());
    if (!segment) continue;
    if (!amc.has_skeleton) {
      // Without a skeleton the root takes the Acclaim root order, and any other bone's values
      // go to the segment's free channels in the segment's own order.
      if (root) {
        const float zero[3] = {0, 0, 0};
        std::vector<Channel> order = {TX, TY, TZ, RX, RY, RZ};
        order.resize(std::min<size_t>(order.size(), sample.count));
        sink_bone(segment, order, values, zero, order_of_axes("XYZ"), angle_factor, 1.0f, true,
                  sink);
        continue;
      }
      int entries[6];
      order_unpack(segment->order, entries);
      int next = 0;
      for (int entry : entries) {
        if (entry < 1 || entry > 6 || !(segment->dof & (1 << (entry - 1)))) continue;
        if (next >= sample.count) break;
        float value = values[next++];
        sink(segment, entry - 1, entry >= 4 ? value * angle_factor * kDegreesPerRadian : value);
      }
      continue;
    }
    if (root) {
      if (sample.count != skeleton.root_order.size()) continue;  // reported at load
      float axis[3];
      for (int i = 0; i < 3; ++i) axis[i] = skeleton.root_orientation[i] * axis_factor;
      sink_bone(segment, skeleton.root_order, values, axis, order_of_axes(skeleton.root_axis_order),
                angle_factor, length_factor, true, sink);
      continue;
    }
    const AsfBone& asf = skeleton.bones[bone];
    if (sample.count != asf.dofs.size()) continue;  // reported at load
    float axis[3];
    for (int i = 0; i < 3; ++i) axis[i] = asf.axis[i] * axis_factor;
    sink_bone(segment, asf.dofs, values, axis, order_of_axes(asf.axis_order), angle_factor,
              length_factor, false, sink);
  }
}

void bvh_frame_channels(const BvhClip& clip, uint32_t frame, Agent* agent,
                        const ChannelSink& sink) {
  if (!agent || frame >= clip.frame_count) return;
  const float* row = clip.values.data() + static_cast<size_t>(frame) * clip.channel_count;
  const float zero[3] = {0, 0, 0};
  for (const BvhJoint& joint : clip.joints) {
    if (joint.channels.empty()) continue;
    Segment* segment = findSegment(agent, joint.name.c_str());
    if (!segment) continue;
    // BVH composes a joint's rotations as written with column vectors: the last one written
    // acts on a point first, so the order is read backwards. Position channels replace the
    // joint's offset.
    std::vector<Channel> channels(joint.channels.rbegin(), joint.channels.rend());
    std::vector<float> values(joint.channels.size());
    for (size_t i = 0; i < values.size(); ++i)
      values[values.size() - 1 - i] = row[joint.first_channel + i];
    sink_bone(segment, channels, values.data(), zero, order_of_axes("XYZ"),
              1.0f / kDegreesPerRadian, 1.0f, true, sink);
  }
}

}  // namespace hordera::mocap
