// Whole AMC and BVH clips imported as actions: one curve per channel the clip drives, one key per
// frame of the clip, the frames spread evenly over the action's phase.
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "agent/agent.h"
#include "motion/action.h"
#include "motion/curve.h"
#include "motion/line_reader.h"
#include "motion/mocap_pose.h"
#include "motion/motion_capture.h"

namespace hordera {

namespace {

const char* const kChannelNames[6] = {"tx", "ty", "tz", "rx", "ry", "rz"};

// The values of every driven channel, frame by frame; a frame that does not drive a channel
// holds its previous value (a leading gap takes the first value given).
class ClipSamples {
 public:
  ClipSamples(Agent* type, size_t frames) : type_(type), frames_(frames) {}

  mocap::ChannelSink sink_for(size_t frame) {
    return [this, frame](Segment* segment, int channel, float value) {
      auto& values = channels_[{position(segment), channel}];
      if (values.empty()) values.assign(frames_, std::numeric_limits<float>::quiet_NaN());
      values[frame] = value;
    };
  }

  // Appends one curve per channel to the action, in segment then channel order.
  void build_curves(Action* action) {
    for (auto& [key, values] : channels_) {
      Segment* segment = type_->segments;
      for (int i = 0; i < key.first && segment; ++i) segment = segment->next;
      if (!segment) continue;
      fill_gaps(values);
      Curve* curve = newCurve(&action->curves);
      curve_allocate_points(curve, static_cast<int>(values.size()));
      if (!curve->points) continue;
      const size_t count = values.size();
      for (size_t f = 0; f < count; ++f) {
        curve->points->time[f] = count > 1 ? static_cast<float>(f) / (count - 1) : 0.0f;
        curve->points->value[f] = values[f];
      }
      std::string channel =
          std::string(segment->name ? segment->name : "") + ":" + kChannelNames[key.second];
      curve_set_channel(curve, channel.c_str());
      action_bind_curve(type_, curve);
    }
  }

  bool empty() const { return channels_.empty(); }

 private:
  int position(Segment* target) const {
    int at = 0;
    for (Segment* s = type_->segments; s; s = s->next, ++at)
      if (s == target) return at;
    return -1;
  }

  static void fill_gaps(std::vector<float>& values) {
    float first = 0;
    for (float v : values)
      if (!std::isnan(v)) {
        first = v;
        break;
      }
    float held = first;
    for (float& v : values) {
      if (std::isnan(v))
        v = held;
      else
        held = v;
    }
  }

  Agent* type_;
  size_t frames_;
  std::map<std::pair<int, int>, std::vector<float>> channels_;
};

std::string clip_name(const char* path) {
  std::string name = std::filesystem::path(path).filename().string();
  for (const char* suffix : {".amc.gz", ".AMC.gz", ".amc", ".AMC", ".bvh", ".BVH"})
    if (ends_with(name, suffix)) {
      name.resize(name.size() - std::string_view(suffix).size());
      break;
    }
  return name;
}

// Makes the action from the samples; 0 with a message when the clip drives no segment.
int make_action(Agent* type, const char* path, ClipSamples& samples) {
  if (samples.empty()) {
    std::fprintf(stderr, "%s: no bone of the clip matches a segment of the agent\n", path);
    return 0;
  }
  Action* action = newAction(&type->actions);
  if (!action) return 0;
  action_set_name(action, clip_name(path).c_str());
  action->rate = amc_sample_rate;
  action->working_rate = amc_sample_rate;
  samples.build_curves(action);
  return 1;
}

}  // namespace

int import_amc_action(Agent* agent, const char* path) {
  Agent* type = agent_type_of(agent);
  if (!type) {
    std::fputs("Please load an agent prior to loading an action file\n", stderr);
    return 0;
  }
  std::unique_ptr<mocap::LinkedAmc> amc =
      mocap::load_linked_amc(path, type->cdl_file ? type->cdl_file : "");
  if (!amc) {
    std::fprintf(stderr, "AMC file %s could not be opened\n", path);
    return 0;
  }
  if (amc->clip.frames.empty()) {
    std::fprintf(stderr, "%s: no frames\n", path);
    return 0;
  }
  ClipSamples samples(type, amc->clip.frames.size());
  for (size_t f = 0; f < amc->clip.frames.size(); ++f)
    mocap::amc_frame_channels(*amc, static_cast<int>(f), type, samples.sink_for(f));
  return make_action(type, path, samples);
}

int import_bvh_action(Agent* agent, const char* path) {
  Agent* type = agent_type_of(agent);
  if (!type) {
    std::fputs("Please load an agent prior to loading an action file\n", stderr);
    return 0;
  }
  mocap::BvhClip clip;
  if (!mocap::read_bvh(path, clip)) {
    if (clip.joints.empty() && clip.path == path) {
      // read_bvh names the fault itself when the file opened; say so when it did not.
      LineReader probe(path);
      if (!probe.ok()) std::fprintf(stderr, "BVH file %s could not be opened\n", path);
    }
    return 0;
  }
  if (clip.frame_count == 0) {
    std::fprintf(stderr, "%s: no frames\n", path);
    return 0;
  }
  ClipSamples samples(type, clip.frame_count);
  for (uint32_t f = 0; f < clip.frame_count; ++f)
    mocap::bvh_frame_channels(clip, f, type, samples.sink_for(f));
  return make_action(type, path, samples);
}

}  // namespace hordera
