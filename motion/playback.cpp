// The playback table of an agent: 32 slots, each playing one action at a phase with a weight,
// and the queries on it that do not depend on channel names (slot info, loop phase, latch).
#include "motion/playback.h"

#include <cstdio>
#include <cstdlib>

#include "agent/agent.h"

extern "C" {

Action* playback_actions(Agent* agent) {
  if (agent == nullptr) return nullptr;
  Agent* source = agent->prototype != nullptr ? agent->prototype : agent;
  if (source->actions != nullptr) return source->actions;
  Agent* type = agent_type_of(source);
  return type != nullptr ? type->actions : nullptr;
}

int number_of_playbacks(void) {
  return kPlaybackSlots;
}

void create_playbacks(Agent* agent) {
  if (agent == nullptr || agent->playbacks != nullptr) return;
  // The agent's own actions count even when it shares its prototype's list for playing.
  if (agent->actions == nullptr && playback_actions(agent) == nullptr) return;
  // One zero-filled block: the slots, then one per-playback record for each slot.
  const size_t bytes =
      sizeof(PlaybackSlot) * kPlaybackSlots + sizeof(float) * kPlaybackDataFloats * kPlaybackSlots;
  auto* table = static_cast<PlaybackSlot*>(std::calloc(1, bytes));
  if (table == nullptr) return;
  auto* records = reinterpret_cast<float*>(table + kPlaybackSlots);
  for (int i = 0; i < kPlaybackSlots; ++i) table[i].data = records + i * kPlaybackDataFloats;
  agent->playbacks = table;
}

void playback_free_table(Agent* agent) {
  if (agent == nullptr) return;
  std::free(agent->playbacks);
  agent->playbacks = nullptr;
}

void create_kickoffs(Agent* agent) {
  // Actions are started by the playback evaluator from their kickoff channels; what remains here
  // is keeping the table consistent with the action list after actions were added or replaced: a slot that
  // refers to an action no longer in the list is released, and every action carries a usable
  // playback scale.
  if (agent == nullptr) return;
  Action* actions = playback_actions(agent);
  for (Action* action = actions; action != nullptr; action = action->next) {
    if (action->playback_scale == 0.0f) action->playback_scale = 1.0f;
  }
  if (agent->playbacks == nullptr) return;
  for (int i = 0; i < kPlaybackSlots; ++i) {
    PlaybackSlot& slot = agent->playbacks[i];
    if (slot.action == nullptr) continue;
    bool listed = false;
    for (Action* action = actions; action != nullptr && !listed; action = action->next)
      listed = action == slot.action;
    if (listed) continue;
    slot.action = nullptr;
    slot.state = 0;
    slot.weight = 0.0f;
    slot.alt_weight = 0.0f;
  }
}

PlaybackSlot* playback_free_slot(Agent* agent) {
  if (agent != nullptr && agent->playbacks != nullptr) {
    for (int i = 0; i < kPlaybackSlots; ++i) {
      if (agent->playbacks[i].state == 0) return &agent->playbacks[i];
    }
  }
  std::fputs(" NO SPARE PLAYBACKS\n", stderr);
  return nullptr;
}

uint32_t getPlaybackInfo(Agent* agent, int slot, const char** name, float* weight, float* phase) {
  if (agent == nullptr || agent->playbacks == nullptr || slot < 0 || slot >= kPlaybackSlots)
    return 0;
  const PlaybackSlot& entry = agent->playbacks[slot];
  if (entry.state == 0) return 0;
  if (name != nullptr) *name = entry.action != nullptr ? entry.action->name : nullptr;
  if (weight != nullptr) *weight = entry.state == 4 ? entry.alt_weight : entry.weight;
  if (phase != nullptr) *phase = entry.phase;
  return entry.state;
}

float playback_loop_phase(const PlaybackSlot* slot) {
  if (slot == nullptr || slot->action == nullptr) return 0.0f;
  const float start = slot->action->loop[0];
  const float end = slot->action->loop[1];
  if (end > start) return (slot->phase - start) / (end - start);
  // The loop wraps through the end of the cycle; a single turn is added to a negative quotient.
  const float length = end + 1.0f - start;
  if (length == 0.0f) return 0.0f;
  float result = (slot->phase - start) / length;
  if (result < 0.0f) result += 1.0f;
  return result;
}

int playback_latch(Agent* agent, int track) {
  if (agent == nullptr || agent->playbacks == nullptr) return 0;
  // One counter serves both the slot scan and the key scan of each examined slot, so after a
  // latch curve of n keys the scan resumes at the next slot with the counter at n + 1. The scan
  // also stops at the end of the table.
  int counter = 0;
  int position = 0;
  while (counter < kPlaybackSlots && position < kPlaybackSlots) {
    const PlaybackSlot& slot = agent->playbacks[position];
    const Action* action = slot.action;
    if ((slot.state == 1 || slot.state == 2) && action != nullptr && action->track == track) {
      Curve* latch = action->latch;
      if (latch == nullptr) return 0;
      const float previous = slot.previous_phase;
      const float current = slot.phase;
      const CurvePoints* keys = latch->points;
      const int count = keys != nullptr ? keys->count : 0;
      for (counter = 0; counter < count; ++counter) {
        const float time = keys->time[counter];
        if (previous <= current) {
          if (time > previous && time <= current) {
            if (keys->value[counter] < 0.5f) return 0;
            if (counter > 0 && keys->value[counter - 1] < 0.5f) return 0;
          }
        } else if (time > previous || time <= current) {
          return 0;
        }
      }
      if (count > 0 && curve_evaluate(latch, current) >= 0.5f) return 1;
    }
    ++counter;
    ++position;
  }
  return 0;
}

}  // extern "C"
