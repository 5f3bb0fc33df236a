// glTF 2.0 output through tinygltf: one buffer holding every accessor, nodes per agent and
// object, PBR materials.
#include "host/gltf_writer.h"

#include <tiny_gltf.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <sstream>

namespace host {
namespace {

constexpr int kArrayBuffer = 34962;
constexpr int kElementArrayBuffer = 34963;

// Appends `count` elements of `size` bytes to the buffer and a view and an accessor of them;
// returns the accessor's index. `target` 0 leaves the view without a target (animation data).
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

// A material's identity across frames: its name and every parameter that reaches the file.
std::string material_key(const FrameMaterial& m) {
  char numbers[256];
  std::snprintf(numbers, sizeof numbers, "|%a %a %a|%a %a %a|%a|%d%d", m.diffuse[0], m.diffuse[1],
                m.diffuse[2], m.specular[0], m.specular[1], m.specular[2], m.exponent,
                m.evaluated ? 1 : 0, m.matte ? 1 : 0);
  return m.name + numbers;
}

// Builds a glTF model from one or more frames: one buffer, meshes, materials made on first use
// and shared by every frame, nodes per agent and object. Objects whose triangles and texture
// coordinates are those they had on the frame before share those accessors.
class ModelBuilder {
 public:
  ModelBuilder() {
    model.asset.version = "2.0";
    model.asset.generator = "hordera " HORDERA_ENGINE_VERSION;
    model.buffers.resize(1);
    model.buffers[0].name = "crowd";
  }

  // Adds the frame's meshes and returns the nodes that belong at the top of the frame: one per
  // agent (its objects are its children) and one per object without an agent.
  std::vector<int> add_frame(const FrameGeometry& frame);

  // Whether any mesh was added.
  bool empty() const { return model.meshes.empty(); }

  tinygltf::Model model;
  size_t left_out = 0;  // triangles left out for unusable coordinates or corners

 private:
  // What an object of one frame had, for the next frame to share.
  struct Topology {
    std::map<int, std::vector<uint32_t>> groups;  // triangles per material
    std::vector<Vec2> uvs;
    std::map<int, int> index_accessors;  // per material
    int uv_accessor = -1;
  };

  int material(const FrameGeometry& frame, int index);

