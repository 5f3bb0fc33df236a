// Blend weights of a cached pose record: the values after the segment channels and the motion
// values go to the blend shapes of the agent type's geometry nodes.
#include <cmath>

#include "agent/agent.h"
#include "agent/nodes.h"
#include "motion/apf_cache.h"

namespace {

// The alternative a selector's value picks: value + 0.5 floored, clamped to the list.
const OptionAlternative* chosen_alternative(const OptionNode* selector) {
  if (!selector->alternatives || selector->alternative_count <= 0) return nullptr;
  double picked = std::floor(static_cast<double>(selector->value) + 0.5);
  int index = 0;
  if (picked >= selector->alternative_count)
    index = selector->alternative_count - 1;
  else if (picked > 0)
    index = static_cast<int>(picked);
  return &selector->alternatives[index];
}

// A node takes weights when no selector governs it or it is its selector's chosen alternative.
bool takes_weights(const GeometryNode* node) {
  if (!node->selector) return true;
  const OptionAlternative* chosen = chosen_alternative(node->selector);
  return chosen && chosen->kind == OPTION_GEOMETRY && chosen->geometry == node;
}

}  // namespace

extern "C" size_t apf_apply_blend_weights(Agent* agent, const float* values, size_t count) {
  Agent* type = agent_type_of(agent);
  if (!type) return 0;
  size_t used = 0;
  for (GeometryNode* node = type->geometry_nodes; node && used < count; node = node->next) {
    if (!takes_weights(node)) continue;
    for (BlendShape* blend = node->blends; blend && used < count; blend = blend->next)
      blend->weight = values[used++];
  }
  return used;
}
