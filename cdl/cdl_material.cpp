// The keywords of a "material" section: colours, maps, and the shader descriptions per render
// pass.
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "cdl/cdl_context.h"
#include "sim/scene_setup.h"

namespace hordera::cdl {

namespace {

// "ambient|diffuse|specular [rgb|hsv] R G B": each component a number, a variable name or a
// backquoted expression.
void read_colour(Context& context, MaterialColour* colour, const std::string& line,
                 std::string_view keyword) {
  std::string rest = rest_after(line, keyword);
  if (starts(rest, "hsv")) {
    colour->model = COLOUR_MODEL_HSV;
    rest = rest_after(rest, "hsv");
  } else if (starts(rest, "rgb")) {
    colour->model = COLOUR_MODEL_RGB;
    rest = rest_after(rest, "rgb");
  }
  std::vector<std::string> words = value_words(rest, 3);
  for (size_t i = 0; i < words.size(); ++i) {
    colour->value[i] = scan_value(context, words[i]);
    free(colour->text[i]);
    colour->text[i] = is_symbolic(words[i]) ? copy_text(expression_text(words[i])) : nullptr;
  }
}

// The row of a material for the pass at `position`, grown as needed; null when memory runs out.
MaterialPass* pass_row(Material* material, int position) {
  if (position < 0) return &material->all_passes;
  if (position >= material->pass_count) {
    auto* rows = static_cast<MaterialPass*>(
        realloc(material->passes, (position + 1) * sizeof(MaterialPass)));
    if (!rows) return nullptr;
    for (int i = material->pass_count; i <= position; ++i) rows[i] = MaterialPass{};
    material->passes = rows;
    material->pass_count = position + 1;
  }
  return &material->passes[position];
}

// Splits "[PASS] REST": a first word that does not begin with a double quote names a render
// pass; returns the pass position (-1 for none) and leaves the rest in `rest`.
int split_pass(const std::string& text, std::string* rest, bool value_follows) {
  std::string first, after;
  size_t end = text.find_first_of(" \t");
  first = text.substr(0, end);
  after = end == std::string::npos ? std::string() : rest_after(text.substr(end), "");
  bool named = !first.empty() && first[0] != '"' && (!value_follows || !after.empty());
  if (!named) {
    *rest = text;
    return -1;
  }
  *rest = after;
  return add_render_pass(first.c_str());
}

void read_description(Context& context, Material* material, const std::string& line,
                      std::string_view keyword, bool surface) {
  std::string description;
  int position = split_pass(rest_after(line, keyword), &description, false);
  if (description.empty()) {
    report(context, "shader line has no description");
    return;
  }
  MaterialPass* row = pass_row(material, position);
  if (!row) return;
  set_text(surface ? &row->surface : &row->displacement, description);
}

void read_bound(Context& context, Material* material, const std::string& line,
                std::string_view keyword) {
  std::string value;
  int position = split_pass(rest_after(line, keyword), &value, true);
  MaterialPass* row = pass_row(material, position);
  if (row && !value.empty()) row->max_displacement = scan_value(context, value);
}

// "shininess %64s" / "roughness %64s": a number, variable or expression, kept with its text.
void read_word_value(Context& context, const std::string& line, std::string_view keyword,
                     float* value, char** text) {
  std::string word = rest_after(line, keyword);
  if (word.size() > 64) word.resize(64);
  if (word.empty()) return;
  *value = scan_value(context, word);
  set_text(text, word);
}

void read_colour_map(Context& context, Material* material, const std::string& line) {
  std::string channel, file;
  if (scan(context, line, "colour_map %s %s", {&channel, &file}) < 2) return;
  auto* map = static_cast<ColourMap*>(calloc(1, sizeof(ColourMap)));
  if (!map) return;
  map->channel = copy_text(channel);
  map->file = copy_text(file);
  ColourMap** link = &material->colour_maps;
  while (*link) link = &(*link)->next;
  *link = map;
}

}  // namespace

void open_material(Context& context, const std::string& name) {
  context.material = nullptr;
  Agent* type = ensure_object(context);
  if (!type) return;
  auto* material = static_cast<Material*>(calloc(1, sizeof(Material)));
  if (!material) return;
  material->name = name.empty() ? nullptr : copy_text(name);
  int position = 0;
  Material** link = &type->materials;
  while (*link) {
    link = &(*link)->next;
    ++position;
  }
  material->number = position;
  *link = material;
  context.material = material;
}

bool handle_material(Context& context, const std::string& line) {
  Material* material = context.material;
  if (!material) return false;
  if (starts(line, "disabled")) {
    material->disabled = 1;
  } else if (starts(line, "id")) {
    scan(context, line, "id %d", {&material->number});
  } else if (starts(line, "translate")) {
    scan(context, line, "translate %d %d", {&material->position[0], &material->position[1]});
  } else if (starts(line, "colour_map")) {
    read_colour_map(context, material, line);
  } else if (starts(line, "ambient")) {
    read_colour(context, &material->ambient, line, "ambient");
  } else if (starts(line, "diffuse")) {
    read_colour(context, &material->diffuse, line, "diffuse");
  } else if (starts(line, "specular")) {
    read_colour(context, &material->specular, line, "specular");
  } else if (starts(line, "shininess")) {
    read_word_value(context, line, "shininess", &material->shininess, &material->shininess_text);
  } else if (starts(line, "roughness")) {
    read_word_value(context, line, "roughness", &material->roughness, &material->roughness_text);
  } else if (starts(line, "shader")) {
    read_description(context, material, line, "shader", true);
  } else if (starts(line, "displacement_bounds")) {
    read_bound(context, material, line, "displacement_bounds");
  } else if (starts(line, "displacement")) {
    read_description(context, material, line, "displacement", false);
  } else if (starts(line, "displ_bounds")) {
    read_bound(context, material, line, "displ_bounds");
  } else if (starts(line, "matte")) {
    material->matte = 1;
  } else if (starts(line, "rib_include")) {
    set_text(&material->rib_include, rest_after(line, "rib_include"));
  } else if (starts(line, "ogl_program")) {
    set_text(&material->ogl_program, rest_after(line, "ogl_program"));
  } else if (starts(line, "rman_surface")) {
    set_text(&material->rman_surface, rest_after(line, "rman_surface"));
  } else if (starts(line, "rman_displacement")) {
    set_text(&material->rman_displacement, rest_after(line, "rman_displacement"));
  } else if (starts(line, "rman_shadow_surface")) {
    set_text(&material->rman_shadow_surface, rest_after(line, "rman_shadow_surface"));
  } else if (starts(line, "rman_shadow_displacement")) {
    set_text(&material->rman_shadow_displacement, rest_after(line, "rman_shadow_displacement"));
  } else {
    return false;
  }
  return true;
}

}  // namespace hordera::cdl
