// Writing the scene database as text.
#include "host/scene_dump.h"

#include <string>

#include "host/scene_names.h"
#include "host/scene_view.h"

namespace host {
namespace {

class DumpWriter {
 public:
  explicit DumpWriter(std::FILE* out) : out_(out) {}

  void line(int depth, const std::string& text) {
    std::fprintf(out_, "%*s%s\n", depth * 2, "", text.c_str());
  }

  // A number as "%.9g"; a negative zero (a negated zero normal component) reads as 0.
  static std::string number(double value) {
    if (value == 0) value = 0;
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", value);
    return text;
  }
  static std::string vector(const miVector& v) {
    return "(" + number(v.x) + " " + number(v.y) + " " + number(v.z) + ")";
  }
  static std::string quoted(const std::string& text) { return "\"" + text + "\""; }
  // An element by its name, as the dump refers to it; "(unnamed)" when it has none.
  static std::string reference(miTag tag) {
    if (tag == miNULLTAG) return "none";
    const std::string name = view_name_of(tag);
    return name.empty() ? "(unnamed)" : quoted(name);
  }

  void element(int depth, miTag tag, int nesting = 0) {
    if (tag == miNULLTAG) {
      line(depth, "nothing");
    } else if (const ObjectData* object = view_object(tag)) {
      write_object(depth, *object);
    } else if (const InstanceGroupData* group = view_group(tag)) {
      line(depth, "group" + (group->name.empty() ? "" : " " + quoted(group->name)) + " of " +
                      std::to_string(group->items.size()) + " items");
      if (nesting < 32)
        for (miTag item : group->items) element(depth + 1, item, nesting + 1);
    } else if (const InstanceData* instance = view_instance(tag)) {
      line(depth, "instance " + quoted(instance->name) + " of " + reference(instance->item_tag));
    } else {
      line(depth, "element of kind " + std::to_string(mi_db_type(tag)) + " " + reference(tag));
    }
  }

  void write_object(int depth, const ObjectData& object) {
    const miObject& r = object.record;
    line(depth, "object " + (object.name.empty() ? std::string("(unnamed)") : quoted(object.name)));
    line(depth + 1, "type " + std::to_string(r.type) + ", visible " + std::to_string(r.visible) +
                        ", shadow " + std::to_string(r.shadow) + ", reflection " +
                        std::to_string(r.reflection) + ", refraction " +
                        std::to_string(r.refraction) + ", finalgather " +
                        std::to_string(r.finalgather) + ", max displace " + number(r.maxdisplace));
    line(depth + 1, "box " + vector(r.bbox_min) + " " + vector(r.bbox_max));
    if (r.mbox_explicit)
      line(depth + 1, "motion box " + vector(r.bbox_min_m) + " " + vector(r.bbox_max_m));
    for (size_t g = 0; g < object.groups.size(); ++g) write_group(depth + 1, g, object.groups[g]);
    for (const SubdivisionMeshData& mesh : object.subdivision_meshes) {
      line(depth + 1,
           "subdivision mesh " + quoted(mesh.name) + " on group " + std::to_string(mesh.group) +
               ", " + std::to_string(mesh.polygons.size()) + " polygons" +
               (mesh.approximation.empty() ? "" : ", approximation " + quoted(mesh.approximation)));
      for (size_t p = 0; p < mesh.polygons.size(); ++p) {
        std::string text =
            "polygon " + std::to_string(p) + " material " + reference(mesh.materials[p]) + ":";
        for (miUint corner : mesh.polygons[p]) text += " " + std::to_string(corner);
        line(depth + 2, text);
      }
    }
  }

  void write_group(int depth, size_t index, const GroupData& group) {
    line(depth, "group " + std::to_string(index) + ": " + std::to_string(group.vectors.size()) +
                    " vectors, " + std::to_string(group.vertices.size()) + " vertices, " +
                    std::to_string(group.polygons.size()) + " polygons");
    const auto at = [&](int i) { return vector(group.vectors[i]); };
    for (size_t v = 0; v < group.vertices.size(); ++v) {
      const VertexData& vertex = group.vertices[v];
      std::string text = "vertex " + std::to_string(v) + ": position " +
                         (vertex.position >= 0 ? at(vertex.position) : std::string("none"));
      if (vertex.normal >= 0) text += " normal " + at(vertex.normal);
      for (int t : group.textures(vertex)) text += " texture " + at(t);
      for (int m : group.motions(vertex)) text += " motion " + at(m);
      line(depth + 1, text);
    }
    for (size_t p = 0; p < group.polygons.size(); ++p) {
      const PolygonData& polygon = group.polygons[p];
      std::string text = "polygon " + std::to_string(p) + (polygon.type == 1 ? " convex" : "") +
                         " material " + reference(polygon.material) + ":";
      for (int corner : group.corners(polygon)) text += " " + std::to_string(corner);
      line(depth + 1, text);
    }
  }

  static std::string type_name(int type) {
    static const char* const names[] = {"boolean",       "integer",        "scalar",
                                        "string",        "color",          "vector",
                                        "transform",     "shader",         "scalar texture",
                                        "color texture", "vector texture", "light",
                                        "struct",        "array",          "texture",
                                        "material",      "geometry",       "lightprofile",
                                        "data",          "spectrum",       "map"};
    if (type >= 0 && type < static_cast<int>(sizeof names / sizeof names[0])) return names[type];
    return "type " + std::to_string(type);
  }

