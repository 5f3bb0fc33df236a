// Skeleton transforms: rotation order codes, Euler angles and matrices, and the walks that give
// a segment's transform in agent and world space.
#pragma once

#include <cstdint>

#include "agent/agent.h"
#include "motion/action.h"

extern "C" {

// Order code of an order text such as "rz ry rx" (missing channels appended TX TY TZ RX RY RZ).
int32_t strToOrder(const char* text);
// The segment reader's normalisation: entries that are 0 are filled with the missing channels,
// rotations first (RX, RY, RZ), then translations.
int32_t order_normalise(int32_t order);
// The six entries e0..e5 of an order code (1 TX .. 6 RZ).
void order_unpack(int32_t order, int entries[6]);
// Packs six entries into an order code.
int32_t order_pack(const int entries[6]);
// The Euler code of an order: 0 XYZ, 4 XZY, 8 YZX, 12 YXZ, 16 ZXY, 20 ZYX, -1 for none.
int order_euler_code(int32_t order);
// Rotation matrix from angles in radians, applying the order's rotation entries in turn.
void rotation_matrix_from_angles(float rx, float ry, float rz, int32_t order, float* out);
// Euler angles (radians) of a rotation matrix in the given order; nothing written for code -1.
void rotationsFromMatrix(const float* matrix, float* rx, float* ry, float* rz, int32_t order);
// Angles (radians) to a quaternion (x, y, z, w) and back, in the given order.
void angles_to_quaternion(float rx, float ry, float rz, int32_t order, float* quaternion);
void quaternion_to_angles(const float* quaternion, float* rx, float* ry, float* rz, int32_t order);
// Re-expresses the rotation curves of a segment in an action from one order in another.
int convertRotationOrder(Action* action, Segment* segment, int32_t from_order, int32_t to_order);

// World-space transform of a segment (current, rest, previous frame).
void worldSpace(Segment* segment, float* out);
void worldSpaceRest(Segment* segment, float* out);
void worldSpaceLast(Segment* segment, float* out);
// Agent-space transform (the same products without the agent matrix).
void agentSpace(Segment* segment, float* out);
void agentSpaceRest(Segment* segment, float* out);
void segmentInWorldSpace(Segment* segment, float* x, float* y, float* z);
void segmentInAgentSpace(Segment* segment, float* x, float* y, float* z);

// Composes a segment's current local matrix from its six channel values (degrees for rotations).
void segment_pose_from_channels(Segment* segment);
// Recomputes an agent's pose from its segments' channel values (every segment's local matrix).
void agent_pose_from_channels(Agent* agent);

}  // extern "C"