  std::map<std::string, int> materials_;
  std::map<std::string, Topology> previous_;  // by agent, object name and occurrence
};

int ModelBuilder::material(const FrameGeometry& frame, int index) {
  const FrameMaterial& phong = index >= 0 && index < static_cast<int>(frame.materials.size())
                                   ? frame.materials[index]
                                   : default_material();
  const auto [found, added] = materials_.emplace(material_key(phong), 0);
  if (added) {
    model.materials.push_back(pbr_material(phong));
    found->second = static_cast<int>(model.materials.size() - 1);
  }
  return found->second;
}

std::vector<int> ModelBuilder::add_frame(const FrameGeometry& frame) {
  std::vector<int> top;
  std::map<std::string, int> agent_nodes;
  std::map<std::string, int> occurrences;
  std::map<std::string, Topology> current;
  for (const FrameMesh& mesh : frame.meshes) {
    const size_t count = mesh.positions.size();
    std::vector<char> usable(count);
    std::vector<float> positions(count * 3, 0.0f);
    std::vector<double> low(3, 0.0), high(3, 0.0);
    bool first = true;
    // Per material, the triangles that can be drawn, in the mesh's order.
    Topology topology;
    std::map<int, std::vector<uint32_t>>& groups = topology.groups;
    for (size_t i = 0; i < count; ++i) usable[i] = usable_point(mesh.positions[i]);
    std::vector<char> used(count, 0);
    for (size_t t = 0; t < mesh.triangle_count(); ++t) {
      const uint32_t* corner = &mesh.triangles[t * 3];
      bool ok = true;
      for (int c = 0; c < 3; ++c) ok = ok && corner[c] < count && usable[corner[c]];
      if (!ok) {
        ++left_out;
        continue;
      }
      const int material = t < mesh.triangle_materials.size() ? mesh.triangle_materials[t] : -1;
      std::vector<uint32_t>& group = groups[material];
      group.insert(group.end(), corner, corner + 3);
      for (int c = 0; c < 3; ++c) used[corner[c]] = 1;
    }
    left_out += mesh.triangles.size() % 3 != 0;
    if (groups.empty()) continue;
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

    // The object as it was on the frame before, when it had the same triangles and texture
    // coordinates: its accessors of those are shared.
    const std::string key = mesh.agent + '\n' + mesh.name + '\n' +
                            std::to_string(occurrences[mesh.agent + '\n' + mesh.name]++);
    const auto before = previous_.find(key);
    if (mesh.uvs.size() == count) topology.uvs = mesh.uvs;
    const bool same = before != previous_.end() && before->second.groups == groups &&
                      before->second.uvs == topology.uvs;

    tinygltf::Primitive prototype;
    prototype.mode = TINYGLTF_MODE_TRIANGLES;
    const int position_accessor =
        add_accessor(&model, positions.data(), count, 12, TINYGLTF_COMPONENT_TYPE_FLOAT,
                     TINYGLTF_TYPE_VEC3, kArrayBuffer);
    model.accessors[position_accessor].minValues = low;
    model.accessors[position_accessor].maxValues = high;
    prototype.attributes["POSITION"] = position_accessor;
    if (mesh.normals.size() == count) {
      std::vector<float> normals(count * 3);
      for (size_t i = 0; i < count; ++i) {
        const Vec3& n = mesh.normals[i];
        const float l = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
        const bool ok = std::isfinite(l) && l > 1e-20f;
        for (int c = 0; c < 3; ++c) normals[i * 3 + c] = ok ? n[c] / l : (c == 1 ? 1.0f : 0.0f);
      }
      prototype.attributes["NORMAL"] =
          add_accessor(&model, normals.data(), count, 12, TINYGLTF_COMPONENT_TYPE_FLOAT,
                       TINYGLTF_TYPE_VEC3, kArrayBuffer);
    }
    if (same && before->second.uv_accessor >= 0) {
      topology.uv_accessor = before->second.uv_accessor;
    } else if (mesh.uvs.size() == count) {
      // glTF puts the texture's origin at its top left; the renderer's is at the bottom left.
      std::vector<float> uvs(count * 2);
      for (size_t i = 0; i < count; ++i) {
        const float u = mesh.uvs[i][0], v = mesh.uvs[i][1];
        uvs[i * 2] = std::isfinite(u) ? u : 0.0f;
        uvs[i * 2 + 1] = std::isfinite(v) ? 1.0f - v : 0.0f;
      }
      topology.uv_accessor =
          add_accessor(&model, uvs.data(), count, 8, TINYGLTF_COMPONENT_TYPE_FLOAT,
                       TINYGLTF_TYPE_VEC2, kArrayBuffer);
    }
    if (topology.uv_accessor >= 0) prototype.attributes["TEXCOORD_0"] = topology.uv_accessor;
    tinygltf::Mesh gltf_mesh;
    gltf_mesh.name = mesh.name;
    for (const auto& [material_index, triangles] : groups) {
      tinygltf::Primitive primitive = prototype;
      primitive.indices = same ? before->second.index_accessors.at(material_index)
                               : add_accessor(&model, triangles.data(), triangles.size(), 4,
                                              TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT,
                                              TINYGLTF_TYPE_SCALAR, kElementArrayBuffer);
      topology.index_accessors[material_index] = primitive.indices;
      primitive.material = material(frame, material_index);
      gltf_mesh.primitives.push_back(primitive);
    }
    model.meshes.push_back(gltf_mesh);
    current[key] = std::move(topology);

    tinygltf::Node node;
    node.name = mesh.name;
    node.mesh = static_cast<int>(model.meshes.size() - 1);
    model.nodes.push_back(node);
    const int node_index = static_cast<int>(model.nodes.size() - 1);
    if (mesh.agent.empty()) {
      top.push_back(node_index);
      continue;
    }
    auto agent = agent_nodes.find(mesh.agent);
    if (agent == agent_nodes.end()) {
      tinygltf::Node agent_node;
      agent_node.name = mesh.agent;
      model.nodes.push_back(agent_node);
      agent = agent_nodes.emplace(mesh.agent, static_cast<int>(model.nodes.size() - 1)).first;
      top.push_back(agent->second);
    }
    model.nodes[agent->second].children.push_back(node_index);
  }
  previous_ = std::move(current);
  return top;
}

void warn_left_out(size_t left_out, std::vector<std::string>* warnings) {
  if (left_out > 0 && warnings)
    warnings->push_back(std::to_string(left_out) +
                        " triangles with unusable coordinates or corner indices were left out");
}

bool write_model(tinygltf::Model& model, bool binary, std::string* bytes, std::string* error) {
  tinygltf::TinyGLTF writer;
  std::ostringstream out;
  if (!writer.WriteGltfSceneToStream(&model, out, !binary, binary)) {
    if (error) *error = "cannot encode the glTF file";
    return false;
  }
  *bytes = std::move(out).str();
  return true;
}

}  // namespace

float roughness_from_phong(float exponent) {
  if (!(exponent > 0.0f)) return 1.0f;
  return std::clamp(std::pow(2.0f / (std::min(exponent, 1.0e6f) + 2.0f), 0.25f), 0.02f, 1.0f);
}

bool encode_gltf(const FrameGeometry& frame, bool binary, std::string* bytes, std::string* error,
                 std::vector<std::string>* warnings) {
  ModelBuilder builder;
  tinygltf::Scene scene;
  scene.name = "crowd";
  scene.nodes = builder.add_frame(frame);
  warn_left_out(builder.left_out, warnings);
  if (builder.empty()) {
    if (error) *error = "nothing to bake: the frame holds no triangles";
    return false;
  }
  builder.model.scenes.push_back(scene);
  builder.model.defaultScene = 0;
  return write_model(builder.model, binary, bytes, error);
}

struct GltfSequence::State {
  ModelBuilder builder;
  std::vector<std::pair<int, int>> frames;  // frame number, its node
};

GltfSequence::GltfSequence() : state_(std::make_unique<State>()) {}
GltfSequence::~GltfSequence() = default;

void GltfSequence::add_frame(int frame, const FrameGeometry& geometry,
                             std::vector<std::string>* warnings) {
  ModelBuilder& builder = state_->builder;
  const size_t left_out = builder.left_out;
  tinygltf::Node node;
  node.name = "frame_" + std::to_string(frame);
  node.children = builder.add_frame(geometry);
  warn_left_out(builder.left_out - left_out, warnings);
  builder.model.nodes.push_back(node);
  state_->frames.emplace_back(frame, static_cast<int>(builder.model.nodes.size() - 1));
}

bool GltfSequence::encode(bool binary, double frames_per_second, std::string* bytes,
                          std::string* error) {
  ModelBuilder& builder = state_->builder;
  tinygltf::Model& model = builder.model;
  if (builder.empty()) {
    if (error) *error = "nothing to bake: the frames hold no triangles";
    return false;
  }
  if (!(frames_per_second > 0)) frames_per_second = 24;
  std::vector<std::pair<int, int>>& frames = state_->frames;
  std::sort(frames.begin(), frames.end());
  const int first = frames.front().first;
  auto time_of = [&](int frame) { return static_cast<float>((frame - first) / frames_per_second); };
  tinygltf::Scene scene;
  scene.name = "crowd";
  tinygltf::Animation animation;
  animation.name = "crowd";
  for (size_t i = 0; i < frames.size(); ++i) {
    const auto [frame, node] = frames[i];
    scene.nodes.push_back(node);
    // Shown from its own time until the next frame's, hidden (scale 0) before and after; a
    // viewer that does not play animations shows the first frame.
    std::vector<float> times, scales;
    auto key = [&](float time, float scale) {
      times.push_back(time);
      scales.insert(scales.end(), {scale, scale, scale});
    };
    if (i > 0) key(0.0f, 0.0f);
    key(time_of(frame), 1.0f);
    if (i + 1 < frames.size()) key(time_of(frames[i + 1].first), 0.0f);
    if (i > 0) model.nodes[node].scale = {0.0, 0.0, 0.0};
    const int input = add_accessor(&model, times.data(), times.size(), 4,
                                   TINYGLTF_COMPONENT_TYPE_FLOAT, TINYGLTF_TYPE_SCALAR, 0);
    model.accessors[input].minValues = {times.front()};
    model.accessors[input].maxValues = {times.back()};
    const int output = add_accessor(&model, scales.data(), times.size(), 12,
                                    TINYGLTF_COMPONENT_TYPE_FLOAT, TINYGLTF_TYPE_VEC3, 0);
    tinygltf::AnimationSampler sampler;
    sampler.input = input;
    sampler.output = output;
    sampler.interpolation = "STEP";
    animation.samplers.push_back(sampler);
    tinygltf::AnimationChannel channel;
    channel.sampler = static_cast<int>(animation.samplers.size() - 1);
    channel.target_node = node;
    channel.target_path = "scale";
    animation.channels.push_back(channel);
  }
  if (frames.size() > 1) model.animations.push_back(animation);
  model.scenes.push_back(scene);
  model.defaultScene = 0;
  return write_model(model, binary, bytes, error);
}

}  // namespace host
