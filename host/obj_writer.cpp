// OBJ and MTL output of a frame's geometry.
#include "host/obj_writer.h"

#include <cmath>
#include <cstdio>
#include <map>
#include <set>

#include "host/parallel_for.h"

namespace host {
namespace {

// A name OBJ and MTL readers take as one word.
std::string one_word(const std::string& name, const char* fallback) {
  if (name.empty()) return fallback;
  std::string word = name;
  for (char& c : word)
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '#') c = '_';
  return word;
}

void append(std::string* out, const char* format, double a, double b, double c) {
  char line[128];
  std::snprintf(line, sizeof line, format, a, b, c);
  *out += line;
}

float finite_or_zero(float value) {
  return std::isfinite(value) ? value : 0.0f;
}

}  // namespace

bool encode_obj(const FrameGeometry& frame, const std::string& mtl_name, std::string* obj,
                std::string* mtl, std::string* error, std::vector<std::string>* warnings,
                int threads) {
  obj->clear();
  mtl->clear();
  *obj += "# the posed crowd, written by hordera " HORDERA_ENGINE_VERSION "\n";
  *obj += "mtllib " + one_word(mtl_name, "crowd.mtl") + "\n";
  // Material names, unique within the library; index -1 is the default material.
  std::map<int, std::string> names;
  std::set<std::string> taken;
  auto material_name = [&](int index) {
    if (index < 0 || index >= static_cast<int>(frame.materials.size())) index = -1;
    auto found = names.find(index);
    if (found != names.end()) return found->second;
    const FrameMaterial material = index >= 0 ? frame.materials[index] : default_material();
    std::string name = one_word(material.name, "material");
    for (int n = 2; taken.count(name); ++n)
      name = one_word(material.name, "material") + "_" + std::to_string(n);
    taken.insert(name);
    *mtl += "newmtl " + name + "\n";
    const Vec3 diffuse = material.evaluated ? material.diffuse : Vec3{0.5f, 0.5f, 0.5f};
    const Vec3 specular = material.evaluated ? material.specular : Vec3{0.0f, 0.0f, 0.0f};
    append(mtl, "Ka %.6g %.6g %.6g\n", finite_or_zero(material.ambient[0]),
           finite_or_zero(material.ambient[1]), finite_or_zero(material.ambient[2]));
    append(mtl, "Kd %.6g %.6g %.6g\n", finite_or_zero(diffuse[0]), finite_or_zero(diffuse[1]),
           finite_or_zero(diffuse[2]));
    append(mtl, "Ks %.6g %.6g %.6g\n", finite_or_zero(specular[0]), finite_or_zero(specular[1]),
           finite_or_zero(specular[2]));
    char line[64];
    std::snprintf(line, sizeof line, "Ns %.6g\nillum 2\nd 1\n\n",
                  finite_or_zero(material.exponent));
    *mtl += line;
    return names[index] = name;
  };

  // First, in order: which triangles of each mesh are drawn, where each mesh's indices start,
  // and the materials in the order their "usemtl" lines come, so that the library and the
  // names are the same whatever the number of threads. Then each mesh's text is made on its
  // own, on the threads, and the texts are joined in order.
  struct MeshPlan {
    std::vector<char> usable;  // per point
    size_t base = 0;           // the index of its first point ("v" line) in the file
    size_t uv_base = 0;        // of its first "vt" line, when it has texture coordinates
    size_t normal_base = 0;    // of its first "vn" line, when it has normals
    size_t faces = 0;          // triangles drawn
  };
  std::vector<MeshPlan> plans(frame.meshes.size());
  // OBJ indices count from 1 across the whole file, each kind of line on its own: a mesh without
  // texture coordinates or normals writes none, and the next mesh's count on from the last.
  size_t base = 1, uv_base = 1, normal_base = 1;
  size_t written = 0, left_out = 0;
  const auto drawn = [](const FrameMesh& mesh, const MeshPlan& plan, size_t t) {
    const uint32_t* corner = &mesh.triangles[t * 3];
    for (int c = 0; c < 3; ++c)
      if (corner[c] >= plan.usable.size() || !plan.usable[corner[c]]) return false;
    return true;
  };
  const auto material_of = [](const FrameMesh& mesh, size_t t) {
    return t < mesh.triangle_materials.size() ? mesh.triangle_materials[t] : -1;
  };
  for (size_t m = 0; m < frame.meshes.size(); ++m) {
    const FrameMesh& mesh = frame.meshes[m];
    MeshPlan& plan = plans[m];
    const size_t count = mesh.positions.size();
    plan.usable.resize(count);
    for (size_t i = 0; i < count; ++i) plan.usable[i] = usable_point(mesh.positions[i]);
    int current = -2;
    for (size_t t = 0; t < mesh.triangle_count(); ++t) {
      if (!drawn(mesh, plan, t)) {
        ++left_out;
        continue;
      }
      const int material = material_of(mesh, t);
      if (material != current || plan.faces == 0) {
        material_name(material);
        current = material;
      }
      ++plan.faces;
    }
    left_out += mesh.triangles.size() % 3 != 0;
    if (plan.faces == 0) continue;  // nothing of this mesh is drawn
    plan.base = base;
    base += count;
    plan.uv_base = uv_base;
    if (mesh.uvs.size() == count) uv_base += count;
    plan.normal_base = normal_base;
    if (mesh.normals.size() == count) normal_base += count;
    written += plan.faces;
  }

  std::vector<std::string> texts(frame.meshes.size());
  parallel_for(frame.meshes.size(), threads, [&](size_t m) {
    const FrameMesh& mesh = frame.meshes[m];
    const MeshPlan& plan = plans[m];
    if (plan.faces == 0) return;
    const size_t count = mesh.positions.size();
    const bool has_uvs = mesh.uvs.size() == count, has_normals = mesh.normals.size() == count;
    std::string& text = texts[m];
    text += "o " + (mesh.agent.empty() ? "" : one_word(mesh.agent, "agent") + "/") +
            one_word(mesh.name, "object") + "\n";
    for (size_t i = 0; i < count; ++i) {
      const Vec3& p = plan.usable[i] ? mesh.positions[i] : Vec3{0.0f, 0.0f, 0.0f};
      append(&text, "v %.9g %.9g %.9g\n", p[0], p[1], p[2]);
    }
    if (has_uvs)
      for (const Vec2& uv : mesh.uvs) {
        char line[96];
        std::snprintf(line, sizeof line, "vt %.9g %.9g\n", finite_or_zero(uv[0]),
                      finite_or_zero(uv[1]));
        text += line;
      }
    if (has_normals)
      for (const Vec3& n : mesh.normals)
        append(&text, "vn %.9g %.9g %.9g\n", finite_or_zero(n[0]), finite_or_zero(n[1]),
               finite_or_zero(n[2]));
    int current = -2;
    size_t faces = 0;
    for (size_t t = 0; t < mesh.triangle_count(); ++t) {
      if (!drawn(mesh, plan, t)) continue;
      const int material = material_of(mesh, t);
      if (material != current || faces == 0) {
        text += "usemtl " + names.at(material) + "\n";
        current = material;
      }
      text += "f";
      const uint32_t* corner = &mesh.triangles[t * 3];
      for (int c = 0; c < 3; ++c) {
        text += " " + std::to_string(plan.base + corner[c]);
        if (has_uvs || has_normals)
          text += "/" + (has_uvs ? std::to_string(plan.uv_base + corner[c]) : "");
        if (has_normals) text += "/" + std::to_string(plan.normal_base + corner[c]);
      }
      text += "\n";
      ++faces;
    }
  });
  size_t total = obj->size();
  for (const std::string& text : texts) total += text.size();
  obj->reserve(total);
  for (std::string& text : texts) {
    *obj += text;
    std::string().swap(text);
  }
  if (left_out > 0 && warnings)
    warnings->push_back(std::to_string(left_out) +
                        " triangles with unusable coordinates or corner indices were left out");
  if (written == 0) {
    if (error) *error = "nothing to bake: the frame holds no triangles";
    return false;
  }
  return true;
}

}  // namespace host
