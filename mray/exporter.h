// The exporter: one "hordera_mray" geometry-shader instance block per active agent of the current
// frame, written into a scene-description file.
#pragma once

#include <cstdio>

struct Agent;
struct RenderRecord;

extern "C" {

// Writes the instance block of every active agent of the scene's agent list, in list order, for
// `frame`. `render` gives the simulation output directory and its kind, and the cloth and hair
// directories (null: no directories and APF output); with `packaged` non-zero every file is named
// in the packaging directory "$TMP/hordera/" instead. Returns the number of blocks written, or
// -1 when `out` is null.
int export_instances(std::FILE* out, const RenderRecord* render, int frame, int packaged);

// The words of one agent's parameter string (without the surrounding quotes) as
// export_instances writes them, allocated with malloc; null when memory runs out.
char* export_parameter_string(const Agent* agent, const RenderRecord* render, int frame,
                              int packaged);

// The agent's box over its posed segments (its world position when it has none), widened by its
// bounding_box_tolerance on every side.
void export_agent_box(const Agent* agent, float min[3], float max[3]);

}  // extern "C"
