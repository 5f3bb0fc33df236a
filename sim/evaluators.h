// The evaluators that make a simulation run move its agents: brain evaluation and action
// playback, installed into the simulation loop's hooks.
#pragma once

extern "C" {

// Installs brain evaluation (every active agent, after root motion) and action playback (every
// agent that plays actions) into `sim_hooks`, and a reset hook that forgets their per-run state.
// The loop leaves these steps empty until this is called, so a scene that only replays pose
// caches (the renderer's case) runs no brains.
void sim_use_evaluators(void);

}  // extern "C"
