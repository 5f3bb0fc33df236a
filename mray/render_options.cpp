// Resolution of the scene options "render_pass" and "motion_blur" on every render.
#include "mray/render_options.h"

#include <cstring>

#include "mray/renderer_functions.h"
#include "sim/scene_setup.h"

namespace mray {

bool motion_blur = false;
RenderRecord* current_render_pass = nullptr;

bool resolve_options(miTag string_options) {
  motion_blur = true;
  // Each render gets a record of its own; the records of earlier renders stay in the list of
  // renders, so each takes a name of its own ("render", "render1", ...).
  RenderRecord* pass = new_render_record();
  current_render_pass = pass;

  const char* pass_name = nullptr;
  bool blur = false;  // a scene without the option renders without motion blur
  mi::shader_v3::Interface* interface = MI_CALL(mi_get_shader_interface, mi_ray_interface_version);
  if (interface != nullptr) {
    mi::shader_v3::Options* options = interface->getOptions(string_options);
    interface->release();
    if (options != nullptr) {
      const char* value = nullptr;
      if (options->get("render_pass", &value) && value != nullptr) pass_name = strdup(value);
      options->get("motion_blur", &blur);
      options->release();
    }
  }
  if (pass != nullptr) pass->pass_name = const_cast<char*>(pass_name);
  MI_CALL(mi_debug, "-->resolve option: render_pass name=%s", pass_name ? pass_name : "(null)");
  motion_blur = blur;
  if (pass != nullptr) pass->renderer = RENDERER_MENTAL_RAY;
  MI_CALL(mi_debug, "-->resolve option: motion_blur=%d\n", motion_blur ? 1 : 0);
  return true;
}

}  // namespace mray
