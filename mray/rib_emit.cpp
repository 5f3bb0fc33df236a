// Emitting a posed agent through the RenderMan Interface.
#include "mray/rib_emit.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "agent/mesh.h"
#include "agent/skeleton.h"
#include "base/vecmath.h"
#include "mray/material_output.h"
#include "mray/rib_shader.h"
#include "mray/shader_description.h"

namespace mray {
namespace {

// A parameter list for a V-form Ri call. Tokens and values stay alive with the list.
class ParameterList {
 public:
  void add(std::string token, const void* values) {
    tokens_.push_back(std::move(token));
    values_.push_back(const_cast<void*>(values));
  }
  RtInt count() const { return static_cast<RtInt>(tokens_.size()); }
  RtToken* tokens() {
    token_pointers_.clear();
    for (std::string& token : tokens_) token_pointers_.push_back(token.data());
    return token_pointers_.data();
  }
  RtPointer* values() { return values_.data(); }

 private:
  std::vector<std::string> tokens_;
  std::vector<RtPointer> values_;
  std::vector<RtToken> token_pointers_;
};

// The values of a shader call laid out for RiSurfaceV and RiDisplacementV.
struct ShaderArguments {
  explicit ShaderArguments(const RibShaderCall& call) : name(call.name) {
    string_pointers.resize(call.parameters.size());
    for (size_t i = 0; i < call.parameters.size(); ++i) {
      const RibShaderCall::Parameter& parameter = call.parameters[i];
      if (!parameter.strings.empty()) {
        for (const std::string& text : parameter.strings)
          string_pointers[i].push_back(const_cast<char*>(text.c_str()));
        list.add(parameter.token, string_pointers[i].data());
      } else {
        list.add(parameter.token, parameter.numbers.data());
      }
    }
  }
  std::string name;
  std::vector<std::vector<char*>> string_pointers;
  ParameterList list;
};

void call_shader(decltype(&::RiSurfaceV) function, const RibShaderCall& call) {
  ShaderArguments arguments(call);
  function(arguments.name.data(), arguments.list.count(), arguments.list.tokens(),
           arguments.list.values());
}

Vector transform_point(const Vector& p, const float* m) {
  return {p.x * m[0] + p.y * m[4] + p.z * m[8] + m[12],
          p.x * m[1] + p.y * m[5] + p.z * m[9] + m[13],
          p.x * m[2] + p.y * m[6] + p.z * m[10] + m[14]};
}

Vector transform_direction(const Vector& v, const float* m) {
  return {v.x * m[0] + v.y * m[4] + v.z * m[8], v.x * m[1] + v.y * m[5] + v.z * m[9],
          v.x * m[2] + v.y * m[6] + v.z * m[10]};
}

// The segment of `agent` that stands for the type's segment `segment`.
Segment* own_segment(Agent* agent, Segment* segment) {
  if (segment == nullptr || segment->agent == agent) return segment;
  for (Segment* own = agent->segments; own != nullptr; own = own->next)
    if (own->source == segment) return own;
  return segment->name != nullptr ? findSegment(agent, segment->name) : nullptr;
}

bool mesh_is_usable(const Mesh* mesh) {
  return mesh != nullptr && mesh->point_count > 0 && mesh->points != nullptr &&
         mesh->polygon_count > 0 && mesh->polygons != nullptr && mesh->corners != nullptr;
}

// The polygons of a mesh as RenderMan takes them: corner counts and point indices, with the
// corner positions kept to pick texture coordinates. Polygons with fewer than three corners or
// corners outside the arrays are left out.
struct Topology {
  std::vector<RtInt> counts;
  std::vector<RtInt> indices;
  std::vector<int32_t> corners;  // position of each index in the mesh's corner arrays
};

Topology mesh_topology(const Mesh& mesh) {
  Topology topology;
  for (int32_t p = 0; p < mesh.polygon_count; ++p) {
    const MeshPolygon& polygon = mesh.polygons[p];
    if (polygon.corner_count < 3 || polygon.first_corner < 0 ||
        polygon.first_corner > mesh.corner_count - polygon.corner_count)
      continue;
    bool inside = true;
    for (int32_t c = 0; c < polygon.corner_count; ++c) {
      const int32_t point = mesh.corners[polygon.first_corner + c];
      inside = inside && point >= 0 && point < mesh.point_count;
    }
    if (!inside) continue;
    topology.counts.push_back(polygon.corner_count);
    for (int32_t c = 0; c < polygon.corner_count; ++c) {
      topology.indices.push_back(mesh.corners[polygon.first_corner + c]);
      topology.corners.push_back(polygon.first_corner + c);
    }
  }
  return topology;
}

void extend(RibEmitResult* result, const std::vector<Vector>& points) {
  for (const Vector& p : points) {
    const float v[3] = {p.x, p.y, p.z};
    for (int i = 0; i < 3; ++i) {
      result->min[i] = std::min(result->min[i], v[i]);
      result->max[i] = std::max(result->max[i], v[i]);
    }
  }
}

// The material statements of one piece: colour, opacity, matte and shaders.
void emit_material(const RiFunctions& ri, const RibAgent& agent, const RibOptions& options,
                   const Material* material) {
  bool matte = agent.matte;
  if (material != nullptr) {
    matte = matte || material->matte != 0;
    RtColor colour;
    material_colour_rgb(material->diffuse, agent.agent, colour);
    ri.Color(colour);
  }
  RtColor opaque = {1, 1, 1};
  ri.Opacity(opaque);
  if (matte) ri.Matte(1);
  if (material == nullptr) return;

  const MaterialPass* row =
      agent.pass_index >= 0 ? material_pass_row(material, agent.pass_index) : nullptr;
  RibShaderCall call;
  bool surface = false;
  // Descriptions hold the agent's values between single quotes; they are filled in first.
  auto expanded = [&](const char* description) {
    return expand_description(description, agent.agent);
  };
  if (!options.opengl) {
    if (material->rman_surface != nullptr)
      surface = parse_rman_description(expanded(material->rman_surface), &call);
    if (!surface && row != nullptr && row->surface != nullptr)
      surface = parse_pass_description(expanded(row->surface), &call);
  }
  if (!surface) {
    // The default look: plastic with the material's own colours.
    RtColor ambient, specular;
    material_colour_rgb(material->ambient, agent.agent, ambient);
    material_colour_rgb(material->specular, agent.agent, specular);
    call.name = "plastic";
    call.parameters = {
        {"float Ka", {(ambient[0] + ambient[1] + ambient[2]) / 3.0f}, {}},
        {"float Kd", {1.0f}, {}},
        {"float Ks", {1.0f}, {}},
        {"float roughness", {material->roughness > 0 ? material->roughness : 0.1f}, {}},
        {"color specularcolor", {specular[0], specular[1], specular[2]}, {}},
    };
  }
  call_shader(ri.SurfaceV, call);

  if (options.opengl) return;
  bool displacement = false;
  if (material->rman_displacement != nullptr)
    displacement = parse_rman_description(expanded(material->rman_displacement), &call);
  if (!displacement && row != nullptr && row->displacement != nullptr)
    displacement = parse_pass_description(expanded(row->displacement), &call);
  if (!displacement) return;
  if (row != nullptr && row->max_displacement != 0) {
    // The renderer must grow the piece's bound by the largest displacement.
    RtString space = const_cast<char*>("shader");
    ParameterList bound;
    bound.add("float sphere", &row->max_displacement);
    bound.add("string coordinatesystem", &space);
    ri.AttributeV(const_cast<char*>("displacementbound"), bound.count(), bound.tokens(),
                  bound.values());
  }
  call_shader(ri.DisplacementV, call);
}

// One mesh call (PointsPolygons or SubdivisionMesh) with its primitive variables.
void emit_mesh(const RiFunctions& ri, const RibPiece& piece, const Topology& topology,
               const PiecePose& pose, const std::vector<float>& st, const std::vector<Vector>* rest,
               const std::vector<Vector>* velocity) {
  ParameterList list;
  list.add("P", pose.points.data());
  const bool subdivision = piece.subdivision;
  std::vector<Vector> normals;
  if (!subdivision && pose.normals.size() == pose.points.size()) {
    // The renderer receives the normals negated unless the node's orientation flag is set.
    normals = pose.normals;
    if (!piece.flip_normals)
      for (Vector& n : normals) n = {-n.x, -n.y, -n.z};
    list.add("N", normals.data());
  }
  if (!st.empty()) list.add("facevarying float[2] st", st.data());
  if (rest != nullptr) list.add("Pref", rest->data());
  if (velocity != nullptr) list.add("varying vector dPdtime", velocity->data());

  auto* counts = const_cast<RtInt*>(topology.counts.data());
  auto* indices = const_cast<RtInt*>(topology.indices.data());
  const auto faces = static_cast<RtInt>(topology.counts.size());
  if (subdivision) {
    std::vector<RtToken> tags;
    std::vector<RtInt> arguments;
    std::vector<RtInt> integers;
    if (piece.interpolate_boundary) {
      tags.push_back(const_cast<char*>("interpolateboundary"));
      arguments = {0, 0};
    }
    ri.SubdivisionMeshV(const_cast<char*>("catmull-clark"), faces, counts, indices,
                        static_cast<RtInt>(tags.size()), tags.data(), arguments.data(),
                        integers.data(), nullptr, list.count(), list.tokens(), list.values());
  } else {
    ri.PointsPolygonsV(faces, counts, indices, list.count(), list.tokens(), list.values());
  }
}

void emit_piece(const RiFunctions& ri, const RibAgent& agent, const RibOptions& options,
                const RibPiece& piece, RibEmitResult* result) {
  const Mesh& mesh = *piece.mesh;
  const Topology topology = mesh_topology(mesh);
  if (topology.counts.empty()) return;
  const PiecePose current = piece_pose(agent.agent, piece);

  std::vector<float> st;
  if ((mesh.flags & MESH_HAS_TEXTURE) && mesh.texture != nullptr) {
    st.reserve(topology.corners.size() * 2);
    for (int32_t corner : topology.corners) {
      const Vector& uv = mesh.texture[corner];
      st.push_back(uv.x);
      st.push_back(options.flip_v ? 1.0f - uv.y : uv.y);
    }
  }
  std::vector<Vector> rest;
  const Mesh* rest_mesh = piece.rest;
  if (rest_mesh != nullptr && rest_mesh->point_count == mesh.point_count && rest_mesh->points)
    rest.assign(rest_mesh->points, rest_mesh->points + rest_mesh->point_count);

  const PiecePose* previous = nullptr;
  PiecePose own_previous;
  if (agent.motion_blur && piece.previous_points != nullptr) {
    own_previous.points.assign(piece.previous_points, piece.previous_points + mesh.point_count);
    previous = &own_previous;
  } else if (agent.motion_blur && agent.previous != nullptr && !piece.from_cache) {
    auto found = agent.previous->find(piece.key);
    if (found != agent.previous->end() && found->second.points.size() == current.points.size())
      previous = &found->second;
  }

  const Agent* type = agent_type_of(agent.agent);
  const Material* material =
      piece.material >= 0 ? find_material(const_cast<Agent*>(type), piece.material) : nullptr;

  ri.AttributeBegin();
  emit_material(ri, agent, options, material);
  const std::vector<Vector>* pref = rest.empty() ? nullptr : &rest;
  if (previous == nullptr) {
    emit_mesh(ri, piece, topology, current, st, pref, nullptr);
  } else if (options.velocity) {
    std::vector<Vector> velocity(current.points.size());
    for (size_t i = 0; i < velocity.size(); ++i)
      velocity[i] = {current.points[i].x - previous->points[i].x,
                     current.points[i].y - previous->points[i].y,
                     current.points[i].z - previous->points[i].z};
    emit_mesh(ri, piece, topology, current, st, pref, &velocity);
  } else {
    RtFloat times[2] = {0, 1};
    ri.MotionBeginV(2, times);
    PiecePose before = *previous;
    // The previous frame keeps the current normals when it has none of its own.
    if (before.normals.size() != before.points.size()) before.normals = current.normals;
    emit_mesh(ri, piece, topology, before, st, pref, nullptr);
    emit_mesh(ri, piece, topology, current, st, pref, nullptr);
    ri.MotionEnd();
    extend(result, previous->points);
  }
  ri.AttributeEnd();
  extend(result, current.points);
  ++result->pieces;
}

}  // namespace

std::vector<RibPiece> agent_pieces(Agent* agent) {
  std::vector<RibPiece> pieces;
  Agent* type = agent_type_of(agent);
  if (type == nullptr) return pieces;
  auto usable = [](const GeometryNode* node) {
    return node != nullptr && !node->disabled && mesh_is_usable(node->mesh);
  };
  auto geometry = [](GeometryNode* node, Segment* segment) {
    return RibPiece{node,
                    node->mesh,
                    node->rest_mesh,
                    segment,
                    node->material,
                    node->flip_normals != 0,
                    node->subdiv != 0 || node->mesh->kind == MESH_SUBDIVISION,
                    node->interpolateboundary != 0,
                    nullptr,
                    false};
  };
  auto cloth = [](ClothNode* node) {
    return RibPiece{node,    node->mesh,     nullptr,
                    nullptr, node->material, false,
                    false,   false,          node->previous_points,
                    true};
  };
  for (GeometryNode* node = type->geometry_nodes; node; node = node->next)
    if (usable(node) && node->selector == nullptr && node->bones)
      pieces.push_back(geometry(node, nullptr));
  for (GeometryNode* node = type->geometry_nodes; node; node = node->next) {
    if (!usable(node) || node->selector != nullptr || node->bones) continue;
    // The first segment of the attach list that exists carries the node.
    Segment* attached = nullptr;
    for (int32_t i = 0; i < node->attach_count && attached == nullptr; ++i)
      if (node->attach_segments != nullptr) attached = node->attach_segments[i];
    Segment* segment = own_segment(agent, attached);
    if (segment != nullptr) pieces.push_back(geometry(node, segment));
  }
  for (OptionNode* option = type->option_nodes; option; option = option->next) {
    if (option->disabled || option->alternative_count < 1 || option->alternatives == nullptr)
      continue;
    const OptionAlternative& chosen = option->alternatives[option_choice(option)];
    if (chosen.kind == OPTION_CLOTH && chosen.cloth != nullptr &&
        mesh_is_usable(chosen.cloth->mesh))
      pieces.push_back(cloth(chosen.cloth));
    if (chosen.kind != OPTION_GEOMETRY || !usable(chosen.geometry)) continue;
    Segment* segment =
        option->attach_segment != nullptr ? own_segment(agent, option->attach_segment) : nullptr;
    pieces.push_back(geometry(chosen.geometry, segment));
  }
  for (ClothNode* node = type->cloth_nodes; node; node = node->next)
    if (!node->switched_off && node->selector == nullptr && mesh_is_usable(node->mesh))
      pieces.push_back(cloth(node));
  for (HairNode* node = type->hair_nodes; node; node = node->next)
    if (mesh_is_usable(node->mesh))
      pieces.push_back(RibPiece{node, node->mesh, nullptr, nullptr, node->material, false, false,
                                false, node->previous_points, true});
  return pieces;
}

PiecePose piece_pose(Agent* /*agent*/, const RibPiece& piece) {
  PiecePose pose;
  const Mesh& mesh = *piece.mesh;
  pose.points.assign(mesh.points, mesh.points + mesh.point_count);
  if ((mesh.flags & MESH_HAS_NORMALS) && mesh.normals != nullptr)
    pose.normals.assign(mesh.normals, mesh.normals + mesh.point_count);
  if (piece.segment == nullptr) return pose;

  // The mesh is in the segment's own space, as the mental ray output takes it.
  float carry[16];
  worldSpace(piece.segment, carry);
  for (Vector& p : pose.points) p = transform_point(p, carry);
  for (Vector& n : pose.normals) n = transform_direction(n, carry);
  return pose;
}

RibEmitResult emit_agent_rib(const RiFunctions& ri, const RibAgent& agent,
                             const RibOptions& options) {
  RibEmitResult result;
  for (int i = 0; i < 3; ++i) {
    result.min[i] = std::numeric_limits<float>::infinity();
    result.max[i] = -std::numeric_limits<float>::infinity();
  }
  if (agent.agent == nullptr) return result;
  const char* name = agent.name != nullptr ? agent.name : "";
  const char* cdl = agent.cdl_file != nullptr ? agent.cdl_file : "";

  ri.AttributeBegin();
  if (options.rib_comments) {
    ri.ArchiveRecord(const_cast<char*>("verbatim"), const_cast<char*>("# Agent: %s\n# CDL: %s\n"),
                     name, cdl);
    if (options.flavour != RibFlavour::any)
      ri.ArchiveRecord(const_cast<char*>("verbatim"), const_cast<char*>("# Renderer: %s\n"),
                       options.flavour == RibFlavour::prman ? "prman" : "3delight");
  }
  RtString identifier = const_cast<char*>(name);
  ParameterList naming;
  naming.add("string name", &identifier);
  ri.AttributeV(const_cast<char*>("identifier"), naming.count(), naming.tokens(), naming.values());
  ri.Declare(const_cast<char*>("Pref"), const_cast<char*>("varying point"));
  const Agent* type = agent_type_of(agent.agent);
  if (agent.pass_index >= 0 && type != nullptr && type->rib_includes != nullptr) {
    const auto* passes = static_cast<const ObjectRenderPasses*>(type->render_passes);
    if (passes != nullptr && agent.pass_index < passes->count &&
        type->rib_includes[agent.pass_index] != nullptr)
      ri.ReadArchive(type->rib_includes[agent.pass_index], nullptr, nullptr);
  }
  for (const RibPiece& piece : agent_pieces(agent.agent))
    emit_piece(ri, agent, options, piece, &result);
  ri.AttributeEnd();
  return result;
}

}  // namespace mray
