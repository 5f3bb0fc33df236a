// Objects and their geometry: the renderer's object, group, vector, vertex, polygon and
// subdivision-mesh functions, and the collection of a callback's results.
#include <memory>
#include <mutex>
#include <string>

#include "host/database.h"
#include "host/scene_names.h"
#include "host/scene_view.h"

namespace host {
namespace {

// The object this thread is building, between mi_api_object_begin and mi_api_object_end.
struct ObjectBuild {
  std::unique_ptr<ObjectData> object;
  GroupData* group = nullptr;           // the open object group
  PolygonData* polygon = nullptr;       // the open polygon
  SubdivisionMeshData* mesh = nullptr;  // the open subdivision mesh
  miTag material = miNULLTAG;           // the material of the polygon before
};
thread_local ObjectBuild building;

// Serialises additions to instance groups made by mi_geoshader_add_result.
std::mutex group_mutex;

std::string object_label() {
  return building.object->name.empty() ? "the anonymous object"
                                       : "object \"" + building.object->name + "\"";
}

// The open group, or null after reporting that `function` needs one.
GroupData* open_group(const char* function) {
  if (!building.object) {
    scene_error(function, "no object is open");
    return nullptr;
  }
  if (building.group == nullptr) {
    scene_error(function, "no object group is open in " + object_label());
    return nullptr;
  }
  return building.group;
}

// The vertex last added, or null after reporting.
VertexData* last_vertex(const char* function) {
  GroupData* group = open_group(function);
  if (group == nullptr) return nullptr;
  if (group->vertices.empty()) {
    scene_error(function, "no vertex has been added to the group yet");
    return nullptr;
  }
  return &group->vertices.back();
}

// Whether `index` names a vector of the group; reports when not.
bool valid_vector(const char* function, const GroupData& group, int index) {
  if (index >= 0 && static_cast<size_t>(index) < group.vectors.size()) return true;
  scene_error(function, "vector " + std::to_string(index) + " is out of range (the group has " +
                            std::to_string(group.vectors.size()) + " vectors); it is left out");
  return false;
}

ObjectData* object_of(miTag tag) {
  return mi_db_type(tag) == miSCENE_OBJECT ? static_cast<ObjectData*>(db_data(tag)) : nullptr;
}

}  // namespace

std::string drop_open_object() {
  if (!building.object) return {};
  const std::string what = object_label();
  building = ObjectBuild{};
  return what;
}

const ObjectData* view_object(miTag tag) {
  return object_of(tag);
}

const InstanceGroupData* view_group(miTag tag) {
  return mi_db_type(tag) == miSCENE_GROUP ? static_cast<InstanceGroupData*>(db_data(tag)) : nullptr;
}

}  // namespace host

using host::building;

extern "C" miObject* mi_api_object_begin(char* name) {
  std::string object_name = host::take_string(name);
  if (building.object) {
    host::scene_error("mi_api_object_begin", "object \"" + object_name + "\" begun while " +
                                                 host::object_label() +
                                                 " is still open; the open one is dropped");
    building = host::ObjectBuild{};
  }
  building.object = std::make_unique<host::ObjectData>();
  building.object->name = std::move(object_name);
  building.object->record.face = 'a';
  return &building.object->record;
}

extern "C" miTag mi_api_object_end(void) {
  if (!building.object) {
    host::scene_error("mi_api_object_end", "no object is open");
    return miNULLTAG;
  }
  if (building.group != nullptr)
    host::scene_error("mi_api_object_end",
                      host::object_label() + " ends with its object group still open");
  if (building.mesh != nullptr)
    host::scene_error("mi_api_object_end",
                      host::object_label() + " ends with a subdivision mesh still open");
  host::ObjectData* object = building.object.release();
  building = host::ObjectBuild{};
  if (!object->subdivision_meshes.empty() && object->record.type == 0) object->record.type = 4;
  const miTag tag =
      host::db_create(miSCENE_OBJECT, object, sizeof(host::ObjectData),
                      [](void* data) { delete static_cast<host::ObjectData*>(data); });
  host::define_name(object->name, tag);
  return tag;
}

extern "C" miBoolean mi_api_basis_list_clear(void) {
  return miTRUE;  // basis lists serve free-form surfaces only, which the host does not keep
}

extern "C" miBoolean mi_api_object_group_begin(double) {
  if (!building.object) {
    host::scene_error("mi_api_object_group_begin", "no object is open");
    return miFALSE;
  }
  if (building.group != nullptr)
    host::scene_error("mi_api_object_group_begin",
                      "a group begun while the previous one of " + host::object_label() +
                          " is still open; the previous one is closed");
  building.object->groups.emplace_back();
  building.group = &building.object->groups.back();
  building.polygon = nullptr;
  building.material = miNULLTAG;
  return miTRUE;
}

