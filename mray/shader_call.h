// Shader calls built in the renderer's scene database from (expanded) shader descriptions,
// including the textures and texture shaders declared for the image files they name.
#pragma once

#include <string>

#include "mray/mi_interface.h"

namespace mray {

// Parameter type codes of a shader description.
enum DescriptionCode : int {
  CODE_SHADER = 0,   // a connection to a named shader
  CODE_COLOUR = 2,   // three numbers, or an image file that becomes a texture shader
  CODE_BOOLEAN = 7,  // one number, truncated
  CODE_INTEGER = 8,  // one number, truncated
  CODE_SCALAR = 9,   // one number
  CODE_COLOUR_TEXTURE = 13,
  CODE_SCALAR_TEXTURE = 14,
  CODE_VECTOR_TEXTURE = 15,
  CODE_SHADER_ARRAY = 21,  // a list of shader names, each handed over in the global scope
};

// Builds the shader call a description asks for and names it `call_name`; returns its tag, or 0
// when the description names no shader. A description without parameters that names a shader
// call already known in the current scope returns that call's tag and makes nothing new.
miTag build_shader_call(const char* description, const char* call_name);

// The name of the texture declared for an image file: the flattened file name with "_tex". The
// texture (0 colour, 1 scalar, 2 vector) is declared when the name is not known yet.
std::string declare_texture(int kind, const std::string& file);

// The shader to connect a colour parameter to for `file`: for an image file, a call of
// "textured_mtl_sh" reading the file's colour texture, added under the flattened file name with
// "_shd" (declared once, reused afterwards); any other name is returned as it is.
std::string texture_shader(const std::string& file);

// The tag of `name` resolved in the current scope, or 0 when it is not known.
miTag lookup_in_scope(const char* name);

}  // namespace mray
