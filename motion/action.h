// Actions: named cyclic pieces of motion owning one curve per animated channel.
#pragma once

#include <cstdint>

#include "motion/curve.h"

struct Segment;

extern "C" {

// Action flag bits.
enum : uint8_t { ACTION_ONE_SHOT = 1, ACTION_NO_RETRIGGER = 2 };

struct Action {
  char* name;                 // owned; a name starting with a digit is stored with "_" in front
  int32_t id;                 // unique within the agent's list
  uint8_t selected;           // selection byte, 0 on creation
  uint8_t flags;              // bit 0 one_shot, bit 1 no_retrigger; 2 on creation
  uint8_t track;              // 0 on creation
  int32_t playback_words[4];  // for action playback, 0 on creation
  float rate;                 // 1.0 on creation
  float working_rate;         // 1.0 on creation; the text reader sets it to rate
  uint8_t enabled;            // 1 on creation
  float loop[3];              // 0, 1, 0 on creation
  Curve* curves;              // head of the curve list
  Curve* transition;          // the curve whose channel is "transition", or null
  Curve* latch;               // the curve whose channel is "latch", or null
  void* playback_data;        // for action playback, null on creation
  float playback_scale;       // for action playback, 1.0 on creation
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
// Binds one curve to the agent's channel: sets its kind and channel_index. A variable curve whose
// name is no user variable yet creates it on the agent and is bound to it.
void action_bind_curve(Agent* agent, Curve* curve);
// Curve kinds set by binding: a segment channel, a control curve ("transition", "latch") that
// drives no agent channel, a user variable.
enum : uint8_t { CURVE_KIND_SEGMENT = 0, CURVE_KIND_CONTROL = 1, CURVE_KIND_VARIABLE = 2 };
// Index of a channel name for the agent, with its kind in `*kind` (may be null):
// - "%s:tx" .. "%s:rz" (segment name before the colon): kind 0, index 6 * p + c where p is the
//   segment's position in the agent's segment list (from 0) and c the channel (tx 0, ty 1, tz 2,
//   rx 3, ry 4, rz 5); -1 for an unknown segment or channel;
// - "transition" and "latch": kind 1, index 0 and 1;
// - any other name: kind 2, the position (from 0) of the user variable of that name in the
//   agent's user variable list, or -1 when there is none.
int agent_channel_index(Agent* agent, const char* name, uint8_t* kind);
// Sets the action's name (a copy); a name that begins with a digit is stored with "_" in front.
void action_set_name(Action* action, const char* name);
// Text form of an action list: every action in list order, its curves as curve blocks in the
// action indentation style.
void actions_write_text(Stream* stream, Action* actions);
// Reads an action list from text (1000-byte lines) and appends it to `*list`, then binds every
// curve of the list to the agent's channels (when `agent` is given). A line that ends an action
// list ("end object", "object", "segment", "fuzzy", "motion tree") is pushed back. Returns 1 when
// at least one action was read.
int actions_read_text(Stream* stream, Agent* agent, Action** list);
// Reads a binary action file (either byte order, versions 1 and 2) and appends its actions to
// `*list`, binding each curve to the agent's channels as it is read (when `agent` is given).
// Returns 0 when the file cannot be opened or holds no header word, else 1; a truncated or
// malformed file keeps every record read before the fault.
int actions_read_binary(const char* path, Agent* agent, Action** list);
// The binary writer: writes nothing and reports success.
int file_save_binary_actions(void* file, Agent* agent);
// Re-expresses the action's curves "<segment>:rx", ":ry", ":rz" (degrees) from one order in
// another, key by key; the segment's own order is not changed. Warns on standard error when the
// segment's order is not `from_order` and converts anyway. Returns 1, or 0 when the action has
// none of the three curves.
int convertRotationOrder(Action* action, Segment* segment, int32_t from_order, int32_t to_order);
// Frees an action with its curves (not unlinked).
void action_free(Action* action);

}  // extern "C"
