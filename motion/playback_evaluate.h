// The playback evaluator: starts actions from their kickoff channels, advances each playing
// slot's phase, fades slots in and out, and blends the curves of every slot in use by weight
// into the agent's segment and variable channels.
#pragma once

#include <cstdint>

struct Agent;
struct Action;

extern "C" {

// Seconds a slot takes to fade in or out when its action has no "transition" curve.
constexpr float kPlaybackDefaultBlendSeconds = 0.25f;
// Entries of a slot's per-playback record used by the evaluator (entry 7 is the current rate).
constexpr int kPlaybackDataWrapped = 1;  // 1 after a wrapping loop passed the end of the cycle
constexpr int kPlaybackDataTrigger = 2;  // the kickoff channel's value on the previous frame
constexpr int kPlaybackDataTarget = 3;   // the weight the slot fades towards (0 or 1)

// Plays one frame (`frame_seconds` long) of the agent's actions: kickoffs, phase, fades, then the
// blend into its channels, and the pose recomputed from the channels. `first_frame` non-zero starts
// the run over: every slot is released first and actions started in this frame start at full
// weight. Creates the agent's playback table when it has actions and none yet.
void playback_evaluate(Agent* agent, int first_frame, float frame_seconds);
// Releases every slot of the agent's playback table.
void playback_clear(Agent* agent);
// Makes an action cyclic: clears "one_shot", sets its loop to 0, 1, 0 and closes each curve whose
// keys start at phase 0 and end at phase 1 by giving the last key the first key's value.
void loop_action(Action* action);

}  // extern "C"
