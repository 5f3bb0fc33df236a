// Skinning: bind matrices of the bones, the sparse influence list of a geometry node and linear
// blend skinning of the rest mesh by the posed skeleton.
#pragma once

#include <cstdint>

#include "agent/agent.h"
#include "agent/mesh.h"
#include "agent/nodes.h"

extern "C" {

// Binds every bone of the agent type that is not bound yet: its bind matrix becomes the inverse
// of its segment's rest transform in the agent type's space (agentSpaceRest), so that the rest
// pose reproduces the rest mesh. A bone whose segment is missing or singular keeps the identity.
void skin_bind_bones(Agent* type);
// Builds the node's sparse influences (vertex, bone position, weight) from its dense weights:
// every non-zero weight, vertex by vertex, in bone (or attach-list) order. Attach-list arrays
// name bones through their segment; an attached segment without a bone contributes nothing, and
// one attached twice counts once. Sets node->bones when at least one influence exists. Returns the
// influence count.
int skin_build_influences(Agent* type, GeometryNode* node);
// Releases the node's sparse influence list and marks it as not bound to the skeleton.
void skin_free_influences(GeometryNode* node);
// The skin matrix of every bone of the agent's type for the agent's current pose, 16 floats per
// bone in bone-list order, written to `out` (room for `capacity` bones): bind matrix, then
// diag(s*t, s, s*t, 1) when the segment's scale or thickness factor is not exactly 1, then the
// segment's world matrix (worldSpace of the agent's own segment). Returns the bone count (which
// may exceed `capacity`; only `capacity` matrices are written then).
int skin_bone_matrices(Agent* agent, float* out, int capacity);
// Linear blend skinning: out point v = sum of w * (p * M) and out normal v = sum of w * (n * M)
// without translation, over the influences (vertex v, bone b, weight w) in order, with p and n
// the rest point and normal of v and M the skin matrix of b (16 floats each in `matrices`,
// `matrix_count` of them). `rest_points` (rest->point_count entries) overrides the rest mesh's
// points when not null. Normals are not renormalised. Influences naming a vertex or bone out of
// range are ignored. Returns 0 (and changes nothing) when the meshes' point counts differ.
int skin_mesh(const Mesh* rest, const Vector* rest_points, int32_t influence_count,
              const int32_t* vertices, const int32_t* bones, const float* weights,
              const float* matrices, int32_t matrix_count, Mesh* out);
// Deforms an agent's geometry for its current pose: bone skin matrices once, then every enabled
// geometry node with a mesh and the chosen alternative of each geometry selector (rest meshes
// refreshed through variable-driven transforms, blend shapes added to the rest points by weight,
// skinned, per-polygon data refreshed with the node's orientation flag). Nodes not bound to the
// skeleton get their rest points unskinned. Loads geometry that is not loaded yet. The render
// driver calls it after posing.
void agent_deform_geometry(Agent* agent);

}  // extern "C"
