// Motion-capture input at render time: one frame of an AMC motion file read into an agent.
#pragma once

struct Agent;

extern "C" {

// Loads the root and segment channels of frame `frame` of the AMC motion file `path` (plain or
// ".amc.gz") into the agent, mapping AMC bones to segments by name. Returns 1, or 0 when the file
// cannot be read or has no such frame (the agent is then left as it was).
int amc_read_frame(Agent* agent, const char* path, int frame);

}  // extern "C"
