// Reading a pose-cache file onto the scene's agents in one pass: "#spawn" lines create agents,
// "BEGIN" blocks set segment channels, sound values, value sets and variables.
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "agent/agent.h"
#include "agent/skeleton.h"
#include "base/file_buffer.h"
#include "base/number_scan.h"
#include "motion/apf.h"

hordera::ApfGroupHooks hordera::apf_group_hooks = {};

namespace {

// True for a line that ends an agent block.
bool is_empty_line(const char* line) {
  return line[0] == '\0' || std::strcmp(line, "\n") == 0 || std::strcmp(line, "\r\n") == 0;
}

// Reads numbers one after another from `text`, as "%f" would, into `values`; returns how many.
int read_numbers(const char* text, float* values, int capacity) {
  const char* text_end = text + std::strlen(text);
  int count = 0;
  while (count < capacity) {
    const char* end = nullptr;
    float value = hordera::scan_float(text, text_end, &end);
    if (end == text) break;
    values[count++] = value;
    text = end;
  }
  return count;
}

// The text after the first word of `line` (leading blanks skipped), and the word itself.
const char* split_first_word(const char* line, std::string& word) {
  while (*line == ' ' || *line == '\t') ++line;
  const char* start = line;
  while (*line && !std::isspace(static_cast<unsigned char>(*line))) ++line;
  word.assign(start, line);
  return line;
}

float* variable_slot(Agent* agent, UserVar* variable) {
  int index = 0;
  for (UserVar* v = agent->user_vars; v && v != variable; v = v->next) ++index;
  int slot = kSimValueFirstVariable + index;
  if (agent->sim_values && slot < agent->sim_value_count) return &agent->sim_values[slot];
  return nullptr;
}

void apply_value_set(Agent* agent, const char* line) {
  const char* name_start = std::strstr(line, "#:") + 2;
  std::string name;
  const char* rest = split_first_word(name_start, name);
  ValueSet* set = agent->value_sets;
  while (set && !(set->name && name == set->name)) set = set->next;
  if (!set || set->count <= 0) return;
  if (!set->values) {
    set->values = static_cast<float*>(std::calloc(static_cast<size_t>(set->count), sizeof(float)));
    if (!set->values) return;
  }
  read_numbers(rest, set->values, set->count);
}

void apply_variable(Agent* agent, const char* line) {
  char tag[64], name[1024];
  float value = 0;
  if (std::sscanf(line, "%63s %1023s %f", tag, name, &value) < 3) return;
  UserVar* variable = find_userVar(agent, name);
  if (!variable) return;
  float* slot = variable_slot(agent, variable);
  float current = slot ? *slot : variable->value;
  if (value != current || std::isnan(value) || std::isnan(current)) {
    if (slot)
      *slot = value;
    else
      variable->value = value;
    agent->changed = 1;
  }
}

void apply_segment(Agent* agent, const char* line) {
  std::string name;
  const char* rest = split_first_word(line, name);
  Segment* segment = findSegment(agent, name.c_str());
  if (!segment) return;
  float values[6];
  int count = read_numbers(rest, values, 6);
  int entries[6];
  order_unpack(segment->order, entries);
  for (int k = 0; k < count; ++k) {
    if (entries[k] >= ORDER_TX && entries[k] <= ORDER_RZ)
      segment->channels[entries[k] - 1] = values[k];
  }
}

// Applies one line of an agent block.
void apply_line(Agent* agent, const char* line) {
  std::string first;
  split_first_word(line, first);
  if (first == "sound") {
    float* s = agent->sound;
    std::sscanf(line, " sound %f %f %f %f %f %f", &s[0], &s[1], &s[2], &s[3], &s[4], &s[5]);
  } else if (std::strstr(line, "#:")) {
    apply_value_set(agent, line);
  } else if (std::strstr(line, "#v")) {
    apply_variable(agent, line);
  } else {
    apply_segment(agent, line);
  }
}

bool would_update(const Agent* agent, int create) {
  return create || agent->cache_input;
}

// The scene's agents by name, so that each "BEGIN" line finds its agent at once: the first agent
// of a name in list order, as a search of the list finds it. Built once per file read, as one
// open-addressed table of agents (no allocation per agent); agents that "#spawn" lines create
// are added as they come.
class AgentIndex {
 public:
  AgentIndex() {
    size_t count = 0;
    for (Agent* agent = root_agent; agent; agent = agent->next) ++count;
    size_t slots = 16;
    while (slots < count * 2) slots *= 2;
    slots_.assign(slots, Slot{});
    for (Agent* agent = root_agent; agent; agent = agent->next) add(agent);
  }
  void add(Agent* agent) {
    if (agent->name == nullptr) return;
    if ((used_ + 1) * 2 > slots_.size()) grow();
    insert(agent, hash(agent->name));
  }
  Agent* find(const char* name) const {
    const uint64_t h = hash(name);
    const size_t mask = slots_.size() - 1;
    for (size_t i = h & mask;; i = (i + 1) & mask) {
      const Slot& slot = slots_[i];
      if (slot.agent == nullptr) return nullptr;
      if (slot.hash == h && std::strcmp(slot.agent->name, name) == 0) return slot.agent;
    }
  }

 private:
  struct Slot {
    uint64_t hash = 0;
    Agent* agent = nullptr;
  };

