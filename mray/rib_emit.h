// The RenderMan output of a posed agent: its pieces of geometry with their materials, as
// RenderMan Interface 3.2 calls.
#pragma once

#include <unordered_map>
#include <vector>

#include "agent/agent.h"
#include "agent/nodes.h"
#include "base/vector_types.h"
#include "mray/ri_functions.h"
#include "mray/rib_options.h"

namespace mray {

// One renderable piece of an agent: a geometry node's deformed mesh, in world space either as
// the skin left it (no segment) or carried rigidly by a segment of the agent; or a cloth or hair
// piece's render mesh for the frame, in world space as its loader left it.
struct RibPiece {
  const void* key;    // the node the piece comes from; keys the previous frame's pose
  const Mesh* mesh;   // the deformed (or loaded) mesh
  const Mesh* rest;   // the rest pose written as "Pref", or null
  Segment* segment;   // the agent's segment that carries the piece, or null
  int32_t material;   // material number, -1 for none
  bool flip_normals;  // the node's orientation flag: normals go over as stored
  bool subdivision;   // written as a subdivision surface
  bool interpolate_boundary;
  const Vector* previous_points;  // a cloth or hair piece's own previous frame, or null
  bool from_cache;                // a cloth or hair piece: its loader gives both frames
};

// World-space points and normals of one piece for one frame.
struct PiecePose {
  std::vector<Vector> points;
  std::vector<Vector> normals;
};

// The pose of each piece on the previous frame, by the node it comes from.
using PreviousFrame = std::unordered_map<const void*, PiecePose>;

// The pieces of `agent` in output order: geometry bound to the skeleton, then geometry carried by
// a segment, both in the type's list order, then the chosen alternative of each geometry
// selector, the cloth pieces and the hair pieces. Disabled nodes, nodes without a mesh, cloth
// switched off and nodes that only a selector outputs are left out.
std::vector<RibPiece> agent_pieces(Agent* agent);

// The world-space points and normals of a piece for the agent's current pose. A piece carried
// by a segment is in the segment's own space and goes out through its world transform, as the
// mental ray output takes it.
PiecePose piece_pose(Agent* agent, const RibPiece& piece);

// What the emission of one agent needs besides the options.
struct RibAgent {
  Agent* agent;                   // the posed render agent
  const char* name;               // the agent's name in the header and its identifier
  const char* cdl_file;           // the agent file named in the header
  int pass_index;                 // the agent's render pass, -1 for none
  bool matte;                     // the agent is a holdout in this pass
  bool motion_blur;               // emit the previous frame as well
  const PreviousFrame* previous;  // the previous frame's poses (motion blur), or null
};

// The extent of what was emitted.
struct RibEmitResult {
  int pieces = 0;
  float min[3] = {0, 0, 0};
  float max[3] = {0, 0, 0};
};

// Emits one agent: an attribute block with its comment header (when the options ask for it),
// its name, the "Pref" declaration, the pass's RIB archive, and per piece an attribute block with
// the material (colour, opacity, matte, surface and displacement shaders) and the mesh
// (PointsPolygons, or SubdivisionMesh for subdivision geometry) with P, N (negated unless the
// node's orientation flag is set), st and Pref. With motion blur the mesh of the previous frame
// and the current one go into a MotionBegin [0 1] block, or with the velocity option one mesh
// carries their difference as "dPdtime".
RibEmitResult emit_agent_rib(const RiFunctions& ri, const RibAgent& agent,
                             const RibOptions& options);

}  // namespace mray
