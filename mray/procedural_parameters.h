// The parameter string of a RenderMan procedural: "ID CDL MOTION FRAME name value ...", with
// optional words after "options" that set this path's options instead of giving pairs.
#pragma once

#include "mray/procedural_record.h"
#include "mray/rib_options.h"

namespace mray {

// Takes `text` apart into a new record (engine memory). With fewer than three words prints
// "not enough parameters\n" on standard error and returns null. A word beginning with "options"
// hands the rest of the string to read_rib_options() with `options` and `motion_blur`; when the
// reader accepts it the walk ends there, otherwise the walk goes on with the next word. `text`
// is not changed. Null when memory runs out.
ProceduralRecord* parse_procedural_parameters(const char* text, RibOptions* options,
                                              bool* motion_blur);

// Frees a record made by parse_procedural_parameters() with everything it owns; null is ignored.
void free_procedural_record(ProceduralRecord* record);

}  // namespace mray
