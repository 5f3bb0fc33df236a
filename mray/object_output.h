// The objects of one agent handed to the renderer: skinned geometry, geometry carried by a
// segment, the chosen alternative of each geometry selector, cloth and hair, each one object with
// its vectors, vertices and polygons (or a subdivision mesh), its visibility and shadow flags and,
// with motion blur, its motion vectors and motion box.
#pragma once

#include "mray/mi_interface.h"
#include "mray/shader_arguments.h"

struct Agent;
struct Mesh;
struct Vector;

namespace mray {

// Creates the objects of `agent` (the render agent of its type) for the render pass at `pass`
// (-1 for none) and adds each to `*result`. Objects use the agent's "mat_<id>_<number>" materials
// in a pass and "default_mtl" without one.
void create_objects(miTag* result, Agent* agent, int pass, bool motion_blur,
                    const MrayRenderArgs* args);

// What one object is made of, in the object's own space.
struct ObjectPiece {
  const char* name;                 // object name, or null for an anonymous object
  const Mesh* mesh;                 // points, normals, texture coordinates and polygons
  const float* transform;           // 16 floats carrying the points (segment geometry), or null
  const Vector* previous;           // the previous frame's points (motion blur), or null
  int previous_count;               // entries of `previous`
  const float* previous_transform;  // 16 floats carrying `previous`, or null
  bool keep_normals;                // the orientation flag: normals go out as stored, else negated
  bool subdivision;                 // written as a subdivision surface
  int material;                     // material number of the agent type, -1 for none
};

// What the object output needs besides the piece.
struct ObjectSettings {
  int id;    // the agent's id, for "mat_<id>_<number>"
  int pass;  // render pass, -1 for none
  bool motion_blur;
  miCBoolean visible;      // 2 or 1
  miUchar shadow;          // 3 or 0
  float max_displacement;  // 0 for none
  const char* trace;       // trace text naming the writer, e.g. "mi_bonesed_geometry_out()"
};

// Writes one object and returns its tag; 0 when the piece has no usable mesh (a mesh whose
// arrays disagree with its counts is reported and not written).
miTag output_piece(const ObjectPiece& piece, const ObjectSettings& settings);

}  // namespace mray
