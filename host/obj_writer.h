// The posed crowd of a frame as Wavefront OBJ with its MTL material library.
#pragma once

#include <string>
#include <vector>

#include "host/frame_geometry.h"

namespace host {

// Encodes `frame` as OBJ text into `*obj` and its material library into `*mtl`; the OBJ names
// the library `mtl_name` ("mtllib"). Each object is an "o AGENT/OBJECT" block (white space in
// names becomes "_") with its points, texture coordinates and normals, and faces grouped by
// material ("usemtl"). Points that are not finite or beyond coordinate_limit are written as
// the origin and the triangles using them are left out, with one warning. False with `*error`
// set when no triangle is left. The objects' text is made on up to `threads` threads; the
// result does not depend on their number.
bool encode_obj(const FrameGeometry& frame, const std::string& mtl_name, std::string* obj,
                std::string* mtl, std::string* error, std::vector<std::string>* warnings,
                int threads = 1);

}  // namespace host
