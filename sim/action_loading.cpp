// Loading action files onto an agent (".act" text, ".act.gz" compressed text, ".actb" binary),
// the default brain node that plays a freshly loaded agent's first action, and the dispatch of
// motion imports by file extension.
#include "sim/action_loading.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "agent/agent.h"
#include "base/stream.h"
#include "motion/action.h"
#include "motion/motion_capture.h"
#include "motion/playback.h"
#include "sim/brain.h"

namespace {

bool ends_with(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

// The smallest brain node id from 1 to 65535 that no node of the agent type uses, or 0.
int smallest_free_node_id(Agent* type, const BrainNode* except) {
  for (int id = 1; id <= 65535; ++id) {
    bool used = false;
    for (BrainNode* node = type->brain; node && !used; node = node->next)
      used = node != except && node->id == id;
    if (!used) return id;
  }
  return 0;
}

// An agent type with actions but no brain gets one output node, named after its first action,
// so that the action plays as soon as the agent is simulated.
void add_default_brain_node(Agent* type) {
  if (type->brain || !type->actions) return;
  BrainNode* node = brain_new_node(type, BRAIN_OUTPUT);
  if (!node) return;
  node->position[0] = 200;
  node->position[1] = 400;
  node->id = smallest_free_node_id(type, node);
  const char* name = type->actions->name ? type->actions->name : "";
  if (char* copy = static_cast<char*>(std::malloc(std::strlen(name) + 1))) {
    std::strcpy(copy, name);
    std::free(node->name);
    node->name = copy;
  }
  node->weight = 1.0f;
}

// Reads a text action file onto the list; 0 with its message when it cannot be used.
int load_text_actions(const char* path, bool compressed, Agent* type, Action** list) {
  Stream* stream = stream_open(path, "r", compressed ? 1 : 0);
  if (!stream) {
    std::fprintf(stderr, "Action file %s could not be opened\n", path);
    return 0;
  }
  int found = actions_read_text(stream, type, list);
  stream_close(stream);
  if (!found) {
    std::fprintf(stderr, "Action file %s is invalid - does not contain actions\n", path);
    return 0;
  }
  return 1;
}

// Once actions were added: the default brain node, the playback table and kickoffs, and the
// outputs bound again (curves may have brought new channels, user variables).
void after_actions_added(Agent* agent, Agent* type) {
  add_default_brain_node(type);
  create_playbacks(agent);
  create_kickoffs(agent);
  compileOutputs(agent);
}

}  // namespace

extern "C" {

int load_action_file(Agent* agent, const char* path) {
  std::string_view name = path ? path : "";
  bool compressed = ends_with(name, ".act.gz");
  if (!ends_with(name, ".act") && !ends_with(name, ".actb") && !compressed) {
    std::fputs("act, or *.actb\n", stderr);
    return 0;
  }
  Agent* type = agent_type_of(agent);
  if (!type) {
    std::fputs("Please load an agent prior to loading an action file\n", stderr);
    return 0;
  }
  if (name.find(".actb") != std::string_view::npos) {
    if (!actions_read_binary(path, type, &type->actions)) {
      std::fprintf(stderr, "Action file %s could not be opened\n", path);
      return 0;
    }
  } else if (!load_text_actions(path, compressed, type, &type->actions)) {
    return 0;
  }
  after_actions_added(agent, type);
  return 1;
}

int agent_import_action(Agent* agent, const char* path) {
  if (!path) return 0;
  std::fprintf(stderr, "importing %s\n", path);
  std::string_view name = path;
  if (ends_with(name, ".amc") || ends_with(name, ".AMC") || ends_with(name, ".amc.gz")) {
    if (!hordera::import_amc_action(agent, path)) return 0;
    after_actions_added(agent, agent_type_of(agent));
    return 1;
  }
  if (ends_with(name, ".bvh") || ends_with(name, ".BVH")) {
    if (!hordera::import_bvh_action(agent, path)) return 0;
    after_actions_added(agent, agent_type_of(agent));
    return 1;
  }
  if (ends_with(name, ".act") || ends_with(name, ".actb") || ends_with(name, ".act.gz"))
    return load_action_file(agent, path);
  std::fputs("act, *.actb, *.amc, or *.bvh\n", stderr);
  return 0;
}

}  // extern "C"
