// The keywords of "geometry" and "option" sections: geometry nodes with their transforms, skin
// binding and blend shapes, and the geometry selectors that choose between alternatives.
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "cdl/cdl_context.h"

namespace hordera::cdl {

namespace {

std::vector<std::string> words_of(const std::string& text) {
  std::vector<std::string> words;
  std::istringstream stream(text);
  std::string word;
  while (stream >> word) words.push_back(word);
  return words;
}

int axis_order_code(const std::string& word) {
  static const char* const kOrders[] = {"xyz", "xzy", "yxz", "yzx", "zxy", "zyx"};
  for (int i = 0; i < 6; ++i)
    if (word == kOrders[i]) return i;
  return -1;
}

// "rotate X Y Z [order]" or "scale X [Y Z]": each component a number or the name of one of the
// agent type's variable definitions.
void read_transform(Context& context, GeometryNode* node, const std::string& line, int kind) {
  std::vector<std::string> words =
      value_words(rest_after(line, kind == GEOMETRY_ROTATE ? "rotate" : "scale"));
  int axis_order = AXIS_ORDER_XYZ;
  if (kind == GEOMETRY_ROTATE && !words.empty() && axis_order_code(words.back()) >= 0) {
    axis_order = axis_order_code(words.back());
    words.pop_back();
  }
  if (words.empty()) return;
  if (kind == GEOMETRY_SCALE && words.size() == 1) words.assign(3, words[0]);
  auto* op = append_node(&node->transforms);
  if (!op) return;
  op->kind = kind;
  op->axis_order = axis_order;
  for (int i = 0; i < 3; ++i) {
    op->value[i] = kind == GEOMETRY_SCALE ? 1.0f : 0.0f;
    if (i >= static_cast<int>(words.size())) continue;
    const std::string& word = words[i];
    if (is_symbolic(word) && word[0] != '`') {
      op->variable[i] = copy_text(word);
      op->value[i] = 0.0f;
      Agent* type = context.current();
      for (VariableDef* def = type ? type->variable_defs : nullptr; def; def = def->next)
        if (def->name && word == def->name) op->value[i] = def->default_value;
    } else {
      op->value[i] = scan_value(context, word);
      if (word[0] == '`') op->expression[i] = copy_text(expression_text(word));
    }
  }
}

void read_attach(Context& context, GeometryNode* node, const std::string& line) {
  std::vector<std::string> names = words_of(rest_after(line, "attach"));
  if (names.empty()) return;
  int count = node->attach_count + static_cast<int>(names.size());
  auto* texts = static_cast<char**>(realloc(node->attach_names, count * sizeof(char*)));
  if (texts) node->attach_names = texts;
  auto* segments = static_cast<Segment**>(realloc(node->attach_segments, count * sizeof(Segment*)));
  if (segments) node->attach_segments = segments;
  if (!texts || !segments) return;
  for (const std::string& name : names) {
    int i = node->attach_count++;
    texts[i] = copy_text(name);
    segments[i] = findSegment(context.current(), name.c_str());
    if (segments[i]) ++node->attach_found;
  }
}

// "blend %s %s %s", "blend %s %s" and "blend %s %s radial %g %g %g".
void read_blend(Context& context, GeometryNode* node, const std::string& line) {
  std::string target, file, mode = "linear";
  float radial[3] = {0.0f, 0.0f, 0.0f};
  int items = scan(context, line, "blend %s %s %s %f %f %f",
                   {&target, &file, &mode, &radial[0], &radial[1], &radial[2]});
  if (items < 2) return;
  auto* blend = append_node(&node->blends);
  if (!blend) return;
  if (!file.empty() && file[0] == '+') file.erase(0, 1);
  blend->target = copy_text(target);
  blend->file = copy_text(file);
  blend->mode = mode == "radial"        ? BLEND_RADIAL
                : mode == "cylindrical" ? BLEND_CYLINDRICAL
                                        : BLEND_LINEAR;
  if (mode == "radial" && items == 6)
    for (int i = 0; i < 3; ++i) blend->radial[i] = radial[i];
}

}  // namespace

void open_geometry(Context& context, const std::string& name) {
  GeometryNode* node = context.geometry = open_node(context, &Agent::geometry_nodes, name);
  if (!node) return;
  node->material = -1;
  node->shade = SHADE_SMOOTH;
}

bool handle_geometry(Context& context, const std::string& line) {
  GeometryNode* node = context.geometry;
  if (!node) return false;
  if (starts(line, "disabled")) {
    node->disabled = 1;
  } else if (starts(line, "id")) {
    scan(context, line, "id %d", {&node->id});
  } else if (starts(line, "file")) {
    std::string file;
    if (scan(context, line, "file %s", {&file})) set_text(&node->file, file);
  } else if (starts(line, "translate")) {
    scan(context, line, "translate %d %d", {&node->position[0], &node->position[1]});
  } else if (starts(line, "rotate")) {
    read_transform(context, node, line, GEOMETRY_ROTATE);
  } else if (starts(line, "scale")) {
    read_transform(context, node, line, GEOMETRY_SCALE);
  } else if (starts(line, "attach")) {
    read_attach(context, node, line);
  } else if (starts(line, "material")) {
    scan(context, line, "material %d", {&node->material});
  } else if (starts(line, "subdiv")) {
    node->subdiv = 1;
  } else if (starts(line, "interpolateboundary")) {
    scan(context, line, "interpolateboundary %d", {&node->interpolateboundary});
  } else if (starts(line, "shade")) {
    if (contains(line, "constant"))
      node->shade = SHADE_CONSTANT;
    else if (contains(line, "faceted"))
      node->shade = SHADE_FACETED;
  } else if (starts(line, "flip_normals")) {
    node->flip_normals = 1;
  } else if (starts(line, "blend")) {
    read_blend(context, node, line);
  } else if (starts(line, "weights_file")) {
    std::string file;
    if (scan(context, line, "weights_file %s", {&file})) set_text(&node->weights_file, file);
  } else {
    return false;
  }
  return true;
}

void open_option(Context& context, const std::string& name) {
  OptionNode* node = context.option = open_node(context, &Agent::option_nodes, name);
  if (!node) return;
  node->source = OPTION_MANUAL;
}

bool handle_option(Context& context, const std::string& line) {
  OptionNode* node = context.option;
  if (!node) return false;
  if (starts(line, "disabled")) {
    node->disabled = 1;
  } else if (starts(line, "translate")) {
    scan(context, line, "translate %d %d", {&node->position[0], &node->position[1]});
  } else if (starts(line, "var")) {
    std::vector<std::string> words = value_words(rest_after(line, "var"), 1);
    if (!words.empty()) {
      const std::string& word = words[0];
      node->source = OPTION_VARIABLE;
      free(node->variable);
      free(node->expression);
      node->variable = node->expression = nullptr;
      if (word[0] == '`') {
        node->expression = copy_text(expression_text(word));
        node->value = scan_value(context, word);
      } else {
        node->variable = copy_text(word);
        if (UserVar* user = find_userVar(context.current(), word.c_str()))
          node->value = user->value;
      }
    }
  } else if (starts(line, "manual")) {
    if (scan(context, line, "manual %f", {&node->manual})) {
      node->source = OPTION_MANUAL;
      node->value = node->manual;
    }
  } else if (starts(line, "inputs")) {
    for (const std::string& word : words_of(rest_after(line, "inputs"))) {
      auto* ids =
          static_cast<int32_t*>(realloc(node->inputs, (node->input_count + 1) * sizeof(int32_t)));
      if (!ids) break;
      node->inputs = ids;
      ids[node->input_count++] = static_cast<int32_t>(strtol(word.c_str(), nullptr, 10));
    }
    if (node->input_count > 0) node->source = OPTION_INPUTS;
  } else if (starts(line, "geo") || starts(line, "cl")) {
    bool geometry = starts(line, "geo");
    std::string name = rest_after(line, geometry ? "geo" : "cl");
    if (!name.empty() && name[0] == '+') name.erase(0, 1);
    if (name.empty()) return true;
    auto* alternatives = static_cast<OptionAlternative*>(
        realloc(node->alternatives, (node->alternative_count + 1) * sizeof(OptionAlternative)));
    if (!alternatives) return true;
    node->alternatives = alternatives;
    OptionAlternative& alternative = alternatives[node->alternative_count++];
    alternative = OptionAlternative{};
    alternative.kind = geometry ? OPTION_GEOMETRY : OPTION_CLOTH;
    alternative.name = copy_text(name);
  } else if (starts(line, "attach")) {
    std::string name = rest_after(line, "attach");
    set_text(&node->attach_name, name);
    node->attach_segment = findSegment(context.current(), name.c_str());
  } else {
    return false;
  }
  return true;
}

void resolve_option_alternatives(Agent* type) {
  if (!type) return;
  for (OptionNode* option = type->option_nodes; option; option = option->next) {
    if (option->attach_name && !option->attach_segment)
      option->attach_segment = findSegment(type, option->attach_name);
    for (int i = 0; i < option->alternative_count; ++i) {
      OptionAlternative& alternative = option->alternatives[i];
      if (!alternative.name) continue;
      if (alternative.kind == OPTION_GEOMETRY && !alternative.geometry) {
        for (GeometryNode* g = type->geometry_nodes; g; g = g->next)
          if (g->name && strcmp(g->name, alternative.name) == 0) {
            alternative.geometry = g;
            g->selector = option;
            break;
          }
      } else if (alternative.kind == OPTION_CLOTH && !alternative.cloth) {
        for (ClothNode* c = type->cloth_nodes; c; c = c->next)
          if (c->name && strcmp(c->name, alternative.name) == 0) {
            alternative.cloth = c;
            c->selector = option;
            break;
          }
      }
    }
  }
}

}  // namespace hordera::cdl
