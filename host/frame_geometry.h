// The posed crowd of one frame as the host's pictures and interchange files see it: meshes of
// triangles with their material, materials with the Phong parameters the plug-in handed over.
// The preview renderer and the glTF and OBJ writers read only this; the scene database fills it.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace host {

using Vec3 = std::array<float, 3>;
using Vec2 = std::array<float, 2>;

// A surface material, as the Phong shader call of the plug-in describes it. Colours are linear
// red, green, blue.
struct FrameMaterial {
  std::string name;
  Vec3 ambient{0.0f, 0.0f, 0.0f};  // the shader's ambience times its ambient colour
  Vec3 diffuse{0.7f, 0.7f, 0.7f};
  Vec3 specular{0.0f, 0.0f, 0.0f};
  float exponent = 50.0f;  // Phong exponent: smaller is a wider highlight
  // False when the material's shader is one the host cannot evaluate; it is drawn flat grey.
  bool evaluated = true;
  // A matte material: its surfaces hide what is behind them and leave the picture transparent.
  bool matte = false;
};

// One object of one agent. Normals and texture coordinates, when present, hold one entry per
// position. Triangles index positions, three indices each; `triangle_materials` holds one
// index into FrameGeometry::materials per triangle (-1: the default material).
struct FrameMesh {
  std::string name;   // the object's name
  std::string agent;  // the agent it belongs to (its assembly's name), empty when unknown
  std::vector<Vec3> positions;
  std::vector<Vec3> normals;
  std::vector<Vec2> uvs;
  std::vector<uint32_t> triangles;
  std::vector<int> triangle_materials;

  // Adds a polygon of `count` corners (indices into positions) as a fan of triangles, all with
  // `material`. Polygons of fewer than three corners add nothing.
  void add_polygon(const uint32_t* corners, size_t count, int material);
  size_t triangle_count() const { return triangles.size() / 3; }
};

struct FrameGeometry {
  std::vector<FrameMesh> meshes;
  std::vector<FrameMaterial> materials;
};

// The material drawn for "default_mtl" and for triangles without a material: a light grey
// plastic.
FrameMaterial default_material();

// True when every coordinate is finite and no larger in magnitude than `coordinate_limit`,
// beyond which single-precision ray tracing and file viewers lose all precision.
bool usable_point(const Vec3& p);
inline constexpr float coordinate_limit = 1.0e7f;

}  // namespace host
