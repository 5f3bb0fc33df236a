// The per-agent render driver: brings the engine into one agent's state and hands its objects
// to the renderer.
#pragma once

#include "mray/mi_interface.h"
#include "mray/shader_arguments.h"

namespace mray {

// Builds the agent described by `args` and adds what it creates to `*result`. Reports a missing
// CDL file name through the renderer's error log and creates nothing.
void render_agent(const miState* state, miTag* result, MrayRenderArgs* args);

}  // namespace mray
