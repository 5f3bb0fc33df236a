// The agent-file keywords that are valid in every section: objects, the opening lines of
// segments, brain nodes and other nodes, dynamics blocks, units and includes.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cdl/cdl_context.h"
#include "motion/action.h"
#include "sim/brain.h"

namespace hordera::cdl {

namespace {

// Forgets the nodes of the previous object, so that lines of a new object never reach them.
void forget_nodes(Context& context) {
  *context.segment = nullptr;
  *context.brain_node = nullptr;
  context.geometry = nullptr;
  context.cloth = nullptr;
  context.hair = nullptr;
  context.spring = nullptr;
  context.material = nullptr;
  context.option = nullptr;
  context.bone = nullptr;
  context.bind_pose_action = nullptr;
}

Agent* open_object(Context& context, const std::string& name) {
  Agent* type = new_agent_type(name.empty() ? nullptr : name.c_str());
  if (!type) {
    report(context, "out of memory creating an agent type");
    return nullptr;
  }
  *context.object = type;
  currentAgent = type;
  forget_nodes(context);
  set_text(&type->cdl_file, context.top_path);
  set_text(&type->cdl_directory, directory_of(context.top_path));
  context.made.push_back({type, false});
  return type;
}

// Unlinks an action from a doubly linked action list without freeing it.
void unlink_action(Action** list, Action* action) {
  for (Action* a = *list; a; a = a->next) {
    if (a != action) continue;
    if (action->prev)
      action->prev->next = action->next;
    else
      *list = action->next;
    if (action->next) action->next->prev = action->prev;
    action->prev = action->next = nullptr;
    return;
  }
}

void end_object(Context& context) {
  Agent* type = context.current();
  if (type) {
    if (context.bind_pose_action) {
      unlink_action(&type->actions, context.bind_pose_action);
      type->bind_pose_action = context.bind_pose_action;
    }
    resolve_option_alternatives(type);
    for (MadeType& made : context.made)
      if (made.type == type) made.finished = true;
    if (Agent* record = context.agent_record) {
      record->type = type;
      record->type_number = type->number;
      if (!record->name && type->name) record->name = strdup(type->name);
      if (!record->cdl_path) record->cdl_path = scene_relative_pathname(type->cdl_file);
    } else if (Agent* agent = new_agent_instance(type)) {
      compileOutputs(agent);
    }
  }
  *context.object = nullptr;
  currentAgent = nullptr;
  forget_nodes(context);
  *context.state = CDL_TOP;
}

int brain_kind_of(const std::string& line) {
  static const struct {
    const char* word;
    int kind;
  } kKinds[] = {
      {"fuzzy input", BRAIN_INPUT},   {"fuzzy timer", BRAIN_TIMER},
      {"fuzzy noise", BRAIN_NOISE},   {"fuzzy fuzz", BRAIN_FUZZ},
      {"fuzzy rule", BRAIN_AND},      {"fuzzy or", BRAIN_OR},
      {"fuzzy input", BRAIN_INPUT},   {"fuzzy defuzz", BRAIN_DEFUZZ},
      {"fuzzy output", BRAIN_OUTPUT}, {"fuzzy comment", BRAIN_COMMENT},
      {"fuzzy macro", BRAIN_MACRO},
  };
  int kind = 0;
  for (const auto& entry : kKinds)
    if (starts(line, entry.word)) kind = entry.kind;
  return kind;
}

void set_units(const std::string& line) {
  int unit = 1;
  if (contains(line, "inch"))
    unit = 4;
  else if (contains(line, "foot"))
    unit = 3;
  else if (contains(line, "cm"))
    unit = 2;
  set_length_unit(unit);
}

// Reads the lines of an editor block ("motion tree", "afield"), which the engine does not use, so
// that none of them is taken as a line of the section around it. The block ends at its "end ..."
// line. "end object" and the opening lines "object", "segment" and "fuzzy" also end it and are
// read again, so that a block without its end line does not swallow the rest of the object.
void skip_editor_block(Context& context) {
  if (!context.lines) return;
  std::string raw;
  while (context.lines->next(&raw)) {
    size_t start = raw.find_first_not_of(" \t");
    if (start == std::string::npos || raw[0] == '#') continue;
    std::string_view line = std::string_view(raw).substr(start);
    if (starts(line, "end object") || starts(line, "object") || starts(line, "segment") ||
        starts(line, "fuzzy")) {
      context.lines->push_back(raw);
      return;
    }
    if (starts(line, "end")) return;
  }
}

}  // namespace

Agent* ensure_object(Context& context) {
  if (Agent* type = context.current()) return type;
  return open_object(context, {});
}

void handle_top_level(Context& context, const std::string& line) {
  int& state = *context.state;
  if (starts(line, "include")) read_include(context, line);
  if (starts(line, "tree active")) {
    int active = 0;
    if (Agent* type = context.current(); type && scan(context, line, "tree active %d", {&active}))
      type->tree_active = active;
  }
  if (starts(line, "default_action")) {
    int slot = -1;
    std::string action, second;
    Agent* type = context.current();
    if (type && scan(context, line, "default_action %d %s %s", {&slot, &action, &second}) >= 2 &&
        slot >= 0 && slot <= 2) {
      set_text(&type->default_actions[slot].action, action);
      set_text(&type->default_actions[slot].second, second);
    }
  }
  // The editor's motion tree is not used at render time; its block is passed over whole.
  if (starts(line, "motion tree")) skip_editor_block(context);
  if (starts(line, "object")) {
    if (Agent* type = open_object(context, rest_after(line, "object"))) {
      state = CDL_OBJECT;
      ++*context.object_count;
      static const uint32_t kFirstNewFormat = cdl_version_number("0.996");
      if (context.version < kFirstNewFormat) type->old_format = 1;
    }
  }
  if (starts(line, "dynamics")) {
    if (state == CDL_SEGMENT)
      state = CDL_DYNAMICS_SEGMENT;
    else if (state == CDL_OBJECT)
      state = CDL_DYNAMICS_OBJECT;
    else
      state = CDL_DYNAMICS_TOP;
  }
  if (starts(line, "end object")) end_object(context);
  if (starts(line, "segment")) {
    Agent* type = ensure_object(context);
    if (type && !type->accept) {
      state = CDL_TOP;
    } else if (type) {
      Segment* segment = new_segment(type, rest_after(line, "segment").c_str());
      if (!segment) report(context, "out of memory creating a segment");
      *context.segment = segment;
      state = CDL_SEGMENT;
    }
  }
  if (starts(line, "standin")) {
    if (Agent* type = ensure_object(context))
      new_standin(type, rest_after(line, "standin").c_str());
    state = CDL_STANDIN;
  }
  if (starts(line, "fuzzy")) {
    Agent* type = ensure_object(context);
    if (type && !type->accept) {
      state = CDL_TOP;
    } else if (type) {
      int kind = brain_kind_of(line);
      BrainNode* node = nullptr;
      if (kind == 0)
        report(context, "unknown brain node kind: ", line);
      else
        node = brain_new_node(type, kind);
      *context.brain_node = node;
      context.brain_kind = kind;
      state = CDL_BRAIN_NODE;
    }
  }
  if (starts(line, "spring")) {
    open_spring(context, rest_after(line, "spring"));
    state = CDL_SPRING;
  }
  if (starts(line, "cloth")) {
    open_cloth(context, rest_after(line, "cloth"));
    state = CDL_CLOTH;
  }
  if (starts(line, "geometry") && !contains(line, "/")) {
    std::string name = rest_after(line, "geometry");
    if (!name.empty() && name[0] == '+') name.erase(0, 1);
    open_geometry(context, name);
    state = CDL_GEOMETRY;
  }
  // A cloth block's own "option %d" line names its selector; it opens no option node.
  if (starts(line, "option") && state != CDL_CLOTH) {
    open_option(context, rest_after(line, "option"));
    state = CDL_OPTION;
  }
  if (starts(line, "hair") && !starts(line, "hair_")) {
    open_hair(context, rest_after(line, "hair"));
    state = CDL_HAIR;
  }
  if (starts(line, "material") && state != CDL_CLOTH && state != CDL_GEOMETRY &&
      state != CDL_HAIR) {
    open_material(context, rest_after(line, "material"));
    state = CDL_MATERIAL;
  }
  if (starts(line, "bone ")) {
    std::string name;
    scan(context, line, "bone %s", {&name});
    open_bone(context, name);
    state = CDL_BONE;
  }
  // Attribute fields of the editor are not used at render time; their block is passed over.
  if (starts(line, "afield")) skip_editor_block(context);
  if (starts(line, "units") && state == CDL_TOP) set_units(line);
}

}  // namespace hordera::cdl
