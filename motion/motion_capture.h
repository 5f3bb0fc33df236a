// Motion-capture input: one frame of an AMC motion file read into an agent at render time, and
// whole AMC and BVH clips imported as actions.
#pragma once

struct Agent;

extern "C" {

// Sample rate of motion captured into actions: the rate of every imported clip's action (and of
// an agent file's bind-pose action).
extern float amc_sample_rate;

// Loads the root and segment channels of frame `frame` of the AMC motion file `path` (plain or
// ".amc.gz") into the agent, mapping AMC bones to segments by name and converting each bone's
// axis and dof order into the segment's channels, then recomputes the agent's pose from its
// channels. Returns 1, or 0 when the file cannot be read or has no such frame (the agent is then
// left as it was). Parsed files are kept in a small cache, so a crowd sharing one clip reads it
// once.
int amc_read_frame(Agent* agent, const char* path, int frame);

}  // extern "C"

namespace hordera {
// Imports a whole AMC (".amc", ".amc.gz") or BVH clip onto the agent's type as one action named
// after the file, one linear curve per driven channel, one key per frame of the clip spread
// evenly over the phase 0 to 1. Returns 1, or 0 after a message.
int import_amc_action(Agent* agent, const char* path);
int import_bvh_action(Agent* agent, const char* path);
// Empties the cache of parsed AMC files.
void amc_cache_clear();
}  // namespace hordera
