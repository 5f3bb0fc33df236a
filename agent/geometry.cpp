// Geometry nodes: transform composition, blend shapes, weights and the loading of a node's meshes.
#include "agent/geometry.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "agent/obj_reader.h"
#include "agent/skinning.h"
#include "agent/weights.h"
#include "base/vecmath.h"

namespace {

// Degrees to radians as geometry rotations convert them.
constexpr float kDegreesPerRadian = 57.2957795f;

void rotate_about(float* m, char axis, float degrees) {
  const float radians = degrees / kDegreesPerRadian;
  if (axis == 'x') x_rotate(m, radians);
  if (axis == 'y') y_rotate(m, radians);
  if (axis == 'z') z_rotate(m, radians);
}

}  // namespace

namespace hordera {

std::string resolve_agent_path(const char* directory, const char* file) {
  if (file == nullptr) return {};
  const bool absolute = file[0] == '/' || file[0] == '\\' || (file[0] != '\0' && file[1] == ':');
  if (absolute || directory == nullptr || directory[0] == '\0') return file;
  std::string path(directory);
  if (path.back() != '/' && path.back() != '\\') path += '/';
  return path + file;
}

}  // namespace hordera

extern "C" {

float geometry_component_value(Agent* agent, const char* variable, float number) {
  if (variable == nullptr || agent == nullptr) return number;
  if (UserVar* user = find_userVar(agent, variable)) return user->value;
  Agent* type = agent_type_of(agent);
  for (VariableDef* definition = type ? type->variable_defs : nullptr; definition != nullptr;
       definition = definition->next)
    if (definition->name != nullptr && std::strcmp(definition->name, variable) == 0)
      return definition->default_value;
  return number;
}

void geometry_transform_matrix(Agent* agent, const GeometryNode* node, float* out) {
  hordera::matrix_identity(out);
  if (node == nullptr) return;
  for (const GeometryTransform* op = node->transforms; op != nullptr; op = op->next) {
    float v[3];
    for (int i = 0; i < 3; ++i)
      v[i] = geometry_component_value(agent, op->variable[i], op->value[i]);
    switch (op->kind) {
      case GEOMETRY_TRANSLATE:
        out[12] += v[0];
        out[13] += v[1];
        out[14] += v[2];
        break;
      case GEOMETRY_ROTATE: {
        static const char* const kAxisOrders[6] = {"xyz", "xzy", "yxz", "yzx", "zxy", "zyx"};
        const int order = op->axis_order >= 0 && op->axis_order < 6 ? op->axis_order : 0;
        for (const char* axis = kAxisOrders[order]; *axis; ++axis)
          rotate_about(out, *axis, v[*axis - 'x']);
        break;
      }
      case GEOMETRY_SCALE: {
        Matrix diagonal = {v[0], 0, 0, 0, 0, v[1], 0, 0, 0, 0, v[2], 0, 0, 0, 0, 1};
        matrix_mul(out, diagonal);
        break;
      }
      default:
        break;
    }
  }
}

int matrix_is_identity(const float* m) {
  for (int i = 0; i < 16; ++i)
    if (m[i] != (i % 5 == 0 ? 1.0f : 0.0f)) return 0;
  return 1;
}

int load_blend_shape(GeometryNode* node, BlendShape* blend, const char* directory) {
  if (node == nullptr || blend == nullptr) return 0;
  std::free(blend->data);
  blend->data = nullptr;
  blend->vertex_count = 0;
  const Mesh* base = node->reference_mesh != nullptr ? node->reference_mesh : node->mesh;
  if (base == nullptr || blend->file == nullptr) return 0;
  const std::string path = hordera::resolve_agent_path(directory, blend->file);
  Mesh* target = loadGeometry(path.c_str());
  if (target == nullptr) return 0;
  int stored = 0;
  if (target->point_count != base->point_count) {
    std::fprintf(stderr, "Mismatched number of vertices in blend shape '%s'.\n",
                 blend->target ? blend->target : "");
  } else {
    const int32_t count = base->point_count;
    blend->data = static_cast<float*>(std::malloc(sizeof(float) * 3 * std::max(count, 1)));
    if (blend->data != nullptr) {
      const bool linear = blend->mode != BLEND_RADIAL && blend->mode != BLEND_CYLINDRICAL;
      for (int32_t v = 0; v < count; ++v) {
        const Vector& t = target->points[v];
        const Vector b = linear ? base->points[v] : Vector{0, 0, 0};
        blend->data[v * 3] = t.x - b.x;
        blend->data[v * 3 + 1] = t.y - b.y;
        blend->data[v * 3 + 2] = t.z - b.z;
      }
      blend->vertex_count = count;
      stored = 1;
    }
  }
  mesh_free(target);
  return stored;
}

int geometry_load_weights(Agent* type, GeometryNode* node) {
  if (node == nullptr) return 0;
  free_weight_arrays(node->weights, node->weight_array_count);
  node->weights = nullptr;
  node->weight_array_count = 0;
  if (node->weights_file == nullptr || node->mesh == nullptr) return 0;
  const std::string path =
      hordera::resolve_agent_path(type ? type->cdl_directory : nullptr, node->weights_file);
  return read_weights_file(path.c_str(), type, node->mesh->point_count, node->attach_segments,
                           node->attach_count, &node->weights, &node->weight_array_count);
}

void geometry_free_data(GeometryNode* node) {
  if (node == nullptr) return;
  mesh_free(node->mesh);
  mesh_free(node->reference_mesh);
  mesh_free(node->rest_mesh);
  node->mesh = node->reference_mesh = node->rest_mesh = nullptr;
  free_weight_arrays(node->weights, node->weight_array_count);
  node->weights = nullptr;
  node->weight_array_count = 0;
  skin_free_influences(node);
  for (BlendShape* blend = node->blends; blend != nullptr; blend = blend->next) {
    std::free(blend->data);
    blend->data = nullptr;
    blend->vertex_count = 0;
  }
  std::free(node->previous_points);
  node->previous_points = nullptr;
  node->previous_point_count = 0;
  node->load_state = 0;
}

int geometry_load(Agent* type, GeometryNode* node) {
  if (node == nullptr) return 0;
  if (node->load_state != 0) return node->mesh != nullptr;
  node->load_state = 2;
  if (node->file == nullptr) return 0;
  const char* directory = type ? type->cdl_directory : nullptr;
  const std::string path = hordera::resolve_agent_path(directory, node->file);
  node->mesh = loadGeometry(path.c_str());
  if (node->mesh == nullptr) return 0;
  if (node->subdiv) node->mesh->kind = MESH_SUBDIVISION;
  node->reference_mesh = mesh_copy(node->mesh);
  node->rest_mesh = mesh_copy(node->mesh);
  if (node->reference_mesh == nullptr || node->rest_mesh == nullptr) {
    std::fprintf(stderr, "%s: out of memory for the copies of the mesh\n", path.c_str());
    geometry_free_data(node);
    node->load_state = 2;
    return 0;
  }
  Matrix transform;
  geometry_transform_matrix(type, node, transform);
  if (!matrix_is_identity(transform)) {
    mesh_transform(node->rest_mesh, transform);
    mesh_copy_points(node->rest_mesh, node->mesh);
  }
  for (BlendShape* blend = node->blends; blend != nullptr; blend = blend->next)
    load_blend_shape(node, blend, directory);
  if (geometry_load_weights(type, node)) skin_build_influences(type, node);
  // The loader already reported short polygons; the node's copies refresh quietly.
  hordera::refresh_polygons(node->mesh, node->flip_normals, false);
  hordera::refresh_polygons(node->rest_mesh, node->flip_normals, false);
  node->load_state = 1;
  return 1;
}

int agent_load_geometry(Agent* type) {
  int loaded = 0;
  for (GeometryNode* node = type ? type->geometry_nodes : nullptr; node; node = node->next)
    loaded += geometry_load(type, node);
  return loaded;
}

}  // extern "C"
