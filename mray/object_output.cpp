// The objects of one agent.
#include "mray/object_output.h"

#include <cmath>
#include <cstdio>
#include <limits>
#include <vector>

#include "agent/agent.h"
#include "agent/mesh.h"
#include "agent/nodes.h"
#include "agent/skeleton.h"
#include "mray/agent_pose.h"
#include "mray/renderer_memory.h"

namespace mray {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

// A running minimum and maximum.
struct Extent {
  miVector min{kInfinity, kInfinity, kInfinity};
  miVector max{-kInfinity, -kInfinity, -kInfinity};
  // A NaN component leaves the extent as it was.
  void add(const miVector& v) {
    min.x = v.x < min.x ? v.x : min.x;
    min.y = v.y < min.y ? v.y : min.y;
    min.z = v.z < min.z ? v.z : min.z;
    max.x = v.x > max.x ? v.x : max.x;
    max.y = v.y > max.y ? v.y : max.y;
    max.z = v.z > max.z ? v.z : max.z;
  }
};

miVector carried(const Vector& p, const float* m) {
  if (m == nullptr) return {p.x, p.y, p.z};
  return {p.x * m[0] + p.y * m[4] + p.z * m[8] + m[12],
          p.x * m[1] + p.y * m[5] + p.z * m[9] + m[13],
          p.x * m[2] + p.y * m[6] + p.z * m[10] + m[14]};
}

// A normal carried by the rotation and scale of `m`, unit length again.
miVector carried_normal(const Vector& n, const float* m) {
  if (m == nullptr) return {n.x, n.y, n.z};
  miVector v{n.x * m[0] + n.y * m[4] + n.z * m[8], n.x * m[1] + n.y * m[5] + n.z * m[9],
             n.x * m[2] + n.y * m[6] + n.z * m[10]};
  const float length = std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z);
  if (length > 0) {
    v.x /= length;
    v.y /= length;
    v.z /= length;
  }
  return v;
}

// True when every count of the mesh is backed by its arrays and every corner names a point.
bool mesh_is_consistent(const Mesh& mesh) {
  if (mesh.point_count < 0 || mesh.polygon_count < 0 || mesh.corner_count < 0) return false;
  if (mesh.point_count > 0 && mesh.points == nullptr) return false;
  if (mesh.polygon_count > 0 && mesh.polygons == nullptr) return false;
  if (mesh.corner_count > 0 && mesh.corners == nullptr) return false;
  for (int32_t i = 0; i < mesh.polygon_count; ++i) {
    const MeshPolygon& polygon = mesh.polygons[i];
    if (polygon.first_corner < 0 || polygon.corner_count < 0 ||
        polygon.corner_count > mesh.corner_count - polygon.first_corner)
      return false;
  }
  for (int32_t i = 0; i < mesh.corner_count; ++i)
    if (mesh.corners[i] < 0 || mesh.corners[i] >= mesh.point_count) return false;
  return true;
}

// Everything one object sends, computed before the object is opened.
struct ObjectVectors {
  std::vector<miVector> points;
  std::vector<miVector> motion;
  Extent box;
  Extent motion_box;
};

ObjectVectors object_vectors(const ObjectPiece& piece, bool motion_blur) {
  const Mesh& mesh = *piece.mesh;
  ObjectVectors vectors;
  vectors.points.reserve(static_cast<size_t>(mesh.point_count));
  for (int32_t i = 0; i < mesh.point_count; ++i) {
    vectors.points.push_back(carried(mesh.points[i], piece.transform));
    vectors.box.add(vectors.points.back());
  }
  if (motion_blur) {
    // Without usable previous points (a first frame, a changed mesh) the piece does not move.
    const bool has_previous = piece.previous != nullptr && piece.previous_count == mesh.point_count;
    vectors.motion.reserve(vectors.points.size());
    for (int32_t i = 0; i < mesh.point_count; ++i) {
      miVector motion{0, 0, 0};
      if (has_previous) {
        const miVector before = carried(piece.previous[i], piece.previous_transform);
        const miVector& now = vectors.points[static_cast<size_t>(i)];
        motion = {now.x - before.x, now.y - before.y, now.z - before.z};
      }
      vectors.motion.push_back(motion);
      vectors.motion_box.add(motion);
    }
  }
  return vectors;
}

