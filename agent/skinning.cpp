// Skinning: bone bind matrices, sparse influences, linear blend skinning and the per-agent
// deformation of every geometry node.
#include "agent/skinning.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "agent/geometry.h"
#include "agent/skeleton.h"
#include "agent/skin_layout.h"
#include "base/vecmath.h"

namespace {

int bone_count(const Agent* type) {
  int count = 0;
  for (const Bone* bone = type ? type->bones : nullptr; bone != nullptr; bone = bone->next) ++count;
  return count;
}

// The position in the type's bone list of the bone whose segment is `segment`, or -1.
int bone_position_of(const Agent* type, const Segment* segment) {
  if (segment == nullptr) return -1;
  int position = 0;
  for (const Bone* bone = type ? type->bones : nullptr; bone; bone = bone->next, ++position)
    if (bone->segment == segment) return position;
  return -1;
}

// The agent's own segment for a segment of its type: itself for an agent type, else the
// instance segment copied from it.
Segment* own_segment(Agent* agent, Segment* type_segment) {
  if (agent == nullptr || type_segment == nullptr || agent->type == nullptr) return type_segment;
  for (Segment* segment = agent->segments; segment != nullptr; segment = segment->next)
    if (segment->source == type_segment) return segment;
  return nullptr;
}

// Rest points of a node with its blend shapes added by weight. Deltas are kept in the mesh
// file's space, so they go through the node's transform (without translation) to rest space.
const Vector* blended_rest_points(const GeometryNode* node, const float* transform,
                                  std::vector<Vector>& scratch) {
  const Mesh* rest = node->rest_mesh;
  const Mesh* reference = node->reference_mesh;
  bool any = false;
  for (const BlendShape* blend = node->blends; blend; blend = blend->next)
    any |=
        blend->data != nullptr && blend->weight != 0.0f && blend->vertex_count == rest->point_count;
  if (!any) return nullptr;
  scratch.assign(rest->points, rest->points + rest->point_count);
  const bool transformed = !matrix_is_identity(transform);
  for (const BlendShape* blend = node->blends; blend; blend = blend->next) {
    if (blend->data == nullptr || blend->weight == 0.0f || blend->vertex_count != rest->point_count)
      continue;
    // Radial and cylindrical blends store target points; they move towards them linearly.
    const bool targets = blend->mode == BLEND_RADIAL || blend->mode == BLEND_CYLINDRICAL;
    if (targets && (reference == nullptr || reference->point_count != rest->point_count)) continue;
    const float w = blend->weight;
    for (int32_t v = 0; v < rest->point_count; ++v) {
      Vector delta{blend->data[v * 3], blend->data[v * 3 + 1], blend->data[v * 3 + 2]};
      if (targets) delta = vec_sub(&delta, &reference->points[v]);
      if (transformed) delta = transformVector(&delta, transform);
      scratch[v].x += w * delta.x;
      scratch[v].y += w * delta.y;
      scratch[v].z += w * delta.z;
    }
  }
  return scratch.data();
}

// Re-makes a transformed node's reference and rest meshes when missing or stale, and moves the
// rest mesh through the node's transform for this agent.
void refresh_rest_mesh(Agent* agent, GeometryNode* node, float* transform) {
  geometry_transform_matrix(agent, node, transform);
  if (node->reference_mesh == nullptr ||
      node->reference_mesh->point_count != node->mesh->point_count) {
    mesh_free(node->reference_mesh);
    node->reference_mesh = mesh_copy(node->mesh);
  }
  if (node->reference_mesh == nullptr) return;
  if (node->rest_mesh == nullptr ||
      node->rest_mesh->point_count != node->reference_mesh->point_count) {
    mesh_free(node->rest_mesh);
    node->rest_mesh = mesh_copy(node->reference_mesh);
  }
  if (node->rest_mesh == nullptr) return;
  // Always restart from the reference, so that a transform that returns to the identity (a
  // variable set back) leaves no trace of the previous agent's transform.
  mesh_copy_points(node->reference_mesh, node->rest_mesh);
  if (!matrix_is_identity(transform)) mesh_transform(node->rest_mesh, transform);
}

// The regrouped skin of each bound node, built on first use and dropped with the node's
// influences. An entry is valid only for the influence arrays, point count and bone count it was
// built from; any change rebuilds it. Agents of one type may be deformed on several threads, so
// the table is locked and layouts are shared read-only.
struct NodeLayout {
  const int32_t* vertices = nullptr;
  const int32_t* bones = nullptr;
  const float* weights = nullptr;
  int32_t influence_count = 0;
  std::shared_ptr<const hordera::SkinLayout> layout;
};

std::mutex& layout_lock() {
  static std::mutex lock;
  return lock;
}

std::unordered_map<const GeometryNode*, NodeLayout>& layout_table() {
  static std::unordered_map<const GeometryNode*, NodeLayout> table;
  return table;
}

std::shared_ptr<const hordera::SkinLayout> node_layout(const GeometryNode* node,
                                                       int32_t point_count, int32_t matrix_count) {
  std::lock_guard<std::mutex> guard(layout_lock());
  NodeLayout& entry = layout_table()[node];
  if (entry.layout == nullptr || entry.vertices != node->influence_vertex ||
      entry.bones != node->influence_bone || entry.weights != node->influence_weight ||
      entry.influence_count != node->influence_count || entry.layout->point_count != point_count ||
      entry.layout->matrix_count != matrix_count) {
    auto layout = std::make_shared<hordera::SkinLayout>();
    hordera::build_skin_layout(point_count, matrix_count, node->influence_count,
                               node->influence_vertex, node->influence_bone, node->influence_weight,
                               *layout);
    entry = {node->influence_vertex, node->influence_bone, node->influence_weight,
             node->influence_count, std::move(layout)};
  }
  return entry.layout;
}

void forget_node_layout(const GeometryNode* node) {
  std::lock_guard<std::mutex> guard(layout_lock());
  layout_table().erase(node);
}

void deform_node(Agent* agent, GeometryNode* node, const std::vector<float>& matrices,
                 int32_t matrix_count, std::vector<Vector>& scratch) {
  Matrix transform;
  hordera::matrix_identity(transform);
  if (node->transforms != nullptr) refresh_rest_mesh(agent, node, transform);
  Mesh* rest = node->rest_mesh;
  Mesh* out = node->mesh;
  if (rest == nullptr || out == nullptr || rest->point_count != out->point_count) return;
  const Vector* points = blended_rest_points(node, transform, scratch);
  if (node->bones && node->influence_count > 0) {
    const auto layout = node_layout(node, out->point_count, matrix_count);
    const bool normals = rest->normals != nullptr && out->normals != nullptr;
    hordera::skin_points(*layout, points != nullptr ? points : rest->points,
                         normals ? rest->normals : nullptr, matrices.data(), out->points,
                         normals ? out->normals : nullptr);
  } else {
    // Not bound to the skeleton: the output is the rest mesh itself (transform and blends
    // applied), which the render output carries by the node's segment.
    mesh_copy_points(rest, out);
    if (points != nullptr)
      std::memcpy(out->points, points, sizeof(Vector) * static_cast<size_t>(out->point_count));
  }
  // The deformed mesh only goes to the renderer: single precision is enough.
  hordera::refresh_polygons_for_render(out, node->flip_normals);
}

}  // namespace

