// Evaluation of an agent's brain, once per frame: inputs sense channels, fuzz nodes turn them
// into memberships, rules combine memberships, defuzz and output nodes turn them back into crisp
// values that are written through the outputs' bound channel targets.
#pragma once

#include <cstdint>

struct Agent;
struct BrainNode;

extern "C" {

// Evaluates the brain of one agent (an instance, or an agent type evaluated as itself) for the
// current frame, with the agent published as `currentAgent` while it runs. Writes only through
// the bound targets of its output nodes. Problems of the brain (unknown channels, dangling
// inputs, cycles, empty rules, values that are not numbers) are reported once each on standard
// error and evaluate to defined values.
void brain_evaluate_agent(Agent* agent);
// Evaluates the brain of every active agent of the scene, in list order.
void brain_evaluate_all(void);
// The value a node gave in the agent's latest evaluation (0 when it was never evaluated). For an
// output node this is the value written (after range, filter, rate, delay, integration, wrap and
// limit); for a defuzz node its activation.
float brain_node_value(Agent* agent, const BrainNode* node);
// Forgets the evaluation state (timers, delays, filters, integrators) of one agent.
void brain_forget_agent(Agent* agent);
// Forgets the evaluation state of every agent and which problems were already reported: the next
// evaluation starts as at the first frame.
void brain_reset_state(void);

}  // extern "C"
