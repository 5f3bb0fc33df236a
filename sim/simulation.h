// The simulation loop: time, the population of agents, reset and one frame.
#pragma once

#include <cstdint>

struct Agent;
struct Segment;
struct Group;

extern "C" {

extern int32_t simTime;    // current frame; 0 after a reset
extern float floatTime;    // simTime / inc_per_sec, seconds
extern float inc_per_sec;  // frames per second, 24 by default
extern int32_t simming;    // a simulation run is in progress
extern Group* groups;      // head of the group list
extern void* gen;          // head of the generator list

// Frame back to 0: spawned agents deleted, then every agent's per-run state reset (callbacks,
// delete and spawn values, playback slots freed, user variables back to the agent type's values,
// segment channels and matrices back to rest, previous-frame copies and cached motion cleared),
// then the groups placed again.
void resetAll(void);
// Advance one frame; the flag goes to the pre-frame step.
void nextFrame(int flag);
// Creates one agent from a segment's "spawn"; 1, or 0 when no agent could be created.
int spawn(Segment* segment);
// Creates one agent of a group from its prototype; null when it has none.
Agent* createInstance(Group* group);

// One per-frame callback of an agent: called at the end of every frame with the agent, the frame
// number and the record itself. Records form a list in the agent's `callbacks` slot.
struct FrameCallback {
  void (*function)(Agent* agent, int32_t frame, FrameCallback* record);
  void* data;  // the caller's own data, untouched by the loop
  FrameCallback* next;
};

// Appends a callback record to the agent's list; null when memory runs out.
FrameCallback* add_frame_callback(Agent* agent, void (*function)(Agent*, int32_t, FrameCallback*),
                                  void* data);
// Frees every callback record of the agent.
void free_frame_callbacks(Agent* agent);

// Motion source and output kinds of a run.
enum : int32_t {
  SIM_CACHE_NONE = 0,
  SIM_CACHE_MOTION_CAPTURE = 1,  // any kind other than 2 and 3 reads a motion-capture file
  SIM_CACHE_APF = 2,
  SIM_CACHE_APF_GZIP = 3,
};

// How a run gets its motion and where it writes it. All zero by default: a run simulates and
// writes nothing.
struct SimulationSettings {
  int32_t reads_cache;      // the run reads its motion instead of simulating
  int32_t input_kind;       // SIM_CACHE_* of the motion read
  char* input_directory;    // pose-cache directory read (environment variables expanded)
  int32_t output_kind;      // SIM_CACHE_APF or SIM_CACHE_APF_GZIP to write pose caches
  char* output_directory;   // pose-cache directory written
  int32_t start_frame;      // first frame of the run; nothing is written before it
  int32_t single_agent;     // root motion integrates only `currentAgent`
  int32_t playing_actions;  // actions are being played
  int32_t velocity_mode;    // root channels move by rates instead of being interpolated
};
extern SimulationSettings sim_settings;

// Work of a frame that belongs to evaluators outside the loop. Every hook is null by default,
// and a null hook's step does nothing (solve_segments then recomputes the pose from channels).
struct SimulationHooks {
  void (*pre_frame)(int flag);                          // step 2
  void (*read_motion_capture)(int32_t frame);           // step 6 with a motion-capture source
  void (*evaluate_brains)(void);                        // after root motion, before action playback
  void (*play_actions)(Agent* agent, int first_frame);  // step 8
  void (*rebuild)(Agent* agent);                        // step 9
  void (*solve_segments)(Agent* agent);                 // step 10
  void (*write_outputs)(int32_t frame);                 // step 11, outputs other than pose caches
  void (*finish_frame)(void);                           // step 13
  void (*reset)(void);                                  // per-run state of other subsystems
};
extern SimulationHooks sim_hooks;

// Rebuilds an agent's world matrix from its root channels: rotate about x, then y, then z
// (degrees), then translate. The agent's scale does not enter it.
void sim_build_root_matrix(Agent* agent);
// Removes an agent from the scene with everything the loop gave it.
void sim_delete_agent(Agent* agent);
// Gives an agent one flags byte per render pass of the scene (value 3: included, visible and
// casting shadows), copied from `from` where it has a byte for the pass.
void sim_assign_pass_flags(Agent* agent, const Agent* from);

}  // extern "C"
