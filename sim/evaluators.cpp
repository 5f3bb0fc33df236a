// Brain evaluation and action playback as the simulation loop's hooks.
#include "sim/evaluators.h"

#include "agent/agent.h"
#include "motion/playback_evaluate.h"
#include "sim/brain_evaluate.h"
#include "sim/simulation.h"

namespace {

void play_actions(Agent* agent, int first_frame) {
  playback_evaluate(agent, first_frame, inc_per_sec > 0 ? 1.0f / inc_per_sec : 1.0f / 24.0f);
}

// A new run starts without brain state and with every playback slot free.
void reset_evaluators() {
  brain_reset_state();
  for (Agent* agent = root_agent; agent != nullptr; agent = agent->next) playback_clear(agent);
}

}  // namespace

extern "C" void sim_use_evaluators(void) {
  sim_hooks.evaluate_brains = brain_evaluate_all;
  sim_hooks.play_actions = play_actions;
  sim_hooks.reset = reset_evaluators;
}
