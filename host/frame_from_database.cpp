// Reading the posed crowd out of the scene database.
#include "host/frame_from_database.h"

#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "host/parallel_for.h"
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

// One object group (or the subdivision meshes on it) to turn into a mesh.
struct MeshPiece {
  const ObjectData* object;
  size_t group;
  std::string agent;
};

// A mesh with its triangles' material tags, before the tags become material indices.
struct TaggedMesh {
  FrameMesh mesh;
  std::vector<miTag> triangle_tags;
  std::vector<miTag> tags_in_order;  // each tag as polygons name it, repeats in a row left out
  size_t dropped_corners = 0;
};

// Vertices made of the same vectors are one point of the mesh: the plug-in gives every
// polygon corner a vertex of its own, which would make files several times larger. Points are
// found through the vertex's position: the points of one position form a chain, usually of one.
class PointTable {
 public:
  explicit PointTable(size_t positions) : head_(positions + 1, kNone) {}
  // The point of (position, normal, texture) (position -1: none), or kNone with the point
  // recorded as `next_point` when it is new.
  uint32_t find_or_add(int position, int normal, int texture, uint32_t next_point) {
    const size_t slot = position < 0 ? head_.size() - 1 : static_cast<size_t>(position);
    for (uint32_t point = head_[slot]; point != kNone; point = points_[point].next)
      if (points_[point].normal == normal && points_[point].texture == texture) return point;
    points_.push_back({normal, texture, head_[slot]});
    head_[slot] = next_point;
    return kNone;
  }
  static constexpr uint32_t kNone = UINT32_MAX;

 private:
  struct Point {
    int normal, texture;
    uint32_t next;
  };
  std::vector<uint32_t> head_;
  std::vector<Point> points_;
};

TaggedMesh mesh_from(const MeshPiece& piece) {
  constexpr float nan = std::numeric_limits<float>::quiet_NaN();
  const ObjectData& object = *piece.object;
  const GroupData& group = object.groups[piece.group];
  TaggedMesh tagged;
  FrameMesh& mesh = tagged.mesh;
  mesh.name = object.name.empty() ? "object" : object.name;
  if (object.groups.size() > 1) mesh.name += "_" + std::to_string(piece.group);
  mesh.agent = piece.agent;
  const auto vector_at = [&](int index) {
    if (index < 0 || index >= static_cast<int>(group.vectors.size())) return Vec3{nan, nan, nan};
    const miVector& v = group.vectors[index];
    return Vec3{v.x, v.y, v.z};
  };
  bool normals = !group.vertices.empty(), uvs = !group.vertices.empty();
  for (const VertexData& vertex : group.vertices) {
    normals = normals && vertex.normal >= 0;
    uvs = uvs && vertex.texture_count > 0;
  }
  PointTable table(group.vectors.size());
  std::vector<uint32_t> point_of(group.vertices.size());
  mesh.positions.reserve(group.vertices.size());
  for (size_t v = 0; v < group.vertices.size(); ++v) {
    const VertexData& vertex = group.vertices[v];
    const int normal = normals ? vertex.normal : -1;
    const int texture = uvs ? group.textures(vertex)[0] : -1;
    const auto next = static_cast<uint32_t>(mesh.positions.size());
    const uint32_t found = table.find_or_add(vertex.position, normal, texture, next);
    point_of[v] = found;
    if (found != PointTable::kNone) continue;
    point_of[v] = next;
    mesh.positions.push_back(vector_at(vertex.position));
    if (normals) mesh.normals.push_back(vector_at(normal));
    if (uvs) {
      const Vec3 uvw = vector_at(texture);
      mesh.uvs.push_back({uvw[0], uvw[1]});
    }
  }
  std::vector<uint32_t> corners;
  const auto add = [&](const auto& indices, miTag material) {
    corners.clear();
    for (auto corner : indices) {
      if (static_cast<size_t>(corner) >= point_of.size()) {
        ++tagged.dropped_corners;
        continue;
      }
      corners.push_back(point_of[corner]);
    }
    if (tagged.tags_in_order.empty() || tagged.tags_in_order.back() != material)
      tagged.tags_in_order.push_back(material);
    mesh.add_polygon(corners.data(), corners.size(), 0);
    tagged.triangle_tags.resize(mesh.triangle_count(), material);
  };
  for (const PolygonData& polygon : group.polygons) add(group.corners(polygon), polygon.material);
  for (const SubdivisionMeshData& subdivision : object.subdivision_meshes)
    if (subdivision.group == static_cast<int>(piece.group))
      for (size_t p = 0; p < subdivision.polygons.size(); ++p)
        add(subdivision.polygons[p],
            p < subdivision.materials.size() ? subdivision.materials[p] : 0);
  return tagged;
}

}  // namespace

void frame_from_database(const std::vector<AssemblyRun>& assemblies, FrameGeometry* frame,
                         std::vector<std::string>* warnings, int threads) {
  *frame = FrameGeometry{};
  std::vector<MeshPiece> pieces;
  for (const AssemblyRun& run : assemblies)
    for (miTag tag : result_objects(run.result)) {
      const ObjectData& object = *view_object(tag);
      if (!object.record.visible) continue;
      for (size_t g = 0; g < object.groups.size(); ++g) pieces.push_back({&object, g, run.name});
    }
  // The meshes are independent of one another: made on the threads, then put in order.
  std::vector<TaggedMesh> made(pieces.size());
  parallel_for(pieces.size(), threads, [&](size_t i) { made[i] = mesh_from(pieces[i]); });

  std::map<miTag, int> materials;  // material tag -> index in frame->materials
  auto material_index = [&](miTag tag) {
    const MaterialData* data = view_material(tag);
    if (data == nullptr || data->name == "default_mtl") return -1;
    const auto found = materials.find(tag);
    if (found != materials.end()) return found->second;
    frame->materials.push_back(material_from(*data));
    return materials[tag] = static_cast<int>(frame->materials.size() - 1);
  };
  size_t dropped_corners = 0;
  for (TaggedMesh& tagged : made) {
    dropped_corners += tagged.dropped_corners;
    // Materials are numbered in the order polygons first name them.
    for (miTag tag : tagged.tags_in_order) material_index(tag);
    if (tagged.mesh.triangles.empty()) continue;
    std::vector<int>& indices = tagged.mesh.triangle_materials;
    miTag last = 0;
    int last_index = material_index(0);
    for (size_t t = 0; t < indices.size(); ++t) {
      if (tagged.triangle_tags[t] != last) {
        last = tagged.triangle_tags[t];
        last_index = material_index(last);
      }
      indices[t] = last_index;
    }
    frame->meshes.push_back(std::move(tagged.mesh));
  }
  if (dropped_corners > 0 && warnings)
    warnings->push_back(std::to_string(dropped_corners) +
                        " polygon corners refer to no vertex and were left out");
}

}  // namespace host
