// Reading a pose-cache file onto the scene's agents in one pass: "#spawn" lines create agents,
// "BEGIN" blocks set segment channels, sound values, value sets and variables.
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "agent/agent.h"
#include "agent/skeleton.h"
#include "base/stream.h"
#include "motion/apf.h"
#include "sim/scene_setup.h"

namespace {

// True for a line that ends an agent block.
bool is_empty_line(const char* line) {
  return line[0] == '\0' || std::strcmp(line, "\n") == 0 || std::strcmp(line, "\r\n") == 0;
}

// Reads numbers one after another from `text`, as "%f" would, into `values`; returns how many.
int read_numbers(const char* text, float* values, int capacity) {
  int count = 0;
  while (count < capacity) {
    char* end = nullptr;
    float value = std::strtof(text, &end);
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

}  // namespace

extern "C" int apf_read(const char* directory, int frame, int create, int compressed) {
  char path[4096];
  apf_file_name(path, sizeof path, directory ? directory : ".", frame, compressed);
  Stream* in = stream_open(path, "r", compressed);
  if (!in) {
    for (Agent* agent = root_agent; agent; agent = agent->next) {
      if (!would_update(agent, create)) continue;
      std::fprintf(stderr, "Warning: Couldn't open APF file \"%s\"\n", path);
      std::memset(agent->motion, 0, sizeof agent->motion);
    }
    return 0;
  }

  char line[kApfLineBytes];
  char name[kApfLineBytes];
  Agent* spawned_here = nullptr;  // the agent the last "#spawn" line created
  while (stream_gets(in, line, sizeof line)) {
    if (std::sscanf(line, "BEGIN %8191s\n", name) == 1) {
      if (char* underscore = std::strrchr(name, '_')) *underscore = '.';
      Agent* agent = findAgent(name);
      if (!agent || agent->activity == 0 || !would_update(agent, create)) continue;
      while (stream_gets(in, line, sizeof line) && !is_empty_line(line)) apply_line(agent, line);
      agent_pose_from_channels(agent);
      if (agent == spawned_here && agent->sim_values &&
          agent->sim_value_count > kSimValuePositionX + 2) {
        for (int i = 0; i < 3; ++i) agent->sim_values[kSimValuePositionX + i] = agent->root[3 + i];
      }
      // Once its block is read, an agent the cache created is an ordinary member of the scene:
      // the mark that "#spawn" set is cleared, so a reset keeps it.
      agent->spawned = 0;
      spawned_here = nullptr;
      continue;
    }
    int id = 0;
    int fields = std::sscanf(line, "#spawn %8191s %d\n", name, &id);
    // A plain file acts on any line that names a group; a gzip file only on a line that names
    // the group alone. Replays of existing caches depend on this difference.
    bool acts = compressed ? fields == 1 : fields >= 1;
    if (!acts) continue;
    Group* group = findGroup(name);
    if (!group || !create) continue;
    char agent_name[kApfLineBytes + 32];
    std::snprintf(agent_name, sizeof agent_name, "%s.%d", group_agent_name(group), id);
    if (findAgent(agent_name)) continue;
    if (Agent* agent = group_create_agent(group, id)) {
      agent->spawned = 1;
      spawned_here = agent;
    }
  }
  stream_close(in);
  return 1;
}
