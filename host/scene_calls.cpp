// Shader calls: the renderer's functions that build a call of a declared shader with its
// parameter values, connections and arrays, name it and chain it.
#include <cstring>
#include <memory>
#include <vector>

#include "host/database.h"
#include "host/scene_names.h"
#include "host/scene_view.h"

namespace host {
namespace {

// One level of parameter selection: the call's parameters, a struct's members or an array's
// elements.
struct Level {
  std::vector<ParameterData>* members;
  const std::vector<DeclaredParameter>* declared;  // null when the shader is not declared
  bool array = false;
  ParameterData* selected = nullptr;  // the parameter (or array element) values go to
  ParameterData* member = nullptr;    // a member of the array element, when one was named
  const DeclaredParameter* selected_declared = nullptr;  // their declarations, when known
  const DeclaredParameter* member_declared = nullptr;
  bool bad_name = false;  // the name last given was reported as unknown
};

struct CallBuild {
  std::unique_ptr<CallData> call;
  const DeclarationData* declaration = nullptr;
  std::vector<Level> levels;
};
thread_local CallBuild building;

bool is_tag_type(int type) {
  switch (type) {
    case miTYPE_SHADER:
    case miTYPE_SCALAR_TEX:
    case miTYPE_COLOR_TEX:
    case miTYPE_VECTOR_TEX:
    case miTYPE_LIGHT:
    case miTYPE_TEX:
    case miTYPE_MATERIAL:
    case miTYPE_GEOMETRY:
    case miTYPE_LIGHTPROFILE:
    case miTYPE_DATA:
      return true;
    default:
      return false;
  }
}

// How many numbers a parameter of `type` holds; 16 for one whose type is not known.
size_t number_capacity(int type) {
  switch (type) {
    case miTYPE_BOOLEAN:
    case miTYPE_INTEGER:
    case miTYPE_SCALAR:
      return 1;
    case miTYPE_VECTOR:
      return 3;
    case miTYPE_COLOR:
      return 4;
    default:
      return 16;
  }
}

const DeclaredParameter* find_declared(const std::vector<DeclaredParameter>* list,
                                       const std::string& name) {
  if (list == nullptr) return nullptr;
  for (const DeclaredParameter& parameter : *list)
    if (parameter.name == name) return &parameter;
  return nullptr;
}

// Selects (making it when new) the parameter `name` among `members`; a parameter given again
// starts over.
ParameterData* select(std::vector<ParameterData>& members, const std::string& name, int type) {
  for (ParameterData& parameter : members)
    if (parameter.name == name) {
      parameter = ParameterData{name, type, {}, {}, 0, false, {}};
      return &parameter;
    }
  members.push_back(ParameterData{name, type, {}, {}, 0, false, {}});
  return &members.back();
}

// The parameter a value goes to, or null after reporting.
ParameterData* target(const char* function) {
  if (!building.call) {
    scene_error(function, "no shader call is open");
    return nullptr;
  }
  Level& level = building.levels.back();
  ParameterData* parameter = level.member ? level.member : level.selected;
  if (parameter == nullptr && !level.bad_name)
    scene_error(function,
                "no parameter of the call of \"" + building.call->declaration + "\" is selected");
  return parameter;
}

void add_numbers(ParameterData* parameter, const double* numbers, size_t count,
                 const char* function) {
  const size_t capacity = number_capacity(parameter->type);
  for (size_t i = 0; i < count; ++i) {
    if (parameter->numbers.size() >= capacity) {
      scene_error(function, "parameter \"" + parameter->name + "\" takes " +
                                std::to_string(capacity) + " numbers; the rest are dropped");
      return;
    }
    parameter->numbers.push_back(numbers[i]);
  }
}

void refer(ParameterData* parameter, miTag tag) {
  parameter->tag = tag;
  parameter->text = view_name_of(tag);
}

CallData* call_of(miTag tag) {
  return mi_db_type(tag) == miSCENE_FUNCTION ? static_cast<CallData*>(db_data(tag)) : nullptr;
}

}  // namespace

std::string drop_open_call() {
  if (!building.call) return {};
  const std::string what = "a call of \"" + building.call->declaration + "\"";
  building = CallBuild{};
  return what;
}

const CallData* view_call(miTag tag) {
  return call_of(tag);
}

}  // namespace host

using host::building;

extern "C" miBoolean mi_api_function_call(char* declaration_name) {
  std::string name = host::take_string(declaration_name);
  if (building.call)
    host::scene_error("mi_api_function_call", "a call of \"" + name + "\" begun while one of \"" +
                                                  building.call->declaration +
                                                  "\" is still open; the open one is dropped");
  building = host::CallBuild{};
  building.call = std::make_unique<host::CallData>();
  building.call->declaration = name;
  building.declaration = host::view_declaration(host::find_declaration(name));
  building.call->declared = building.declaration != nullptr;
  if (building.declaration == nullptr)
    host::scene_warning(
        "mi_api_function_call",
        "shader \"" + name + "\" is not declared; its parameters are kept as given");
  building.levels.push_back(
      host::Level{&building.call->parameters,
                  building.declaration ? &building.declaration->parameters : nullptr});
  return miTRUE;
}

