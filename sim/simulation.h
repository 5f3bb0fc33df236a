// The simulation loop: time, the population of agents, reset and one frame.
#pragma once

#include <cstdint>

struct Agent;
struct Segment;
struct Group;

extern "C" {

extern int32_t simTime;     // current frame; 0 after a reset
extern float floatTime;     // simTime / inc_per_sec, seconds
extern float inc_per_sec;   // frames per second, 24 by default
extern int32_t simming;     // a simulation run is in progress
extern Group* groups;       // head of the group list
extern void* gen;           // head of the generator list

// Frame back to 0.
void resetAll(void);
// Advance one frame; the flag goes to the pre-frame step.
void nextFrame(int flag);
// Creates one agent from a segment's "spawn"; 1, or 0 when no agent could be created.
int spawn(Segment* segment);
// Creates one agent of a group from its prototype; null when it has none.
Agent* createInstance(Group* group);

}  // extern "C"
