// Polygon meshes: the points, normals, texture coordinates and polygons of a geometry node, as
// loaded from a mesh file, as the skin reads them (rest mesh) and as the skin writes them.
//
// A mesh is a plain record of counted arrays so that the render output can walk it directly:
// polygons are ordered runs of corners, each corner naming one point (and carrying its own
// texture coordinate); normals, when present, are one per point.
#pragma once

#include <cstdint>

#include "base/vector_types.h"

extern "C" {

// Bits of Mesh::flags.
enum : uint32_t {
  MESH_HAS_NORMALS = 1,  // `normals` holds one normal per point
  MESH_HAS_TEXTURE = 4,  // `texture` holds one texture coordinate per corner
};

// Mesh kinds: a plain polygon mesh, or a subdivision cage (same arrays, written to the renderer
// as a subdivision surface).
enum : int32_t { MESH_POLYGONS = 0, MESH_SUBDIVISION = 1 };

// One polygon: a run of `corner_count` corners starting at `first_corner`, plus the derived data
// that mesh_refresh() recomputes.
struct MeshPolygon {
  int32_t first_corner;  // index into Mesh::corners and Mesh::texture
  int32_t corner_count;  // number of corners (points) of the polygon
  Vector normal;  // unit plane normal (Newell's method); reversed when the mesh's orientation
                  // flag is set; zero for a polygon without area
  Vector centre;  // mean of the polygon's points
  float area;     // area of the polygon in the mesh's units squared
};

struct Mesh {
  int32_t kind;    // MESH_POLYGONS or MESH_SUBDIVISION
  uint32_t flags;  // MESH_HAS_NORMALS | MESH_HAS_TEXTURE
  int32_t point_count;
  Vector* points;   // point_count positions
  Vector* normals;  // point_count normals when MESH_HAS_NORMALS, else null
  int32_t polygon_count;
  MeshPolygon* polygons;  // polygon_count polygons, corners in file order
  int32_t corner_count;   // total corners of all polygons
  int32_t* corners;       // corner_count point indices, each in [0, point_count)
  Vector* texture;        // corner_count (u, v, w) coordinates when MESH_HAS_TEXTURE, else null
  uint8_t orientation;    // the orientation flag given to the last mesh_refresh()
};

// A zero-filled polygon mesh with no points or polygons; null when memory runs out.
Mesh* mesh_new(void);
// Allocates the arrays of `mesh` for the given counts (previous arrays freed); normals and
// texture coordinates are allocated only when their flag bit is set in `flags`. Arrays are
// zero-filled and polygons get no corners. Returns 0 when memory runs out (mesh left empty).
int mesh_allocate(Mesh* mesh, int32_t point_count, int32_t polygon_count, int32_t corner_count,
                  uint32_t flags);
// Frees a mesh made by mesh_new() or mesh_copy() with all its arrays; null is ignored.
void mesh_free(Mesh* mesh);
// A deep copy of `source` (all arrays, flags and derived data); null when memory runs out or
// `source` is null.
Mesh* mesh_copy(const Mesh* source);
// Copies the points and normals of `source` into `target`, which must have the same point count
// (checked: returns 0 and changes nothing otherwise).
int mesh_copy_points(const Mesh* source, Mesh* target);
// Transforms the mesh by `matrix` (16 floats, row-vector convention): points as points
// (translation row included), normals by the inverse transpose of the 3x3 block and then
// normalised, so that they stay perpendicular under non-uniform scale.
void mesh_transform(Mesh* mesh, const float* matrix);
// Recomputes the per-polygon data (normal, centre, area) and records `orientation`. A set
// orientation flag marks polygons wound clockwise as seen from their front, so their normals are
// reversed. A polygon with fewer than three points prints "poly %d has only %d points!\n" and
// gets a zero normal and area. A subdivision cage only records the flag. Returns the number of
// such short polygons.
int mesh_refresh(Mesh* mesh, int orientation);

}  // extern "C"

namespace hordera {
// mesh_refresh() with the short-polygon message optional: the loader reports a file's short
// polygons once, and copies made from it refresh quietly.
int refresh_polygons(Mesh* mesh, int orientation, bool report_short_polygons);
// mesh_refresh() in single precision (the same short-polygon message), for meshes that are
// only handed to the renderer (the skin's output every frame): normals, centres and areas agree
// with the double-precision refresh to float rounding (a few units in the last place of each sum).
int refresh_polygons_for_render(Mesh* mesh, int orientation);
}  // namespace hordera
