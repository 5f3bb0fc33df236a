// The evaluators that make a simulation run move its agents: brain evaluation and action
// playback, installed into the simulation loop's hooks.
#pragma once

extern "C" {

// Installs brain evaluation (every active agent, after root motion) and action playback (every
// agent that plays actions) into `sim_hooks`, and a reset hook that forgets their per-run state.
// The engine's application start-up calls it, so that every started engine (the plug-in, the
// editor, `hordera simulate`) evaluates brains and plays actions in nextFrame; the loop leaves
// these steps empty until then. The render driver never steps the loop (it resets and reads
// pose caches), so rendering runs no brains.
void sim_use_evaluators(void);

}  // extern "C"
