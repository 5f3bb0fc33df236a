// The scene options every render re-reads, kept in module globals for the per-agent driver and
// the object output.
#pragma once

#include "mray/mi_interface.h"

struct RenderRecord;

namespace mray {

// Whether the driver evaluates the previous frame too and objects carry motion data. Written
// during initialisation, read by the render threads afterwards.
extern bool motion_blur;
// The render record of the current render: its pass name (the "render_pass" option, or null)
// and renderer kind 5. Null until the first options resolution; earlier records are kept.
extern RenderRecord* current_render_pass;

// Reads the options "render_pass" and "motion_blur" from the custom options `string_options`
// into a fresh current render record and the motion-blur flag; always true.
bool resolve_options(miTag string_options);

}  // namespace mray