// The functions the geometry loops call once per vector, vertex or corner, looked up once per
// object group.
struct GeometryCalls {
  decltype(MI_RESOLVE(mi_api_vector_xyz_add)) vector_xyz_add = MI_RESOLVE(mi_api_vector_xyz_add);
  decltype(MI_RESOLVE(mi_api_vertex_add)) vertex_add = MI_RESOLVE(mi_api_vertex_add);
  decltype(MI_RESOLVE(mi_api_vertex_normal_add)) vertex_normal_add =
      MI_RESOLVE(mi_api_vertex_normal_add);
  decltype(MI_RESOLVE(mi_api_vertex_tex_add)) vertex_tex_add = MI_RESOLVE(mi_api_vertex_tex_add);
  decltype(MI_RESOLVE(mi_api_vertex_motion_add)) vertex_motion_add =
      MI_RESOLVE(mi_api_vertex_motion_add);
  decltype(MI_RESOLVE(mi_api_poly_begin_tag)) poly_begin_tag = MI_RESOLVE(mi_api_poly_begin_tag);
  decltype(MI_RESOLVE(mi_api_poly_index_add)) poly_index_add = MI_RESOLVE(mi_api_poly_index_add);
  decltype(MI_RESOLVE(mi_api_poly_end)) poly_end = MI_RESOLVE(mi_api_poly_end);

  void add_vector(miVector v) const { vector_xyz_add(&v); }
};

// The polygon object data: vectors, one vertex per corner, polygons.
void write_polygons(const ObjectPiece& piece, const ObjectVectors& vectors, miTag material,
                    bool motion_blur) {
  const Mesh& mesh = *piece.mesh;
  const bool normals = (mesh.flags & MESH_HAS_NORMALS) != 0 && mesh.normals != nullptr;
  const bool texture = (mesh.flags & MESH_HAS_TEXTURE) != 0 && mesh.texture != nullptr;
  const int point_count = mesh.point_count;
  const int normal_count = normals ? point_count : 0;
  int texture_count = 0;
  for (int32_t i = 0; i < mesh.polygon_count; ++i) texture_count += mesh.polygons[i].corner_count;

  MI_CALL(mi_api_object_group_begin, 0.0);
  const GeometryCalls call;
  for (const miVector& point : vectors.points) call.add_vector(point);
  if (normals) {
    // The renderer takes the opposite facing to the agent file's unless the orientation flag
    // says the normals already face the renderer's way.
    const float sign = piece.keep_normals ? 1.0f : -1.0f;
    for (int32_t i = 0; i < point_count; ++i) {
      const miVector n = carried_normal(mesh.normals[i], piece.transform);
      call.add_vector({sign * n.x, sign * n.y, sign * n.z});
    }
  }
  if (texture) {
    for (int32_t i = 0; i < mesh.polygon_count; ++i) {
      const MeshPolygon& polygon = mesh.polygons[i];
      for (int32_t k = 0; k < polygon.corner_count; ++k) {
        const Vector& t = mesh.texture[polygon.first_corner + k];
        call.add_vector({t.x, t.y, t.z});
      }
    }
  }
  if (motion_blur)
    for (const miVector& motion : vectors.motion) call.add_vector(motion);

  const int texture_base = point_count + normal_count;
  const int motion_base = point_count + normal_count + (texture ? texture_count : 0);
  int next_texture = texture_base;
  for (int32_t i = 0; i < mesh.polygon_count; ++i) {
    const MeshPolygon& polygon = mesh.polygons[i];
    for (int32_t k = 0; k < polygon.corner_count; ++k) {
      const int p = mesh.corners[polygon.first_corner + k];
      call.vertex_add(p);
      if (normals) call.vertex_normal_add(point_count + p);
      if (texture) call.vertex_tex_add(next_texture++, -1, -1);
      if (motion_blur) call.vertex_motion_add(p + motion_base);
    }
  }
  int corner = 0;
  for (int32_t i = 0; i < mesh.polygon_count; ++i) {
    call.poly_begin_tag(0, material);
    for (int32_t k = 0; k < mesh.polygons[i].corner_count; ++k) call.poly_index_add(corner++);
    call.poly_end();
  }
  MI_CALL(mi_api_object_group_end);
}

