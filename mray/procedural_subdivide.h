// Building one agent of the procedural path and emitting it through the RenderMan Interface.
#pragma once

#include <string>

#include "mray/procedural_record.h"
#include "mray/procedural_state.h"

namespace mray {

// The previous frame's pose-cache file of `apf_file` at `frame`: "DIR/frame.<frame - 1>.apf.gz"
// when the name holds ".apf.gz", else "DIR/frame.<frame - 1>.apf" when it holds ".apf", with DIR
// the text before its last '/' ("." when it has none); otherwise `apf_file` itself.
std::string previous_apf_file(const char* apf_file, int frame);

// Builds the agent `record` describes (agent type, reset, variables, variation, pose of the
// previous and the current frame, skin) and emits it through the Ri functions of `state`.
// Returns silently when the record names no agent file, the agent type has no render agent, the
// agent takes no part in the current pass or the Ri functions are missing.
void subdivide_agent(ProceduralRecord* record, ProceduralState* state);

}  // namespace mray
