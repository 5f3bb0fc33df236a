// The playback evaluator, one frame of one agent: kickoffs, phase advance and loops, fades, and
// the weighted blend of every playing slot's curves into the agent's channels. The rules are
// described in docs/actions.md ("Playing actions").
#include "motion/playback_evaluate.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <utility>
#include <vector>

#include "agent/agent.h"
#include "agent/skeleton.h"
#include "motion/action.h"
#include "motion/curve.h"
#include "motion/playback.h"

namespace {

constexpr uint32_t kStateRunning = 1;
constexpr uint32_t kStateFading = 2;

bool in_use(const PlaybackSlot& slot) {
  return slot.state != 0 && slot.action != nullptr;
}

void release(PlaybackSlot& slot) {
  float* data = slot.data;
  slot = PlaybackSlot{};
  slot.data = data;
  if (data != nullptr) std::fill(data, data + kPlaybackDataFloats, 0.0f);
}

PlaybackSlot* slot_playing(Agent* agent, const Action* action) {
  for (int i = 0; i < kPlaybackSlots; ++i)
    if (in_use(agent->playbacks[i]) && agent->playbacks[i].action == action)
      return &agent->playbacks[i];
  return nullptr;
}

float slot_rate(const Action* action) {
  float rate = action->working_rate * (action->playback_scale != 0 ? action->playback_scale : 1);
  return std::isfinite(rate) ? rate : 0.0f;
}

PlaybackSlot* start(Agent* agent, Action* action, bool full_weight) {
  PlaybackSlot* slot = playback_free_slot(agent);
  if (slot == nullptr) return nullptr;
  release(*slot);
  slot->action = action;
  slot->state = kStateRunning;
  slot->weight = slot->alt_weight = full_weight ? 1.0f : 0.0f;
  slot->data[kPlaybackDataTarget] = 1.0f;
  slot->data[kPlaybackDataRate] = slot_rate(action);
  return slot;
}

// Kickoffs: an action whose kickoff channel (the agent's user variable named after it) is above
// 0.5 plays; at 0.5 or below it fades out. A running action is started again from phase 0 when
// its channel rises through 0.5, unless it is "no_retrigger". Returns whether any action of the
// list has a kickoff channel.
bool kick_off(Agent* agent, Action* actions, bool first_frame) {
  bool any = false;
  for (Action* action = actions; action != nullptr; action = action->next) {
    UserVar* channel = find_userVar(agent, action->name);
    if (channel == nullptr || !action->enabled) continue;
    any = true;
    float value = std::isfinite(channel->value) ? channel->value : 0.0f;
    PlaybackSlot* slot = slot_playing(agent, action);
    if (value > 0.5f) {
      if (slot == nullptr) {
        slot = start(agent, action, first_frame);
      } else {
        bool rose = !(slot->data[kPlaybackDataTrigger] > 0.5f);
        if (rose && !(action->flags & ACTION_NO_RETRIGGER)) slot->phase = slot->previous_phase = 0;
        slot->state = kStateRunning;
        slot->data[kPlaybackDataTarget] = 1.0f;
      }
    } else if (slot != nullptr) {
      slot->state = kStateFading;
      slot->data[kPlaybackDataTarget] = 0.0f;
    }
    if (slot != nullptr) slot->data[kPlaybackDataTrigger] = value;
  }
  return any;
}

// Without any kickoff channel the agent plays one action for ever: its type's first default
// action when that names an action of the list, else the first action.
void play_default(Agent* agent, Action* actions, bool first_frame) {
  Agent* type = agent_type_of(agent);
  Action* chosen = nullptr;
  const char* name = type != nullptr ? type->default_actions[0].action : nullptr;
  for (Action* action = actions; action != nullptr && name != nullptr && !chosen;
       action = action->next)
    if (action->name != nullptr && std::strcmp(action->name, name) == 0) chosen = action;
  if (chosen == nullptr) chosen = actions;
  for (int i = 0; i < kPlaybackSlots; ++i)
    if (in_use(agent->playbacks[i])) return;
  start(agent, chosen, first_frame);
}

// Moves the phase on by the slot's rate (cycles per second) over one frame, keeping it in the
// action's loop; a one-shot action stops at the end of its cycle and fades out there.
void advance(PlaybackSlot& slot, double seconds) {
  Action* action = slot.action;
  float rate = slot_rate(action);
  slot.data[kPlaybackDataRate] = rate;
  slot.previous_phase = slot.phase;
  double phase = slot.phase + rate * seconds;
  if (!std::isfinite(phase)) phase = 0;
  if (action->flags & ACTION_ONE_SHOT) {
    if (phase >= 1) {
      phase = 1;
      slot.state = kStateFading;
      slot.data[kPlaybackDataTarget] = 0.0f;
    }
    slot.phase = static_cast<float>(std::max(0.0, phase));
    return;
  }
  double start = action->loop[0], end = action->loop[1];
  if (end > start && std::isfinite(end - start)) {
    if (phase >= end) phase = start + std::fmod(phase - start, end - start);
    if (phase < start && rate < 0) phase = end - std::fmod(start - phase, end - start);
  } else if (end + 1 - start > 0 && start < 1 && end >= 0) {
    // The loop runs from its start through the end of the cycle into the next one up to its end.
    if (phase >= 1 || phase < 0) {
      phase -= std::floor(phase);
      slot.data[kPlaybackDataWrapped] = 1.0f;
    }
    if (slot.data[kPlaybackDataWrapped] != 0 && phase >= end) {
      phase = start + std::fmod(phase - end, end + 1 - start);
      slot.data[kPlaybackDataWrapped] = 0.0f;
      if (phase >= 1) {
        phase -= 1;
        slot.data[kPlaybackDataWrapped] = 1.0f;
      }
    }
  } else {
    phase -= std::floor(phase);
  }
  slot.phase = static_cast<float>(phase);
}

// Fades the weight towards the slot's target over the blend time: the action's "transition"
// curve at the current phase, in seconds, else the default. A slot fading out keeps its weight
// until its "latch" curve (when it has one) allows leaving at the current phase; it is released
// when its weight reaches 0.
void fade(PlaybackSlot& slot, double seconds) {
  Action* action = slot.action;
  float target = slot.data[kPlaybackDataTarget];
  if (target < slot.weight && action->latch != nullptr && action->latch->points != nullptr &&
      action->latch->points->count > 0 && curve_evaluate(action->latch, slot.phase) < 0.5f)
    return;
  double blend = kPlaybackDefaultBlendSeconds;
  if (action->transition != nullptr && action->transition->points != nullptr &&
      action->transition->points->count > 0) {
    double given = curve_evaluate(action->transition, slot.phase);
    blend = std::isfinite(given) && given >= 0 ? given : kPlaybackDefaultBlendSeconds;
  }
  double step = blend > 0 ? seconds / blend : 1.0;
  double weight = slot.weight;
  weight = target > weight ? std::min<double>(target, weight + step)
                           : std::max<double>(target, weight - step);
  slot.weight = slot.alt_weight = static_cast<float>(weight);
  if (target <= 0 && weight <= 0) release(slot);
}

// The weighted average of every playing slot's curve values per channel, written into the
// agent's segment channels and user variables; an agent whose segments are driven has all its
// segments marked animated, so that pose caches record the whole skeleton.
void blend(Agent* agent) {
  std::vector<Segment*> segments;
  for (Segment* segment = agent->segments; segment != nullptr; segment = segment->next)
    segments.push_back(segment);
  std::map<std::pair<int, int>, std::pair<double, double>> sums;  // (kind, index) -> (w·v, w)
  std::map<int, const char*> variable_names;
  for (int i = 0; i < kPlaybackSlots; ++i) {
    PlaybackSlot& slot = agent->playbacks[i];
    if (!in_use(slot) || !(slot.weight > 0)) continue;
    for (Curve* curve = slot.action->curves; curve != nullptr; curve = curve->next) {
      if (curve->points == nullptr || curve->points->count <= 0) continue;
      if (curve->kind == CURVE_KIND_CONTROL || curve->channel_index < 0) continue;
      float value = curve_evaluate(curve, slot.phase);
      if (!std::isfinite(value)) continue;
      auto& sum = sums[{curve->kind, curve->channel_index}];
      sum.first += static_cast<double>(slot.weight) * value;
      sum.second += slot.weight;
      if (curve->kind == CURVE_KIND_VARIABLE)
        variable_names[curve->channel_index] = curve->points->channel;
    }
  }
  bool drives_segments = false;
  for (const auto& [key, sum] : sums) {
    if (!(sum.second > 0)) continue;
    auto value = static_cast<float>(sum.first / sum.second);
    if (!std::isfinite(value)) continue;
    auto [kind, index] = key;
    if (kind == CURVE_KIND_SEGMENT) {
      size_t position = static_cast<size_t>(index) / 6;
      if (position >= segments.size()) continue;
      segments[position]->channels[index % 6] = value;
      drives_segments = true;
    } else if (kind == CURVE_KIND_VARIABLE) {
      const char* name = variable_names[index];
      if (UserVar* variable = name != nullptr ? find_userVar(agent, name) : nullptr)
        variable->value = value;
    }
  }
  // The renderer's pose-cache reader gives six values to each segment in list order, whatever
  // the names on the lines: a cache that skipped the segments no curve drives would shift the
  // later segments' channels onto the earlier ones. So once an action moves any segment, every
  // segment is written.
  if (drives_segments)
    for (Segment* segment : segments) segment->animated = 1;
}

}  // namespace