// The subdivision surface: inside one object group, the points (and motion vectors) and one
// vertex per point (the cage shares its points between faces), then the Catmull-Clark mesh whose
// faces index those vertices, and the approximation of its limit surface.
void write_subdivision(const ObjectPiece& piece, const ObjectVectors& vectors, miTag material,
                       bool motion_blur) {
  const Mesh& mesh = *piece.mesh;
  MI_CALL(mi_api_object_group_begin, 0.0);
  const GeometryCalls call;
  for (const miVector& point : vectors.points) call.add_vector(point);
  if (motion_blur)
    for (const miVector& motion : vectors.motion) call.add_vector(motion);
  for (int32_t p = 0; p < mesh.point_count; ++p) {
    call.vertex_add(p);
    if (motion_blur) call.vertex_motion_add(mesh.point_count + p);
  }
  miApi_ccmesh_options options{static_cast<miUint>(mesh.polygon_count),
                               static_cast<miUint>(mesh.point_count)};
  MI_CALL(mi_api_ccmesh_begin, MRAY_STRDUP("ccmesh"), &options);
  std::vector<miUint> indices;
  for (int32_t i = 0; i < mesh.polygon_count; ++i) {
    const MeshPolygon& polygon = mesh.polygons[i];
    indices.assign(mesh.corners + polygon.first_corner,
                   mesh.corners + polygon.first_corner + polygon.corner_count);
    MI_CALL(mi_api_ccmesh_polygon, static_cast<miUint>(polygon.corner_count), indices.data(),
            static_cast<miUint>(material));
  }
  miApprox approx{};
  approx.method = 0;  // parametric: a fixed number of subdivision levels
  approx.subdiv[0] = approx.subdiv[1] = 2;
  approx.max = 0x7fffffffu;
  MI_CALL(mi_api_ccmesh_approx, MRAY_STRDUP("ccmesh"), &approx);
  MI_CALL(mi_api_ccmesh_end);
  MI_CALL(mi_api_object_group_end);
}

// The agent's own segment standing for a segment of its agent type.
Segment* own_segment(Agent* agent, Segment* type_segment) {
  if (type_segment == nullptr) return nullptr;
  if (type_segment->agent == agent) return type_segment;
  for (Segment* segment = agent->segments; segment != nullptr; segment = segment->next)
    if (segment->source == type_segment) return segment;
  return type_segment->name ? findSegment(agent, type_segment->name) : nullptr;
}

// The first segment of the node's attach list that exists.
Segment* attached_segment(const GeometryNode& node) {
  for (int32_t i = 0; i < node.attach_count; ++i)
    if (node.attach_segments != nullptr && node.attach_segments[i] != nullptr)
      return node.attach_segments[i];
  return nullptr;
}

// Resolves and writes the pieces of one agent.
class AgentObjects {
 public:
  AgentObjects(miTag* result, Agent* agent, int pass, bool motion_blur, int id)
      : result_(result), agent_(agent), type_(agent->type ? agent->type : agent) {
    settings_.id = id;
    settings_.pass = pass;
    settings_.motion_blur = motion_blur;
    const uint8_t flags = agent_pass_flags(agent, pass);
    settings_.visible = pass == -1 || (flags & 1) ? 2 : 1;
    settings_.shadow = pass == -1 || (flags & 2) ? 3 : 0;
  }

  void skinned(GeometryNode& node) {
    ObjectPiece piece = geometry_piece(node);
    emit(piece, "mi_bonesed_geometry_out()");
  }

  void carried_by(GeometryNode& node, Segment* type_segment) {
    Segment* segment = own_segment(agent_, type_segment);
    if (segment == nullptr) return;
    Matrix now, before;
    worldSpace(segment, now);
    worldSpaceLast(segment, before);
    ObjectPiece piece = geometry_piece(node);
    piece.transform = now;
    piece.previous_transform = before;
    emit(piece, "mi_segment_geometry_out()");
  }

  void cloth(const ClothNode& cloth) {
    ObjectPiece piece{};
    piece.name = cloth.name;
    piece.mesh = cloth.mesh;
    piece.previous = cloth.previous_points;
    piece.previous_count = cloth.mesh ? cloth.mesh->point_count : 0;
    piece.material = cloth.material;
    emit(piece, "mi_cloth_out()");
  }

  void hair(const HairNode& hair) {
    ObjectPiece piece{};
    piece.name = hair.name;
    piece.mesh = hair.mesh;
    piece.previous = hair.previous_points;
    piece.previous_count = hair.mesh ? hair.mesh->point_count : 0;
    piece.material = hair.material;
    emit(piece, "mi_hair_out()");
  }

 private:
  ObjectPiece geometry_piece(const GeometryNode& node) const {
    ObjectPiece piece{};
    piece.name = node.name;
    piece.mesh = node.mesh;
    piece.previous = node.previous_points;
    piece.previous_count = node.previous_point_count;
    piece.keep_normals = node.flip_normals != 0;
    piece.subdivision = node.subdiv != 0 || (node.mesh && node.mesh->kind == MESH_SUBDIVISION);
    piece.material = node.material;
    return piece;
  }

