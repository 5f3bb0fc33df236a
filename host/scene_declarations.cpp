// Shader declarations: the renderer's declaration functions, and the declarations of the base
// shaders that a crowd scene's default materials call.
#include <memory>
#include <mutex>
#include <vector>

#include "host/database.h"
#include "host/scene_names.h"
#include "host/scene_view.h"

namespace host {
namespace {

// A parameter declaration as the plug-in builds it: an opaque handle to it is what the
// declaration functions pass around. Appended parameters form a chain; children are the
// members of a struct or the element type of an array.
struct ParameterNode {
  DeclaredParameter parameter;
  ParameterNode* next = nullptr;
  std::vector<ParameterNode*> children;
};

std::mutex nodes_mutex;
std::vector<std::unique_ptr<ParameterNode>> nodes;  // every node made since the last clear

// The declaration this thread is building, and the scratch record handed out for it.
struct OpenDeclaration {
  std::unique_ptr<DeclarationData> data;
  std::unique_ptr<unsigned char[]> record;
};
thread_local OpenDeclaration open;

ParameterNode* node_of(miParameter* handle) {
  return reinterpret_cast<ParameterNode*>(handle);
}

DeclaredParameter flatten(const ParameterNode* node, int depth = 0) {
  DeclaredParameter parameter = node->parameter;
  parameter.children.clear();
  if (depth < 64)  // a declaration nested deeper than any shader's is cut rather than overflow
    for (const ParameterNode* child : node->children)
      for (const ParameterNode* at = child; at != nullptr; at = at->next)
        parameter.children.push_back(flatten(at, depth + 1));
  return parameter;
}

std::vector<DeclaredParameter> flatten_chain(const ParameterNode* first) {
  std::vector<DeclaredParameter> list;
  size_t guard = 0;
  for (const ParameterNode* at = first; at != nullptr && guard < 100000; at = at->next, ++guard)
    list.push_back(flatten(at));
  return list;
}

miTag store_declaration(DeclarationData* data) {
  const miTag tag = db_create(miSCENE_FUNCTION_DECL, data, sizeof(DeclarationData),
                              [](void* gone) { delete static_cast<DeclarationData*>(gone); });
  define_declaration(data->name, tag);
  return tag;
}

DeclaredParameter declared(int type, const char* name) {
  return DeclaredParameter{type, name, {}};
}

}  // namespace

std::string drop_open_declaration() {
  if (!open.data) return {};
  const std::string what = "the declaration of \"" + open.data->name + "\"";
  open = {};
  return what;
}

void clear_parameter_declarations() {
  std::lock_guard lock(nodes_mutex);
  nodes.clear();
}

void declare_base_shaders() {
  auto* phong = new DeclarationData;
  phong->name = "mib_illum_phong";
  phong->results = {declared(miTYPE_COLOR, "")};
  DeclaredParameter lights = declared(miTYPE_ARRAY, "lights");
  lights.children = {declared(miTYPE_LIGHT, "")};
  phong->parameters = {declared(miTYPE_COLOR, "ambience"),
                       declared(miTYPE_COLOR, "ambient"),
                       declared(miTYPE_COLOR, "diffuse"),
                       declared(miTYPE_COLOR, "specular"),
                       declared(miTYPE_SCALAR, "exponent"),
                       declared(miTYPE_INTEGER, "mode"),
                       lights};
  store_declaration(phong);
  auto* textured = new DeclarationData;
  textured->name = "textured_mtl_sh";
  textured->results = {declared(miTYPE_COLOR, "")};
  textured->parameters = {declared(miTYPE_COLOR_TEX, "texture")};
  store_declaration(textured);
}

const DeclarationData* view_declaration(miTag tag) {
  return mi_db_type(tag) == miSCENE_FUNCTION_DECL ? static_cast<DeclarationData*>(db_data(tag))
                                                  : nullptr;
}

}  // namespace host

extern "C" miParameter* mi_api_parameter_decl(miParam_type type, char* name, int) {
  auto node = std::make_unique<host::ParameterNode>();
  node->parameter.type = type;
  node->parameter.name = host::take_string(name);
  std::lock_guard lock(host::nodes_mutex);
  host::nodes.push_back(std::move(node));
  return reinterpret_cast<miParameter*>(host::nodes.back().get());
}

extern "C" miParameter* mi_api_parameter_append(miParameter* list, miParameter* parameter) {
  if (list == nullptr) return parameter;
  if (parameter == nullptr) return list;
  host::ParameterNode* last = host::node_of(list);
  size_t guard = 0;
  while (last->next != nullptr && guard++ < 100000) last = last->next;
  if (last == host::node_of(parameter) || last->next != nullptr) {
    host::scene_error("mi_api_parameter_append", "the parameter is already in the list");
    return list;
  }
  last->next = host::node_of(parameter);
  return list;
}

extern "C" miBoolean mi_api_parameter_child(miParameter* parent, miParameter* child) {
  if (parent == nullptr || child == nullptr || parent == child) {
    host::scene_error("mi_api_parameter_child", "needs a parent and a different child");
    return miFALSE;
  }
  host::node_of(parent)->children.push_back(host::node_of(child));
  return miTRUE;
}

extern "C" miFunction_decl* mi_api_funcdecl_begin(miParameter* out_parameters, char* name,
                                                  miParameter* in_parameters) {
  std::string declaration_name = host::take_string(name);
  if (host::open.data)
    host::scene_error("mi_api_funcdecl_begin", "\"" + declaration_name + "\" begun while \"" +
                                                   host::open.data->name + "\" is still open");
  host::open.data = std::make_unique<host::DeclarationData>();
  host::open.data->name = std::move(declaration_name);
  if (out_parameters != nullptr)
    host::open.data->results = host::flatten_chain(host::node_of(out_parameters));
  if (in_parameters != nullptr)
    host::open.data->parameters = host::flatten_chain(host::node_of(in_parameters));
  host::open.record.reset(new unsigned char[512]());
  return reinterpret_cast<miFunction_decl*>(host::open.record.get());
}

extern "C" miTag mi_api_funcdecl_end(void) {
  if (!host::open.data) {
    host::scene_error("mi_api_funcdecl_end", "no declaration is open");
    return miNULLTAG;
  }
  host::DeclarationData* data = host::open.data.release();
  host::open.record.reset();
  if (data->name.empty()) {
    host::scene_error("mi_api_funcdecl_end", "a declaration without a name is dropped");
    delete data;
    return miNULLTAG;
  }
  return host::store_declaration(data);
}
