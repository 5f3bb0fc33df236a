// Polygon triangulation and the default material of a frame's geometry.
#include "host/frame_geometry.h"

#include <cmath>

namespace host {

void FrameMesh::add_polygon(const uint32_t* corners, size_t count, int material) {
  for (size_t i = 2; i < count; ++i) {
    triangles.insert(triangles.end(), {corners[0], corners[i - 1], corners[i]});
    triangle_materials.push_back(material);
  }
}

FrameMaterial default_material() {
  FrameMaterial material;
  material.name = "default_mtl";
  material.ambient = {0.05f, 0.05f, 0.05f};
  material.diffuse = {0.7f, 0.7f, 0.7f};
  material.specular = {0.2f, 0.2f, 0.2f};
  material.exponent = 30.0f;
  return material;
}

bool usable_point(const Vec3& p) {
  for (float c : p)
    if (!std::isfinite(c) || std::fabs(c) > coordinate_limit) return false;
  return true;
}

}  // namespace host
