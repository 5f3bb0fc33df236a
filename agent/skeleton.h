// Skeleton transforms: rotation order codes, Euler angles and matrices, and the walks that give
// a segment's transform in agent and world space.
//
// Matrices are 16 floats, row-major, row vectors (p' = p * M), translation in elements 12..14.
// Angles are radians here unless a function says degrees.
#pragma once

#include <cstdint>

#include "agent/agent.h"

extern "C" {

// Order code of an order text such as "rz ry rx": words (split at blanks, tabs and line ends,
// case-insensitive) are mapped by containment of TX, TY, TZ, RX, RY, RZ (first match in that
// order, 0 for none) to e0, e1, ...; at most six words count; the channels not named follow in
// the order TX TY TZ RX RY RZ until six entries exist. Null or empty text gives the natural
// order TX TY TZ RX RY RZ.
int32_t strToOrder(const char* text);
// The segment reader's normalisation: entries that are 0 are filled with the missing channels,
// rotations first (RX, RY, RZ), then translations.
int32_t order_normalise(int32_t order);
// The six entries e0..e5 of an order code (1 TX .. 6 RZ); e0 is the code shifted right by 15,
// the others three bits each. `entries` holds 6 ints.
void order_unpack(int32_t order, int entries[6]);
// Packs six entries (each 0..7) into an order code: e0 * 32768 + e1 * 4096 + ... + e5.
int32_t order_pack(const int entries[6]);
// The Euler code of an order: 0 XYZ, 4 XZY, 8 YZX, 12 YXZ, 16 ZXY, 20 ZYX; 0 for a single
// rotation entry; -1 for no rotation entry or a repeated axis.
int order_euler_code(int32_t order);
// Rotation matrix from angles in radians: the identity, then x_rotate, y_rotate or z_rotate for
// each rotation entry of the order in turn (the first entry acts on a point first); zero angles
// and translation entries are skipped. `out` holds 16 floats.
void rotation_matrix_from_angles(float rx, float ry, float rz, int32_t order, float* out);
// Euler angles (radians) of the rotation block of `matrix` in the given order, by Shoemake's
// conversion, written to rx, ry, rz by axis; nothing is written when the order has no rotation
// entry (Euler code -1). Null output pointers are skipped.
void rotationsFromMatrix(const float* matrix, float* rx, float* ry, float* rz, int32_t order);
// Angles (radians) to a unit quaternion (x, y, z, w; 4 floats) in the given order; the identity
// quaternion for an order without rotation entry.
void angles_to_quaternion(float rx, float ry, float rz, int32_t order, float* quaternion);
// Quaternion (x, y, z, w; need not be unit length) to angles (radians) in the given order;
// nothing written for an order without rotation entry.
void quaternion_to_angles(const float* quaternion, float* rx, float* ry, float* rz, int32_t order);

// World-space transform of a segment into `out` (16 floats): its local matrix, each ancestor's
// up to the root, the owning agent's matrix, then, when the agent's attachment weight is
// non-zero and its attachment segment set, that segment's world transform. The current and
// previous-frame variants take the attachment step; the rest variant does not.
void worldSpace(Segment* segment, float* out);
void worldSpaceRest(Segment* segment, float* out);
void worldSpaceLast(Segment* segment, float* out);
// Agent-space transform (the same products without the agent matrix).
void agentSpace(Segment* segment, float* out);
void agentSpaceRest(Segment* segment, float* out);
// The translation row of worldSpace and of agentSpace. Null output pointers are skipped.
void segmentInWorldSpace(Segment* segment, float* x, float* y, float* z);
void segmentInAgentSpace(Segment* segment, float* x, float* y, float* z);

// Composes a segment's current local matrix from its six channel values (tx, ty, tz in units,
// rx, ry, rz in degrees): the rotations in the segment's order (as rotation_matrix_from_angles),
// then the translation (tx, ty, tz) in the fourth row, so the segment turns about its own origin.
void segment_pose_from_channels(Segment* segment);
// The same from the previous frame's channel values into the previous-frame local matrix.
void segment_last_pose_from_channels(Segment* segment);
// Recomputes an agent's pose from its segments' channel values (every segment's local matrix).
void agent_pose_from_channels(Agent* agent);
// The same for the previous frame (last_channels into last_matrix).
void agent_last_pose_from_channels(Agent* agent);

}  // extern "C"
