// Shader calls from shader descriptions.
#include "mray/shader_call.h"

#include <algorithm>
#include <cstdio>
#include <string_view>
#include <vector>

#include "base/float_to_int.h"
#include "mray/renderer_memory.h"
#include "mray/shader_description.h"

namespace mray {
namespace {

// One parameter of a description: its name, type code and value (numbers or quoted strings).
struct DescriptionParameter {
  std::string name;
  int code = -1;
  bool has_strings = false;
  std::vector<std::string> strings;
  std::vector<float> numbers;
};

char* renderer_copy(const std::string& text) {
  return MRAY_STRDUP(text.c_str());
}

void give_scalar(float value) {
  MI_CALL(mi_api_parameter_value, miTYPE_SCALAR, &value, nullptr, nullptr);
}

void give_string(const std::string& text) {
  MI_CALL(mi_api_parameter_value, miTYPE_STRING, renderer_copy(text), nullptr, nullptr);
}

float number_at(const DescriptionParameter& parameter, size_t index) {
  return index < parameter.numbers.size() ? parameter.numbers[index] : 0.0f;
}

// Hands one parameter's value over by its code. Codes the renderer has no use for give the name
// only.
void give_value(const DescriptionParameter& parameter) {
  const int code = parameter.code;
  const std::string* first = parameter.strings.empty() ? nullptr : &parameter.strings.front();
  switch (code) {
    case CODE_SHADER:
      if (first == nullptr) break;
      MI_CALL(mi_debug, " \"%s\"\n", first->c_str());
      MI_CALL(mi_api_parameter_shader, renderer_copy(*first));
      break;
    case CODE_COLOUR: {
      const float r = number_at(parameter, 0), g = number_at(parameter, 1),
                  b = number_at(parameter, 2);
      MI_CALL(mi_debug, " %f %f %f\n", r, g, b);
      give_scalar(r);
      give_scalar(g);
      give_scalar(b);
      break;
    }
    case 6:
    case 12:
    case 16:
    case 17:
    case 18:
    case 19:
    case CODE_COLOUR_TEXTURE:
    case CODE_SCALAR_TEXTURE:
    case CODE_VECTOR_TEXTURE:
      if (first == nullptr) break;
      MI_CALL(mi_debug, " \"%s\"\n", first->c_str());
      give_string(*first);
      break;
    case CODE_BOOLEAN:
    case CODE_INTEGER: {
      miInteger value = hordera::truncate_to_int(number_at(parameter, 0));
      MI_CALL(mi_debug, " %d\n", value);
      MI_CALL(mi_api_parameter_value, code == CODE_BOOLEAN ? miTYPE_BOOLEAN : miTYPE_INTEGER,
              &value, nullptr, nullptr);
      break;
    }
    case CODE_SCALAR: {
      const float value = number_at(parameter, 0);
      MI_CALL(mi_debug, " %f\n", value);
      give_scalar(value);
      break;
    }
    case CODE_SHADER_ARRAY:
      MI_CALL(mi_api_parameter_push, miTRUE);
      for (const std::string& name : parameter.strings) {
        MI_CALL(mi_debug, " \"%s\"\n", name.c_str());
        MI_CALL(mi_api_new_array_element);
        give_string("::" + name);
      }
      MI_CALL(mi_api_parameter_pop);
      break;
    default:
      break;
  }
}

// Ends the call being built, names it and returns its tag.
miTag end_call(const char* name) {
  const miTag tag = MI_CALL(mi_api_function_call_end, miNULLTAG);
  if (tag != miNULLTAG && name != nullptr) MI_CALL(mi_api_shader_add, MRAY_STRDUP(name), tag);
  return tag;
}

}  // namespace

miTag lookup_in_scope(const char* name) {
  char* scoped = MI_CALL(mi_api_scope_apply, MRAY_STRDUP(name));
  if (scoped == nullptr) return miNULLTAG;
  return MI_CALL(mi_api_name_lookup, scoped);
}

std::string declare_texture(int kind, const std::string& file) {
  const std::string name = flatten_file_name(file) + "_tex";
  if (lookup_in_scope(name.c_str()) == miNULLTAG) {
    MI_CALL(mi_api_texture_begin, renderer_copy(name), kind, 0);
    MI_CALL(mi_api_texture_file_def, renderer_copy(file));
    MI_CALL(mi_api_texture_end);
  }
  return name;
}

std::string texture_shader(const std::string& file) {
  MI_CALL(mi_debug, "-->miSetTexture() \"%s\"", file.c_str());
  if (!is_image_file_name(file)) return file;
  const std::string flat = flatten_file_name(file);
  const std::string texture = flat + "_tex";
  const std::string shader = flat + "_shd";
  if (lookup_in_scope(shader.c_str()) == miNULLTAG) {
    if (lookup_in_scope(texture.c_str()) == miNULLTAG) declare_texture(0, file);
    MI_CALL(mi_api_function_call, renderer_copy("textured_mtl_sh"));
    MI_CALL(mi_api_parameter_name, renderer_copy("texture"));
    give_string(texture);
    const miTag tag = MI_CALL(mi_api_function_call_end, miNULLTAG);
    MI_CALL(mi_api_shader_add, renderer_copy(shader), tag);
  }
  return shader;
}

miTag build_shader_call(const char* description, const char* call_name) {
  MI_CALL(mi_debug, "-->call shaders for %s\n", call_name ? call_name : "");
  if (description == nullptr) return miNULLTAG;
  const std::string_view text = description;
  const size_t parameter_count = static_cast<size_t>(std::count(text.begin(), text.end(), ']'));

  if (parameter_count == 0) {
    const size_t open = text.find('"');
    const size_t close = open == std::string_view::npos ? open : text.find('"', open + 1);
    if (close == std::string_view::npos) return miNULLTAG;
    const std::string shader(text.substr(open + 1, close - open - 1));
    // A shader call of that name is used as it is; a declaration of that name is called anew.
    const miTag known = lookup_in_scope(shader.c_str());
    if (known != miNULLTAG && MI_CALL(mi_db_type, known) == miSCENE_FUNCTION) return known;
    MI_CALL(mi_api_function_call, renderer_copy(shader));
    return end_call(call_name);
  }

  const std::vector<std::string_view> words = split_description(text);
  if (words.empty() || words.front().find('"') == std::string_view::npos) return miNULLTAG;
  const std::string shader = quoted_text(words.front());
  std::vector<DescriptionParameter> parameters;
  parameters.reserve(parameter_count);
  for (size_t p = 0, at = 1; p < parameter_count && at < words.size(); ++p, at += 3) {
    DescriptionParameter parameter;
    parameter.name = quoted_text(words[at]);
    const std::string code_word(at + 1 < words.size() ? words[at + 1] : std::string_view());
    if (std::sscanf(code_word.c_str(), "%i", &parameter.code) != 1) parameter.code = -1;
    const std::string_view value = at + 2 < words.size() ? words[at + 2] : std::string_view();
    if (value.find('"') != std::string_view::npos) {
      parameter.has_strings = true;
      parameter.strings = quoted_items(value);
      if (!parameter.strings.empty()) {
        if (parameter.code == CODE_COLOUR) {
          parameter.strings.front() = texture_shader(parameter.strings.front());
          parameter.code = CODE_SHADER;
        } else if (parameter.code >= CODE_COLOUR_TEXTURE && parameter.code <= CODE_VECTOR_TEXTURE) {
          parameter.strings.front() =
              declare_texture(parameter.code - CODE_COLOUR_TEXTURE, parameter.strings.front());
        }
      }
    } else {
      parameter.numbers = number_items(value);
    }
    parameters.push_back(std::move(parameter));
  }

  MI_CALL(mi_api_function_call, renderer_copy(shader));
  for (const DescriptionParameter& parameter : parameters) {
    MI_CALL(mi_debug, "-->\"%s\" ", parameter.name.c_str());
    MI_CALL(mi_api_parameter_name, renderer_copy(parameter.name));
    give_value(parameter);
  }
  return end_call(call_name);
}

}  // namespace mray
