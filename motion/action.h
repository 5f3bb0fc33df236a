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

struct Agent;
struct Stream;

// Creates an action with its defaults appended at the tail of `*list`.
Action* newAction(Action** list);
// The first action of the agent's list named exactly `name`.
Action* findAction(Agent* agent, const char* name);
void deleteAction(Action* action, Agent* agent);
// A copy of the action with its curves, not linked into any list.
Action* copyAction(Action* action);
void sort_actions_by_name(Agent* agent);
void action_reassign_curve_ids(Agent* agent);
// Binds one curve to the agent's channel: sets its kind and channel_index.
void action_bind_curve(Agent* agent, Curve* curve);
// The channel index of a channel name for the agent (segment channels get an index built from
// the segment and the channel code); -1 when it does not resolve. `kind` receives the curve kind.
int agent_channel_index(Agent* agent, const char* name, uint8_t* kind);
// Text form of an action list.
void actions_write_text(Stream* stream, Action* actions);
// Reads an action list from text into `*list`; returns 1 when at least one action was read.
int actions_read_text(Stream* stream, Agent* agent, Action** list);
// Loads a ".act" or ".actb" file onto the agent; 1 when handled, 0 on a reported error.
int load_action_file(Agent* agent, const char* path);
// Imports a motion file by extension.
int agent_import_action(Agent* agent, const char* path);
// The binary writer: writes nothing and reports success.
int file_save_binary_actions(void* file, Agent* agent);
// Frees an action with its curves (not unlinked).
void action_free(Action* action);

}  // extern "C"
