// Simulation channels: named floats of an agent and of the world, read by name and written
// through bound targets.
#pragma once

#include <cstdint>

struct Agent;

extern "C" {

// The world wind vector and its two further values, shared by every agent.
extern float wind_x, wind_y, wind_z, wind_a, wind_f;
// The "reset" channel: above 0.5 makes the next frame begin with a full reset.
extern float reset_request;
// The key code pressed during this frame, read by "keyboard"; cleared every frame.
extern int32_t keyboard_code;

// A process-wide input value, read by the "input" channel (set by the editor or a script).
extern float sim_input_value;

// Result-kind codes that getSimValueF reports.
enum SimResultKind : int {
  SIM_RESULT_AGENT = 0,    // a user variable or channel of the current agent
  SIM_RESULT_SEGMENT = 1,  // a channel of a named segment of the current agent
  SIM_RESULT_ACTION = 2,   // an action channel answered from the playback table
  SIM_RESULT_WORLD = 3,    // a process-wide value (time, fps, keyboard, input, wind)
  SIM_RESULT_SENSED = 4,   // a sensed value with no world data in this engine: fixed value
  SIM_RESULT_OUTPUT = 5,   // the stored value of a writable channel (read back)
  SIM_RESULT_NONE = 6,     // no match; the value is 0
};

// Factor by which angular channels (degrees inside the engine) are reported for an agent:
// angle unit 2 gives 0.017453292, 1 gives 1.0, 0 gives 0 (taken from the agent's type).
float channel_angle_factor(Agent* agent);

// Value of a channel for `currentAgent`; `result_kind` receives a small result code (6 before
// any match).
// `option` is accepted for callers of the interface and has no effect; `result_kind` may be
// null. Unknown names read 0.
float getSimValueF(const char* name, int option, int* result_kind);
// The storage an output channel name stands for, or null; `*resolved` receives an owned copy of
// the resolved text (any previous text there is freed first).
float* bind_output(const char* name, Agent* agent, char** resolved);
// Binds the name for `currentAgent` and stores the value; unknown names are ignored.
void set_sim_value(const char* name, float value);

}  // extern "C"
