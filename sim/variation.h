// The variation update: makes an agent's variation (segment scale and thickness factors, geometry
// selector values) follow its current variables.
#pragma once

struct Agent;

extern "C" {

// Re-evaluates, from the agent's current variables, every value of its type that a variable or
// an expression drives: the scale and thickness factors of its segments ("scale_var",
// "thick_var") and the values of its geometry selectors. Called by the render driver after the
// agent's variables are set and by the simulation after they change; null is ignored.
void agent_update_variation(Agent* agent);

}  // extern "C"
