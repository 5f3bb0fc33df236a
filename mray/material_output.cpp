// The materials of one agent.
#include "mray/material_output.h"

#include <cmath>
#include <cstdio>
#include <string>

#include "agent/agent.h"
#include "agent/nodes.h"
#include "mray/renderer_memory.h"
#include "mray/shader_call.h"
#include "mray/shader_description.h"
#include "sim/expression.h"

namespace mray {
namespace {

constexpr const char* kMatteShader = "hordera_matte";
constexpr const char* kMatteVariable = "hordera_matte_shader";

// The description expanded against the agent and built into a call named `call_name`; 0 when
// there is no description or it builds nothing.
miTag call_from_description(const char* description, Agent* agent, const std::string& call_name) {
  if (description == nullptr) return miNULLTAG;
  std::string error;
  const std::string expanded = expand_description(description, agent, &error);
  if (!error.empty())
    MI_CALL(mi_warning, "-->expression %s in the shader description of %s gives 0\n", error.c_str(),
            call_name.c_str());
  return build_shader_call(expanded.c_str(), call_name.c_str());
}

// Declares the matte shader once per scene (a colour result, no parameters), remembered in a
// scene variable so that later agents find it declared.
void declare_matte_shader() {
  if (MI_CALL(mi_api_variable_lookup, MRAY_STRDUP(kMatteVariable)) != nullptr) return;
  MI_CALL(mi_api_variable_set, MRAY_STRDUP(kMatteVariable), MRAY_STRDUP("true"));
  miParameter* result = MI_CALL(mi_api_parameter_decl, miTYPE_COLOR, MRAY_STRDUP("result"), 0);
  MI_CALL(mi_api_funcdecl_begin, result, MRAY_STRDUP(kMatteShader), nullptr);
  MI_CALL(mi_api_funcdecl_end);
}

// The surface of a matte material: a shader call named "hordera_matte" when the scene has one,
// else a new parameterless call of the shader. The name also finds the declaration, which a
// material cannot use as its shader, so only a call counts as found.
miTag matte_shader() {
  declare_matte_shader();
  const miTag known = lookup_in_scope(kMatteShader);
  if (known != miNULLTAG && MI_CALL(mi_db_type, known) == miSCENE_FUNCTION) return known;
  MI_CALL(mi_api_function_call, MRAY_STRDUP(kMatteShader));
  return MI_CALL(mi_api_function_call_end, miNULLTAG);
}

void give_colour(const char* name, const float rgb[3]) {
  MI_CALL(mi_api_parameter_name, MRAY_STRDUP(name));
  for (int i = 0; i < 3; ++i) {
    miScalar component = rgb[i];
    MI_CALL(mi_api_parameter_value, miTYPE_SCALAR, &component, nullptr, nullptr);
  }
}

void give_integer(const char* name, miInteger value) {
  MI_CALL(mi_api_parameter_name, MRAY_STRDUP(name));
  MI_CALL(mi_api_parameter_value, miTYPE_INTEGER, &value, nullptr, nullptr);
}

// The default surface: a Phong call from the material's colours.
miTag phong_shader(const Material& material, Agent* agent) {
  MI_CALL(mi_api_function_call, MRAY_STRDUP("mib_illum_phong"));
  const float ambience[3] = {1.0f, 1.0f, 1.0f};
  float rgb[3];
  give_colour("ambience", ambience);
  material_colour_rgb(material.ambient, agent, rgb);
  give_colour("ambient", rgb);
  material_colour_rgb(material.diffuse, agent, rgb);
  give_colour("diffuse", rgb);
  material_colour_rgb(material.specular, agent, rgb);
  give_colour("specular", rgb);
  give_integer("exponent", 50);
  give_integer("mode", 2);
  return MI_CALL(mi_api_function_call_end, miNULLTAG);
}

}  // namespace

void hsv_to_rgb(float hue, float saturation, float value, float rgb[3]) {
  if (saturation <= 0) {
    rgb[0] = rgb[1] = rgb[2] = value;
    return;
  }
  float h = (hue - std::floor(hue)) * 6.0f;
  // 6 after rounding wraps to 0; so does a hue that is NaN or infinite (its h is NaN).
  if (!(h >= 0.0f && h < 6.0f)) h = 0;
  const int sector = static_cast<int>(h);
  const float f = h - static_cast<float>(sector);
  const float p = value * (1 - saturation);
  const float q = value * (1 - saturation * f);
  const float t = value * (1 - saturation * (1 - f));
  const float table[6][3] = {{value, t, p}, {q, value, p}, {p, value, t},
                             {p, q, value}, {t, p, value}, {value, p, q}};
  for (int i = 0; i < 3; ++i) rgb[i] = table[sector][i];
}

void material_colour_rgb(const MaterialColour& colour, Agent* agent, float rgb[3]) {
  float components[3];
  for (int i = 0; i < 3; ++i) {
    components[i] = colour.value[i];
    double value = 0;
    if (colour.text[i] != nullptr &&
        expression_evaluate(colour.text[i], agent, 0, nullptr, nullptr, &value, nullptr, nullptr))
      components[i] = static_cast<float>(value);
  }
  if (colour.model == COLOUR_MODEL_HSV) {
    hsv_to_rgb(components[0], components[1], components[2], rgb);
  } else {
    for (int i = 0; i < 3; ++i) rgb[i] = components[i];
  }
}

miTag create_material(const char* name, bool opaque, miTag surface, miTag displacement) {
  MI_CALL(mi_debug, "-->create material %s\n", name);
  miMaterial* material = MI_CALL(mi_api_material_begin, MRAY_STRDUP(name));
  if (material != nullptr) {
    material->opaque = opaque ? miTRUE : miFALSE;
    if (surface != miNULLTAG) material->shader = surface;
    if (displacement != miNULLTAG) material->displace = displacement;
  }
  return MI_CALL(mi_api_material_end);
}

void create_materials(Agent* agent, int pass, bool matte, int id) {
  MI_CALL(mi_debug, "-->create material for %s\n", agent->name ? agent->name : "");
  Agent* type = agent->type != nullptr ? agent->type : agent;
  for (Material* material = type->materials; material != nullptr; material = material->next) {
    char name[64];
    std::snprintf(name, sizeof name, "mat_%i_%i", id, material->number);
    const MaterialPass* row = pass != -1 ? material_pass_row(material, pass) : nullptr;
    miTag surface = miNULLTAG;
    miTag displacement = miNULLTAG;
    if (row != nullptr && row->displacement != nullptr)
      displacement = call_from_description(row->displacement, agent, std::string(name) + "_dis");
    if (matte) {
      surface = matte_shader();
      create_material(name, false, surface, displacement);
      continue;
    }
    if (row != nullptr && row->surface != nullptr)
      surface = call_from_description(row->surface, agent, name);
    if (surface == miNULLTAG) surface = phong_shader(*material, agent);
    create_material(name, true, surface, displacement);
  }
}

}  // namespace mray