  void write_parameter(int depth, const ParameterData& parameter, int nesting) {
    std::string text = (parameter.name.empty() ? std::string("element") : quoted(parameter.name)) +
                       " " + type_name(parameter.type);
    if (parameter.connected) {
      text += " = " + quoted(parameter.text);
    } else if (parameter.type == miTYPE_STRING || parameter.tag != miNULLTAG ||
               !parameter.text.empty()) {
      text += " " + quoted(parameter.text);
    } else if (parameter.type == miTYPE_BOOLEAN && parameter.numbers.size() == 1) {
      text += parameter.numbers[0] != 0 ? " on" : " off";
    } else {
      for (double value : parameter.numbers) text += " " + number(value);
    }
    line(depth, text);
    if (nesting < 32)
      for (const ParameterData& element : parameter.elements)
        write_parameter(depth + 1, element, nesting + 1);
  }

  void write_call(int depth, const std::string& slot, miTag tag) {
    const CallData* call = view_call(tag);
    if (call == nullptr) {
      line(depth, slot + " " + reference(tag));
      return;
    }
    line(depth, slot + " call of " + quoted(call->declaration) +
                    (call->name.empty() ? "" : " named " + quoted(call->name)) +
                    (call->declared ? "" : " (not declared)"));
    for (const ParameterData& parameter : call->parameters)
      write_parameter(depth + 1, parameter, 0);
    int chained = 0;
    for (miTag next = call->next; next != miNULLTAG && chained < 1000; ++chained) {
      const CallData* following = view_call(next);
      if (following == nullptr) break;
      line(depth + 1, "then " + reference(next));
      next = following->next;
    }
  }

  void write_material(int depth, const std::string& name, const MaterialData& material) {
    const miMaterial& r = material.record;
    line(depth, "material " + quoted(name) + (r.opaque ? " opaque" : ""));
    const std::pair<const char*, miTag> slots[] = {
        {"shader", r.shader}, {"displace", r.displace},       {"shadow", r.shadow},
        {"volume", r.volume}, {"environment", r.environment}, {"contour", r.contour},
        {"photon", r.photon}, {"photonvol", r.photonvol},     {"lightmap", r.lightmap},
        {"bsdf", r.bsdf}};
    for (const auto& [slot, tag] : slots)
      if (tag != miNULLTAG) write_call(depth + 1, slot, tag);
  }

  static std::string declared_list(const std::vector<DeclaredParameter>& list) {
    std::string text;
    for (const DeclaredParameter& parameter : list) {
      if (!text.empty()) text += ", ";
      text += type_name(parameter.type);
      if (!parameter.children.empty()) text += " { " + declared_list(parameter.children) + " }";
      if (!parameter.name.empty()) text += " " + quoted(parameter.name);
    }
    return text;
  }

 private:
  std::FILE* out_;
};

}  // namespace

void write_scene_dump(std::FILE* out, const std::vector<RenderReport>& renders) {
  DumpWriter writer(out);
  for (size_t r = 0; r < renders.size(); ++r) {
    writer.line(0, "render " + std::to_string(r + 1) + ": " +
                       std::to_string(renders[r].assemblies.size()) + " assemblies");
    for (const AssemblyRun& run : renders[r].assemblies) {
      writer.line(1, "assembly " + DumpWriter::quoted(run.name) + " from instance " +
                         DumpWriter::quoted(run.instance) + " box " +
                         DumpWriter::vector(run.bbox_min) + " " + DumpWriter::vector(run.bbox_max));
      if (run.executed)
        writer.element(2, run.result);
      else
        writer.line(2, "never built");
    }
  }
  const std::map<std::string, miTag> names = view_names();
  writer.line(0, "materials");
  for (const auto& [name, tag] : names)
    if (const MaterialData* material = view_material(tag))
      writer.write_material(1, name, *material);
  writer.line(0, "shaders");
  for (const auto& [name, tag] : names)
    if (view_call(tag) != nullptr) writer.write_call(1, DumpWriter::quoted(name) + " =", tag);
  writer.line(0, "textures");
  for (const auto& [name, tag] : names)
    if (const TextureData* texture = view_texture(tag)) {
      static const char* const kinds[] = {"color", "scalar", "vector"};
      writer.line(
          1, "texture " + DumpWriter::quoted(name) + " " + kinds[texture->kind] + " flags " +
                 std::to_string(texture->flags) + " file " + DumpWriter::quoted(texture->file) +
                 (texture->filter != 0 ? " filter " + DumpWriter::number(texture->filter) : ""));
    }
  writer.line(0, "declarations");
  for (const auto& [name, tag] : view_declarations())
    if (const DeclarationData* declaration = view_declaration(tag))
      writer.line(1, "declare " + DumpWriter::declared_list(declaration->results) + " " +
                         DumpWriter::quoted(name) + " (" +
                         DumpWriter::declared_list(declaration->parameters) + ")");
  writer.line(0, "variables");
  for (const auto& [name, value] : view_variables())
    writer.line(1, DumpWriter::quoted(name) + " " + DumpWriter::quoted(value));
}

}  // namespace host
