// The humanoid's segments and their rest places.
#include "examples/humanoid_skeleton.h"

#include <cstring>

namespace examples {

const std::vector<SkeletonSegment>& humanoid_segments() {
  static const std::vector<SkeletonSegment> segments = [] {
    std::vector<SkeletonSegment> list = {
        {"pelvis", nullptr, {0, 0.95, 0}}, {"spine", "pelvis", {0, 0.12, 0}},
        {"chest", "spine", {0, 0.22, 0}},  {"neck", "chest", {0, 0.22, 0}},
        {"head", "neck", {0, 0.10, 0}},
    };
    for (int side = 0; side < 2; ++side) {
      double x = side == 0 ? 1 : -1;
      bool left = side == 0;
      list.push_back({left ? "l_shoulder" : "r_shoulder", "chest", {0.07 * x, 0.18, 0}});
      list.push_back({left ? "l_upper_arm" : "r_upper_arm",
                      left ? "l_shoulder" : "r_shoulder",
                      {0.12 * x, 0, 0}});
      list.push_back(
          {left ? "l_forearm" : "r_forearm", left ? "l_upper_arm" : "r_upper_arm", {0, -0.29, 0}});
      list.push_back({left ? "l_hand" : "r_hand", left ? "l_forearm" : "r_forearm", {0, -0.26, 0}});
    }
    for (int side = 0; side < 2; ++side) {
      double x = side == 0 ? 1 : -1;
      bool left = side == 0;
      list.push_back({left ? "l_thigh" : "r_thigh", "pelvis", {0.1 * x, -0.06, 0}});
      list.push_back({left ? "l_shin" : "r_shin", left ? "l_thigh" : "r_thigh", {0, -0.42, 0}});
      list.push_back({left ? "l_foot" : "r_foot", left ? "l_shin" : "r_shin", {0, -0.41, 0}});
      list.push_back({left ? "l_toe" : "r_toe", left ? "l_foot" : "r_foot", {0, -0.05, 0.13}});
    }
    return list;
  }();
  return segments;
}

std::array<double, 3> humanoid_rest_position(const char* name) {
  std::array<double, 3> position = {0, 0, 0};
  const char* current = name;
  while (current != nullptr) {
    const SkeletonSegment* found = nullptr;
    for (const SkeletonSegment& segment : humanoid_segments())
      if (std::strcmp(segment.name, current) == 0) found = &segment;
    if (found == nullptr) break;
    for (int i = 0; i < 3; ++i) position[i] += found->offset[i];
    current = found->parent;
  }
  return position;
}

}  // namespace examples
