// The custom ("string") scene options and the C++ shader interface through which shaders read
// them.
#pragma once

#include <map>
#include <string>

#include "mray/mi_interface.h"

namespace host {

// One custom option value, as the scene's options block gives it.
struct OptionValue {
  enum class Kind { boolean, integer, scalar, string, vector, color } kind = Kind::boolean;
  bool boolean = false;
  int integer = 0;
  float scalars[4] = {0, 0, 0, 0};  // scalar (first), vector (three) or colour (four)
  std::string text;
};

// The custom options of a scene, by name.
using StringOptions = std::map<std::string, OptionValue>;

// Stores `options` as a database element (kind miSCENE_USERDATA) and returns its tag, the
// value that miOptions::string_options carries.
miTag create_string_options(const StringOptions& options);

// Number of shader interface and options objects handed out and not yet released.
int shader_interface_objects_held();

}  // namespace host
