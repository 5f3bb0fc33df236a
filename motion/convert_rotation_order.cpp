// Re-expressing a segment's rotation curves in another rotation order, sample by sample.
#include <cstdio>
#include <string>

#include "agent/skeleton.h"
#include "motion/curve.h"

namespace {

constexpr float kDegreesPerRadian = 57.29578f;

// The curve of one channel of the segment ("name:rx" ...), or null.
Curve* channel_curve(Action* action, const char* segment_name, const char* channel) {
  const std::string name = std::string(segment_name) + ":" + channel;
  return findCurve(action, name.c_str());
}

int key_count(const Curve* curve) {
  return curve && curve->points && curve->points->value ? curve->points->count : 0;
}

}  // namespace

extern "C" {

int convertRotationOrder(Action* action, Segment* segment, int32_t from_order, int32_t to_order) {
  if (!action || !segment || !segment->name) return 0;
  if (segment->order != from_order)
    fprintf(stderr, "WARNING: convertRotationOrder() from_order does not match %s order.\n",
            segment->name);
  Curve* curves[3] = {channel_curve(action, segment->name, "rx"),
                      channel_curve(action, segment->name, "ry"),
                      channel_curve(action, segment->name, "rz")};
  if (!curves[0] && !curves[1] && !curves[2]) return 0;
  const int samples = curves[0]   ? key_count(curves[0])
                      : curves[2] ? key_count(curves[2])
                                  : key_count(curves[1]);
  for (int n = 0; n < samples; ++n) {
    float angles[3] = {0.0f, 0.0f, 0.0f};
    for (int axis = 0; axis < 3; ++axis)
      if (n < key_count(curves[axis]))
        angles[axis] = curves[axis]->points->value[n] / kDegreesPerRadian;
    Matrix rotation;
    rotation_matrix_from_angles(angles[0], angles[1], angles[2], from_order, rotation);
    rotationsFromMatrix(rotation, &angles[0], &angles[1], &angles[2], to_order);
    for (int axis = 0; axis < 3; ++axis)
      if (n < key_count(curves[axis]))
        curves[axis]->points->value[n] = angles[axis] * kDegreesPerRadian;
  }
  return 1;
}

}  // extern "C"
