// Reading channels by name (getSimValueF) and the process-wide channel values.
#include "sim/channels.h"

#include <cstdlib>
#include <initializer_list>
#include <string>
#include <string_view>

#include "agent/agent.h"
#include "agent/skeleton.h"
#include "motion/playback.h"
#include "sim/simulation.h"

extern "C" {
float wind_x = 0.0f, wind_y = 0.0f, wind_z = 0.0f, wind_a = 0.0f, wind_f = 0.0f;
float reset_request = 0.0f;
int32_t keyboard_code = 0;
float sim_input_value = 0.0f;
}

namespace {

struct Reading {
  float value;
  int kind;
};

constexpr Reading kUnanswered{0.0f, SIM_RESULT_NONE};

bool one_of(std::string_view name, std::initializer_list<std::string_view> names) {
  for (std::string_view candidate : names) {
    if (name == candidate) return true;
  }
  return false;
}

// Ground and collision channels, sensed for the agent and for each segment. The engine holds no
// terrain maps and no collision detection: they read as flat ground at height 0, no contact.
bool is_ground_or_collision(std::string_view channel) {
  if (channel.starts_with("ground.") || channel == "ground") return true;
  if (channel.starts_with("collide")) {
    const std::string_view rest = channel.substr(7);
    return one_of(rest, {".x", ".y", ".z", ".h", ".vx", ".vy", ".vz", ".nx", ".ny", ".nz", ".px",
                         ".py", ".pz", ".v"});
  }
  return false;
}

// Sensed channels of the agent that need world data the engine does not hold (besides ground and
// collisions: game controllers, dynamics, IK goals): they read as centred sticks and zeros.
bool is_sensed_without_world(std::string_view channel) {
  if (is_ground_or_collision(channel)) return true;
  if (channel.starts_with("controller.")) return true;
  return one_of(channel, {"balance.x", "balance.z", "ik_goal.x", "ik_goal.y", "ik_goal.z"});
}

// Channels that brains write but that are no part of the sensing vocabulary: read back from
// the storage they are bound to.
bool is_read_back(std::string_view channel, bool on_segment) {
  if (on_segment)
    return channel.starts_with("force") || channel.starts_with("paint.") ||
           channel.starts_with("rc.") || channel == "spawn";
  return channel.starts_with("sound.") ||
         one_of(channel, {"delete", "parent", "polygonize", "active", "sprite", "reset"});
}

int wind_index(std::string_view channel) {
  if (channel == "wind.x") return 0;
  if (channel == "wind.y") return 1;
  if (channel == "wind.z") return 2;
  if (channel == "wind.a") return 3;
  if (channel == "wind.f") return 4;
  return -1;
}

float wind_value(int index) {
  const float values[5] = {wind_x, wind_y, wind_z, wind_a, wind_f};
  return values[index];
}

// Index 0..5 of "tx".."tz", "rx".."rz" in tx ty tz rx ry rz order, or -1.
int transform_index(std::string_view channel) {
  constexpr std::string_view names[6] = {"tx", "ty", "tz", "rx", "ry", "rz"};
  for (int i = 0; i < 6; ++i) {
    if (channel == names[i]) return i;
  }
  return -1;
}

int axis_index(std::string_view channel) {
  if (channel == "x") return 0;
  if (channel == "y") return 1;
  if (channel == "z") return 2;
  return -1;
}

float total_mass(Agent* agent) {
  float mass = 0.0f;
  for (Segment* segment = agent->segments; segment != nullptr; segment = segment->next)
    mass += segment->mass;
  return mass;
}

// Centre of mass in world space: segment origins weighted by mass (equally when no segment has
// mass), or the agent's origin when it has no segments.
void centre_of_mass(Agent* agent, float out[3]) {
  const float mass = total_mass(agent);
  float sum[3] = {0.0f, 0.0f, 0.0f};
  float weights = 0.0f;
  for (Segment* segment = agent->segments; segment != nullptr; segment = segment->next) {
    Matrix world;
    worldSpace(segment, world);
    const float weight = mass > 0.0f ? segment->mass : 1.0f;
    for (int i = 0; i < 3; ++i) sum[i] += world[12 + i] * weight;
    weights += weight;
  }
  for (int i = 0; i < 3; ++i) out[i] = weights > 0.0f ? sum[i] / weights : agent->matrix[12 + i];
}

// Velocity of the agent's origin since the previous frame, in units per second, expressed
// along the agent's own axes (the rows of its world matrix).
float local_velocity(Agent* agent, int axis) {
  float delta[3];
  for (int i = 0; i < 3; ++i) delta[i] = agent->matrix[12 + i] - agent->last_matrix[12 + i];
  const float* row = agent->matrix + axis * 4;
  const float length2 = row[0] * row[0] + row[1] * row[1] + row[2] * row[2];
  if (length2 == 0.0f) return 0.0f;
  const float along = (delta[0] * row[0] + delta[1] * row[1] + delta[2] * row[2]) / length2;
  return along * inc_per_sec;
}

Reading read_world(std::string_view channel) {
  if (channel == "time")
    return {inc_per_sec != 0.0f ? static_cast<float>(simTime) / inc_per_sec : 0.0f,
            SIM_RESULT_WORLD};
  if (channel == "keyboard") return {static_cast<float>(keyboard_code), SIM_RESULT_WORLD};
  if (channel == "fps") return {inc_per_sec, SIM_RESULT_WORLD};
  if (channel == "input") return {sim_input_value, SIM_RESULT_WORLD};
  if (const int wind = wind_index(channel); wind >= 0) return {wind_value(wind), SIM_RESULT_WORLD};
  return kUnanswered;
}

Reading read_agent(std::string_view channel, Agent* agent) {
  const std::string owned(channel);
  if (UserVar* variable = find_userVar(agent, owned.c_str()))
    return {variable->value, SIM_RESULT_AGENT};
  if (channel == "id") return {static_cast<float>(agent->id), SIM_RESULT_AGENT};
  if (channel == "colour") return {agent->colour_value, SIM_RESULT_AGENT};
  if (const Reading world = read_world(channel); world.kind != SIM_RESULT_NONE) return world;
  if (is_sensed_without_world(channel)) return {0.0f, SIM_RESULT_SENSED};
  if (channel == "altitude") return {agent->matrix[13], SIM_RESULT_AGENT};
  if (channel == "lx") return {local_velocity(agent, 0), SIM_RESULT_AGENT};
  if (channel == "ly") return {local_velocity(agent, 1), SIM_RESULT_AGENT};
  if (channel == "lz") return {local_velocity(agent, 2), SIM_RESULT_AGENT};
  if (channel.starts_with("G.") && channel.size() == 3) {
    const int axis = axis_index(channel.substr(2));
    if (axis >= 0) {
      float centre[3];
      centre_of_mass(agent, centre);
      return {centre[axis], SIM_RESULT_AGENT};
    }
  }
  if (channel == "heading") return {agent->root[1] * channel_angle_factor(agent), SIM_RESULT_AGENT};
  if (const int axis = axis_index(channel); axis >= 0)
    return {agent->matrix[12 + axis], SIM_RESULT_AGENT};
  if (one_of(channel, {"ik.x", "ik.y", "ik.z", "ik.hold", "ik.grab", "ik.flat", "ik.active",
                       "ik.twist", "ik.amax"}))
    return {0.0f, SIM_RESULT_SENSED};
  if (channel == "mass") return {total_mass(agent), SIM_RESULT_AGENT};
  if (const int index = transform_index(channel); index >= 0) {
    // Agent::root holds rx ry rz tx ty tz.
    if (index < 3) return {agent->root[3 + index], SIM_RESULT_AGENT};
    return {agent->root[index - 3] * channel_angle_factor(agent), SIM_RESULT_AGENT};
  }
  if (channel == "ox" || channel == "oy") return {0.0f, SIM_RESULT_SENSED};
  return kUnanswered;
}

Reading read_segment(std::string_view channel, Agent* agent, Segment* segment) {
  // Controllers, balance and IK goals belong to the agent alone and are no channels of a segment.
  if (is_ground_or_collision(channel)) return {0.0f, SIM_RESULT_SENSED};
  if (channel == "h" || axis_index(channel) >= 0) {
    Matrix world;
    worldSpace(segment, world);
    const int axis = channel == "h" ? 1 : axis_index(channel);
    return {world[12 + axis], SIM_RESULT_SEGMENT};
  }
  if (const int wind = wind_index(channel); wind >= 0) return {wind_value(wind), SIM_RESULT_WORLD};
  if (channel == "mass") return {segment->mass, SIM_RESULT_SEGMENT};
  if (const int index = transform_index(channel); index >= 0) {
    const float factor = index >= 3 ? channel_angle_factor(agent) : 1.0f;
    return {segment->channels[index] * factor, SIM_RESULT_SEGMENT};
  }
  if (channel == "colour") return {segment->colour, SIM_RESULT_SEGMENT};
  constexpr std::string_view ik_names[] = {"ik.active", "ik.x",    "ik.y",    "ik.z",
                                           "ik.hold",   "ik.grab", "ik.flat", "ik.twist",
                                           "ik.amax",   "ik.rx",   "ik.ry",   "ik.rz"};
  for (int i = 0; i < 12; ++i) {
    if (channel == ik_names[i]) return {segment->ik[i], SIM_RESULT_SEGMENT};
  }
  return kUnanswered;
}

// The value a defined variable ("variable" line of the agent type) starts from, for an agent
// that holds no user variable of that name.
bool variable_default(Agent* agent, const std::string& name, float* value) {
  if (find_userVar(agent, name.c_str()) != nullptr) return false;
  Agent* type = agent_type_of(agent);
  for (VariableDef* def = type != nullptr ? type->variable_defs : nullptr; def != nullptr;
       def = def->next) {
    if (def->name != nullptr && name == def->name) {
      *value = def->default_value;
      return true;
    }
  }
  return false;
}

Reading read_channel(const char* name) {
  const std::string_view full(name);
  Agent* agent = currentAgent;
  const size_t colon = full.find(':');

  // Leading lookups: action channels, read-back of written channels, variable defaults.
  float value = 0.0f;
  if (agent != nullptr && action_channel_query(agent, name, &value))
    return {value, SIM_RESULT_ACTION};
  const std::string_view channel = colon == std::string_view::npos ? full : full.substr(colon + 1);
  if (agent != nullptr && is_read_back(channel, colon != std::string_view::npos)) {
    char* resolved = nullptr;
    const float* target = bind_output(name, agent, &resolved);
    std::free(resolved);
    if (target != nullptr) return {*target, SIM_RESULT_OUTPUT};
  }
  if (agent != nullptr && colon == std::string_view::npos &&
      variable_default(agent, std::string(full), &value))
    return {value, SIM_RESULT_AGENT};

  if (agent == nullptr) return colon == std::string_view::npos ? read_world(full) : kUnanswered;
  if (colon == std::string_view::npos) return read_agent(full, agent);
  const std::string segment_name(full.substr(0, colon));
  Segment* segment = findSegment(agent, segment_name.c_str());
  if (segment == nullptr) return kUnanswered;
  return read_segment(channel, agent, segment);
}

}  // namespace

extern "C" {

float channel_angle_factor(Agent* agent) {
  Agent* type = agent != nullptr ? agent_type_of(agent) : nullptr;
  const int unit = type != nullptr ? type->angle_unit : agent != nullptr ? agent->angle_unit : 1;
  if (unit == 2) return 0.017453292f;
  if (unit == 1) return 1.0f;
  return 0.0f;
}

float getSimValueF(const char* name, int /*option*/, int* result_kind) {
  if (result_kind != nullptr) *result_kind = SIM_RESULT_NONE;
  if (name == nullptr) return 0.0f;
  const Reading reading = read_channel(name);
  if (result_kind != nullptr) *result_kind = reading.kind;
  return reading.value;
}

}  // extern "C"