extern "C" miBoolean mi_api_object_group_end(void) {
  if (host::open_group("mi_api_object_group_end") == nullptr) return miFALSE;
  if (building.polygon != nullptr)
    host::scene_error("mi_api_object_group_end", "the group ends inside a polygon");
  building.group = nullptr;
  building.polygon = nullptr;
  return miTRUE;
}

extern "C" miBoolean mi_api_vector_xyz_add(miVector* vector) {
  host::GroupData* group = host::open_group("mi_api_vector_xyz_add");
  if (group == nullptr) return miFALSE;
  if (vector == nullptr) {
    host::scene_error("mi_api_vector_xyz_add", "no vector given; (0 0 0) is added");
    group->vectors.push_back({0, 0, 0});
    return miFALSE;
  }
  group->vectors.push_back(*vector);
  return miTRUE;
}

extern "C" miBoolean mi_api_vertex_add(int vector) {
  host::GroupData* group = host::open_group("mi_api_vertex_add");
  if (group == nullptr) return miFALSE;
  host::VertexData vertex;
  const bool valid = host::valid_vector("mi_api_vertex_add", *group, vector);
  if (valid) vertex.position = vector;
  group->vertices.push_back(std::move(vertex));  // kept, so later vertex numbers stay right
  return valid ? miTRUE : miFALSE;
}

extern "C" miBoolean mi_api_vertex_normal_add(int vector) {
  host::VertexData* vertex = host::last_vertex("mi_api_vertex_normal_add");
  if (vertex == nullptr || !host::valid_vector("mi_api_vertex_normal_add", *building.group, vector))
    return miFALSE;
  vertex->normal = vector;
  return miTRUE;
}

extern "C" miBoolean mi_api_vertex_tex_add(int vector, int, int) {
  host::VertexData* vertex = host::last_vertex("mi_api_vertex_tex_add");
  if (vertex == nullptr || !host::valid_vector("mi_api_vertex_tex_add", *building.group, vector))
    return miFALSE;
  vertex->textures.push_back(vector);
  return miTRUE;
}

extern "C" miBoolean mi_api_vertex_motion_add(int vector) {
  host::VertexData* vertex = host::last_vertex("mi_api_vertex_motion_add");
  if (vertex == nullptr || !host::valid_vector("mi_api_vertex_motion_add", *building.group, vector))
    return miFALSE;
  vertex->motions.push_back(vector);
  return miTRUE;
}

namespace {

miBoolean begin_polygon(const char* function, int type, miTag material) {
  host::GroupData* group = host::open_group(function);
  if (group == nullptr) return miFALSE;
  if (building.polygon != nullptr)
    host::scene_error(function, "a polygon begun before the previous one ended");
  if (material != miNULLTAG) building.material = material;
  group->polygons.push_back({type, building.material, {}});
  building.polygon = &group->polygons.back();
  return miTRUE;
}

}  // namespace

extern "C" miBoolean mi_api_poly_begin(int type, char* material) {
  const bool named = material != nullptr;
  const std::string name = host::take_string(material);
  miTag tag = miNULLTAG;
  if (named) {
    tag = host::find_name(name);
    if (tag == miNULLTAG || mi_db_type(tag) != miSCENE_MATERIAL) {
      host::scene_error("mi_api_poly_begin", "no material is named \"" + name + "\"");
      tag = miNULLTAG;
    }
  }
  return begin_polygon("mi_api_poly_begin", type, tag);
}

extern "C" miBoolean mi_api_poly_begin_tag(int type, miTag material) {
  if (material != miNULLTAG && mi_db_type(material) != miSCENE_MATERIAL) {
    host::scene_error("mi_api_poly_begin_tag",
                      "tag " + std::to_string(material) + " is not a material");
    material = miNULLTAG;
  }
  return begin_polygon("mi_api_poly_begin_tag", type, material);
}

extern "C" miBoolean mi_api_poly_index_add(int vertex) {
  host::GroupData* group = host::open_group("mi_api_poly_index_add");
  if (group == nullptr) return miFALSE;
  if (building.polygon == nullptr) {
    host::scene_error("mi_api_poly_index_add", "no polygon is open");
    return miFALSE;
  }
  if (vertex < 0 || static_cast<size_t>(vertex) >= group->vertices.size()) {
    host::scene_error("mi_api_poly_index_add",
                      "vertex " + std::to_string(vertex) + " is out of range (the group has " +
                          std::to_string(group->vertices.size()) + " vertices); it is left out");
    return miFALSE;
  }
  building.polygon->corners.push_back(vertex);
  return miTRUE;
}

