// `hordera info AGENT.cdl [--import CLIP]...`: a readable summary of one agent type for its
// author: the skeleton as a tree, geometry with its meshes, weights and blend shapes, cloth and
// hair pieces, materials, variables, brain nodes, actions (and clips imported for the look, with
// their length), render passes, and every warning the engine printed while reading it.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "agent/agent.h"
#include "agent/geometry.h"
#include "agent/mesh.h"
#include "agent/nodes.h"
#include "agent/skeleton.h"
#include "cdl/cdl.h"
#include "cli/commands.h"
#include "motion/action.h"
#include "motion/curve.h"
#include "sim/action_loading.h"
#include "sim/brain.h"
#include "sim/scene_setup.h"

namespace {

const char* text_or(const char* text, const char* fallback) {
  return text != nullptr && text[0] != '\0' ? text : fallback;
}

// Runs `work` with the engine's standard error captured, and returns what it printed.
template <typename Work>
std::string capture_engine_messages(Work&& work) {
  std::fflush(stderr);
  std::FILE* sink = std::tmpfile();
  const int saved = sink != nullptr ? dup(2) : -1;
  if (sink == nullptr || saved < 0 || dup2(fileno(sink), 2) < 0) {
    if (sink != nullptr) std::fclose(sink);
    if (saved >= 0) close(saved);
    work();  // cannot capture: the messages go to the terminal directly
    return {};
  }
  work();
  std::fflush(stderr);
  dup2(saved, 2);
  close(saved);
  std::string text;
  std::rewind(sink);
  char buffer[4096];
  size_t got;
  while ((got = std::fread(buffer, 1, sizeof buffer, sink)) > 0) text.append(buffer, got);
  std::fclose(sink);
  return text;
}

std::string order_text(int32_t order) {
  static const char* const kChannels[7] = {"?", "tx", "ty", "tz", "rx", "ry", "rz"};
  int entries[6];
  order_unpack(order, entries);
  std::string text;
  for (int entry : entries) {
    if (!text.empty()) text += ' ';
    text += kChannels[entry >= 1 && entry <= 6 ? entry : 0];
  }
  return text;
}

std::string dof_text(uint8_t dof) {
  static const char* const kNames[6] = {"tx", "ty", "tz", "rx", "ry", "rz"};
  std::string text;
  for (int bit = 0; bit < 6; ++bit)
    if (dof & (1 << bit)) text += std::string(text.empty() ? "" : " ") + kNames[bit];
  return text.empty() ? "none" : text;
}

// Deeper levels than this are not indented further but marked with their depth, so that a long
// chain of segments neither runs off the screen nor makes the output grow with its square.
constexpr int kMaxIndentDepth = 32;

// The tree below `root` (and its siblings) in depth-first order, children indented under their
// parent. Walked with an explicit stack, so a deep skeleton cannot exhaust the call stack.
void print_segment_tree(const Segment* root) {
  std::vector<std::pair<const Segment*, int>> pending;
  if (root != nullptr) pending.emplace_back(root, 0);
  while (!pending.empty()) {
    auto [segment, depth] = pending.back();
    pending.pop_back();
    if (segment->sibling != nullptr) pending.emplace_back(segment->sibling, depth);
    if (segment->child != nullptr) pending.emplace_back(segment->child, depth + 1);
    const std::string deep =
        depth > kMaxIndentDepth ? "[depth " + std::to_string(depth) + "] " : "";
    std::printf("  %*s%s%s  order %s  dof %s (%d)%s\n", std::min(depth, kMaxIndentDepth) * 2, "",
                deep.c_str(), text_or(segment->name, "?"), order_text(segment->order).c_str(),
                dof_text(segment->dof).c_str(), segment->dof,
                segment->disabled ? "  disabled" : "");
  }
}

void print_segments(Agent* type) {
  int count = 0;
  for (Segment* s = type->segments; s != nullptr; s = s->next) ++count;
  std::printf("segments: %d\n", count);
  for (Segment* s = type->segments; s != nullptr; s = s->next)
    if (s->parent == nullptr) print_segment_tree(s);
  int bones = 0;
  for (Bone* bone = type->bones; bone != nullptr; bone = bone->next) ++bones;
  if (bones > 0) {
    std::printf("bones (deformers): %d\n", bones);
    int position = 0;
    for (Bone* bone = type->bones; bone != nullptr; bone = bone->next, ++position)
      std::printf("  %d %s\n", position,
                  text_or(bone->segment ? bone->segment->name : bone->name, "?"));
  }
}

const char* blend_mode_name(int32_t mode) {
  switch (mode) {
    case BLEND_RADIAL:
      return "radial";
    case BLEND_CYLINDRICAL:
      return "cylindrical";
    default:
      return "linear";
  }
}

void print_geometry(Agent* type) {
  int count = 0;
  for (GeometryNode* g = type->geometry_nodes; g != nullptr; g = g->next) ++count;
  std::printf("geometry: %d\n", count);
  for (GeometryNode* g = type->geometry_nodes; g != nullptr; g = g->next) {
    std::printf("  %s%s\n", text_or(g->name, "(unnamed)"), g->disabled ? "  disabled" : "");
    std::printf("    file %s", text_or(g->file, "(none)"));
    if (const Mesh* mesh = g->mesh) {
      std::printf(": %d vertices, %d polygons%s%s%s\n", mesh->point_count, mesh->polygon_count,
                  (mesh->flags & MESH_HAS_NORMALS) ? ", normals" : "",
                  (mesh->flags & MESH_HAS_TEXTURE) ? ", texture coordinates" : "",
                  mesh->kind == MESH_SUBDIVISION ? ", subdivision surface" : "");
    } else {
      std::printf(": not loaded\n");
    }
    if (g->attach_count > 0) {
      std::printf("    attach");
      for (int32_t i = 0; i < g->attach_count; ++i)
        std::printf(" %s%s", text_or(g->attach_names ? g->attach_names[i] : nullptr, "?"),
                    g->attach_segments && g->attach_segments[i] ? "" : " (no such segment)");
      std::printf("\n");
    }
    if (g->weights_file != nullptr) {
      if (g->weights != nullptr)
        std::printf("    weights %s: %d deformer arrays, %d influences%s\n", g->weights_file,
                    g->weight_array_count, g->influence_count,
                    g->bones ? ", skinned" : ", no non-zero weights");
      else
        std::printf("    weights %s: not read\n", g->weights_file);
    }
    for (BlendShape* b = g->blends; b != nullptr; b = b->next)
      std::printf("    blend shape %s (%s) from %s: %s\n", text_or(b->target, "?"),
                  blend_mode_name(b->mode), text_or(b->file, "?"), b->data ? "loaded" : "no data");
    int operations = 0;
    for (GeometryTransform* t = g->transforms; t != nullptr; t = t->next) ++operations;
    if (operations > 0) std::printf("    transform operations: %d\n", operations);
    if (g->material >= 0) std::printf("    material %d\n", g->material);
    if (g->selector != nullptr)
      std::printf("    alternative of selector %s\n", text_or(g->selector->name, "(unnamed)"));
  }
  for (OptionNode* o = type->option_nodes; o != nullptr; o = o->next) {
    std::printf("geometry selector %s: %d alternatives", text_or(o->name, "(unnamed)"),
                o->alternative_count);
    if (o->variable != nullptr) std::printf(", variable %s", o->variable);
    std::printf("\n");
    for (int32_t i = 0; i < o->alternative_count; ++i) {
      const OptionAlternative& a = o->alternatives[i];
      const bool found = a.kind == OPTION_GEOMETRY ? a.geometry != nullptr : a.cloth != nullptr;
      std::printf("  %d %s %s%s\n", i, a.kind == OPTION_GEOMETRY ? "geometry" : "cloth",
                  text_or(a.name, "?"), found ? "" : " (not found)");
    }
  }
}

void print_cloth_and_hair(Agent* type) {
  int count = 0;
  for (ClothNode* c = type->cloth_nodes; c != nullptr; c = c->next) ++count;
  std::printf("cloth: %d\n", count);
  int position = 0;
  for (ClothNode* c = type->cloth_nodes; c != nullptr; c = c->next, ++position) {
    // Unnamed pieces are called "cloth<position>" in cache file names.
    std::printf("  %s", c->name != nullptr && c->name[0] != '\0'
                            ? c->name
                            : ("cloth" + std::to_string(position)).c_str());
    if (c->geo != nullptr)
      std::printf(": mesh %s", c->geo);
    else
      std::printf(": grid %d x %d points, %g x %g", c->grid_columns, c->grid_rows, c->grid_width,
                  c->grid_height);
    if (c->material >= 0) std::printf(", material %d", c->material);
    if (c->attach_name != nullptr) std::printf(", attached to %s", c->attach_name);
    if (c->selector != nullptr)
      std::printf(", alternative of selector %s", text_or(c->selector->name, "(unnamed)"));
    std::printf("%s\n", c->disabled ? ", disabled" : "");
  }
  count = 0;
  for (HairNode* h = type->hair_nodes; h != nullptr; h = h->next) ++count;
  std::printf("hair: %d\n", count);
  position = 0;
  for (HairNode* h = type->hair_nodes; h != nullptr; h = h->next, ++position) {
    std::printf("  %s: radius %g at the root, %g at the tip, density %g",
                h->name != nullptr && h->name[0] != '\0'
                    ? h->name
                    : ("hair" + std::to_string(position)).c_str(),
                h->root_radius, h->tip_radius, h->density);
    if (h->vertices_number >= 2) std::printf(", %d vertices per strand", h->vertices_number);
    if (h->clump_ratio != 0) std::printf(", clumping %g (rate %g)", h->clump_ratio, h->clump_rate);
    if (h->material >= 0) std::printf(", material %d", h->material);
    if (h->attach_name != nullptr) std::printf(", attached to %s", h->attach_name);
    std::printf("%s\n", h->disabled ? ", disabled" : "");
  }
}

void print_colour(const char* label, const MaterialColour& c) {
  std::printf(" %s %s(%g %g %g)", label, c.model == COLOUR_MODEL_HSV ? "hsv" : "rgb", c.value[0],
              c.value[1], c.value[2]);
}

void print_materials(Agent* type) {
  int count = 0;
  for (Material* m = type->materials; m != nullptr; m = m->next) ++count;
  std::printf("materials: %d\n", count);
  for (Material* m = type->materials; m != nullptr; m = m->next) {
    std::printf("  %d %s:", m->number, text_or(m->name, "(unnamed)"));
    print_colour("ambient", m->ambient);
    print_colour("diffuse", m->diffuse);
    print_colour("specular", m->specular);
    std::printf("%s\n", m->matte ? " matte" : "");
  }
}

void print_variables(Agent* type) {
  int count = 0;
  for (UserVar* v = type->user_vars; v != nullptr; v = v->next) ++count;
  std::printf("variables: %d\n", count);
  for (UserVar* v = type->user_vars; v != nullptr; v = v->next)
    std::printf("  %s = %g%s\n", text_or(v->name, "?"), v->value, v->defined ? "" : " (not set)");
  for (VariableDef* d = type->variable_defs; d != nullptr; d = d->next) {
    std::printf("  definition %s: default %g, range %g to %g", text_or(d->name, "?"),
                d->default_value, d->range_min, d->range_max);
    if (d->expression != nullptr) std::printf(", expression `%s`", d->expression);
    std::printf("\n");
  }
}

void print_brain(Agent* type) {
  static const std::map<int, const char*> kKinds = {
      {BRAIN_INPUT, "input"},   {BRAIN_TIMER, "timer"},   {BRAIN_NOISE, "noise"},
      {BRAIN_FUZZ, "fuzz"},     {BRAIN_AND, "rule"},      {BRAIN_OR, "or"},
      {BRAIN_DEFUZZ, "defuzz"}, {BRAIN_OUTPUT, "output"}, {BRAIN_COMMENT, "comment"},
      {BRAIN_MACRO, "macro"},   {BRAIN_MACRO2, "macro"}};
  std::map<std::string, int> counts;
  int total = 0;
  for (BrainNode* n = type->brain; n != nullptr; n = n->next, ++total) {
    const auto kind = kKinds.find(n->kind);
    counts[kind != kKinds.end() ? kind->second : "kind " + std::to_string(n->kind)]++;
  }
  std::printf("brain nodes: %d", total);
  const char* separator = " (";
  for (const auto& [kind, count] : counts) {
    std::printf("%s%s %d", separator, kind.c_str(), count);
    separator = ", ";
  }
  std::printf("%s\n", total > 0 ? ")" : "");
}

// The most keys any curve of the action has: an imported clip's length in frames.
int action_length(const Action* action) {
  int keys = 0;
  for (Curve* c = action->curves; c != nullptr; c = c->next)
    if (c->points != nullptr) keys = std::max(keys, c->points->count);
  return keys;
}

void print_action(const Action* action, const char* label) {
  int curves = 0;
  for (Curve* c = action->curves; c != nullptr; c = c->next) ++curves;
  std::printf("  %s%s: %d curves, rate %g\n", label, text_or(action->name, "(unnamed)"), curves,
              action->rate);
  for (Curve* c = action->curves; c != nullptr; c = c->next)
    std::printf("    %s: %d keys\n",
                text_or(c->points ? c->points->channel : nullptr, "(no channel)"),
                c->points ? c->points->count : 0);
}

void print_actions(Agent* type) {
  int count = 0;
  for (Action* a = type->actions; a != nullptr; a = a->next) ++count;
  std::printf("actions: %d\n", count);
  for (Action* a = type->actions; a != nullptr; a = a->next) print_action(a, "");
  if (type->bind_pose_action != nullptr) print_action(type->bind_pose_action, "bind pose ");
  if (type->bind_pose_file != nullptr) std::printf("  bind pose file %s\n", type->bind_pose_file);
}

void print_render_passes(Agent* type) {
  const auto* passes = static_cast<const ObjectRenderPasses*>(type->render_passes);
  int listed = 0;
  if (passes != nullptr)
    for (int32_t i = 0; i < passes->count; ++i) listed += passes->set && passes->set[i] ? 1 : 0;
  std::printf("render passes: %d\n", listed);
  if (passes == nullptr) return;
  int position = 0;
  for (RenderPass* pass = render_passes; pass != nullptr; pass = pass->next, ++position) {
    if (position >= passes->count || passes->set == nullptr || !passes->set[position]) continue;
    const uint8_t flags = passes->flags ? passes->flags[position] : 0;
    std::printf("  %s: flags %d (%s%s%s)\n", text_or(pass->name, "?"), flags,
                (flags & 1) ? "visible" : "hidden", (flags & 2) ? ", casts shadows" : "",
                (flags & 4) ? ", matte" : "");
  }
}

int run_info(const std::string& path, const std::vector<std::string>& clips) {
  if (access(path.c_str(), R_OK) != 0) {
    std::fprintf(stderr, "hordera info: cannot open \"%s\": %s\n", path.c_str(),
                 std::strerror(errno));
    return 1;
  }
  Agent* type = nullptr;
  const std::string messages = capture_engine_messages([&] {
    type = load_agent_type(path.c_str());
    if (type != nullptr) agent_load_geometry(type);
  });
  // Clips to import onto the type, each reported with its length (or why it failed).
  std::vector<std::string> imported;
  for (const std::string& clip : clips) {
    if (type == nullptr) break;
    const Action* last = type->actions;
    while (last != nullptr && last->next != nullptr) last = last->next;
    int done = 0;
    std::string said =
        capture_engine_messages([&] { done = agent_import_action(type, clip.c_str()); });
    const Action* added = last != nullptr ? last->next : type->actions;
    std::string entry = done && added != nullptr
                            ? clip + ": action " + text_or(added->name, "(unnamed)") + ", " +
                                  std::to_string(action_length(added)) + " frames"
                            : clip + ": not imported";
    // The "importing" line is the command's own echo; the rest are the clip's warnings.
    if (said.rfind("importing ", 0) == 0) said.erase(0, said.find('\n') + 1);
    for (size_t start = 0; start < said.size();) {
      size_t end = said.find('\n', start);
      if (end == std::string::npos) end = said.size();
      entry += "\n    " + said.substr(start, end - start);
      start = end + 1;
    }
    imported.push_back(entry);
  }
  if (type == nullptr) {
    std::fputs(messages.c_str(), stderr);
    std::fprintf(stderr, "hordera info: \"%s\" holds no agent type that could be read\n",
                 path.c_str());
    return 1;
  }
  std::printf("agent type %s (number %d) from %s\n", text_or(type->name, "(unnamed)"), type->number,
              path.c_str());
  if (type->version_text != nullptr) std::printf("version %s\n", type->version_text);
  print_segments(type);
  print_geometry(type);
  print_cloth_and_hair(type);
  print_materials(type);
  print_variables(type);
  print_brain(type);
  print_actions(type);
  if (!clips.empty()) {
    std::printf("imported clips: %zu\n", clips.size());
    for (const std::string& line : imported) std::printf("  %s\n", line.c_str());
  }
  print_render_passes(type);
  if (messages.empty()) {
    std::printf("warnings: none\n");
  } else {
    std::printf("warnings:\n");
    size_t start = 0;
    while (start < messages.size()) {
      size_t end = messages.find('\n', start);
      if (end == std::string::npos) end = messages.size();
      std::printf("  %.*s\n", static_cast<int>(end - start), messages.c_str() + start);
      start = end + 1;
    }
  }
  return 0;
}

}  // namespace

void add_info_command(CLI::App& app) {
  CLI::App* command = app.add_subcommand(
      "info",
      "Summarise an agent file: skeleton, geometry, weights, blend shapes, cloth, hair, "
      "materials, variables, brain, actions, imported clips, render passes and the reader's "
      "warnings.");
  auto path = std::make_shared<std::string>();
  auto clips = std::make_shared<std::vector<std::string>>();
  command->add_option("agent", *path, "the agent file (.cdl)")->required();
  command->add_option("--import", *clips,
                      "motion clips (.amc, .amc.gz, .bvh, .act, .actb) to import onto the agent "
                      "type first; each is listed with its length");
  command->callback([path, clips] { command_exit_status = run_info(*path, *clips); });
}
