// Playback slots: the fixed table through which an agent plays its actions.
#pragma once

#include <cstdint>

#include "motion/action.h"

extern "C" {

struct PlaybackSlot {
  Action* action;        // the playing action
  float phase;           // current phase
  float previous_phase;  // phase of the previous frame
  float weight;
  float alt_weight;  // reported instead of weight in state 4
  uint32_t state;    // 0 free; 1 and 2 running; 4 reports alt_weight
  float* data;       // per-playback record; data[7] is the playback's current rate
};

struct Agent;

// Slots in an agent's playback table.
constexpr int kPlaybackSlots = 32;
// Floats in each slot's per-playback record (`data`); the record lives in the same allocation
// as the table, after the 32 slots, so freeing `Agent::playbacks` frees both.
constexpr int kPlaybackDataFloats = 16;
// Index of the playback's current rate in a slot's record.
constexpr int kPlaybackDataRate = 7;

// The action list that an agent plays from: its prototype's when it has one, else its own; an
// instance without actions of its own uses its agent type's list. Null when there is none.
Action* playback_actions(Agent* agent);
// 32.
int number_of_playbacks(void);
// Gives the agent a zero-filled table of 32 slots when it has none and it (or its prototype)
// has actions.
void create_playbacks(Agent* agent);
// Frees the agent's playback table (slots and their records) and clears the reference.
void playback_free_table(Agent* agent);
// Brings the agent's playback state in line with its action list after actions were added or
// replaced. It starts no action (the playback evaluator does, motion/playback_evaluate.h): it
// releases slots whose action is no longer listed and gives every action a non-zero playback
// scale.
void create_kickoffs(Agent* agent);
// The first free slot, or null with " NO SPARE PLAYBACKS\n" on standard error.
PlaybackSlot* playback_free_slot(Agent* agent);
// State of a slot (0 without a table); for a slot in use also name, weight and phase.
uint32_t getPlaybackInfo(Agent* agent, int slot, const char** name, float* weight, float* phase);
// Normalised loop phase of a slot.
float playback_loop_phase(const PlaybackSlot* slot);
// Answers an action channel; returns 1 when answered, with the value in `*value`.
int action_channel_query(Agent* agent, const char* name, float* value);
// The latch test for a track: 1 or 0.
int playback_latch(Agent* agent, int track);

}  // extern "C"
