// Brain nodes of an agent type: creation with per-kind defaults, reset, input lists, macro
// membership, fuzz membership curves and node ids.
#include "sim/brain.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unordered_map>
#include <vector>

#include "agent/agent.h"

namespace {

constexpr int kLargestNodeId = 65535;

// The brain list lives on the agent type; an instance reaches it through its type.
Agent* brain_owner(Agent* agent) {
  if (agent == nullptr) return nullptr;
  Agent* type = agent_type_of(agent);
  return type != nullptr ? type : agent;
}

char* copy_text(const char* text) {
  if (text == nullptr) return nullptr;
  const size_t length = std::strlen(text) + 1;
  auto* copy = static_cast<char*>(std::malloc(length));
  if (copy != nullptr) std::memcpy(copy, text, length);
  return copy;
}

void free_user_curve(BrainNode* node) {
  std::free(node->user_x);  // user_y lives in the same block
  node->user_x = nullptr;
  node->user_y = nullptr;
  node->user_count = 0;
}

// Clears every kind-specific field (the node's id and disabled flag stay: they belong to the
// node, not to its kind) and frees what they own.
void clear_kind_fields(BrainNode* node) {
  free_user_curve(node);
  std::free(node->channel);
  std::free(node->resolved);
  std::free(node->alt_inputs);
  std::free(node->text);
  node->channel = nullptr;
  node->resolved = nullptr;
  node->alt_inputs = nullptr;
  node->text = nullptr;
  node->target = nullptr;
  node->sub_targets[0] = node->sub_targets[1] = nullptr;
  std::memset(node->options, 0, sizeof node->options);
  std::memset(node->values, 0, sizeof node->values);
  std::memset(node->points, 0, sizeof node->points);
  std::memset(node->fuzz_extra, 0, sizeof node->fuzz_extra);
  node->setting = 0;
  node->range[0] = node->range[1] = 0.0f;
  node->weight = 0.0f;
  node->wrap = node->limit = node->inference = node->interpolation = 0;
  node->value = 0.0f;
  node->integrate = 0;
  node->rate = node->delay = node->look_ahead = 0.0f;
  node->seed = node->bounded = 0;
  node->parent_id = node->child_id = 0;
  node->first_member = nullptr;
  node->keyword_flags = 0;
}

void apply_defaults(BrainNode* node) {
  switch (node->kind) {
    case BRAIN_INPUT:
      node->options[0] = node->options[1] = 1;
      node->range[0] = 0.0f;
      node->range[1] = 1.0f;
      break;
    case BRAIN_TIMER:
      node->values[0] = 1.0f;  // rate
      node->values[1] = 0.0f;
      node->values[2] = 1.0f;
      node->options[0] = 1;
      node->options[1] = 0;
      break;
    case BRAIN_NOISE:
      node->values[0] = 0.0f;
      node->setting = 1;
      node->options[0] = 0;
      node->values[3] = 0.0f;
      break;
    case BRAIN_FUZZ:
      node->points[0] = 0.25f;
      node->points[1] = 0.5f;
      node->points[2] = 0.75f;
      node->points[3] = 0.8f;
      node->fuzz_extra[0] = 0.0f;
      node->fuzz_extra[1] = 1.0f;
      node->inference = INFERENCE_LAMBDA;
      node->wrap = 0;
      break;
    case BRAIN_AND:
      node->weight = 1.0f;
      node->options[0] = 1;
      node->options[2] = 0;
      break;
    case BRAIN_OR:
      node->weight = 1.0f;
      node->options[0] = node->options[1] = 1;
      node->options[2] = 0;
      break;
    case BRAIN_OUTPUT:
      node->range[0] = 0.0f;
      node->range[1] = 1.0f;
      node->options[0] = 1;
      break;
    default:  // defuzz (all options clear), comment, macros: nothing beyond the cleared fields
      break;
  }
}

}  // namespace

