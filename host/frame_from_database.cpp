// Reading the posed crowd out of the scene database.
#include "host/frame_from_database.h"

#include <array>
#include <cmath>
#include <limits>
#include <map>

#include "host/scene_view.h"

namespace host {
namespace {

// A colour or scalar parameter of a Phong call into `out`; missing parameters leave it.
void read_colour(const CallData& call, const char* name, Vec3* out) {
  for (const ParameterData& parameter : call.parameters)
    if (parameter.name == name && parameter.numbers.size() >= 3)
      *out = {static_cast<float>(parameter.numbers[0]), static_cast<float>(parameter.numbers[1]),
              static_cast<float>(parameter.numbers[2])};
}

void read_scalar(const CallData& call, const char* name, float* out) {
  for (const ParameterData& parameter : call.parameters)
    if (parameter.name == name && !parameter.numbers.empty())
      *out = static_cast<float>(parameter.numbers[0]);
}

FrameMaterial material_from(const MaterialData& data) {
  FrameMaterial material;
  material.name = data.name;
  const CallData* call = view_call(data.record.shader);
  if (call == nullptr) {
    material.evaluated = false;
    return material;
  }
  if (call->declaration == "hordera_matte") {
    material.matte = true;
  } else if (call->declaration == "mib_illum_phong") {
    Vec3 ambience{1.0f, 1.0f, 1.0f}, ambient{0.0f, 0.0f, 0.0f};
    read_colour(*call, "ambience", &ambience);
    read_colour(*call, "ambient", &ambient);
    for (int c = 0; c < 3; ++c) material.ambient[c] = ambience[c] * ambient[c];
    material.diffuse = {0.0f, 0.0f, 0.0f};
    read_colour(*call, "diffuse", &material.diffuse);
    read_colour(*call, "specular", &material.specular);
    read_scalar(*call, "exponent", &material.exponent);
  } else {
    material.evaluated = false;
  }
  return material;
}

// The objects an assembly's result holds: the object itself, or the items of its group.
std::vector<miTag> result_objects(miTag result) {
  if (view_object(result)) return {result};
  std::vector<miTag> objects;
  if (const InstanceGroupData* group = view_group(result))
    for (miTag item : group->items)
      if (view_object(item)) objects.push_back(item);
  return objects;
}

}  // namespace

void frame_from_database(const std::vector<AssemblyRun>& assemblies, FrameGeometry* frame,
                         std::vector<std::string>* warnings) {
  *frame = FrameGeometry{};
  std::map<miTag, int> materials;  // material tag -> index in frame->materials
  auto material_index = [&](miTag tag) {
    const MaterialData* data = view_material(tag);
    if (data == nullptr || data->name == "default_mtl") return -1;
    const auto found = materials.find(tag);
    if (found != materials.end()) return found->second;
    frame->materials.push_back(material_from(*data));
    return materials[tag] = static_cast<int>(frame->materials.size() - 1);
  };
  constexpr float nan = std::numeric_limits<float>::quiet_NaN();
  size_t dropped_corners = 0;
  for (const AssemblyRun& run : assemblies) {
    for (miTag tag : result_objects(run.result)) {
      const ObjectData& object = *view_object(tag);
      if (!object.record.visible) continue;
      for (size_t g = 0; g < object.groups.size(); ++g) {
        const GroupData& group = object.groups[g];
        FrameMesh mesh;
        mesh.name = object.name.empty() ? "object" : object.name;
        if (object.groups.size() > 1) mesh.name += "_" + std::to_string(g);
        mesh.agent = run.name;
        const auto vector_at = [&](int index) {
          if (index < 0 || index >= static_cast<int>(group.vectors.size()))
            return Vec3{nan, nan, nan};
          const miVector& v = group.vectors[index];
          return Vec3{v.x, v.y, v.z};
        };
        bool normals = !group.vertices.empty(), uvs = !group.vertices.empty();
        for (const VertexData& vertex : group.vertices) {
          normals = normals && vertex.normal >= 0;
          uvs = uvs && vertex.texture_count > 0;
        }
        // Vertices made of the same vectors are one point of the mesh: the plug-in gives every
        // polygon corner a vertex of its own, which would make files several times larger.
        std::map<std::array<int, 3>, uint32_t> made;
        std::vector<uint32_t> point_of(group.vertices.size());
        for (size_t v = 0; v < group.vertices.size(); ++v) {
          const VertexData& vertex = group.vertices[v];
          const std::array<int, 3> key = {vertex.position, normals ? vertex.normal : -1,
                                          uvs ? group.textures(vertex)[0] : -1};
          const auto [found, added] =
              made.emplace(key, static_cast<uint32_t>(mesh.positions.size()));
          point_of[v] = found->second;
          if (!added) continue;
          mesh.positions.push_back(vector_at(vertex.position));
          if (normals) mesh.normals.push_back(vector_at(vertex.normal));
          if (uvs) {
            const Vec3 uvw = vector_at(group.textures(vertex)[0]);
            mesh.uvs.push_back({uvw[0], uvw[1]});
          }
        }
        std::vector<uint32_t> corners;
        const auto add = [&](const auto& indices, miTag material) {
          corners.clear();
          for (auto corner : indices) {
            if (static_cast<size_t>(corner) >= point_of.size()) {
              ++dropped_corners;
              continue;
            }
            corners.push_back(point_of[corner]);
          }
          mesh.add_polygon(corners.data(), corners.size(), material_index(material));
        };
        for (const PolygonData& polygon : group.polygons)
          add(group.corners(polygon), polygon.material);
        for (const SubdivisionMeshData& subdivision : object.subdivision_meshes)
          if (subdivision.group == static_cast<int>(g))
            for (size_t p = 0; p < subdivision.polygons.size(); ++p)
              add(subdivision.polygons[p],
                  p < subdivision.materials.size() ? subdivision.materials[p] : 0);
        if (!mesh.triangles.empty()) frame->meshes.push_back(std::move(mesh));
      }
    }
  }
  if (dropped_corners > 0 && warnings)
    warnings->push_back(std::to_string(dropped_corners) +
                        " polygon corners refer to no vertex and were left out");
}

}  // namespace host
