// The walks that give a segment's transform in agent and world space, and the composition of
// local matrices from channel values.
//
// Row vectors: a segment's world transform is its local matrix, then each ancestor's up to the
// root, then its agent's matrix, then (for an attached agent) the carrying segment's world
// transform. Nothing is cached; each call recomputes the product.
#include <cstring>

#include "agent/skeleton.h"
#include "base/vecmath.h"

namespace {

// Degrees to radians, as in curves and pose caches.
constexpr float kDegreesPerRadian = 57.29578f;
// Bounds that keep a damaged tree (a parent cycle, agents attached to each other) from hanging.
constexpr int kMaxDepth = 10000;
constexpr int kMaxAttachDepth = 64;

enum class Pose { current, rest, last };

const float* local_of(const Segment* segment, Pose pose) {
  switch (pose) {
    case Pose::rest:
      return segment->rest_matrix;
    case Pose::last:
      return segment->last_matrix;
    default:
      return segment->matrix;
  }
}

const float* agent_matrix_of(const Agent* agent, Pose pose) {
  switch (pose) {
    case Pose::rest:
      return agent->rest_matrix;
    case Pose::last:
      return agent->last_matrix;
    default:
      return agent->matrix;
  }
}

// out = local * parent local * ... * root local.
void agent_space_walk(const Segment* segment, Pose pose, float* out) {
  std::memcpy(out, local_of(segment, pose), sizeof(Matrix));
  int depth = 0;
  for (const Segment* p = segment->parent; p && depth < kMaxDepth; p = p->parent, ++depth)
    matrix_mul(out, local_of(p, pose));
}

void world_space_walk(const Segment* segment, Pose pose, float* out, int attach_depth) {
  agent_space_walk(segment, pose, out);
  const Agent* agent = segment->agent;
  if (!agent) return;
  matrix_mul(out, agent_matrix_of(agent, pose));
  // The rest pose is never carried by another agent.
  if (pose == Pose::rest || agent->attach_weight == 0.0f || !agent->attach_segment) return;
  if (attach_depth >= kMaxAttachDepth) return;
  Matrix carrier;
  world_space_walk(agent->attach_segment, pose, carrier, attach_depth + 1);
  matrix_mul(out, carrier);
}

// Local matrix from six channel values (tx, ty, tz, rx, ry, rz; rotations in degrees): the
// rotations in the segment's order, then the translation.
void compose_local(const float channels[6], int32_t order, float* out) {
  rotation_matrix_from_angles(channels[3] / kDegreesPerRadian, channels[4] / kDegreesPerRadian,
                              channels[5] / kDegreesPerRadian, order, out);
  out[12] = channels[0];
  out[13] = channels[1];
  out[14] = channels[2];
}

}  // namespace

extern "C" {

void worldSpace(Segment* segment, float* out) {
  if (segment && out) world_space_walk(segment, Pose::current, out, 0);
}

void worldSpaceRest(Segment* segment, float* out) {
  if (segment && out) world_space_walk(segment, Pose::rest, out, 0);
}

void worldSpaceLast(Segment* segment, float* out) {
  if (segment && out) world_space_walk(segment, Pose::last, out, 0);
}

void agentSpace(Segment* segment, float* out) {
  if (segment && out) agent_space_walk(segment, Pose::current, out);
}

void agentSpaceRest(Segment* segment, float* out) {
  if (segment && out) agent_space_walk(segment, Pose::rest, out);
}

void segmentInWorldSpace(Segment* segment, float* x, float* y, float* z) {
  if (!segment) return;
  Matrix m;
  worldSpace(segment, m);
  if (x) *x = m[12];
  if (y) *y = m[13];
  if (z) *z = m[14];
}

void segmentInAgentSpace(Segment* segment, float* x, float* y, float* z) {
  if (!segment) return;
  Matrix m;
  agentSpace(segment, m);
  if (x) *x = m[12];
  if (y) *y = m[13];
  if (z) *z = m[14];
}

void segment_pose_from_channels(Segment* segment) {
  if (segment) compose_local(segment->channels, segment->order, segment->matrix);
}

void segment_last_pose_from_channels(Segment* segment) {
  if (segment) compose_local(segment->last_channels, segment->order, segment->last_matrix);
}

void agent_pose_from_channels(Agent* agent) {
  if (!agent) return;
  for (Segment* s = agent->segments; s; s = s->next) segment_pose_from_channels(s);
}

void agent_last_pose_from_channels(Agent* agent) {
  if (!agent) return;
  for (Segment* s = agent->segments; s; s = s->next) segment_last_pose_from_channels(s);
}

}  // extern "C"
