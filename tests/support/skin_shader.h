// A shader "skin" declared in the stand-in host's scene database with one parameter of each kind
// a shader description can hand over: shared by the shader-call tests and the description fuzzer.
#pragma once

#include "mray/mi_interface.h"
#include "mray/renderer_functions.h"

namespace support {

inline char* renderer_copy(const char* text) {
  return mi_mem_int_strdup("support", __LINE__, text);
}

// Declares "skin" (a colour shader) with the parameters base (shader), tint (colour), on
// (boolean), count (integer), gain (scalar), label (string), bump (scalar texture), lights (array
// of shaders) and odd (scalar), in that order.
inline void declare_skin_shader() {
  const struct {
    miParam_type type;
    const char* name;
  } declared[] = {{miTYPE_SHADER, "base"},     {miTYPE_COLOR, "tint"},   {miTYPE_BOOLEAN, "on"},
                  {miTYPE_INTEGER, "count"},   {miTYPE_SCALAR, "gain"},  {miTYPE_STRING, "label"},
                  {miTYPE_SCALAR_TEX, "bump"}, {miTYPE_ARRAY, "lights"}, {miTYPE_SCALAR, "odd"}};
  miParameter* list = nullptr;
  for (const auto& each : declared) {
    miParameter* parameter = mi_api_parameter_decl(each.type, renderer_copy(each.name), 0);
    if (each.type == miTYPE_ARRAY)
      mi_api_parameter_child(parameter, mi_api_parameter_decl(miTYPE_SHADER, nullptr, 0));
    list = list ? mi_api_parameter_append(list, parameter) : parameter;
  }
  mi_api_funcdecl_begin(mi_api_parameter_decl(miTYPE_COLOR, nullptr, 0), renderer_copy("skin"),
                        list);
  mi_api_funcdecl_end();
}

}  // namespace support
