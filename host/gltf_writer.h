// The posed crowd of a frame as glTF 2.0, the interchange format today's 3D tools open.
#pragma once

#include <memory>
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
// no triangle is left.
bool encode_gltf(const FrameGeometry& frame, bool binary, std::string* bytes, std::string* error,
                 std::vector<std::string>* warnings);

// A sequence of frames as one glTF file that plays the crowd: each frame's agents and objects
// are under a node "frame_N", shown only from that frame's time to the next one's by a stepped
// scale animation (scale 1 while shown, 0 otherwise; "frame_N" nodes after the first start at
// scale 0, so a viewer that plays no animation shows the first frame). No morph targets are
// used; an object whose triangles and texture coordinates are those it had on the frame before
// shares them, so a sequence costs little more than its positions and normals.
class GltfSequence {
 public:
  GltfSequence();
  ~GltfSequence();
  GltfSequence(const GltfSequence&) = delete;
  GltfSequence& operator=(const GltfSequence&) = delete;

  // Adds frame `frame` (frames may come in any order; they play in increasing order).
  void add_frame(int frame, const FrameGeometry& geometry, std::vector<std::string>* warnings);
  // Encodes every frame added so far, frame F at time (F - first) / frames_per_second. False
  // with `*error` set when no frame holds a triangle.
  bool encode(bool binary, double frames_per_second, std::string* bytes, std::string* error);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// The PBR roughness that approximates a Phong highlight of this exponent: the Beckmann
// slope (2 / (exponent + 2))^(1/2), whose square root is glTF's perceptual roughness.
float roughness_from_phong(float exponent);

}  // namespace host
