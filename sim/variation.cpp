// The variation update: the values of an agent type that its variables drive, recomputed for one
// agent from that agent's current variables.
#include "sim/variation.h"

#include <cstring>
#include <optional>

#include "agent/agent.h"
#include "agent/nodes.h"
#include "sim/expression.h"

namespace {

// The current value of a variable for `agent`: its own user variable of that name, else the
// default of the agent type's variable definition of that name; nothing for an unknown name.
std::optional<float> variable_value(Agent* agent, const char* name) {
  if (name == nullptr || name[0] == '\0') return std::nullopt;
  if (UserVar* user = find_userVar(agent, name)) return user->value;
  Agent* type = agent_type_of(agent);
  for (VariableDef* definition = type->variable_defs; definition; definition = definition->next)
    if (definition->name != nullptr && std::strcmp(definition->name, name) == 0)
      return definition->default_value;
  return std::nullopt;
}

// An expression evaluated against the agent's variables; nothing when it does not parse.
std::optional<float> expression_value(Agent* agent, const char* text) {
  double value = 0.0;
  if (!expression_evaluate(text, agent, 0, nullptr, nullptr, &value, nullptr, nullptr))
    return std::nullopt;
  return static_cast<float>(value);
}

// A segment's scale or thickness factor: the value of the variable its line names, 1 when it
// names none or a variable the agent type does not know.
float segment_factor(Agent* agent, const char* variable) {
  return variable_value(agent, variable).value_or(1.0f);
}

}  // namespace

extern "C" void agent_update_variation(Agent* agent) {
  if (agent == nullptr) return;
  Agent* type = agent_type_of(agent);

  // Scale and thickness of the agent's own segments; an instance's segment carries the names of
  // the agent type's segment it copies.
  for (Segment* segment = agent->segments; segment; segment = segment->next) {
    const Segment* names = segment->source ? segment->source : segment;
    segment->scale_factor = segment_factor(agent, names->scale_var);
    segment->thickness_factor = segment_factor(agent, names->thick_var);
  }

  // Geometry selectors: a manual selector returns to its manual value, a variable selector takes
  // the variable's or the expression's value; a selector fed by brain inputs keeps what the brain
  // wrote. The selectors belong to the agent type, whose single render agent is the one being
  // prepared, so the value is stored there.
  for (OptionNode* option = type->option_nodes; option; option = option->next) {
    if (option->source == OPTION_MANUAL) {
      option->value = option->manual;
    } else if (option->source == OPTION_VARIABLE) {
      std::optional<float> value = option->expression ? expression_value(agent, option->expression)
                                                      : variable_value(agent, option->variable);
      if (value) option->value = *value;
    }
  }

  // Geometry transform components written as expressions; components that name a variable are
  // resolved against the agent each time the transform is composed.
  for (GeometryNode* node = type->geometry_nodes; node; node = node->next)
    for (GeometryTransform* op = node->transforms; op; op = op->next)
      for (int i = 0; i < 3; ++i)
        if (op->expression[i])
          if (std::optional<float> value = expression_value(agent, op->expression[i]))
            op->value[i] = *value;
}
