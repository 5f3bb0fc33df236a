// glTF 2.0 output through tinygltf: one buffer holding every accessor, nodes per agent and
// object, PBR materials.
#include "host/gltf_writer.h"

#include <tiny_gltf.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <sstream>

#include "host/parallel_for.h"

namespace host {
namespace {

constexpr int kArrayBuffer = 34962;
constexpr int kElementArrayBuffer = 34963;

// Appends `count` elements of `size` bytes to the buffer and a view and an accessor of them;
// returns the accessor's index.
int add_accessor(tinygltf::Model* model, const void* data, size_t count, size_t size,
                 int component_type, int type, int target) {
  std::vector<unsigned char>& buffer = model->buffers[0].data;
  while (buffer.size() % 4 != 0) buffer.push_back(0);
  tinygltf::BufferView view;
  view.buffer = 0;
  view.byteOffset = buffer.size();
  view.byteLength = count * size;
  view.target = target;
  const auto* bytes = static_cast<const unsigned char*>(data);
  buffer.insert(buffer.end(), bytes, bytes + count * size);
  model->bufferViews.push_back(view);
  tinygltf::Accessor accessor;
  accessor.bufferView = static_cast<int>(model->bufferViews.size() - 1);
  accessor.byteOffset = 0;
  accessor.componentType = component_type;
  accessor.count = count;
  accessor.type = type;
  model->accessors.push_back(accessor);
  return static_cast<int>(model->accessors.size() - 1);
}

float unit(float value) {
  return std::isfinite(value) ? std::clamp(value, 0.0f, 1.0f) : 0.0f;
}

tinygltf::Material pbr_material(const FrameMaterial& phong) {
  tinygltf::Material material;
  material.name = phong.name;
  const Vec3& colour = phong.evaluated ? phong.diffuse : Vec3{0.5f, 0.5f, 0.5f};
  material.pbrMetallicRoughness.baseColorFactor = {unit(colour[0]), unit(colour[1]),
                                                   unit(colour[2]), 1.0};
  material.pbrMetallicRoughness.metallicFactor = 0.0;
  const bool shiny =
      phong.evaluated && std::max({phong.specular[0], phong.specular[1], phong.specular[2]}) > 0.0f;
  material.pbrMetallicRoughness.roughnessFactor =
      shiny ? roughness_from_phong(phong.exponent) : 1.0;
  material.doubleSided = true;
  if (phong.matte) {
    tinygltf::Value::Object extras;
    extras["matte"] = tinygltf::Value(true);
    material.extras = tinygltf::Value(extras);
  }
  return material;
}

// One mesh's arrays as the file holds them, made before the model is assembled.
struct PreparedMesh {
  size_t left_out = 0;
  std::vector<float> positions, normals, uvs;
  std::vector<double> low = std::vector<double>(3, 0.0), high = std::vector<double>(3, 0.0);
  std::map<int, std::vector<uint32_t>> groups;  // per material, the drawable triangles in order
};

PreparedMesh prepare(const FrameMesh& mesh) {
  PreparedMesh arrays;
  const size_t count = mesh.positions.size();
  std::vector<char> usable(count);
  arrays.positions.assign(count * 3, 0.0f);
  std::vector<double>& low = arrays.low;
  std::vector<double>& high = arrays.high;
  bool first = true;
  for (size_t i = 0; i < count; ++i) usable[i] = usable_point(mesh.positions[i]);
  std::vector<char> used(count, 0);
  for (size_t t = 0; t < mesh.triangle_count(); ++t) {
    const uint32_t* corner = &mesh.triangles[t * 3];
    bool ok = true;
    for (int c = 0; c < 3; ++c) ok = ok && corner[c] < count && usable[corner[c]];
    if (!ok) {
      ++arrays.left_out;
      continue;
    }
    const int material = t < mesh.triangle_materials.size() ? mesh.triangle_materials[t] : -1;
    std::vector<uint32_t>& group = arrays.groups[material];
    group.insert(group.end(), corner, corner + 3);
    for (int c = 0; c < 3; ++c) used[corner[c]] = 1;
  }
  arrays.left_out += mesh.triangles.size() % 3 != 0;
  if (arrays.groups.empty()) return arrays;
  std::vector<float>& positions = arrays.positions;
  for (size_t i = 0; i < count; ++i) {
    if (!usable[i]) continue;
    for (int c = 0; c < 3; ++c) positions[i * 3 + c] = mesh.positions[i][c];
    if (!used[i]) continue;  // the bounds cover the points the triangles use
    for (int c = 0; c < 3; ++c) {
      low[c] = first ? mesh.positions[i][c] : std::min<double>(low[c], mesh.positions[i][c]);
      high[c] = first ? mesh.positions[i][c] : std::max<double>(high[c], mesh.positions[i][c]);
    }
    first = false;
  }
  // Unused points sit inside the bounds so that the accessor's minimum and maximum hold.
  for (size_t i = 0; i < count; ++i)
    if (!used[i])
      for (int c = 0; c < 3; ++c) positions[i * 3 + c] = static_cast<float>(low[c]);
  if (mesh.normals.size() == count) {
    arrays.normals.resize(count * 3);
    for (size_t i = 0; i < count; ++i) {
      const Vec3& n = mesh.normals[i];
      const float l = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
      const bool ok = std::isfinite(l) && l > 1e-20f;
      for (int c = 0; c < 3; ++c)
        arrays.normals[i * 3 + c] = ok ? n[c] / l : (c == 1 ? 1.0f : 0.0f);
    }
  }
  if (mesh.uvs.size() == count) {
    // glTF puts the texture's origin at its top left; the renderer's is at the bottom left.
    arrays.uvs.resize(count * 2);
    for (size_t i = 0; i < count; ++i) {
      const float u = mesh.uvs[i][0], v = mesh.uvs[i][1];
      arrays.uvs[i * 2] = std::isfinite(u) ? u : 0.0f;
      arrays.uvs[i * 2 + 1] = std::isfinite(v) ? 1.0f - v : 0.0f;
    }
  }
  return arrays;
}

}  // namespace

float roughness_from_phong(float exponent) {
  if (!(exponent > 0.0f)) return 1.0f;
  return std::clamp(std::pow(2.0f / (std::min(exponent, 1.0e6f) + 2.0f), 0.25f), 0.02f, 1.0f);
}

bool encode_gltf(const FrameGeometry& frame, bool binary, std::string* bytes, std::string* error,
                 std::vector<std::string>* warnings, int threads) {
  tinygltf::Model model;
  model.asset.version = "2.0";
  model.asset.generator = "hordera " HORDERA_ENGINE_VERSION;
  model.buffers.resize(1);
  tinygltf::Scene scene;
  scene.name = "crowd";

  // glTF materials are made as they are first used: frame materials by index, then the
  // default material for triangles without one.
  std::map<int, int> material_of;
  auto gltf_material = [&](int index) {
    if (index < 0 || index >= static_cast<int>(frame.materials.size())) index = -1;
    const auto found = material_of.find(index);
    if (found != material_of.end()) return found->second;
    model.materials.push_back(
        pbr_material(index >= 0 ? frame.materials[index] : default_material()));
    return material_of[index] = static_cast<int>(model.materials.size() - 1);
  };

  // Each mesh's arrays are made on the threads; the model is then assembled in order.
  std::vector<PreparedMesh> prepared(frame.meshes.size());
  parallel_for(frame.meshes.size(), threads,
               [&](size_t m) { prepared[m] = prepare(frame.meshes[m]); });

  std::map<std::string, int> agent_nodes;
  size_t left_out = 0;
  for (size_t m = 0; m < frame.meshes.size(); ++m) {
    const FrameMesh& mesh = frame.meshes[m];
    PreparedMesh& arrays = prepared[m];
    left_out += arrays.left_out;
    if (arrays.groups.empty()) continue;
    const size_t count = mesh.positions.size();
    tinygltf::Primitive prototype;
    prototype.mode = TINYGLTF_MODE_TRIANGLES;
    const int position_accessor =
        add_accessor(&model, arrays.positions.data(), count, 12, TINYGLTF_COMPONENT_TYPE_FLOAT,
                     TINYGLTF_TYPE_VEC3, kArrayBuffer);
    model.accessors[position_accessor].minValues = arrays.low;
    model.accessors[position_accessor].maxValues = arrays.high;
    prototype.attributes["POSITION"] = position_accessor;
    if (mesh.normals.size() == count)
      prototype.attributes["NORMAL"] =
          add_accessor(&model, arrays.normals.data(), count, 12, TINYGLTF_COMPONENT_TYPE_FLOAT,
                       TINYGLTF_TYPE_VEC3, kArrayBuffer);
    if (mesh.uvs.size() == count)
      prototype.attributes["TEXCOORD_0"] =
          add_accessor(&model, arrays.uvs.data(), count, 8, TINYGLTF_COMPONENT_TYPE_FLOAT,
                       TINYGLTF_TYPE_VEC2, kArrayBuffer);
    // The mesh's arrays are in the buffer now.
    arrays.positions = {};
    arrays.normals = {};
    arrays.uvs = {};
    tinygltf::Mesh gltf_mesh;
    gltf_mesh.name = mesh.name;
    for (const auto& [material, triangles] : arrays.groups) {
      tinygltf::Primitive primitive = prototype;
      primitive.indices = add_accessor(&model, triangles.data(), triangles.size(), 4,
                                       TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT, TINYGLTF_TYPE_SCALAR,
                                       kElementArrayBuffer);
      primitive.material = gltf_material(material);
      gltf_mesh.primitives.push_back(primitive);
    }
    model.meshes.push_back(gltf_mesh);

    tinygltf::Node node;
    node.name = mesh.name;
    node.mesh = static_cast<int>(model.meshes.size() - 1);
    model.nodes.push_back(node);
    const int node_index = static_cast<int>(model.nodes.size() - 1);
    if (mesh.agent.empty()) {
      scene.nodes.push_back(node_index);
      continue;
    }
    auto agent = agent_nodes.find(mesh.agent);
    if (agent == agent_nodes.end()) {
      tinygltf::Node agent_node;
      agent_node.name = mesh.agent;
      model.nodes.push_back(agent_node);
      agent = agent_nodes.emplace(mesh.agent, static_cast<int>(model.nodes.size() - 1)).first;
      scene.nodes.push_back(agent->second);
    }
    model.nodes[agent->second].children.push_back(node_index);
  }
  if (left_out > 0 && warnings)
    warnings->push_back(std::to_string(left_out) +
                        " triangles with unusable coordinates or corner indices were left out");
  if (model.meshes.empty()) {
    if (error) *error = "nothing to bake: the frame holds no triangles";
    return false;
  }
  model.buffers[0].name = "crowd";
  model.scenes.push_back(scene);
  model.defaultScene = 0;

  tinygltf::TinyGLTF writer;
  std::ostringstream out;
  if (!writer.WriteGltfSceneToStream(&model, out, !binary, binary)) {
    if (error) *error = "cannot encode the glTF file";
    return false;
  }
  *bytes = std::move(out).str();
  return true;
}

}  // namespace host
