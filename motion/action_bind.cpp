// Binding of action curves to the channels of an agent: segment transform channels, the two
// control curves, and user variables (created on demand).
#include <cstring>
#include <string_view>

#include "agent/agent.h"
#include "motion/action.h"

namespace {

// Channel codes after the colon of a segment channel, in index order.
constexpr std::string_view kSegmentChannels[] = {"tx", "ty", "tz", "rx", "ry", "rz"};

int segment_channel_index(Agent* agent, std::string_view segment, std::string_view channel) {
  int code = -1;
  for (int c = 0; c < 6; ++c)
    if (channel == kSegmentChannels[c]) code = c;
  if (code < 0) return -1;
  int position = 0;
  for (Segment* s = agent->segments; s; s = s->next, ++position)
    if (s->name && segment == s->name) return 6 * position + code;
  return -1;
}

int user_variable_index(Agent* agent, const char* name) {
  int position = 0;
  for (UserVar* v = agent->user_vars; v; v = v->next, ++position)
    if (v->name && std::strcmp(v->name, name) == 0) return position;
  return -1;
}

}  // namespace

extern "C" {

int agent_channel_index(Agent* agent, const char* name, uint8_t* kind) {
  uint8_t found_kind = CURVE_KIND_VARIABLE;
  int index = -1;
  if (name) {
    std::string_view text(name);
    size_t colon = text.find(':');
    if (text == "transition" || text == "latch") {
      found_kind = CURVE_KIND_CONTROL;
      index = text == "transition" ? 0 : 1;
    } else if (colon != std::string_view::npos) {
      found_kind = CURVE_KIND_SEGMENT;
      if (agent)
        index = segment_channel_index(agent, text.substr(0, colon), text.substr(colon + 1));
    } else if (agent) {
      index = user_variable_index(agent, name);
    }
  }
  if (kind) *kind = found_kind;
  return index;
}

void action_bind_curve(Agent* agent, Curve* curve) {
  if (!curve) return;
  const char* name = curve->points ? curve->points->channel : nullptr;
  uint8_t kind = CURVE_KIND_VARIABLE;
  int index = agent_channel_index(agent, name, &kind);
  if (index < 0 && kind == CURVE_KIND_VARIABLE && agent && name && *name) {
    new_userVar(agent, name);
    index = agent_channel_index(agent, name, &kind);
  }
  curve->kind = kind;
  curve->channel_index = index;
}

void action_reassign_curve_ids(Agent* agent) {
  Agent* type = agent_type_of(agent);
  if (!type) return;
  for (Action* action = type->actions; action; action = action->next)
    for (Curve* curve = action->curves; curve; curve = curve->next) action_bind_curve(agent, curve);
}

}  // extern "C"
