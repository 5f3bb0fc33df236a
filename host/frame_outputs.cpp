// The picture and bake files of one frame.
#include "host/frame_outputs.h"

#include <algorithm>
#include <filesystem>

#include "host/gltf_writer.h"
#include "host/obj_writer.h"
#include "host/output_file.h"
#include "host/parallel_for.h"
#include "host/png_writer.h"

namespace host {

bool write_preview_png(const FrameGeometry& frame, const PreviewSettings& settings,
                       const std::string& path, std::string* error,
                       std::vector<std::string>* warnings) {
  RgbaImage image;
  std::string reason;
  std::string bytes;
  if (!render_preview(frame, settings, &image, &reason, warnings) ||
      !encode_png(image, &bytes, &reason)) {
    *error = path + ": " + reason;
    return false;
  }
  return write_file_atomically(path, bytes, error);
}

BakeFormat bake_format(const std::string& path) {
  std::string extension = std::filesystem::path(path).extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (extension == ".glb") return BakeFormat::glb;
  if (extension == ".gltf") return BakeFormat::gltf;
  if (extension == ".obj") return BakeFormat::obj;
  return BakeFormat::unknown;
}

bool write_bake(const FrameGeometry& frame, const std::string& path, std::string* error,
                std::vector<std::string>* warnings) {
  const BakeFormat format = bake_format(path);
  std::string reason;
  if (format == BakeFormat::unknown) {
    *error = path + ": unknown bake format: the name must end in .glb, .gltf or .obj";
    return false;
  }
  if (format == BakeFormat::obj) {
    const std::string mtl_path = std::filesystem::path(path).replace_extension(".mtl").string();
    std::string obj, mtl;
    if (!encode_obj(frame, std::filesystem::path(mtl_path).filename().string(), &obj, &mtl, &reason,
                    warnings, thread_count(0))) {
      *error = path + ": " + reason;
      return false;
    }
    // The library goes first, so that a complete OBJ never names a missing one.
    return write_file_atomically(mtl_path, mtl, error) && write_file_atomically(path, obj, error);
  }
  std::string bytes;
  if (!encode_gltf(frame, format == BakeFormat::glb, &bytes, &reason, warnings)) {
    *error = path + ": " + reason;
    return false;
  }
  return write_file_atomically(path, bytes, error);
}

}  // namespace host