extern "C" {

const char* brain_kind_name(int kind) {
  switch (kind) {
    case BRAIN_INPUT:
      return "input";
    case BRAIN_TIMER:
      return "timer";
    case BRAIN_NOISE:
      return "noise";
    case BRAIN_FUZZ:
      return "fuzz";
    case BRAIN_AND:
      return "and";
    case BRAIN_OR:
      return "or";
    case BRAIN_DEFUZZ:
      return "defuzz";
    case BRAIN_OUTPUT:
      return "output";
    case BRAIN_COMMENT:
      return "comment";
    case BRAIN_MACRO:
    case BRAIN_MACRO2:
      return "macro";
    default:
      return "node";
  }
}

BrainNode* brain_new_node(Agent* agent, int kind) {
  Agent* owner = brain_owner(agent);
  if (owner == nullptr) return nullptr;
  auto* node = static_cast<BrainNode*>(std::calloc(1, sizeof(BrainNode)));
  if (node == nullptr) return nullptr;
  node->inputs = node->inline_inputs;
  brain_reset_node(node, kind);
  if (owner->brain == nullptr) {
    owner->brain = node;
  } else {
    BrainNode* tail = owner->brain;
    while (tail->next != nullptr) tail = tail->next;
    tail->next = node;
    node->prev = tail;
  }
  return node;
}

void brain_reset_node(BrainNode* node, int kind) {
  if (node == nullptr) return;
  node->kind = static_cast<int16_t>(kind);
  char* name = copy_text(brain_kind_name(kind));
  if (name != nullptr) {
    std::free(node->name);
    node->name = name;
  }
  clear_kind_fields(node);
  apply_defaults(node);
}

void brain_resize_inputs(BrainNode* node, int count) {
  if (node == nullptr || count < 0 || count > INT16_MAX) return;
  if (node->inputs == nullptr) node->inputs = node->inline_inputs;
  const int old_count = node->input_count;
  const bool outside = node->inputs != node->inline_inputs;
  const int kept = old_count < count ? old_count : count;
  if (count <= kBrainInlineInputs) {
    if (outside) {
      BrainNode** old = node->inputs;
      for (int i = 0; i < kept; ++i) node->inline_inputs[i] = old[i];
      std::free(old);
      node->inputs = node->inline_inputs;
    }
    for (int i = kept; i < kBrainInlineInputs; ++i) node->inline_inputs[i] = nullptr;
  } else {
    auto* list = static_cast<BrainNode**>(std::calloc(count, sizeof(BrainNode*)));
    if (list == nullptr) {
      std::fputs("AAARGH!!\n", stderr);
      return;
    }
    for (int i = 0; i < kept; ++i) list[i] = node->inputs[i];
    if (outside) std::free(node->inputs);
    node->inputs = list;
  }
  node->input_count = static_cast<int16_t>(count);
}

void brain_rebuild_macros(Agent* agent) {
  Agent* owner = brain_owner(agent);
  if (owner == nullptr) return;
  for (BrainNode* node = owner->brain; node != nullptr; node = node->next) {
    node->first_member = nullptr;
    node->next_in_macro = nullptr;
  }
  // Only the macro nodes of this list gather members: an owner reference to a node of another
  // kind, or to a node that is no longer in the list, makes no membership and is never written
  // through. The map holds each macro's last member so far, so members chain in list order.
  std::unordered_map<BrainNode*, BrainNode*> last_member;
  for (BrainNode* node = owner->brain; node != nullptr; node = node->next) {
    if (node->kind == BRAIN_MACRO || node->kind == BRAIN_MACRO2) last_member.emplace(node, nullptr);
  }
  for (BrainNode* node = owner->brain; node != nullptr; node = node->next) {
    auto found = last_member.find(node->owner_macro);
    if (found == last_member.end()) continue;
    if (found->second == nullptr) {
      found->first->first_member = node;
    } else {
      found->second->next_in_macro = node;
    }
    found->second = node;
  }
}

void brain_set_inference(BrainNode* node, int inference) {
  if (node == nullptr || inference < INFERENCE_Z || inference > INFERENCE_USER) return;
  if (node->inference == INFERENCE_USER && inference != INFERENCE_USER) free_user_curve(node);
  node->inference = static_cast<uint8_t>(inference);
}

int brain_set_user_curve(BrainNode* node, int count, const float* x, const float* membership) {
  if (node == nullptr || count < 0 || count > INT16_MAX) return 0;
  if (count > 0 && (x == nullptr || membership == nullptr)) return 0;
  free_user_curve(node);
  node->inference = INFERENCE_USER;
  if (count == 0) return 1;
  auto* block = static_cast<float*>(std::malloc(sizeof(float) * 2 * count));
  if (block == nullptr) return 0;
  std::memcpy(block, x, sizeof(float) * count);
  std::memcpy(block + count, membership, sizeof(float) * count);
  node->user_x = block;
  node->user_y = block + count;
  node->user_count = static_cast<int16_t>(count);
  return 1;
}

BrainNode* brain_find_node(Agent* agent, int id) {
  Agent* owner = brain_owner(agent);
  if (owner == nullptr) return nullptr;
  for (BrainNode* node = owner->brain; node != nullptr; node = node->next) {
    if (node->id == id) return node;
  }
  return nullptr;
}

int brain_smallest_free_id(Agent* agent) {
  Agent* owner = brain_owner(agent);
  std::vector<bool> used(kLargestNodeId + 1, false);
  if (owner != nullptr) {
    for (BrainNode* node = owner->brain; node != nullptr; node = node->next) {
      if (node->id >= 1 && node->id <= kLargestNodeId) used[node->id] = true;
    }
  }
  for (int id = 1; id <= kLargestNodeId; ++id) {
    if (!used[id]) return id;
  }
  return 0;
}

void brain_validate_ids(Agent* agent) {
  Agent* owner = brain_owner(agent);
  if (owner == nullptr) return;
  // The first node (in list order) holding a valid id keeps it; nodes with 0, an id out of
  // range or an id already held by an earlier node get the smallest id nobody keeps.
  std::vector<bool> used(kLargestNodeId + 1, false);
  std::vector<BrainNode*> renumber;
  for (BrainNode* node = owner->brain; node != nullptr; node = node->next) {
    if (node->id >= 1 && node->id <= kLargestNodeId && !used[node->id]) {
      used[node->id] = true;
    } else {
      renumber.push_back(node);
    }
  }
  int next_free = 1;
  for (BrainNode* node : renumber) {
    while (next_free <= kLargestNodeId && used[next_free]) ++next_free;
    if (next_free > kLargestNodeId) {
      node->id = 0;  // more nodes than ids: nothing left to give
      continue;
    }
    node->id = next_free;
    used[next_free] = true;
  }
}

}  // extern "C"