extern "C" miBoolean mi_api_parameter_name(char* name) {
  const std::string parameter_name = host::take_string(name);
  if (!building.call) {
    host::scene_error("mi_api_parameter_name", "no shader call is open");
    return miFALSE;
  }
  host::Level& level = building.levels.back();
  level.bad_name = false;
  level.member = nullptr;
  if (level.array && level.selected == nullptr) {
    host::scene_error("mi_api_parameter_name", "no array element to name a member of");
    level.bad_name = true;
    return miFALSE;
  }
  // Inside an array the name selects a member of the current (struct) element.
  const std::vector<host::DeclaredParameter>* choices =
      level.array ? (level.selected_declared ? &level.selected_declared->children : nullptr)
                  : level.declared;
  const host::DeclaredParameter* declared = nullptr;
  if (building.declaration != nullptr) {
    declared = host::find_declared(choices, parameter_name);
    if (declared == nullptr) {
      host::scene_error("mi_api_parameter_name", "shader \"" + building.call->declaration +
                                                     "\" has no parameter \"" + parameter_name +
                                                     "\"; its value is dropped");
      level.bad_name = true;
      if (!level.array) level.selected = nullptr;
      return miFALSE;
    }
  }
  const int type = declared ? declared->type : -1;
  if (level.array) {
    level.member = host::select(level.selected->elements, parameter_name, type);
    level.member_declared = declared;
  } else {
    level.selected = host::select(*level.members, parameter_name, type);
    level.selected_declared = declared;
  }
  return miTRUE;
}

extern "C" miBoolean mi_api_parameter_value(miParam_type type, void* value, int*, int* size) {
  host::ParameterData* parameter = host::target("mi_api_parameter_value");
  if (size != nullptr) *size = 0;
  if (parameter == nullptr) {
    if (type == miTYPE_STRING) host::take_string(static_cast<char*>(value));
    return miFALSE;
  }
  if (value == nullptr) {
    host::scene_error("mi_api_parameter_value",
                      "no value given for parameter \"" + parameter->name + "\"");
    return miFALSE;
  }
  if (parameter->type < 0) parameter->type = type;
  int stored = 0;
  switch (type) {
    case miTYPE_BOOLEAN:
    case miTYPE_INTEGER: {
      const int number = *static_cast<const int*>(value);
      if (host::is_tag_type(parameter->type)) {
        host::refer(parameter, static_cast<miTag>(number));
      } else {
        const double converted = number;
        host::add_numbers(parameter, &converted, 1, "mi_api_parameter_value");
      }
      stored = 4;
      break;
    }
    case miTYPE_SCALAR: {
      const double number = *static_cast<const float*>(value);
      host::add_numbers(parameter, &number, 1, "mi_api_parameter_value");
      stored = 4;
      break;
    }
    case miTYPE_VECTOR:
    case miTYPE_COLOR:
    case miTYPE_TRANSFORM: {
      const size_t count = type == miTYPE_VECTOR ? 3 : type == miTYPE_COLOR ? 4 : 16;
      const auto* numbers = static_cast<const float*>(value);
      double converted[16];
      for (size_t i = 0; i < count; ++i) converted[i] = numbers[i];
      host::add_numbers(parameter, converted, count, "mi_api_parameter_value");
      stored = static_cast<int>(count * sizeof(float));
      break;
    }
    case miTYPE_STRING: {
      parameter->text = host::take_string(static_cast<char*>(value));
      if (host::is_tag_type(parameter->type)) {
        parameter->tag = host::find_name(parameter->text);
        if (parameter->tag == miNULLTAG)
          host::scene_error("mi_api_parameter_value", "parameter \"" + parameter->name +
                                                          "\" names \"" + parameter->text +
                                                          "\", which is not defined");
      }
      stored = 4;
      break;
    }
    default:
      if (!host::is_tag_type(type)) {
        host::scene_error("mi_api_parameter_value", "values of type " + std::to_string(type) +
                                                        " are not taken; parameter \"" +
                                                        parameter->name + "\" is left as it is");
        return miFALSE;
      }
      host::refer(parameter, *static_cast<const miTag*>(value));
      stored = 4;
  }
  if (size != nullptr) *size = stored;
  return miTRUE;
}

extern "C" miBoolean mi_api_parameter_shader(char* shader_name) {
  std::string name = host::take_string(shader_name);
  host::ParameterData* parameter = host::target("mi_api_parameter_shader");
  if (parameter == nullptr) return miFALSE;
  parameter->connected = true;
  parameter->text = name;
  parameter->tag = host::find_name(name);
  if (parameter->tag == miNULLTAG)
    host::scene_warning("mi_api_parameter_shader", "parameter \"" + parameter->name +
                                                       "\" is connected to \"" + name +
                                                       "\", which is not defined");
  return miTRUE;
}