extern "C" {

void skin_bind_bones(Agent* type) {
  for (Bone* bone = type ? type->bones : nullptr; bone != nullptr; bone = bone->next) {
    if (bone->bound) continue;
    bone->bound = 1;
    hordera::matrix_identity(bone->bind_matrix);
    if (bone->segment == nullptr) continue;
    Matrix rest;
    agentSpaceRest(bone->segment, rest);
    if (hordera::matrix_invert(rest)) matrix_copy(rest, bone->bind_matrix);
  }
}

void skin_free_influences(GeometryNode* node) {
  forget_node_layout(node);
  std::free(node->influence_vertex);
  std::free(node->influence_bone);
  std::free(node->influence_weight);
  node->influence_vertex = node->influence_bone = nullptr;
  node->influence_weight = nullptr;
  node->influence_count = 0;
  node->bones = 0;
}

int skin_build_influences(Agent* type, GeometryNode* node) {
  if (node == nullptr) return 0;
  skin_free_influences(node);
  if (node->weights == nullptr || node->mesh == nullptr) return 0;
  const int32_t vertex_count = node->mesh->point_count;
  std::vector<int> array_bone(static_cast<size_t>(node->weight_array_count));
  std::vector<uint8_t> bone_used(static_cast<size_t>(bone_count(type)), 0);
  for (int32_t a = 0; a < node->weight_array_count; ++a) {
    int bone = node->attach_count > 0
                   ? bone_position_of(type, a < node->attach_count && node->attach_segments
                                                ? node->attach_segments[a]
                                                : nullptr)
                   : a;
    if (bone < 0 || static_cast<size_t>(bone) >= bone_used.size()) bone = -1;
    // A segment attached twice carries the same weights twice; its bone counts once.
    if (bone >= 0 && bone_used[static_cast<size_t>(bone)]++ != 0) bone = -1;
    array_bone[a] = bone;
  }
  std::vector<int32_t> vertices, bones;
  std::vector<float> weights;
  for (int32_t v = 0; v < vertex_count; ++v)
    for (int32_t a = 0; a < node->weight_array_count; ++a) {
      if (array_bone[a] < 0 || node->weights[a] == nullptr) continue;
      const float w = node->weights[a][v];
      if (w == 0.0f) continue;
      vertices.push_back(v);
      bones.push_back(array_bone[a]);
      weights.push_back(w);
    }
  if (vertices.empty()) return 0;
  const size_t n = vertices.size();
  node->influence_vertex = static_cast<int32_t*>(std::malloc(n * sizeof(int32_t)));
  node->influence_bone = static_cast<int32_t*>(std::malloc(n * sizeof(int32_t)));
  node->influence_weight = static_cast<float*>(std::malloc(n * sizeof(float)));
  if (!node->influence_vertex || !node->influence_bone || !node->influence_weight) {
    std::free(node->influence_vertex);
    std::free(node->influence_bone);
    std::free(node->influence_weight);
    node->influence_vertex = node->influence_bone = nullptr;
    node->influence_weight = nullptr;
    return 0;
  }
  std::memcpy(node->influence_vertex, vertices.data(), n * sizeof(int32_t));
  std::memcpy(node->influence_bone, bones.data(), n * sizeof(int32_t));
  std::memcpy(node->influence_weight, weights.data(), n * sizeof(float));
  node->influence_count = static_cast<int32_t>(n);
  node->bones = 1;
  return node->influence_count;
}

int skin_bone_matrices(Agent* agent, float* out, int capacity) {
  Agent* type = agent_type_of(agent);
  if (type == nullptr) return 0;
  int index = 0;
  for (Bone* bone = type->bones; bone != nullptr; bone = bone->next, ++index) {
    if (index >= capacity || out == nullptr) continue;
    float* m = out + index * 16;
    matrix_copy(bone->bind_matrix, m);
    Segment* segment = own_segment(agent, bone->segment);
    if (segment == nullptr) continue;
    const float s = segment->scale_factor, t = segment->thickness_factor;
    if (s != 1.0f || t != 1.0f) {
      // Thickness scales the segment's x and z axes only.
      Matrix scale = {s * t, 0, 0, 0, 0, s, 0, 0, 0, 0, s * t, 0, 0, 0, 0, 1};
      matrix_mul(m, scale);
    }
    Matrix world;
    worldSpace(segment, world);
    matrix_mul(m, world);
  }
  return bone_count(type);
}

int skin_mesh(const Mesh* rest, const Vector* rest_points, int32_t influence_count,
              const int32_t* vertices, const int32_t* bones, const float* weights,
              const float* matrices, int32_t matrix_count, Mesh* out) {
  if (rest == nullptr || out == nullptr || rest->point_count != out->point_count) return 0;
  const bool normals = rest->normals != nullptr && out->normals != nullptr;
  // The influences are regrouped on every call, since the arrays may change between calls; the
  // deformation of a node keeps its regrouped form instead (see node_layout).
  thread_local hordera::SkinLayout layout;
  hordera::build_skin_layout(out->point_count, matrix_count, influence_count, vertices, bones,
                             weights, layout);
  hordera::skin_points(layout, rest_points != nullptr ? rest_points : rest->points,
                       normals ? rest->normals : nullptr, matrices, out->points,
                       normals ? out->normals : nullptr);
  return 1;
}

void agent_deform_geometry(Agent* agent) {
  Agent* type = agent_type_of(agent);
  if (type == nullptr) return;
  agent_load_geometry(type);
  skin_bind_bones(type);
  // Scratch space reused across agents; the driver runs one agent at a time per thread.
  thread_local std::vector<float> matrices;
  thread_local std::vector<Vector> scratch;
  const int count = bone_count(type);
  matrices.assign(static_cast<size_t>(count) * 16, 0.0f);
  skin_bone_matrices(agent, matrices.data(), count);
  for (GeometryNode* node = type->geometry_nodes; node != nullptr; node = node->next)
    if (!node->disabled && node->mesh != nullptr)
      deform_node(agent, node, matrices, count, scratch);
  for (OptionNode* option = type->option_nodes; option != nullptr; option = option->next) {
    if (option->alternative_count <= 0 || option->alternatives == nullptr) continue;
    // The same choice as the render output makes, so the alternative drawn is the one deformed.
    const OptionAlternative& chosen = option->alternatives[option_choice(option)];
    GeometryNode* node = chosen.kind == OPTION_GEOMETRY ? chosen.geometry : nullptr;
    // Enabled nodes were deformed by the loop above already.
    if (node != nullptr && node->disabled && node->mesh != nullptr)
      deform_node(agent, node, matrices, count, scratch);
  }
}

}  // extern "C"
