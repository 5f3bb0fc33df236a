// Values that brains sense about the world around an agent: where its goal lies and how the
// agents near it press on it. Offered to brain inputs before the channel names.
#pragma once

struct Agent;

// Radius, in units of length, within which other agents press on an agent.
constexpr float kSensingNearRadius = 2.0f;

// The sensed value `name` for `agent`; false when `name` is not a sensed name.
//   goal.dx, goal.dz      direction (world x, z) from the agent to its goal, the point given by
//                         its variables goal_x and goal_z, shortened to distance / 2 within 2
//                         units of the goal (so it is 0 at the goal)
//   near.push.x, .z       the sum, over every other active agent closer than the near radius,
//                         of the direction away from it times (1 - distance / radius); at most 1
//                         long
//   steer.heading         heading (root ry, degrees, -180 to 180) that faces goal + push; the
//                         agent's own heading when they cancel out
//   steer.speed           length of goal + push, at most 1
bool brain_sense(Agent* agent, const char* name, float* value);
