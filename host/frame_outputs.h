// Writing a frame's picture and interchange files, each whole or not at all.
#pragma once

#include <string>
#include <vector>

#include "host/frame_geometry.h"
#include "host/preview_renderer.h"

namespace host {

// Renders `frame` and writes it to `path` as PNG. False with `*error` set ("PATH: ...") when
// the picture cannot be made or written; no file is then left under `path`.
bool write_preview_png(const FrameGeometry& frame, const PreviewSettings& settings,
                       const std::string& path, std::string* error,
                       std::vector<std::string>* warnings);

// The bake formats, chosen by the output's extension in any letter case.
enum class BakeFormat { unknown, glb, gltf, obj };
BakeFormat bake_format(const std::string& path);

// Writes `frame` to `path` in the format of its extension: ".glb", ".gltf", or ".obj" with its
// material library beside it (the same name ending in ".mtl"). False with `*error` set when
// the format is unknown, nothing can be baked, or a file cannot be written.
bool write_bake(const FrameGeometry& frame, const std::string& path, std::string* error,
                std::vector<std::string>* warnings);

}  // namespace host
