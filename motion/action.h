// Actions: named cyclic pieces of motion owning one curve per animated channel.
#pragma once

#include <cstdint>

#include "motion/curve.h"

extern "C" {

// Action flag bits.
enum : uint8_t { ACTION_ONE_SHOT = 1, ACTION_NO_RETRIGGER = 2 };

struct Action {
  char* name;             // owned; a name starting with a digit is stored with "_" in front
  int32_t id;             // unique within the agent's list
  uint8_t selected;       // selection byte, 0 on creation
  uint8_t flags;          // bit 0 one_shot, bit 1 no_retrigger; 2 on creation
  uint8_t track;          // 0 on creation
  int32_t playback_words[4];  // for action playback, 0 on creation
  float rate;             // 1.0 on creation
  float working_rate;     // 1.0 on creation; the text reader sets it to rate
  uint8_t enabled;        // 1 on creation
  float loop[3];          // 0, 1, 0 on creation
  Curve* curves;          // head of the curve list
  Curve* transition;      // the curve whose channel is "transition", or null
  Curve* latch;           // the curve whose channel is "latch", or null
  void* playback_data;    // for action playback, null on creation
  float playback_scale;   // for action playback, 1.0 on creation
  int32_t playback_extra[2];  // for action playback, 0 on creation
  Action* prev;
  Action* next;
};

}  // extern "C"
