// Materials: the renderer's material functions.
#include <memory>

#include "host/database.h"
#include "host/scene_names.h"
#include "host/scene_view.h"

namespace host {
namespace {

// The material this thread is building, between begin and end.
thread_local std::unique_ptr<MaterialData> building;

}  // namespace

std::string drop_open_material() {
  if (!building) return {};
  const std::string what = "material \"" + building->name + "\"";
  building.reset();
  return what;
}

const MaterialData* view_material(miTag tag) {
  return mi_db_type(tag) == miSCENE_MATERIAL ? static_cast<MaterialData*>(db_data(tag)) : nullptr;
}

}  // namespace host

extern "C" miMaterial* mi_api_material_begin(char* name) {
  std::string material_name = host::take_string(name);
  if (host::building)
    host::scene_error("mi_api_material_begin", "material \"" + material_name + "\" begun while \"" +
                                                   host::building->name +
                                                   "\" is still open; the open one is dropped");
  host::building = std::make_unique<host::MaterialData>();
  host::building->name = std::move(material_name);
  return &host::building->record;
}

extern "C" miTag mi_api_material_end(void) {
  if (!host::building) {
    host::scene_error("mi_api_material_end", "no material is open");
    return miNULLTAG;
  }
  host::MaterialData* material = host::building.release();
  // A material refers to shaders by tag; a tag that is not a shader call is reported and
  // cleared, so that readers of the material never follow it.
  miTag* slots[] = {&material->record.shader,      &material->record.displace,
                    &material->record.shadow,      &material->record.volume,
                    &material->record.environment, &material->record.contour,
                    &material->record.photon,      &material->record.photonvol,
                    &material->record.lightmap,    &material->record.bsdf};
  for (miTag* slot : slots)
    if (*slot != miNULLTAG && mi_db_type(*slot) != miSCENE_FUNCTION) {
      host::scene_error("mi_api_material_end", "material \"" + material->name +
                                                   "\" refers to tag " + std::to_string(*slot) +
                                                   ", which is not a shader; it is cleared");
      *slot = miNULLTAG;
    }
  const miTag tag =
      host::db_create(miSCENE_MATERIAL, material, sizeof(host::MaterialData),
                      [](void* data) { delete static_cast<host::MaterialData*>(data); });
  host::define_name(material->name, tag);
  return tag;
}