  static uint64_t hash(const char* name) {
    uint64_t h = 14695981039346656037ull;  // FNV-1a
    for (const unsigned char* c = reinterpret_cast<const unsigned char*>(name); *c; ++c)
      h = (h ^ *c) * 1099511628211ull;
    return h;
  }
  // Keeps the first agent of a name: a later one of the same name is never found by name.
  void insert(Agent* agent, uint64_t h) {
    const size_t mask = slots_.size() - 1;
    for (size_t i = h & mask;; i = (i + 1) & mask) {
      Slot& slot = slots_[i];
      if (slot.agent == nullptr) {
        slot = {h, agent};
        ++used_;
        return;
      }
      if (slot.hash == h && std::strcmp(slot.agent->name, agent->name) == 0) return;
    }
  }
  void grow() {
    std::vector<Slot> old(slots_);
    slots_.assign(old.size() * 2, Slot{});
    used_ = 0;
    for (const Slot& slot : old)
      if (slot.agent) insert(slot.agent, slot.hash);
  }

  // The table's storage is kept from one read to the next: a fresh table of a large crowd would
  // cost a page fault per few agents.
  static std::vector<Slot>& storage() {
    thread_local std::vector<Slot> slots;
    return slots;
  }

  std::vector<Slot>& slots_ = storage();
  size_t used_ = 0;
};

// The name of a "BEGIN <name>" line, as sscanf's "BEGIN %8191s" takes it: any white space after
// the keyword, then the word up to the next white space. False when the line is no such line.
bool begin_line_name(const char* line, char* name) {
  if (std::strncmp(line, "BEGIN", 5) != 0) return false;
  const char* c = line + 5;
  while (std::isspace(static_cast<unsigned char>(*c))) ++c;
  size_t length = 0;
  while (c[length] && !std::isspace(static_cast<unsigned char>(c[length])) && length < 8191)
    ++length;
  if (length == 0) return false;
  std::memcpy(name, c, length);
  name[length] = '\0';
  return true;
}

// An agent that a "#spawn" line created takes its position from its first block: the root
// segment's world translation goes into entries 4, 5 and 6 of its simulation value table, which
// is made (zeroed, up to the first variable entry) when the agent has none yet.
void record_spawn_position(Agent* agent) {
  if (agent->segments == nullptr) return;
  if (agent->sim_values == nullptr) {
    agent->sim_values = static_cast<float*>(std::calloc(kSimValueFirstVariable, sizeof(float)));
    if (agent->sim_values == nullptr) return;
    agent->sim_value_count = kSimValueFirstVariable;
  }
  if (agent->sim_value_count <= kSimValuePositionX + 2) return;
  Matrix world;
  worldSpace(agent->segments, world);
  for (int i = 0; i < 3; ++i) agent->sim_values[kSimValuePositionX + i] = world[12 + i];
}

}  // namespace

extern "C" int apf_read(const char* directory, int frame, int create, int compressed) {
  char path[4096];
  apf_file_name(path, sizeof path, directory ? directory : ".", frame, compressed);
  thread_local hordera::FileBuffer in;
  if (!in.load(path, compressed != 0)) {
    for (Agent* agent = root_agent; agent; agent = agent->next) {
      if (!would_update(agent, create)) continue;
      std::fprintf(stderr, "Warning: Couldn't open APF file \"%s\"\n", path);
      std::memset(agent->motion, 0, sizeof agent->motion);
    }
    return 0;
  }

  AgentIndex agents;
  const hordera::ApfGroupHooks& groups = hordera::apf_group_hooks;
  char line[kApfLineBytes];
  char name[kApfLineBytes];
  Agent* spawned_here = nullptr;  // the agent the last "#spawn" line created
  size_t position = 0;
  while (in.next_line(position, line, sizeof line)) {
    if (begin_line_name(line, name)) {
      if (char* underscore = std::strrchr(name, '_')) *underscore = '.';
      Agent* agent = agents.find(name);
      if (!agent || agent->activity == 0 || !would_update(agent, create)) continue;
      // Blocks come in the scene's order: while this agent is read, fetch what the next one's
      // block will touch (its record was fetched one block ago) and the record of the one after,
      // so that a crowd larger than the caches costs about the same per agent as a small one.
      if (const Agent* next = agent->next) {
        __builtin_prefetch(next->name);
        __builtin_prefetch(next->segments);
        if (const Agent* after = next->next) {
          __builtin_prefetch(after);
          __builtin_prefetch(&after->name);
          __builtin_prefetch(&after->activity);
          __builtin_prefetch(&after->segments);
        }
      }
      while (in.next_line(position, line, sizeof line) && !is_empty_line(line))
        apply_line(agent, line);
      agent_pose_from_channels(agent);
      if (agent == spawned_here) record_spawn_position(agent);
      // Once its block is read, an agent the cache created is an ordinary member of the scene:
      // the mark that "#spawn" set is cleared, so a reset keeps it.
      agent->spawned = 0;
      spawned_here = nullptr;
      continue;
    }
    // Only a "#spawn" line can scan below; most lines are segment lines, so look first.
    if (std::strstr(line, "#spawn") == nullptr) continue;
    int id = 0;
    int fields = std::sscanf(line, "#spawn %8191s %d\n", name, &id);
    // A plain file acts on any line that names a group; a gzip file only on a line that names
    // the group alone. Replays of existing caches depend on this difference.
    bool acts = compressed ? fields == 1 : fields >= 1;
    if (!acts || groups.agent_name == nullptr) continue;
    const char* base = groups.agent_name(name);
    if (!base || !create) continue;
    char agent_name[kApfLineBytes + 32];
    std::snprintf(agent_name, sizeof agent_name, "%s.%d", base, id);
    if (agents.find(agent_name)) continue;
    if (Agent* agent = groups.create_agent(name, id)) {
      agent->spawned = 1;
      spawned_here = agent;
      agents.add(agent);
    }
  }
  return 1;
}
