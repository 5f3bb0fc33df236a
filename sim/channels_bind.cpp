// Binding of output channel names to the storage they stand for, and writes by name.
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "agent/agent.h"
#include "sim/channels.h"

namespace {

struct NamedSlot {
  std::string_view name;
  int index;
};

// Sound emission channels of an agent, in the order of Agent::sound.
constexpr NamedSlot kSoundChannels[] = {{"sound.id", 0}, {"sound.volume", 1}, {"sound.pitch", 2},
                                        {"sound.x", 3},  {"sound.y", 4},      {"sound.z", 5}};
// The root transform, in the order of Agent::root.
constexpr NamedSlot kRootChannels[] = {{"rx", 0}, {"ry", 1}, {"rz", 2},
                                       {"tx", 3}, {"ty", 4}, {"tz", 5}};
// A segment's own channels, in the order of Segment::channels (tx ty tz rx ry rz).
constexpr NamedSlot kSegmentChannels[] = {{"rx", 3}, {"ry", 4}, {"rz", 5},
                                          {"tx", 0}, {"ty", 1}, {"tz", 2}};
constexpr NamedSlot kForceChannels[] = {{"force", 0},   {"force.x", 1},  {"force.y", 2},
                                        {"force.z", 3}, {"force.px", 4}, {"force.py", 5},
                                        {"force.pz", 6}};
constexpr NamedSlot kPaintChannels[] = {
    {"paint.a", 0}, {"paint.b", 1}, {"paint.r", 2}, {"paint.g", 3}, {"paint.size", 4}};
constexpr NamedSlot kIkChannels[] = {
    {"ik.active", 0}, {"ik.x", 1},     {"ik.y", 2},    {"ik.z", 3},  {"ik.hold", 4}, {"ik.grab", 5},
    {"ik.flat", 6},   {"ik.twist", 7}, {"ik.amax", 8}, {"ik.rx", 9}, {"ik.ry", 10},  {"ik.rz", 11}};
constexpr NamedSlot kRcChannels[] = {{"rc.active", 0}, {"rc.x", 1}, {"rc.y", 2}, {"rc.z", 3}};

template <size_t N>
float* find_slot(const NamedSlot (&table)[N], std::string_view name, float* storage) {
  for (const NamedSlot& slot : table) {
    if (slot.name == name) return storage + slot.index;
  }
  return nullptr;
}

// A channel part holding "(" with ")" somewhere after it is an expression, never a channel.
bool has_parenthesised_part(std::string_view channel) {
  const size_t open = channel.find('(');
  return open != std::string_view::npos && channel.find(')', open + 1) != std::string_view::npos;
}

float* bind_agent_channel(std::string_view channel, Agent* agent) {
  if (agent != nullptr) {
    const std::string owned(channel);
    if (UserVar* variable = find_userVar(agent, owned.c_str())) return &variable->value;
  }
  if (channel == "wind.x") return &wind_x;
  if (channel == "wind.y") return &wind_y;
  if (channel == "wind.z") return &wind_z;
  if (channel == "wind.a") return &wind_a;
  if (channel == "wind.f") return &wind_f;
  if (channel == "reset") return &reset_request;
  if (agent == nullptr) return nullptr;
  if (channel == "colour") return &agent->colour_value;
  if (channel == "delete") return &agent->delete_value;
  if (channel == "parent") return &agent->parent_value;
  if (channel == "polygonize") return &agent->polygonize;
  if (channel == "active") return &agent->active_value;
  if (channel == "sprite") return &agent->sprite;
  return find_slot(kRootChannels, channel, agent->root);
}

float* bind_segment_channel(std::string_view channel, Segment* segment) {
  if (float* target = find_slot(kSegmentChannels, channel, segment->channels)) return target;
  if (float* target = find_slot(kForceChannels, channel, segment->force)) return target;
  if (channel == "colour") return &segment->colour;
  if (channel == "spawn") return &segment->spawn;
  if (float* target = find_slot(kPaintChannels, channel, segment->paint)) return target;
  if (float* target = find_slot(kIkChannels, channel, segment->ik)) return target;
  return find_slot(kRcChannels, channel, segment->rc);
}

}  // namespace

extern "C" {

float* bind_output(const char* name, Agent* agent, char** resolved) {
  if (resolved != nullptr) {
    std::free(*resolved);
    *resolved = nullptr;
  }
  if (name == nullptr) return nullptr;
  const std::string_view full(name);

  // The leading lookups of binding (script, camera and motion-tree channels of the editor)
  // claim nothing in the render-time engine; sound channels come next.
  float* target = nullptr;
  if (full.starts_with("sound.")) {
    target = agent != nullptr ? find_slot(kSoundChannels, full, agent->sound) : nullptr;
  } else {
    const size_t colon = full.find(':');
    const std::string_view channel =
        colon == std::string_view::npos ? full : full.substr(colon + 1);
    if (has_parenthesised_part(channel)) return nullptr;
    if (colon == std::string_view::npos) {
      target = bind_agent_channel(channel, agent);
    } else {
      // The segment part names a segment of the current agent (the agent being bound when
      // there is no current agent).
      Agent* owner = currentAgent != nullptr ? currentAgent : agent;
      const std::string segment_name(full.substr(0, colon));
      Segment* segment = owner != nullptr ? findSegment(owner, segment_name.c_str()) : nullptr;
      if (segment != nullptr) target = bind_segment_channel(channel, segment);
    }
  }
  if (target != nullptr && resolved != nullptr) {
    const size_t length = full.size() + 1;
    *resolved = static_cast<char*>(std::malloc(length));
    if (*resolved != nullptr) std::memcpy(*resolved, name, length);
  }
  return target;
}

void set_sim_value(const char* name, float value) {
  char* resolved = nullptr;
  float* target = bind_output(name, currentAgent, &resolved);
  std::free(resolved);
  if (target != nullptr) *target = value;
}

}  // extern "C"
