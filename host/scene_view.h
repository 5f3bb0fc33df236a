// A read-only view of the scene database: what a plug-in handed over through the scene
// construction functions, as plain records. The preview renderer, the scene writers and the
// dump read the posed crowd from here. Read it only while no render is running: the records
// are the database's own, not copies.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "mray/mi_interface.h"

namespace host {

// One vertex of an object group: indices into the group's vectors. An index the plug-in gave
// out of range was reported when it was given and is -1 here (a position) or left out (a
// normal, texture or motion vector), so every index kept is valid. Its texture and motion
// indices are a run of the group's `vertex_indices` (textures first, one per texture space,
// then one per motion step); read them with GroupData::textures and GroupData::motions.
struct VertexData {
  int position = -1;
  int normal = -1;      // -1 when the vertex has no normal
  int first_index = 0;  // where the vertex's run begins in vertex_indices
  std::uint16_t texture_count = 0;
  std::uint16_t motion_count = 0;
};

// One polygon: the material it was given (or inherited from the polygon before) and its
// corners, a run of the group's `polygon_corners` (vertex indices of the group, in order); read
// them with GroupData::corners.
struct PolygonData {
  int type = 0;        // 0 general (concave), 1 convex
  miTag material = 0;  // 0 when neither this polygon nor one before named a material
  int first_corner = 0;
  int corner_count = 0;
};

// One object group: one list of vectors (positions, normals, texture coordinates and motion
// vectors share it), the vertices made of them and the polygons made of the vertices. Each
// kind is one flat array, so a group of any size is a handful of blocks of memory.
struct GroupData {
  std::vector<miVector> vectors;
  std::vector<VertexData> vertices;
  std::vector<int> vertex_indices;  // every vertex's texture and motion indices, in vertex order
  std::vector<PolygonData> polygons;
  std::vector<int> polygon_corners;  // every polygon's corners, in polygon order

  std::span<const int> textures(const VertexData& vertex) const {
    return {vertex_indices.data() + vertex.first_index, static_cast<size_t>(vertex.texture_count)};
  }
  std::span<const int> motions(const VertexData& vertex) const {
    return {vertex_indices.data() + vertex.first_index + vertex.texture_count,
            static_cast<size_t>(vertex.motion_count)};
  }
  std::span<const int> corners(const PolygonData& polygon) const {
    return {polygon_corners.data() + polygon.first_corner,
            static_cast<size_t>(polygon.corner_count)};
  }
};

// A subdivision (Catmull-Clark) mesh of an object. Its polygons' indices refer to the vertices
// of the object group that was open when the mesh began (to its vectors when that group has
// no vertices).
struct SubdivisionMeshData {
  std::string name;
  int group = -1;                             // index of that group in the object, -1 if none
  std::vector<std::vector<miUint>> polygons;  // corner indices per polygon
  std::vector<miTag> materials;               // one per polygon
  std::string approximation;                  // name given to mi_api_ccmesh_approx, if any
};

// An object: the record the plug-in filled (flags, boxes, maximum displacement) and its
// geometry. The record comes first, so the element's data is the miObject.
struct ObjectData {
  miObject record{};
  std::string name;  // empty for an anonymous object
  std::vector<GroupData> groups;
  std::vector<SubdivisionMeshData> subdivision_meshes;
};

// A material: the record the plug-in filled (opaque flag and shader tags) first.
struct MaterialData {
  miMaterial record{};
  std::string name;
};

// One parameter value of a shader call. `type` is the declared type of the parameter (or,
// for a shader without declaration, the type of the first value given). Numbers hold the
// boolean, integer, scalar, colour, vector or transform components as given; `text` a string,
// or the name of the element a shader, texture, light or material parameter refers to;
// `tag` that element (0 when the name was not found). Arrays hold their elements in
// `elements`, structs their members.
struct ParameterData {
  std::string name;
  int type = -1;
  std::vector<double> numbers;
  std::string text;
  miTag tag = 0;
  bool connected = false;  // given with mi_api_parameter_shader: a connection to `text`
  std::vector<ParameterData> elements;
};

// A shader call (a function element): the declaration it calls and the parameters given, in
// the order given.
struct CallData {
  std::string declaration;
  bool declared = false;  // whether the declaration was known when the call began
  std::string name;       // given by mi_api_shader_add; empty for an anonymous call
  miTag next = 0;         // the next call of a shader list (mi_api_function_append)
  std::vector<ParameterData> parameters;
};

// One parameter of a shader declaration; arrays and structs have children.
struct DeclaredParameter {
  int type = -1;
  std::string name;
  std::vector<DeclaredParameter> children;
};

// A shader declaration.
struct DeclarationData {
  std::string name;
  std::vector<DeclaredParameter> results;  // the result type (one unnamed entry) or struct
  std::vector<DeclaredParameter> parameters;
};

// A texture.
struct TextureData {
  std::string name;
  int kind = 0;      // 0 colour, 1 scalar, 2 vector
  int flags = 0;     // 1 local, 2 filtered, 4 writable
  std::string file;  // the image file
  float filter = 0;  // filter scale, 0 when not set
};

// An instance group: the items of a result that collected several (mi_geoshader_add_result),
// or a named group made with mi_api_instgroup_*.
struct InstanceGroupData {
  std::string name;
  std::vector<miTag> items;
};

// An instance of a named element or of a geometry function.
struct InstanceData {
  std::string name;
  std::string item;    // the name of the instanced element
  miTag item_tag = 0;  // that element, or the geometry function
  miTag parameters = 0;
};

// The element behind a tag, when it has that kind; null otherwise.
const ObjectData* view_object(miTag tag);
const MaterialData* view_material(miTag tag);
const CallData* view_call(miTag tag);
const DeclarationData* view_declaration(miTag tag);
const TextureData* view_texture(miTag tag);
const InstanceGroupData* view_group(miTag tag);
const InstanceData* view_instance(miTag tag);

// Every named element (declarations are in their own list), by name; a name defined again
// refers to the last element defined under it.
std::map<std::string, miTag> view_names();
// Every shader declaration, by name.
std::map<std::string, miTag> view_declarations();
// The scene variables, by name.
std::map<std::string, std::string> view_variables();
// The name an element was defined under, or "" when it has none.
std::string view_name_of(miTag tag);

}  // namespace host
