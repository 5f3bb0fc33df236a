// The sample humanoid's skeleton: 21 segments, each placed relative to its parent, in metres,
// y up and z forward.
#pragma once

#include <array>
#include <vector>

namespace examples {

struct SkeletonSegment {
  const char* name;
  const char* parent;            // null for the root
  std::array<double, 3> offset;  // from the parent's origin
};

// In parent-before-child order.
const std::vector<SkeletonSegment>& humanoid_segments();
// The segment's origin in the agent's space in the rest pose.
std::array<double, 3> humanoid_rest_position(const char* name);

}  // namespace examples
