// Mesh files for geometry nodes and blend shapes: the Wavefront OBJ reader.
#pragma once

#include "agent/mesh.h"

extern "C" {

// Reads the OBJ mesh at `path` (a file name ending in ".obj", any letter case) into a new polygon
// mesh: positions ("v"), normals ("vn"), texture coordinates ("vt") and polygons of any size
// ("f"/"fo" with "v", "v/vt", "v//vn" or "v/vt/vn" corners, positive or negative indices).
// Other statements (groups, materials, smoothing, lines, points, ...) are skipped. Normals
// become one per point (see docs/geometry.md). What cannot be read is reported on standard
// error as "path:line: what is wrong"; an unreadable file, binary data, a number that does not
// parse or a file without points gives null, while a polygon with a bad index is reported and
// left out. The returned mesh has its per-polygon data refreshed; free it with mesh_free().
Mesh* loadGeometry(const char* path);

}  // extern "C"
