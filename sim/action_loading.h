// Loading action files onto agents: the actions themselves, then what the agent needs to play
// them (a default brain node, playback slots, kickoffs, its outputs bound again).
#pragma once

struct Agent;

extern "C" {

// Loads a ".act", ".act.gz" or ".actb" file onto the agent's type; an agent type without a brain
// gets one output node named after its first action; the agent gets its playback slots and
// kickoffs and its brain outputs bound again. 1 when handled, 0 on a reported error.
int load_action_file(Agent* agent, const char* path);
// Imports a motion file by extension.
int agent_import_action(Agent* agent, const char* path);

}  // extern "C"
