// Agent types, their segments and variables, and the agents made from them.
//
// Agent types live in one creation-ordered doubly linked list (first_agent_type ..
// last_agent_type), numbered from 1; they are never freed. Agents placed in a scene live in the
// list headed by root_agent and own their name, segments and user variables; everything else
// that describes their kind is read through their type.
#include "agent/agent.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <unordered_map>

#include "base/vecmath.h"

extern "C" {
Agent* first_agent_type = nullptr;
Agent* last_agent_type = nullptr;
Agent* root_agent = nullptr;
Agent* currentAgent = nullptr;
}

namespace {

// strdup that accepts null.
char* copy_text(const char* text) {
  return text ? strdup(text) : nullptr;
}

// Fills the fields of a fresh segment record with their defaults.
void segment_defaults(Segment* segment) {
  hordera::matrix_identity(segment->matrix);
  hordera::matrix_identity(segment->rest_matrix);
  hordera::matrix_identity(segment->last_matrix);
  segment->dof = DOF_TX | DOF_TY | DOF_TZ | DOF_RX | DOF_RY | DOF_RZ;
  segment->order = kDefaultRotationOrder;
  constexpr float inf = std::numeric_limits<float>::infinity();
  for (ChannelLimits& limit : segment->limits) {
    limit.values[0] = -inf;
    limit.values[1] = -inf;
    limit.values[2] = inf;
    limit.values[3] = inf;
    limit.soft = 0.0f;
  }
  segment->primitive = 4;  // box
  segment->kind = SEGMENT_NORMAL;
  segment->scale_factor = 1.0f;
  segment->thickness_factor = 1.0f;
}

// Appends a fresh segment record to the list given by its head and tail slots.
Segment* append_segment(Agent* agent, Segment** head, Segment** tail, const char* name) {
  if (!agent) return nullptr;
  auto* segment = static_cast<Segment*>(calloc(1, sizeof(Segment)));
  if (!segment) return nullptr;
  if (name && !(segment->name = strdup(name))) {
    free(segment);
    return nullptr;
  }
  segment_defaults(segment);
  segment->agent = agent;
  // The tail slot may be stale if a list head was set by hand; walk to the real end then.
  Segment* last = *tail;
  if (!last || last->next) {
    last = *head;
    while (last && last->next) last = last->next;
  }
  segment->prev = last;
  if (last)
    last->next = segment;
  else
    *head = segment;
  *tail = segment;
  return segment;
}

// Identity matrices and the neutral values every agent record starts with.
void agent_defaults(Agent* agent) {
  hordera::matrix_identity(agent->transform);
  hordera::matrix_identity(agent->matrix);
  hordera::matrix_identity(agent->rest_matrix);
  hordera::matrix_identity(agent->last_matrix);
  agent->scale = 1.0f;
  agent->pass_index = -1;
}

// Copies the type's segment list onto the instance, keeping the tree: parent, first child and
// next sibling are remapped to the instance's own records by list position.
bool copy_segments(Agent* type, Agent* instance) {
  int count = 0;
  for (Segment* s = type->segments; s; s = s->next) ++count;
  if (count == 0) return true;
  auto* copies = static_cast<Segment**>(calloc(count, sizeof(Segment*)));
  if (!copies) return false;
  // Position of every original segment, so that links are remapped in constant time; segments
  // outside the type's list map to null.
  std::unordered_map<const Segment*, int> positions;
  positions.reserve(static_cast<size_t>(count));
  int position = 0;
  for (const Segment* s = type->segments; s; s = s->next) positions.emplace(s, position++);
  auto map = [&](const Segment* original) -> Segment* {
    const auto found = original ? positions.find(original) : positions.end();
    return found == positions.end() ? nullptr : copies[found->second];
  };
  bool ok = true;
  int index = 0;
  Segment* previous = nullptr;
  for (Segment* s = type->segments; s; s = s->next, ++index) {
    auto* copy = static_cast<Segment*>(malloc(sizeof(Segment)));
    if (!copy) {
      ok = false;
      break;
    }
    std::memcpy(copy, s, sizeof(Segment));
    copy->name = copy_text(s->name);
    copy->agent = instance;
    copy->source = s;
    copy->prev = previous;
    copy->next = nullptr;
    if (previous)
      previous->next = copy;
    else
      instance->segments = copy;
    instance->segments_tail = copy;
    previous = copy;
    copies[index] = copy;
  }
  if (ok) {
    index = 0;
    for (Segment* s = type->segments; s; s = s->next, ++index) {
      copies[index]->parent = map(s->parent);
      copies[index]->child = map(s->child);
      copies[index]->sibling = map(s->sibling);
    }
  }
  free(copies);
  return ok;
}

bool copy_user_vars(Agent* type, Agent* instance) {
  UserVar** slot = &instance->user_vars;
  for (UserVar* v = type->user_vars; v; v = v->next) {
    auto* copy = static_cast<UserVar*>(calloc(1, sizeof(UserVar)));
    if (!copy) return false;
    *copy = *v;
    copy->name = copy_text(v->name);
    copy->next = nullptr;
    *slot = copy;
    slot = &copy->next;
  }
  return true;
}

void free_segments(Segment* segment) {
  while (segment) {
    Segment* next = segment->next;
    free(segment->name);
    free(segment);
    segment = next;
  }
}

void free_user_vars(UserVar* variable) {
  while (variable) {
    UserVar* next = variable->next;
    free(variable->name);
    free(variable);
    variable = next;
  }
}

bool is_separator(char c) {
  return c == '/' || c == '\\';
}

}  // namespace

