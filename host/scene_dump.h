// The scene database as readable text: what a plug-in handed over, in an order and number
// format that depend neither on tag numbers nor on the order in which render threads ran.
#pragma once

#include <cstdio>
#include <vector>

#include "host/render_session.h"

namespace host {

// Writes, per render, every assembly in declaration order with the objects its callback built
// (records, vertices with their vectors resolved, polygons with material names); then every
// named material with its shader calls, the named shaders, the shader declarations, the
// textures and the scene variables, each by name. Numbers are printed with "%.9g", which reads
// back to the same float.
void write_scene_dump(std::FILE* out, const std::vector<RenderReport>& renders);

}  // namespace host
