// Textures: the renderer's texture functions. The texture element is made by the file
// definition, which returns its tag; begin only opens the definition.
#include <memory>

#include "host/database.h"
#include "host/scene_names.h"
#include "host/scene_view.h"

namespace host {
namespace {

// The texture this thread is defining, and its element once the file is given.
thread_local std::unique_ptr<TextureData> defining;
thread_local TextureData* defined = nullptr;

}  // namespace

std::string drop_open_texture() {
  if (!defining && defined == nullptr) return {};
  const std::string what =
      "the definition of texture \"" + (defining ? defining->name : defined->name) + "\"";
  defining.reset();
  defined = nullptr;
  return what;
}

const TextureData* view_texture(miTag tag) {
  return mi_db_type(tag) == miSCENE_IMAGE ? static_cast<TextureData*>(db_data(tag)) : nullptr;
}

}  // namespace host

extern "C" miTag mi_api_texture_begin(char* name, int type, int flags) {
  std::string texture_name = host::take_string(name);
  if (host::defining || host::defined != nullptr)
    host::scene_error("mi_api_texture_begin", "texture \"" + texture_name +
                                                  "\" begun before the previous definition ended");
  if (type < 0 || type > 2) {
    host::scene_error("mi_api_texture_begin",
                      "texture \"" + texture_name + "\" has kind " + std::to_string(type) +
                          " (0 colour, 1 scalar, 2 vector); colour is used");
    type = 0;
  }
  host::defined = nullptr;
  host::defining = std::make_unique<host::TextureData>();
  host::defining->name = std::move(texture_name);
  host::defining->kind = type;
  host::defining->flags = flags;
  return miNULLTAG;  // not the new texture's tag: the file definition returns that
}

extern "C" miTag mi_api_texture_file_def(char* filename) {
  std::string file = host::take_string(filename);
  if (!host::defining) {
    host::scene_error("mi_api_texture_file_def", "no texture definition is open");
    return miNULLTAG;
  }
  host::TextureData* texture = host::defining.release();
  texture->file = std::move(file);
  const miTag tag =
      host::db_create(miSCENE_IMAGE, texture, sizeof(host::TextureData),
                      [](void* data) { delete static_cast<host::TextureData*>(data); });
  host::define_name(texture->name, tag);
  host::defined = texture;
  return tag;
}

extern "C" void mi_api_texture_set_filter(miScalar filter) {
  if (host::defined != nullptr)
    host::defined->filter = filter;
  else if (host::defining)
    host::defining->filter = filter;
  else
    host::scene_error("mi_api_texture_set_filter", "no texture definition is open");
}

extern "C" void mi_api_texture_end(void) {
  if (host::defining) {
    host::scene_error("mi_api_texture_end", "texture \"" + host::defining->name +
                                                "\" ends without a file; it is dropped");
    host::defining.reset();
    return;
  }
  if (host::defined == nullptr) {
    host::scene_error("mi_api_texture_end", "no texture definition is open");
    return;
  }
  host::defined = nullptr;
}