extern "C" miBoolean mi_api_parameter_push(miBoolean is_array) {
  host::ParameterData* parameter = host::target("mi_api_parameter_push");
  if (parameter == nullptr) return miFALSE;
  const host::Level& level = building.levels.back();
  const host::DeclaredParameter* parameter_declared =
      level.member ? level.member_declared : level.selected_declared;
  const std::vector<host::DeclaredParameter>* declared = nullptr;
  if (building.declaration != nullptr) {
    const int wanted = is_array ? miTYPE_ARRAY : miTYPE_STRUCT;
    if (parameter->type != wanted || parameter_declared == nullptr) {
      host::scene_error("mi_api_parameter_push", "parameter \"" + parameter->name + "\" is not " +
                                                     (is_array ? "an array" : "a struct"));
      return miFALSE;
    }
    // A struct's children are its members; an array's one child is its element type.
    declared = &parameter_declared->children;
  } else if (parameter->type < 0) {
    parameter->type = is_array ? miTYPE_ARRAY : miTYPE_STRUCT;
  }
  building.levels.push_back(host::Level{&parameter->elements, declared, is_array != miFALSE});
  return miTRUE;
}

extern "C" miBoolean mi_api_new_array_element(void) {
  if (!building.call || !building.levels.back().array) {
    host::scene_error("mi_api_new_array_element", "no array is open");
    return miFALSE;
  }
  host::Level& level = building.levels.back();
  const host::DeclaredParameter* element =
      level.declared != nullptr && !level.declared->empty() ? &level.declared->front() : nullptr;
  level.members->push_back(
      host::ParameterData{"", element ? element->type : -1, {}, {}, 0, false, {}});
  level.selected = &level.members->back();
  level.selected_declared = element;
  level.member = nullptr;
  level.member_declared = nullptr;
  level.bad_name = false;
  return miTRUE;
}

extern "C" miBoolean mi_api_parameter_pop(void) {
  if (!building.call || building.levels.size() < 2) {
    host::scene_error("mi_api_parameter_pop", "no array or struct is open");
    return miFALSE;
  }
  building.levels.pop_back();
  return miTRUE;
}

extern "C" miTag mi_api_function_call_end(miTag old) {
  if (!building.call) {
    host::scene_error("mi_api_function_call_end", "no shader call is open");
    return miNULLTAG;
  }
  if (building.levels.size() > 1)
    host::scene_error("mi_api_function_call_end", "the call of \"" + building.call->declaration +
                                                      "\" ends inside an array or struct");
  std::unique_ptr<host::CallData> call = std::move(building.call);
  building = host::CallBuild{};
  if (old != miNULLTAG) {
    host::CallData* replaced = host::call_of(old);
    if (replaced != nullptr) {
      call->name = replaced->name;
      *replaced = std::move(*call);
      return old;
    }
    host::scene_error("mi_api_function_call_end",
                      "tag " + std::to_string(old) + " is not a shader call; a new one is made");
  }
  host::CallData* data = call.release();
  return host::db_create(miSCENE_FUNCTION, data, sizeof(host::CallData),
                         [](void* gone) { delete static_cast<host::CallData*>(gone); });
}

extern "C" miBoolean mi_api_shader_add(char* name, miTag function) {
  std::string shader_name = host::take_string(name);
  host::CallData* call = host::call_of(function);
  if (call == nullptr) {
    host::scene_error("mi_api_shader_add", "\"" + shader_name + "\" is given tag " +
                                               std::to_string(function) +
                                               ", which is not a shader call");
    return miFALSE;
  }
  if (shader_name.empty()) {
    host::scene_error("mi_api_shader_add", "a shader needs a name");
    return miFALSE;
  }
  call->name = shader_name;
  host::define_name(shader_name, function);
  return miTRUE;
}

extern "C" miTag mi_api_function_append(miTag list, miTag function) {
  if (list == miNULLTAG) return function;
  host::CallData* at = host::call_of(list);
  if (at == nullptr || host::call_of(function) == nullptr) {
    host::scene_error("mi_api_function_append", "both tags must be shader calls");
    return list;
  }
  for (size_t guard = 0; at->next != miNULLTAG && guard < 100000; ++guard) {
    if (at->next == function) return list;  // already in the list
    at = host::call_of(at->next);
  }
  if (at != host::call_of(function)) at->next = function;
  return list;
}

extern "C" miTag mi_api_function_assign(char* name) {
  const std::string shader_name = host::take_string(name);
  const miTag tag = host::find_name(shader_name);
  if (host::call_of(tag) == nullptr) {
    host::scene_error("mi_api_function_assign", "no shader is named \"" + shader_name + "\"");
    return miNULLTAG;
  }
  return tag;
}
