// The posed crowd of a frame, taken from what the plug-in handed to the scene database.
#pragma once

#include <string>
#include <vector>

#include "host/frame_geometry.h"

namespace host {

// Fills `*frame` with every object of the scene database (its points, normals, texture
// coordinates and polygons, triangulated) and the materials its polygons refer to, with the
// Phong parameters of their "mib_illum_phong" calls. "default_mtl" is the default material; a
// material whose shader is anything else is marked as not evaluated; the matte shader makes a
// matte material. Problems that leave part of the frame out are added to `*warnings`.
void frame_from_database(FrameGeometry* frame, std::vector<std::string>* warnings);

}  // namespace host
