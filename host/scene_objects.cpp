// Objects and their geometry: the renderer's object, group, vector, vertex, polygon and
// subdivision-mesh functions, and the collection of a callback's results.
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/database.h"
#include "host/scene_names.h"
#include "host/scene_view.h"

namespace host {
namespace {

// The object this thread is building, between mi_api_object_begin and mi_api_object_end. The
// record is plain (the object itself is owned by `owned_object`), so that the vertex and
// polygon functions, called hundreds of thousands of times per agent, reach it without the
// first-use check a thread-local with a destructor needs.
struct ObjectBuild {
  ObjectData* object = nullptr;
  GroupData* group = nullptr;           // the open object group
  bool polygon_open = false;            // whether the group's last polygon is still open
  SubdivisionMeshData* mesh = nullptr;  // the open subdivision mesh
  miTag material = miNULLTAG;           // the material of the polygon before
};
constinit thread_local ObjectBuild building;
thread_local std::unique_ptr<ObjectData> owned_object;

// Starts building `object` (none: nothing is being built), dropping what was open.
void start_building(std::unique_ptr<ObjectData> object) {
  owned_object = std::move(object);
  building = ObjectBuild{};
  building.object = owned_object.get();
}

// The sizes of the groups of objects this thread finished, by object name. A crowd hands over
// the same objects (an agent's skin, clothes, hat) agent after agent, so a new group reserves
// what its namesake held at once instead of growing (and copying) its arrays step by step.
struct GroupSizes {
  size_t vectors = 0, vertices = 0, vertex_indices = 0, polygons = 0, polygon_corners = 0;
};
thread_local std::unordered_map<std::string, std::vector<GroupSizes>> sizes_by_name;
constexpr size_t kRememberedNames = 4096;

void reserve_like_namesake(const std::string& name, size_t index, GroupData& group) {
  const auto found = sizes_by_name.find(name);
  if (found == sizes_by_name.end() || index >= found->second.size()) return;
  const GroupSizes& sizes = found->second[index];
  group.vectors.reserve(sizes.vectors);
  group.vertices.reserve(sizes.vertices);
  group.vertex_indices.reserve(sizes.vertex_indices);
  group.polygons.reserve(sizes.polygons);
  group.polygon_corners.reserve(sizes.polygon_corners);
}

// Gives back room a group holds but did not use, when that is more than a quarter of what it
// holds, and remembers its sizes for the next object of the same name.
template <typename T>
void fit(std::vector<T>& items) {
  if (items.capacity() - items.size() > items.size() / 4 + 64) items.shrink_to_fit();
}
void finish_group(const std::string& name, size_t index, GroupData& group) {
  fit(group.vectors);
  fit(group.vertices);
  fit(group.vertex_indices);
  fit(group.polygons);
  fit(group.polygon_corners);
  if (sizes_by_name.size() >= kRememberedNames && !sizes_by_name.contains(name))
    sizes_by_name.clear();
  std::vector<GroupSizes>& sizes = sizes_by_name[name];
  if (sizes.size() <= index) sizes.resize(index + 1);
  sizes[index] = {group.vectors.size(), group.vertices.size(), group.vertex_indices.size(),
                  group.polygons.size(), group.polygon_corners.size()};
}

// Finishes the open group of the object being built.
void finish_open_group() {
  finish_group(building.object->name,
               static_cast<size_t>(building.group - building.object->groups.data()),
               *building.group);
}

// Serialises additions to instance groups made by mi_geoshader_add_result.
std::mutex group_mutex;

std::string object_label() {
  return building.object->name.empty() ? "the anonymous object"
                                       : "object \"" + building.object->name + "\"";
}

// Reports that `function` needs an open group; returns null.
[[gnu::cold, gnu::noinline]] GroupData* no_open_group(const char* function) {
  if (!building.object)
    scene_error(function, "no object is open");
  else
    scene_error(function, "no object group is open in " + object_label());
  return nullptr;
}

// The open group, or null after reporting that `function` needs one. (A group is only open
// inside an open object.)
inline GroupData* open_group(const char* function) {
  if (building.group != nullptr) [[likely]]
    return building.group;
  return no_open_group(function);
}

// The vertex last added, or null after reporting.
inline VertexData* last_vertex(const char* function) {
  GroupData* group = open_group(function);
  if (group == nullptr) return nullptr;
  if (group->vertices.empty()) [[unlikely]] {
    scene_error(function, "no vertex has been added to the group yet");
    return nullptr;
  }
  return &group->vertices.back();
}

[[gnu::cold, gnu::noinline]] bool vector_out_of_range(const char* function, const GroupData& group,
                                                      int index) {
  scene_error(function, "vector " + std::to_string(index) + " is out of range (the group has " +
                            std::to_string(group.vectors.size()) + " vectors); it is left out");
  return false;
}

// Whether `index` names a vector of the group; reports when not.
inline bool valid_vector(const char* function, const GroupData& group, int index) {
  if (static_cast<size_t>(index) < group.vectors.size()) [[likely]]
    return true;
  return vector_out_of_range(function, group, index);
}

// Whether a vertex holding `count` vectors of a kind may take one more; reports when not.
inline bool room_for_more(std::uint16_t count, const char* function, const char* kind) {
  if (count < UINT16_MAX) [[likely]]
    return true;
  scene_error(function, std::string("the vertex already has ") + std::to_string(count) + " " +
                            kind + " vectors; no more are kept");
  return false;
}

ObjectData* object_of(miTag tag) {
  return mi_db_type(tag) == miSCENE_OBJECT ? static_cast<ObjectData*>(db_data(tag)) : nullptr;
}

}  // namespace

std::string drop_open_object() {
  if (!building.object) return {};
  const std::string what = object_label();
  start_building(nullptr);
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
  }
  host::start_building(std::make_unique<host::ObjectData>());
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
  host::ObjectData* object = host::owned_object.release();
  host::start_building(nullptr);
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
  if (building.group != nullptr) host::finish_open_group();
  building.object->groups.emplace_back();
  building.group = &building.object->groups.back();
  host::reserve_like_namesake(building.object->name, building.object->groups.size() - 1,
                              *building.group);
  building.polygon_open = false;
  building.material = miNULLTAG;
  return miTRUE;
}

