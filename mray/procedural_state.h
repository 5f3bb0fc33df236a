// The module-wide state of the procedural path, separate from the geometry shader's.
#pragma once

#include <mutex>

#include "mray/ri_functions.h"
#include "mray/rib_options.h"

struct RenderRecord;

namespace mray {

struct ProceduralState {
  bool engine_started = false;
  bool motion_blur = false;         // set true by the engine start, then by the options
  bool pass_warning_given = false;  // "Warning: renderpass undefined" is printed once
  RenderRecord* render = nullptr;   // the current render record of this path, or null
  const RiFunctions* ri = nullptr;  // the Ri functions, found at the first Subdivide
  RibOptions options;
  // The engine keeps one render agent per agent type and global simulation state, so one agent
  // is built at a time even when the renderer subdivides from several threads.
  std::mutex engine_mutex;
};

ProceduralState& procedural_state();

// Starts the engine for this path once per process: the engine's start-up, the motion-blur flag
// set, the RenderMan settings of the environment read and the banner printed on standard error.
void start_procedural_engine();

}  // namespace mray
