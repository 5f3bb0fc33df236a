// Procedural meshes of the sample humanoid: closed tubes along its bones, with normals, written
// as OBJ files with their skin weights files.
#pragma once

#include <array>
#include <string>
#include <vector>

namespace examples {

using Point = std::array<double, 3>;

// A mesh under construction: points with normals, polygons (indices from 0) and each point's
// skin weights (segment name, weight).
struct BodyMesh {
  std::vector<Point> points;
  std::vector<Point> normals;
  std::vector<std::vector<int>> polygons;
  std::vector<std::vector<std::pair<std::string, double>>> weights;
};

// Adds a closed tube from `from` to `to` of radius `radius` (`squash` scales the radius across
// the body, along x), `rings` rings of `sides` points and a pole at each end, its ends rounded.
// Every point belongs to `segment`; the first ring and pole share half their weight with
// `parent` when one is given, so the joint bends smoothly.
void add_tube(BodyMesh& mesh, const Point& from, const Point& to, double radius, double squash,
              int rings, int sides, const std::string& segment, const std::string& parent);

// The sample's skin (head, neck, hands) and clothes (torso, arms, legs, feet).
BodyMesh humanoid_skin();
BodyMesh humanoid_clothes();
// One of the three hats (0 cap, 1 tall hat, 2 wide brim), all carried by the head.
BodyMesh humanoid_hat(int which);

// Writes the mesh as an OBJ file and its weights as a weights file (deformers numbered in the
// order of `deformers`). False when a file cannot be written.
bool write_body_mesh(const BodyMesh& mesh, const std::string& obj_path,
                     const std::string& weights_path, const std::vector<std::string>& deformers);

}  // namespace examples
