// The keywords of an "object" section: the agent type's own settings, its variables and its
// per-render-pass entries.
#include <cstdlib>
#include <cstring>

#include "agent/skeleton.h"
#include "cdl/cdl_context.h"
#include "sim/scene_setup.h"

namespace hordera::cdl {

namespace {

constexpr float kDegreesPerRadian = 57.29578f;

// Grows the agent type's per-pass arrays to hold the pass at `position`; false when memory runs
// out.
bool reserve_pass(Agent* type, int position) {
  auto* passes = static_cast<ObjectRenderPasses*>(type->render_passes);
  if (!passes) {
    passes = static_cast<ObjectRenderPasses*>(calloc(1, sizeof(ObjectRenderPasses)));
    if (!passes) return false;
    type->render_passes = passes;
  }
  if (position < passes->count) return true;
  int count = position + 1;
  auto* set = static_cast<uint8_t*>(realloc(passes->set, count));
  if (set) passes->set = set;
  auto* flags = static_cast<uint8_t*>(realloc(passes->flags, count));
  if (flags) passes->flags = flags;
  auto* ribs = static_cast<char**>(realloc(type->rib_includes, count * sizeof(char*)));
  if (ribs) type->rib_includes = ribs;
  if (!set || !flags || !ribs) return false;
  for (int i = passes->count; i < count; ++i) {
    set[i] = 0;
    flags[i] = 0;
    ribs[i] = nullptr;
  }
  passes->count = count;
  return true;
}

// "render_pass NAME [FLAGS]": the type takes part in the pass with the flags byte (default 3:
// visible and casting shadows).
void read_render_pass(Context& context, Agent* type, const std::string& line) {
  std::string name;
  int flags = 3;
  if (scan(context, line, "render_pass %s %d", {&name, &flags}) < 1 || name.empty()) {
    report(context, "render_pass names no pass");
    return;
  }
  int position = add_render_pass(name.c_str());
  if (position < 0 || !reserve_pass(type, position)) return;
  auto* passes = static_cast<ObjectRenderPasses*>(type->render_passes);
  passes->set[position] = 1;
  passes->flags[position] = static_cast<uint8_t>(flags & 0xff);
}

// "rib_include %d %s %s": pass number from 1, pass name, file.
void read_rib_include(Context& context, Agent* type, const std::string& line) {
  int number = 0;
  std::string name, file;
  if (scan(context, line, "rib_include %d %s %s", {&number, &name, &file}) < 3 || number < 1)
    return;
  int position = 0;
  RenderPass* pass = render_passes;
  while (pass && position < number - 1) {
    pass = pass->next;
    ++position;
  }
  if (!pass || !pass->name || name != pass->name) return;
  if (!reserve_pass(type, position)) return;
  set_text(&type->rib_includes[position], file);
}

// "variables" ... "end variables": one "%s %f" line per user variable.
void read_variables_block(Context& context, Agent* type) {
  std::string raw;
  while (context.lines->next(&raw)) {
    size_t start = raw.find_first_not_of(" \t");
    if (start == std::string::npos || raw[start] == '#') continue;
    std::string line = raw.substr(start);
    if (starts(line, "end variables")) return;
    std::string name;
    float value = 0.0f;
    if (scan(context, line, "%s %f", {&name, &value}) < 2) continue;
    if (UserVar* user = new_userVar(type, name.c_str())) {
      user->value = value;
      user->defined = 1;
    }
  }
  report(context, "\"variables\" block has no \"end variables\"");
}

// "variable %s %f [%f %f]", with an optional expression between backquotes.
void read_variable_definition(Context& context, Agent* type, const std::string& line) {
  std::string name;
  float value = 0.0f, low = 0.0f, high = 0.0f;
  if (scan(context, line, "variable %s %f [%f %f]", {&name, &value, &low, &high}) < 1) return;
  std::string expression;
  size_t open = line.find('`');
  size_t close = open == std::string::npos ? open : line.find('`', open + 1);
  if (close != std::string::npos) expression = line.substr(open + 1, close - open - 1);
  new_variable_def(type, name.c_str(), value, low, high,
                   close != std::string::npos ? expression.c_str() : nullptr);
}

void set_name_field(Context& context, const std::string& line, const char* format, char** field) {
  std::string word;
  if (scan(context, line, format, {&word}) >= 1) set_text(field, word);
}

}  // namespace

void read_matrix_rows(Context& context, float* matrix) {
  std::string raw;
  for (int row = 0; row < 4; ++row) {
    if (!context.lines->next(&raw)) {
      report(context, "transform ends before its four rows");
      return;
    }
    float* r = matrix + row * 4;
    float values[4] = {r[0], r[1], r[2], r[3]};
    sscanf(raw.c_str(), "%f %f %f %f", &values[0], &values[1], &values[2], &values[3]);
    for (int i = 0; i < 4; ++i) r[i] = values[i];
  }
}

bool handle_object(Context& context, const std::string& line) {
  Agent* type = context.current();
  if (!type) return false;
  if (starts(line, "angles")) {
    if (contains(line, "radians"))
      type->angle_unit = 2;
    else if (contains(line, "degrees"))
      type->angle_unit = 1;
    else if (contains(line, "revolutions"))
      type->angle_unit = 0;
  } else if (starts(line, "bind_pose")) {
    std::string file = rest_after(line, "bind_pose");
    if (!file.empty() && file[0] == '+') file.erase(0, 1);
    set_text(&type->bind_pose_file, file);
  } else if (starts(line, "render_pass")) {
    read_render_pass(context, type, line);
  } else if (starts(line, "rib_include")) {
    read_rib_include(context, type, line);
  } else if (starts(line, "lsystem")) {
    // L-system geometry belongs to the editor.
  } else if (starts(line, "bounding_box_tolerance")) {
    scan(context, line, "bounding_box_tolerance %f", {&type->bounding_box_tolerance});
  } else if (starts(line, "bones")) {
    // The editor's bone display list.
  } else if (starts(line, "collisions")) {
    if (contains(line, "no_reaction"))
      type->collision_mode = 2;
    else if (contains(line, "none"))
      type->collision_mode = 0;
    else if (contains(line, "normal"))
      type->collision_mode = 1;
  } else if (starts(line, "colour")) {
    scan(context, line, "colour %f", {&type->colour});
  } else if (starts(line, "display")) {
    type->display_mode = contains(line, "geometry") ? 1 : 0;
  } else if (starts(line, "order")) {
    // The object's own order is the editor's; segments carry the orders that pose them.
  } else if (starts(line, "scale_var")) {
    set_name_field(context, line, "scale_var %s", &type->scale_var);
  } else if (starts(line, "thick_var")) {
    set_name_field(context, line, "thick_var %s", &type->thick_var);
  } else if (starts(line, "tx_var")) {
    set_name_field(context, line, "tx_var %s", &type->tx_var);
  } else if (starts(line, "ty_var")) {
    set_name_field(context, line, "ty_var %s", &type->ty_var);
  } else if (starts(line, "tz_var")) {
    set_name_field(context, line, "tz_var %s", &type->tz_var);
  } else if (starts(line, "ribs")) {
    // Rib count of the editor's display.
  } else if (starts(line, "transform")) {
    read_matrix_rows(context, type->transform);
  } else if (starts(line, "translate")) {
    scan(context, line, "translate %f %f %f",
         {&type->transform[12], &type->transform[13], &type->transform[14]});
  } else if (starts(line, "rotate")) {
    float angles[3] = {0.0f, 0.0f, 0.0f};
    scan(context, std::string_view(line).substr(6), " %f %f %f",
         {&angles[0], &angles[1], &angles[2]});
    float rotation[16];
    rotation_matrix_from_angles(angles[0] / kDegreesPerRadian, angles[1] / kDegreesPerRadian,
                                angles[2] / kDegreesPerRadian, kDefaultRotationOrder, rotation);
    for (int row = 0; row < 3; ++row)
      for (int column = 0; column < 3; ++column)
        type->transform[row * 4 + column] = rotation[row * 4 + column];
  } else if (starts(line, "mirror")) {
    // Mirroring is an editor operation.
  } else if (starts(line, "scale")) {
    scan(context, line, "scale %f", {&type->scale});
  } else if (starts(line, "script")) {
    set_name_field(context, line, "script %s", &type->script);
  } else if (starts(line, "dso")) {
    set_name_field(context, line, "dso %s", &type->dso);
  } else if (starts(line, "sprites")) {
    set_text(&type->sprites, rest_after(line, "sprites"));
  } else if (starts(line, "macro_style")) {
    // Display style of the brain editor.
  } else if (starts(line, "variables")) {
    read_variables_block(context, type);
  } else if (starts(line, "variable")) {
    read_variable_definition(context, type, line);
  } else if (starts(line, "vision_zplane_distance")) {
    scan(context, line, "vision_zplane_distance %f", {&type->vision_zplane_distance});
  } else if (starts(line, "vision")) {
    // Vision settings of the simulation's sensors.
  } else if (starts(line, "geo_visible")) {
    scan(context, line, "geo_visible %d", {&type->geo_visible});
  } else if (starts(line, "z_factor")) {
    scan(context, line, "z_factor %f", {&type->z_factor});
  } else if (starts(line, "movement")) {
    if (contains(line, "relative"))
      type->movement_relative = 1;
    else if (contains(line, "absolute"))
      type->movement_relative = 0;
  } else if (starts(line, "version")) {
    set_name_field(context, line, "version %s", &type->version_text);
  } else if (starts(line, "id")) {
    scan(context, line, "id %d", {&type->type_id});
  } else if (starts(line, "grunt_shader_path")) {
    // Shader search path of another renderer.
  } else {
    return false;
  }
  return true;
}

}  // namespace hordera::cdl