  void emit(const ObjectPiece& piece, const char* trace) {
    if (piece.mesh == nullptr) return;
    ObjectSettings settings = settings_;
    settings.trace = trace;
    settings.max_displacement = 0;
    if (settings.pass != -1 && piece.material != -1) {
      if (const Material* material = find_material(type_, piece.material))
        settings.max_displacement = material_pass_row(material, settings.pass)->max_displacement;
    }
    const miTag tag = output_piece(piece, settings);
    if (tag != miNULLTAG) MI_CALL(mi_geoshader_add_result, result_, tag);
  }

  miTag* result_;
  Agent* agent_;
  Agent* type_;
  ObjectSettings settings_{};
};

}  // namespace

miTag output_piece(const ObjectPiece& piece, const ObjectSettings& settings) {
  if (piece.mesh == nullptr) return miNULLTAG;
  const char* name = piece.name ? piece.name : "";
  MI_CALL(mi_debug, "%s:%i %s\n", settings.trace, settings.id, name);
  if (!mesh_is_consistent(*piece.mesh)) {
    MI_CALL(mi_error, "-->horderaMray: the mesh of %s (agent %i) is inconsistent; not drawn.\n",
            name, settings.id);
    return miNULLTAG;
  }

  miTag material = miNULLTAG;
  if (settings.pass != -1 && piece.material != -1) {
    char material_name[64];
    std::snprintf(material_name, sizeof material_name, "mat_%i_%i", settings.id, piece.material);
    char* scoped = MI_CALL(mi_api_scope_apply, MRAY_STRDUP(material_name));
    MI_CALL(mi_debug, "%s:%s\n", settings.trace, scoped ? scoped : material_name);
    if (scoped != nullptr) material = MI_CALL(mi_api_name_lookup, scoped);
  } else {
    material = MI_CALL(mi_api_name_lookup, MRAY_STRDUP("default_mtl"));
  }

  const ObjectVectors vectors = object_vectors(piece, settings.motion_blur);
  miObject* object = MI_CALL(mi_api_object_begin, piece.name ? MRAY_STRDUP(piece.name) : nullptr);
  if (object != nullptr) {
    object->visible = settings.visible;
    object->shadow = settings.shadow;
    if (settings.max_displacement != 0) object->maxdisplace = settings.max_displacement;
    object->bbox_min = vectors.box.min;
    object->bbox_max = vectors.box.max;
    if (settings.motion_blur) {
      object->bbox_min_m = vectors.motion_box.min;
      object->bbox_max_m = vectors.motion_box.max;
      object->mbox_explicit = 1;
    }
  }
  if (piece.subdivision)
    write_subdivision(piece, vectors, material, settings.motion_blur);
  else
    write_polygons(piece, vectors, material, settings.motion_blur);
  return MI_CALL(mi_api_object_end);
}

void create_objects(miTag* result, Agent* agent, int pass, bool motion_blur,
                    const MrayRenderArgs* args) {
  MI_CALL(mi_debug, "-->create objects for %s\n", agent->name ? agent->name : "");
  AgentObjects objects(result, agent, pass, motion_blur, args->id);
  Agent* type = agent->type != nullptr ? agent->type : agent;
  // Nodes a selector governs are drawn only through their selector.
  for (GeometryNode* node = type->geometry_nodes; node != nullptr; node = node->next)
    if (!node->disabled && node->selector == nullptr && node->mesh != nullptr && node->bones)
      objects.skinned(*node);
  for (GeometryNode* node = type->geometry_nodes; node != nullptr; node = node->next)
    if (!node->disabled && node->selector == nullptr && node->mesh != nullptr && !node->bones)
      if (Segment* segment = attached_segment(*node)) objects.carried_by(*node, segment);
  for (OptionNode* option = type->option_nodes; option != nullptr; option = option->next) {
    if (option->alternative_count <= 0 || option->alternatives == nullptr) continue;
    const OptionAlternative& chosen = option->alternatives[option_choice(option)];
    if (chosen.kind == OPTION_GEOMETRY && chosen.geometry != nullptr &&
        chosen.geometry->mesh != nullptr) {
      if (option->attach_segment != nullptr)
        objects.carried_by(*chosen.geometry, option->attach_segment);
      else
        objects.skinned(*chosen.geometry);
    } else if (chosen.kind == OPTION_CLOTH && chosen.cloth != nullptr &&
               chosen.cloth->mesh != nullptr) {
      objects.cloth(*chosen.cloth);
    }
  }
  for (ClothNode* cloth = type->cloth_nodes; cloth != nullptr; cloth = cloth->next)
    if (cloth->mesh != nullptr && !cloth->switched_off && cloth->selector == nullptr)
      objects.cloth(*cloth);
  for (HairNode* hair = type->hair_nodes; hair != nullptr; hair = hair->next)
    if (hair->mesh != nullptr) objects.hair(*hair);
}

}  // namespace mray
