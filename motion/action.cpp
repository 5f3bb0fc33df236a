// Action records and the agent's action list: creation with defaults, naming, lookup, removal,
// copying and ordering by name.
#include "motion/action.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <vector>

#include "agent/agent.h"
#include "motion/id_list.h"

namespace {

// The list that holds an agent's actions: an instance shares its type's list.
Action** action_list_of(Agent* agent) {
  Agent* type = agent_type_of(agent);
  return type ? &type->actions : nullptr;
}

char* copy_text(const char* text) {
  size_t length = std::strlen(text) + 1;
  char* copy = static_cast<char*>(std::malloc(length));
  if (copy) std::memcpy(copy, text, length);
  return copy;
}

// Links `actions` in the given order as the whole list.
void relink(Action** list, const std::vector<Action*>& actions) {
  *list = actions.empty() ? nullptr : actions.front();
  for (size_t i = 0; i < actions.size(); ++i) {
    actions[i]->prev = i > 0 ? actions[i - 1] : nullptr;
    actions[i]->next = i + 1 < actions.size() ? actions[i + 1] : nullptr;
  }
}

}  // namespace

extern "C" {

Action* newAction(Action** list) {
  Action* action = static_cast<Action*>(std::calloc(1, sizeof(Action)));
  if (!action) return nullptr;
  action->name = copy_text("");
  action->flags = ACTION_NO_RETRIGGER;
  action->rate = 1.0f;
  action->working_rate = 1.0f;
  action->enabled = 1;
  action->loop[1] = 1.0f;
  action->playback_scale = 1.0f;
  if (!list) return action;
  hordera::append_with_next_id(list, action);
  return action;
}

void action_set_name(Action* action, const char* name) {
  if (!action || !name) return;
  bool digit = std::isdigit(static_cast<unsigned char>(name[0])) != 0;
  size_t length = std::strlen(name);
  char* stored = static_cast<char*>(std::malloc(length + (digit ? 2 : 1)));
  if (!stored) return;
  char* out = stored;
  if (digit) *out++ = '_';
  std::memcpy(out, name, length + 1);
  std::free(action->name);
  action->name = stored;
}

Action* findAction(Agent* agent, const char* name) {
  Action** list = action_list_of(agent);
  if (!list || !name) return nullptr;
  for (Action* action = *list; action; action = action->next)
    if (action->name && std::strcmp(action->name, name) == 0) return action;
  return nullptr;
}

void action_free(Action* action) {
  if (!action) return;
  for (Curve* curve = action->curves; curve;) {
    Curve* next = curve->next;
    curve_free(curve);
    curve = next;
  }
  std::free(action->name);
  std::free(action);
}

void deleteAction(Action* action, Agent* agent) {
  if (!action) return;
  Action** list = action_list_of(agent);
  if (action->prev)
    action->prev->next = action->next;
  else if (list && *list == action)
    *list = action->next;
  if (action->next) action->next->prev = action->prev;
  action_free(action);
}

Action* copyAction(Action* action) {
  if (!action) return nullptr;
  Action* copy = static_cast<Action*>(std::malloc(sizeof(Action)));
  if (!copy) return nullptr;
  *copy = *action;
  copy->name = copy_text(action->name ? action->name : "");
  copy->curves = copy->transition = copy->latch = nullptr;
  // The playback record belongs to the playback of the original action.
  copy->playback_data = nullptr;
  copy->prev = copy->next = nullptr;
  Curve* tail = nullptr;
  for (Curve* curve = action->curves; curve; curve = curve->next) {
    Curve* twin = hordera::curve_copy(curve);
    if (!twin) break;
    twin->prev = tail;
    if (tail)
      tail->next = twin;
    else
      copy->curves = twin;
    tail = twin;
    if (action->transition == curve) copy->transition = twin;
    if (action->latch == curve) copy->latch = twin;
  }
  return copy;
}

void sort_actions_by_name(Agent* agent) {
  Action** list = action_list_of(agent);
  if (!list) return;
  try {
    std::vector<Action*> actions;
    for (Action* action = *list; action; action = action->next) actions.push_back(action);
    std::stable_sort(actions.begin(), actions.end(), [](const Action* a, const Action* b) {
      return std::strcmp(a->name ? a->name : "", b->name ? b->name : "") < 0;
    });
    relink(list, actions);
  } catch (const std::exception&) {
    // No memory to order the list: it stays as it was.
  }
}

int file_save_binary_actions(void* file, Agent* agent) {
  // Only the reader of the binary form exists; saving writes nothing and succeeds.
  (void)file;
  (void)agent;
  return 1;
}

}  // extern "C"
