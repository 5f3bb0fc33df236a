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
  float alt_weight;      // reported instead of weight in state 4
  uint32_t state;        // 0 free; 1 and 2 running; 4 reports alt_weight
  float* data;           // per-playback record; data[7] is the playback's current rate
};

}  // extern "C"
