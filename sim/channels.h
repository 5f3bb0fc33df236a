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

// Value of a channel for `currentAgent`; `result_kind` receives a small result code (6 before
// any match).
float getSimValueF(const char* name, int option, int* result_kind);
// The storage an output channel name stands for, or null; `*resolved` receives an owned copy of
// the resolved text (any previous text there is freed first).
float* bind_output(const char* name, Agent* agent, char** resolved);
// Binds the name for `currentAgent` and stores the value; unknown names are ignored.
void set_sim_value(const char* name, float value);

}  // extern "C"
