// Sensing for brains: the goal direction and the press of nearby agents, in the ground plane.
#include "sim/brain_sensing.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "agent/agent.h"

namespace {

constexpr double kDegrees = 57.29577951308232;

struct Flat {
  double x = 0, z = 0;
};

Flat goal_direction(Agent* agent) {
  UserVar* gx = find_userVar(agent, "goal_x");
  UserVar* gz = find_userVar(agent, "goal_z");
  Flat d;
  if (gx == nullptr || gz == nullptr) return d;
  d.x = static_cast<double>(gx->value) - agent->root[3];
  d.z = static_cast<double>(gz->value) - agent->root[5];
  double length = std::hypot(d.x, d.z);
  if (!(length > 1e-9) || !std::isfinite(length)) return Flat{};
  double scale = std::min(1.0, length / 2) / length;
  return {d.x * scale, d.z * scale};
}

Flat near_push(Agent* agent) {
  Flat push;
  for (Agent* other = root_agent; other != nullptr; other = other->next) {
    if (other == agent || !other->active) continue;
    double dx = static_cast<double>(agent->root[3]) - other->root[3];
    double dz = static_cast<double>(agent->root[5]) - other->root[5];
    double distance = std::hypot(dx, dz);
    if (!(distance < kSensingNearRadius)) continue;
    if (distance < 1e-6) {
      // Two agents on one spot part along x, the one later in the list to +x.
      dx = other->id < agent->id ? 1 : -1;
      dz = 0;
      distance = 1;
    } else {
      dx /= distance;
      dz /= distance;
    }
    double strength = 1 - distance / kSensingNearRadius;
    push.x += dx * strength;
    push.z += dz * strength;
  }
  double length = std::hypot(push.x, push.z);
  if (length > 1) push = {push.x / length, push.z / length};
  return push;
}

}  // namespace

bool brain_sense(Agent* agent, const char* name, float* value) {
  if (agent == nullptr || name == nullptr) return false;
  double result = 0;
  if (std::strcmp(name, "goal.dx") == 0) {
    result = goal_direction(agent).x;
  } else if (std::strcmp(name, "goal.dz") == 0) {
    result = goal_direction(agent).z;
  } else if (std::strcmp(name, "near.push.x") == 0) {
    result = near_push(agent).x;
  } else if (std::strcmp(name, "near.push.z") == 0) {
    result = near_push(agent).z;
  } else if (std::strcmp(name, "steer.heading") == 0 || std::strcmp(name, "steer.speed") == 0) {
    Flat goal = goal_direction(agent), push = near_push(agent);
    double x = goal.x + push.x, z = goal.z + push.z;
    double speed = std::hypot(x, z);
    if (name[6] == 's') {
      result = std::min(1.0, speed);
    } else if (speed > 1e-6) {
      // A heading h faces (sin h, cos h) in x and z.
      result = std::atan2(x, z) * kDegrees;
    } else {
      result = std::remainder(static_cast<double>(agent->root[1]), 360.0);
    }
  } else {
    return false;
  }
  *value = std::isfinite(result) ? static_cast<float>(result) : 0.0f;
  return true;
}