extern "C" miBoolean mi_api_object_group_end(void) {
  if (host::open_group("mi_api_object_group_end") == nullptr) return miFALSE;
  if (building.polygon_open)
    host::scene_error("mi_api_object_group_end", "the group ends inside a polygon");
  host::finish_open_group();
  building.group = nullptr;
  building.polygon_open = false;
  return miTRUE;
}

// The vector, vertex and polygon functions are called once per vector, vertex or corner, so
// each first tries the case without fault inline and leaves everything else, with the
// reporting, to a checked version out of line.

namespace {

[[gnu::cold, gnu::noinline]] miBoolean checked_vector_xyz_add(miVector* vector) {
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

[[gnu::cold, gnu::noinline]] miBoolean checked_vertex_add(int vector) {
  host::GroupData* group = host::open_group("mi_api_vertex_add");
  if (group == nullptr) return miFALSE;
  const bool valid = host::valid_vector("mi_api_vertex_add", *group, vector);
  // Kept even without a position, so that later vertex numbers stay right.
  group->vertices.push_back(
      {valid ? vector : -1, -1, static_cast<int>(group->vertex_indices.size()), 0, 0});
  return valid ? miTRUE : miFALSE;
}

[[gnu::cold, gnu::noinline]] miBoolean checked_vertex_normal_add(int vector) {
  host::VertexData* vertex = host::last_vertex("mi_api_vertex_normal_add");
  if (vertex == nullptr || !host::valid_vector("mi_api_vertex_normal_add", *building.group, vector))
    return miFALSE;
  vertex->normal = vector;
  return miTRUE;
}

[[gnu::cold, gnu::noinline]] miBoolean checked_vertex_tex_add(int vector) {
  host::VertexData* vertex = host::last_vertex("mi_api_vertex_tex_add");
  if (vertex == nullptr || !host::valid_vector("mi_api_vertex_tex_add", *building.group, vector) ||
      !host::room_for_more(vertex->texture_count, "mi_api_vertex_tex_add", "texture"))
    return miFALSE;
  // Textures come before motion vectors in the vertex's run, which ends the group's list.
  std::vector<int>& indices = building.group->vertex_indices;
  indices.insert(indices.begin() + vertex->first_index + vertex->texture_count, vector);
  ++vertex->texture_count;
  return miTRUE;
}

[[gnu::cold, gnu::noinline]] miBoolean checked_vertex_motion_add(int vector) {
  host::VertexData* vertex = host::last_vertex("mi_api_vertex_motion_add");
  if (vertex == nullptr ||
      !host::valid_vector("mi_api_vertex_motion_add", *building.group, vector) ||
      !host::room_for_more(vertex->motion_count, "mi_api_vertex_motion_add", "motion"))
    return miFALSE;
  building.group->vertex_indices.push_back(vector);
  ++vertex->motion_count;
  return miTRUE;
}

// Appends `item`, growing the array out of line, so that the functions calling this need no
// room for the growing on their own fast path.
template <typename T>
[[gnu::noinline]] void grow(std::vector<T>& items) {
  items.reserve(items.empty() ? 256 : items.size() * 2);
}
template <typename T>
inline void append(std::vector<T>& items, const T& item) {
  if (items.size() == items.capacity()) [[unlikely]]
    grow(items);
  if (items.size() == items.capacity()) __builtin_unreachable();
  items.push_back(item);
}

// Whether `index` names a vector of `group`.
inline bool in_range(const host::GroupData& group, int index) {
  return static_cast<size_t>(index) < group.vectors.size();
}

}  // namespace

extern "C" miBoolean mi_api_vector_xyz_add(miVector* vector) {
  host::GroupData* group = building.group;
  if (group == nullptr || vector == nullptr) [[unlikely]]
    return checked_vector_xyz_add(vector);
  append(group->vectors, *vector);
  return miTRUE;
}

extern "C" miBoolean mi_api_vertex_add(int vector) {
  host::GroupData* group = building.group;
  if (group == nullptr || !in_range(*group, vector)) [[unlikely]]
    return checked_vertex_add(vector);
  append(group->vertices,
         host::VertexData{vector, -1, static_cast<int>(group->vertex_indices.size()), 0, 0});
  return miTRUE;
}

extern "C" miBoolean mi_api_vertex_normal_add(int vector) {
  host::GroupData* group = building.group;
  if (group == nullptr || group->vertices.empty() || !in_range(*group, vector)) [[unlikely]]
    return checked_vertex_normal_add(vector);
  group->vertices.back().normal = vector;
  return miTRUE;
}

extern "C" miBoolean mi_api_vertex_tex_add(int vector, int, int) {
  host::GroupData* group = building.group;
  if (group == nullptr || group->vertices.empty() || !in_range(*group, vector)) [[unlikely]]
    return checked_vertex_tex_add(vector);
  host::VertexData& vertex = group->vertices.back();
  // After a motion vector the texture goes in front of it (checked_vertex_tex_add).
  if (vertex.motion_count != 0 || vertex.texture_count == UINT16_MAX) [[unlikely]]
    return checked_vertex_tex_add(vector);
  append(group->vertex_indices, vector);
  ++vertex.texture_count;
  return miTRUE;
}

extern "C" miBoolean mi_api_vertex_motion_add(int vector) {
  host::GroupData* group = building.group;
  if (group == nullptr || group->vertices.empty() || !in_range(*group, vector) ||
      group->vertices.back().motion_count == UINT16_MAX) [[unlikely]]
    return checked_vertex_motion_add(vector);
  append(group->vertex_indices, vector);
  ++group->vertices.back().motion_count;
  return miTRUE;
}

namespace {

// The last tag this thread found to be a material, with the database generation it was found
// in: a crowd's polygons name the same material over and over, and the database's type lookup
// takes its lock.
constinit thread_local miTag known_material = miNULLTAG;
constinit thread_local unsigned known_generation = 0;

bool is_material(miTag tag) {
  const unsigned generation = host::db_generation();
  if (tag == known_material && generation == known_generation) return true;
  if (mi_db_type(tag) != miSCENE_MATERIAL) return false;
  known_material = tag;
  known_generation = generation;
  return true;
}

miBoolean begin_polygon(const char* function, int type, miTag material) {
  host::GroupData* group = host::open_group(function);
  if (group == nullptr) return miFALSE;
  if (building.polygon_open)
    host::scene_error(function, "a polygon begun before the previous one ended");
  if (material != miNULLTAG) building.material = material;
  group->polygons.push_back(
      {type, building.material, static_cast<int>(group->polygon_corners.size()), 0});
  building.polygon_open = true;
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
  if (material != miNULLTAG && !is_material(material)) {
    host::scene_error("mi_api_poly_begin_tag",
                      "tag " + std::to_string(material) + " is not a material");
    material = miNULLTAG;
  }
  return begin_polygon("mi_api_poly_begin_tag", type, material);
}

namespace {

[[gnu::cold, gnu::noinline]] miBoolean checked_poly_index_add(int vertex) {
  host::GroupData* group = host::open_group("mi_api_poly_index_add");
  if (group == nullptr) return miFALSE;
  if (!building.polygon_open) {
    host::scene_error("mi_api_poly_index_add", "no polygon is open");
    return miFALSE;
  }
  if (vertex < 0 || static_cast<size_t>(vertex) >= group->vertices.size()) {
    host::scene_error("mi_api_poly_index_add",
                      "vertex " + std::to_string(vertex) + " is out of range (the group has " +
                          std::to_string(group->vertices.size()) + " vertices); it is left out");
    return miFALSE;
  }
  group->polygon_corners.push_back(vertex);
  ++group->polygons.back().corner_count;
  return miTRUE;
}

}  // namespace

extern "C" miBoolean mi_api_poly_index_add(int vertex) {
  host::GroupData* group = building.group;
  if (group == nullptr || !building.polygon_open ||
      static_cast<size_t>(vertex) >= group->vertices.size()) [[unlikely]]
    return checked_poly_index_add(vertex);
  append(group->polygon_corners, vertex);
  ++group->polygons.back().corner_count;
  return miTRUE;
}

extern "C" miBoolean mi_api_poly_approx(miApprox*) {
  return building.object ? miTRUE : miFALSE;  // the host does not tessellate
}

extern "C" miBoolean mi_api_poly_end(void) {
  host::GroupData* group = host::open_group("mi_api_poly_end");
  if (group == nullptr) return miFALSE;
  if (!building.polygon_open) {
    host::scene_error("mi_api_poly_end", "no polygon is open");
    return miFALSE;
  }
  building.polygon_open = false;
  const host::PolygonData& polygon = group->polygons.back();
  if (polygon.corner_count < 3) {
    host::scene_error("mi_api_poly_end", "a polygon with " + std::to_string(polygon.corner_count) +
                                             " corners is dropped");
    group->polygon_corners.resize(static_cast<size_t>(polygon.first_corner));
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
