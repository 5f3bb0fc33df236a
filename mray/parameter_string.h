// The parameter string of the geometry shader: "CDL MOTION FRAME name value name value ...".
#pragma once

#include "mray/shader_arguments.h"

namespace mray {

// Puts a render-arguments record in its initial state (id -1, frame 1, nothing else set).
void init_render_args(MrayRenderArgs* args);

// Splits `text` at white space and fills `args` (in its initial state): the CDL file, the
// motion or pose-cache file, the frame and the name/value pairs. Strings are renderer memory.
// With fewer than two words it prints "not enough parameters\n" on standard error and leaves
// `args` as it was. `text` is not changed.
void parse_parameter_string(MrayRenderArgs* args, const char* text);

// True when `word` names a pose-cache file: from its first ".apf" on it reads exactly ".apf" or
// ".apf.gz".
bool is_apf_file_name(const char* word);

// Frees every string and the pair array of `args` and the record itself (renderer memory).
void free_render_args(MrayRenderArgs* args);

}  // namespace mray
