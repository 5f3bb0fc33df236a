// The materials of one agent handed to the renderer: one per material of its agent type, named
// "mat_<id>_<number>", shaded by the type's per-pass shader descriptions, a default Phong call
// from the material's colours, or the shared matte shader.
#pragma once

#include "mray/mi_interface.h"

struct Agent;
struct MaterialColour;

namespace mray {

// Creates the materials of `agent` (the render agent of its type) for the render pass at `pass`
// (-1 for none): shader descriptions of that pass expanded against the agent, the matte shader
// for every material when `matte` is set. Names use `id`.
void create_materials(Agent* agent, int pass, bool matte, int id);

// Creates one material named `name` with the opaque flag and the surface and displacement shader
// tags (0 for none); returns its tag.
miTag create_material(const char* name, bool opaque, miTag surface, miTag displacement);

// The red, green and blue of a material colour for `agent`: components written as variables or
// expressions are evaluated against the agent, and a colour in model 1 (hue, saturation, value,
// each 0..1) is converted.
void material_colour_rgb(const MaterialColour& colour, Agent* agent, float rgb[3]);

// Red, green and blue of a hue (0..1, a full turn), saturation and value.
void hsv_to_rgb(float hue, float saturation, float value, float rgb[3]);

}  // namespace mray