extern "C" {

Agent* new_agent_type(const char* name) {
  auto* type = static_cast<Agent*>(calloc(1, sizeof(Agent)));
  if (!type) return nullptr;
  if (name && !(type->name = strdup(name))) {
    free(type);
    return nullptr;
  }
  agent_defaults(type);
  type->accept = 1;
  // The angle unit stays 0 (revolutions) until an "angles" line sets it, as archived agent files
  // and the brains tuned on them expect: angular channels read through it as 0.
  type->number = last_agent_type ? last_agent_type->number + 1 : 1;
  type->type_number = type->number;
  type->prev = last_agent_type;
  if (last_agent_type)
    last_agent_type->next = type;
  else
    first_agent_type = type;
  last_agent_type = type;
  return type;
}

Agent* agent_type_of(Agent* agent) {
  if (!agent) return nullptr;
  return agent->type ? agent->type : agent;
}

Agent* new_agent_instance(Agent* type) {
  if (!type) return nullptr;
  type = agent_type_of(type);
  auto* agent = static_cast<Agent*>(calloc(1, sizeof(Agent)));
  if (!agent) return nullptr;
  agent_defaults(agent);
  agent->type = type;
  agent->type_number = type->number;
  agent->number = type->number;
  agent->name = copy_text(type->name);
  agent->active = 1;
  // An agent takes part in the scene, pose caches included, from the start.
  agent->activity = 1;
  agent->accept = 1;
  // Settings read as values by the engine; the names they carry stay owned by the type.
  agent->angle_unit = type->angle_unit;
  agent->dynamics = type->dynamics;
  agent->old_format = type->old_format;
  agent->bounding_box_tolerance = type->bounding_box_tolerance;
  agent->z_factor = type->z_factor;
  agent->geo_visible = type->geo_visible;
  agent->movement_relative = type->movement_relative;
  agent->type_id = type->type_id;
  agent->vision_zplane_distance = type->vision_zplane_distance;
  agent->scale_var = type->scale_var;
  agent->thick_var = type->thick_var;
  agent->tx_var = type->tx_var;
  agent->ty_var = type->ty_var;
  agent->tz_var = type->tz_var;
  agent->colour = type->colour;
  agent->collision_mode = type->collision_mode;
  agent->display_mode = type->display_mode;
  std::memcpy(agent->transform, type->transform, sizeof(Matrix));
  agent->cdl_path = scene_relative_pathname(type->cdl_file);
  if ((type->name && !agent->name) || !copy_segments(type, agent) || !copy_user_vars(type, agent)) {
    free_segments(agent->segments);
    free_user_vars(agent->user_vars);
    free(agent->name);
    free(agent->cdl_path);
    free(agent);
    return nullptr;
  }
  // Append at the tail of the scene's agent list.
  Agent* last = root_agent;
  while (last && last->next) last = last->next;
  agent->prev = last;
  if (last)
    last->next = agent;
  else
    root_agent = agent;
  return agent;
}

void delete_agent_instance(Agent* agent) {
  if (!agent || !agent->type) return;  // agent types are never freed
  if (agent->prev)
    agent->prev->next = agent->next;
  else if (root_agent == agent)
    root_agent = agent->next;
  if (agent->next) agent->next->prev = agent->prev;
  if (currentAgent == agent) currentAgent = nullptr;
  free_segments(agent->segments);
  free_user_vars(agent->user_vars);
  free(agent->sim_values);
  free(agent->name);
  free(agent->cdl_path);
  free(agent);
}

Segment* new_segment(Agent* agent, const char* name) {
  if (!agent) return nullptr;
  return append_segment(agent, &agent->segments, &agent->segments_tail, name);
}

Segment* new_standin(Agent* agent, const char* name) {
  if (!agent) return nullptr;
  return append_segment(agent, &agent->standins, &agent->standins_tail, name);
}

Segment* findSegment(Agent* agent, const char* name) {
  if (!agent || !name) return nullptr;
  for (Segment* s = agent->segments; s; s = s->next)
    if (s->name && std::strcmp(s->name, name) == 0) return s;
  return nullptr;
}

Agent* findAgent(const char* name) {
  if (!name) return nullptr;
  for (Agent* a = root_agent; a; a = a->next)
    if (a->name && std::strcmp(a->name, name) == 0) return a;
  return nullptr;
}

UserVar* find_userVar(Agent* agent, const char* name) {
  if (!agent || !name) return nullptr;
  for (UserVar* v = agent->user_vars; v; v = v->next)
    if (v->name && std::strcmp(v->name, name) == 0) return v;
  return nullptr;
}

UserVar* new_userVar(Agent* agent, const char* name) {
  if (!agent || !name) return nullptr;
  UserVar** slot = &agent->user_vars;
  for (; *slot; slot = &(*slot)->next)
    if ((*slot)->name && std::strcmp((*slot)->name, name) == 0) return *slot;
  auto* variable = static_cast<UserVar*>(calloc(1, sizeof(UserVar)));
  if (!variable) return nullptr;
  if (!(variable->name = strdup(name))) {
    free(variable);
    return nullptr;
  }
  *slot = variable;
  return variable;
}

VariableDef* new_variable_def(Agent* agent, const char* name, float default_value, float range_min,
                              float range_max, const char* expression) {
  if (!agent || !name) return nullptr;
  auto* def = static_cast<VariableDef*>(calloc(1, sizeof(VariableDef)));
  if (!def) return nullptr;
  def->default_value = default_value;
  def->range_min = range_min;
  def->range_max = range_max;
  def->name = strdup(name);
  def->expression = copy_text(expression);
  if (!def->name || (expression && !def->expression)) {
    free(def->name);
    free(def->expression);
    free(def);
    return nullptr;
  }
  VariableDef** slot = &agent->variable_defs;
  while (*slot) slot = &(*slot)->next;
  *slot = def;
  return def;
}

char* get_relative_pathname(const char* path, const char* base) {
  if (!path) return nullptr;
  if (!base || !*base) return strdup(path);
  std::string_view p(path), b(base);
  while (b.size() > 1 && is_separator(b.back())) b.remove_suffix(1);
  if (p.size() > b.size() && p.compare(0, b.size(), b) == 0) {
    std::string_view rest = p.substr(b.size());
    // The base must end at a directory boundary: "/a/bc" is not below "/a/b".
    if (is_separator(rest.front()) || is_separator(b.back())) {
      while (!rest.empty() && is_separator(rest.front())) rest.remove_prefix(1);
      if (!rest.empty()) return strndup(rest.data(), rest.size());
    }
  }
  if (p == b) return strdup(".");
  return strdup(path);
}

char* scene_relative_pathname(const char* file) {
  if (!file) return nullptr;
  char buffer[4096];
  if (!getcwd(buffer, sizeof buffer)) return strdup(file);
  std::string absolute = file;
  if (!is_separator(file[0]) && !(file[0] != '\0' && file[1] == ':'))
    absolute = std::string(buffer) + '/' + file;
  return get_relative_pathname(absolute.c_str(), buffer);
}

}  // extern "C"
