// Geometry nodes: their transform from the operation list, their meshes (loaded, reference and
// rest), blend shapes and weights, loaded from the files the agent file names.
#pragma once

#include <string>

#include "agent/agent.h"
#include "agent/mesh.h"
#include "agent/nodes.h"

extern "C" {

// The value of one transform component: the number itself when `variable` is null; else the
// value of the agent's user variable of that name when it has one (agent-specific values), else
// the default of the agent type's variable definition of that name, else `number`.
float geometry_component_value(Agent* agent, const char* variable, float number);
// Composes the node's transform (16 floats into `out`) from its operation list, starting from the
// identity: translate adds to the translation row, rotate applies x_rotate/y_rotate/z_rotate by
// its degrees / 57.2957795 in its axis-word order, scale multiplies on the right (matrix_mul) by
// the diagonal of its values. Variables are resolved against `agent` (may be null).
void geometry_transform_matrix(Agent* agent, const GeometryNode* node, float* out);
// 1 when `m` (16 floats) is exactly the identity.
int matrix_is_identity(const float* m);

// Loads the node's blend shape `blend` from its file (resolved against `directory`, which may be
// null or empty): a linear blend keeps target minus base per vertex, a radial or cylindrical one
// the target points; the base is the node's reference mesh, else its loaded mesh. A vertex-count
// mismatch prints "Mismatched number of vertices in blend shape '%s'.\n" and keeps no data.
// Returns 1 when data was stored.
int load_blend_shape(GeometryNode* node, BlendShape* blend, const char* directory);
// Reads the node's weights file (resolved against the type's directory) into node->weights:
// arrays ordered by its attach list when it has one, else by the type's bone list. Returns 1 on
// success; on failure the node keeps no weights.
int geometry_load_weights(Agent* type, GeometryNode* node);
// Loads everything a node of `type` needs to be drawn and skinned, once: its mesh (file resolved
// against the type's cdl_directory), the reference copy and the rest mesh (the copy through the
// node's transform), blend shapes, weights and the sparse influences (setting `bones` when it has
// any). A node whose mesh cannot be read is marked failed and not retried. Returns 1 when the
// node has a mesh afterwards.
int geometry_load(Agent* type, GeometryNode* node);
// geometry_load() for every geometry node of an agent type; returns the number of nodes with a
// mesh.
int agent_load_geometry(Agent* type);
// Frees the meshes, weights and influences of a node and marks it not loaded.
void geometry_free_data(GeometryNode* node);

}  // extern "C"

namespace hordera {
// `file` as a path: unchanged when absolute (or when `directory` is null or empty), else joined to
// `directory` with a '/'.
std::string resolve_agent_path(const char* directory, const char* file);
}  // namespace hordera
