// The posed crowd of a frame as glTF 2.0, the interchange format today's 3D tools open.
#pragma once

#include <string>
#include <vector>

#include "host/frame_geometry.h"

namespace host {

// Encodes `frame` as glTF 2.0 into `*bytes`: binary glTF (.glb) when `binary`, else JSON with
// the buffer embedded. Each agent is a node named after it whose children are its objects, one
// mesh each (objects without an agent are nodes of their own), with positions, normals and
// texture coordinates, and one primitive per material. Materials are metal-free PBR
// approximations of the Phong parameters (see docs/preview.md). Triangles with unusable
// coordinates or corner indices are left out with one warning. False with `*error` set when
// no triangle is left. The meshes' arrays are made on up to `threads` threads; the result does
// not depend on their number.
bool encode_gltf(const FrameGeometry& frame, bool binary, std::string* bytes, std::string* error,
                 std::vector<std::string>* warnings, int threads = 1);

// The PBR roughness that approximates a Phong highlight of this exponent: the Beckmann
// slope (2 / (exponent + 2))^(1/2), whose square root is glTF's perceptual roughness.
float roughness_from_phong(float exponent);

}  // namespace host