extern "C" miBoolean mi_api_poly_approx(miApprox*) {
  return building.object ? miTRUE : miFALSE;  // the host does not tessellate
}

extern "C" miBoolean mi_api_poly_end(void) {
  host::GroupData* group = host::open_group("mi_api_poly_end");
  if (group == nullptr) return miFALSE;
  if (building.polygon == nullptr) {
    host::scene_error("mi_api_poly_end", "no polygon is open");
    return miFALSE;
  }
  building.polygon = nullptr;
  if (group->polygons.back().corners.size() < 3) {
    host::scene_error("mi_api_poly_end", "a polygon with " +
                                             std::to_string(group->polygons.back().corners.size()) +
                                             " corners is dropped");
    group->polygons.pop_back();
    return miFALSE;
  }
  return miTRUE;
}

extern "C" miBoolean mi_api_ccmesh_begin(char* name, miApi_ccmesh_options*) {
  std::string mesh_name = host::take_string(name);
  if (!building.object) {
    host::scene_error("mi_api_ccmesh_begin", "no object is open");
    return miFALSE;
  }
  if (building.mesh != nullptr)
    host::scene_error("mi_api_ccmesh_begin", "a mesh begun before the previous one ended");
  host::SubdivisionMeshData mesh;
  mesh.name = std::move(mesh_name);
  if (building.group != nullptr)
    mesh.group = static_cast<int>(building.group - building.object->groups.data());
  else if (!building.object->groups.empty())
    mesh.group = static_cast<int>(building.object->groups.size()) - 1;
  building.object->subdivision_meshes.push_back(std::move(mesh));
  building.mesh = &building.object->subdivision_meshes.back();
  return miTRUE;
}

extern "C" miBoolean mi_api_ccmesh_polygon(miUint count, miUint* indices, miUint material) {
  if (building.mesh == nullptr) {
    host::scene_error("mi_api_ccmesh_polygon", "no subdivision mesh is open");
    return miFALSE;
  }
  if (indices == nullptr && count > 0) {
    host::scene_error("mi_api_ccmesh_polygon", "no corner indices given; the polygon is dropped");
    return miFALSE;
  }
  size_t limit = 0;
  if (building.mesh->group >= 0) {
    const host::GroupData& group = building.object->groups[building.mesh->group];
    limit = group.vertices.empty() ? group.vectors.size() : group.vertices.size();
  }
  for (miUint i = 0; i < count; ++i)
    if (indices[i] >= limit) {
      host::scene_error("mi_api_ccmesh_polygon", "corner " + std::to_string(indices[i]) +
                                                     " is out of range (" + std::to_string(limit) +
                                                     " vertices); the polygon is dropped");
      return miFALSE;
    }
  if (material != miNULLTAG && mi_db_type(material) != miSCENE_MATERIAL) {
    host::scene_error("mi_api_ccmesh_polygon", "tag " + std::to_string(material) +
                                                   " is not a material; the polygon has none");
    material = miNULLTAG;
  }
  building.mesh->polygons.emplace_back(indices, indices + count);
  building.mesh->materials.push_back(material);
  return miTRUE;
}

extern "C" miBoolean mi_api_ccmesh_approx(char* name, miApprox*) {
  std::string approximation = host::take_string(name);
  if (building.mesh == nullptr) {
    host::scene_error("mi_api_ccmesh_approx", "no subdivision mesh is open");
    return miFALSE;
  }
  building.mesh->approximation = std::move(approximation);
  return miTRUE;
}

extern "C" miBoolean mi_api_ccmesh_end(void) {
  if (building.mesh == nullptr) {
    host::scene_error("mi_api_ccmesh_end", "no subdivision mesh is open");
    return miFALSE;
  }
  building.mesh = nullptr;
  return miTRUE;
}

extern "C" miBoolean mi_geoshader_add_result(miTag* result, const miTag item) {
  if (result == nullptr) {
    host::scene_error("mi_geoshader_add_result", "no result to add to");
    return miFALSE;
  }
  if (item == miNULLTAG) return miTRUE;  // nothing to add
  if (*result == miNULLTAG) {
    *result = item;
    return miTRUE;
  }
  std::lock_guard lock(host::group_mutex);
  if (mi_db_type(*result) == miSCENE_GROUP) {
    static_cast<host::InstanceGroupData*>(host::db_data(*result))->items.push_back(item);
    return miTRUE;
  }
  auto* group = new host::InstanceGroupData{{}, {*result, item}};
  *result = host::db_create(miSCENE_GROUP, group, sizeof(host::InstanceGroupData),
                            [](void* data) { delete static_cast<host::InstanceGroupData*>(data); });
  return miTRUE;
}
