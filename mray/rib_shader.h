// Shader calls of the RenderMan output: a material's shader descriptions turned into the name,
// tokens and values of an RiSurfaceV or RiDisplacementV call.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace mray {

// One shader call. Every token carries its type as an inline declaration ("float Kd",
// "string texturename"), so that any RIB writer can tell how many values it has.
struct RibShaderCall {
  struct Parameter {
    std::string token;
    std::vector<float> numbers;        // numeric values, or
    std::vector<std::string> strings;  // string values
  };
  std::string name;
  std::vector<Parameter> parameters;
};

// Reads a RenderMan description, as an agent file's "rman_surface" and "rman_displacement" lines
// give it: a quoted shader name, then per parameter a quoted token and its value, a number, a
// quoted string or a bracketed list of either. A token without a type gets one from its value:
// "string" for strings, "float" for one number, "color" for three, "float[n]" otherwise. False
// when there is no quoted shader name; a parameter without a value is dropped.
bool parse_rman_description(std::string_view text, RibShaderCall* call);

// Reads a material's per-pass description (a quoted shader name, then per parameter a quoted
// name, the type code and a bracketed value) for the RenderMan output: colours (code 2, three
// numbers) become "color", booleans, integers and scalars (7, 8, 9) "float", strings and image
// files (2 with a file, 6, 12, 13 to 19) "string"; shader connections (0, 21) and unknown codes
// have no RenderMan form and are dropped. False when there is no quoted shader name.
bool parse_pass_description(std::string_view text, RibShaderCall* call);

}  // namespace mray