extern "C" void playback_clear(Agent* agent) {
  if (agent == nullptr || agent->playbacks == nullptr) return;
  for (int i = 0; i < kPlaybackSlots; ++i) release(agent->playbacks[i]);
}

extern "C" void playback_evaluate(Agent* agent, int first_frame, float frame_seconds) {
  if (agent == nullptr) return;
  Action* actions = playback_actions(agent);
  if (actions == nullptr) return;
  create_playbacks(agent);
  if (agent->playbacks == nullptr) return;
  if (first_frame) playback_clear(agent);
  double seconds = frame_seconds > 0 && std::isfinite(frame_seconds) ? frame_seconds : 0.0;
  // Slots that were playing before this frame move on; slots started now begin at phase 0.
  bool was_playing[kPlaybackSlots];
  for (int i = 0; i < kPlaybackSlots; ++i) was_playing[i] = in_use(agent->playbacks[i]);
  if (!kick_off(agent, actions, first_frame != 0)) play_default(agent, actions, first_frame != 0);
  for (int i = 0; i < kPlaybackSlots; ++i) {
    PlaybackSlot& slot = agent->playbacks[i];
    if (!in_use(slot)) continue;
    if (was_playing[i]) advance(slot, seconds);
    fade(slot, seconds);
  }
  blend(agent);
  agent_pose_from_channels(agent);
}

extern "C" void loop_action(Action* action) {
  if (action == nullptr) return;
  action->flags &= static_cast<uint8_t>(~ACTION_ONE_SHOT);
  action->loop[0] = 0;
  action->loop[1] = 1;
  action->loop[2] = 0;
  for (Curve* curve = action->curves; curve != nullptr; curve = curve->next) {
    CurvePoints* keys = curve->points;
    if (keys == nullptr || keys->count < 2) continue;
    int last = keys->count - 1;
    if (std::fabs(keys->time[0]) <= 1e-6f && std::fabs(keys->time[last] - 1.0f) <= 1e-6f)
      keys->value[last] = keys->value[0];
  }
}
