// The posed crowd of a frame, taken from what the plug-in handed to the scene database.
#pragma once

#include <string>
#include <vector>

#include "host/frame_geometry.h"
#include "host/render_session.h"

namespace host {

// Fills `*frame` with the objects the assemblies of a render produced (each assembly's result:
// one object, or a group of them), in assembly order, each object group (and subdivision mesh,
// as its control polygons) one mesh named after the object, its agent the assembly's name.
// Polygons are triangulated; a vertex's texture coordinates are those of its first texture
// space. Materials come from the polygons' material tags: "default_mtl" and untagged polygons
// use the default material; a material whose surface is a "mib_illum_phong" call takes its
// Phong parameters from it; "hordera_matte" makes it matte; any other shader marks it as not
// evaluated. Invisible objects are left out. Read it while the render's session is alive.
// The meshes are made on up to `threads` threads; the result does not depend on their number.
void frame_from_database(const std::vector<AssemblyRun>& assemblies, FrameGeometry* frame,
                         std::vector<std::string>* warnings, int threads = 1);

}  // namespace host
