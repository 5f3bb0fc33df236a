// The outputs of a brain: per-agent copies of the output nodes and their binding to channels.
#include <cstdlib>

#include "agent/agent.h"
#include "sim/brain.h"
#include "sim/channels.h"

extern "C" {

void brain_free_output_copies(Agent* agent) {
  if (agent == nullptr) return;
  OutputCopy* copy = agent->outputs;
  while (copy != nullptr) {
    OutputCopy* next = copy->next;
    std::free(copy->resolved);
    std::free(copy);
    copy = next;
  }
  agent->outputs = nullptr;
}

void brain_create_output_copies(Agent* agent) {
  if (agent == nullptr || agent->type == nullptr) return;  // agent types bind their nodes
  brain_free_output_copies(agent);
  OutputCopy* tail = nullptr;
  for (BrainNode* node = agent->type->brain; node != nullptr; node = node->next) {
    if (node->kind != BRAIN_OUTPUT) continue;
    auto* copy = static_cast<OutputCopy*>(std::calloc(1, sizeof(OutputCopy)));
    if (copy == nullptr) return;
    copy->node = node;
    copy->prev = tail;
    if (tail == nullptr) {
      agent->outputs = copy;
    } else {
      tail->next = copy;
    }
    tail = copy;
  }
}

int compileOutputs(Agent* agent) {
  if (agent == nullptr) return 0;
  // Segment parts of channel names are looked up on the current agent, so the agent being
  // bound is published as current for the duration.
  Agent* saved = currentAgent;
  currentAgent = agent;
  if (agent->type != nullptr && agent->outputs == nullptr) brain_create_output_copies(agent);
  if (agent->outputs != nullptr) {
    for (OutputCopy* copy = agent->outputs; copy != nullptr; copy = copy->next) {
      const char* channel = copy->node != nullptr ? copy->node->channel : nullptr;
      copy->target = bind_output(channel, agent, &copy->resolved);
    }
  } else if (agent->type == nullptr) {
    for (BrainNode* node = agent->brain; node != nullptr; node = node->next) {
      if (node->kind != BRAIN_OUTPUT) continue;
      node->target = bind_output(node->channel, agent, &node->resolved);
    }
  }
  currentAgent = saved;
  return 1;
}

}  // extern "C"
