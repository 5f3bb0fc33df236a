// The agent-file reader: file checks, the line loop with its section states, and the finishing
// work after a read (input references of brain nodes, node ids, output bindings).
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "cdl/cdl_context.h"

namespace hordera::cdl {

namespace {

// Files nested deeper than this through "include" are not read.
constexpr int kMaxIncludeDepth = 32;
// At most this many files are opened through "include" in one read.
constexpr int kMaxIncludedFiles = 1000;

// The name under which a file is recognised when it is included again: its resolved path when
// it exists, else the path as given.
std::string resolved_name(const std::string& path) {
  char* real = realpath(path.c_str(), nullptr);
  if (!real) return path;
  std::string name(real);
  free(real);
  return name;
}

bool has_agent_file_extension(const std::string& path) {
  auto ends_with = [&](const char* extension) {
    size_t n = strlen(extension);
    return path.size() >= n && path.compare(path.size() - n, n, extension) == 0;
  };
  return ends_with(".cdl") || ends_with(".cdle") || ends_with(".act");
}

// The version header: "# CDL created with trud v%s" or "# CDL created with hordera v%s". Blanks
// may stand before the "v" of a trud header and before the version word of either; a header
// whose version cannot be read gives version 0.
void read_version_header(Context& context, const std::string& line) {
  static const char kTrud[] = "# CDL created with trud ";
  static const char kHordera[] = "# CDL created with hordera v";
  size_t at = std::string::npos;
  if (starts(line, kTrud)) {
    size_t v = line.find_first_not_of(" \t", strlen(kTrud));
    if (v != std::string::npos && line[v] == 'v') at = v + 1;
  } else if (starts(line, kHordera)) {
    at = strlen(kHordera);
  }
  std::string word;
  if (at != std::string::npos) {
    size_t start = line.find_first_not_of(" \t", at);
    if (start != std::string::npos)
      word = line.substr(start, line.find_first_of(" \t", start) - start);
  }
  context.version = cdl_version_number(word.c_str());
}

// Hands the line to the keywords of the section now in force.
void handle_section(Context& context, const std::string& line) {
  switch (*context.state) {
    case CDL_OBJECT:
      handle_object(context, line);
      break;
    case CDL_SEGMENT:
      handle_segment(context, line);
      break;
    case CDL_BRAIN_NODE:
      handle_brain(context, line);
      break;
    case CDL_DYNAMICS_TOP:
    case CDL_DYNAMICS_OBJECT:
    case CDL_DYNAMICS_SEGMENT:
      handle_dynamics(context, line);
      break;
    case CDL_SPRING:
      handle_spring(context, line);
      break;
    case CDL_CLOTH:
      handle_cloth(context, line);
      break;
    case CDL_GEOMETRY:
      handle_geometry(context, line);
      break;
    case CDL_OPTION:
      handle_option(context, line);
      break;
    case CDL_BONE:
      handle_bone(context, line);
      break;
    case CDL_MATERIAL:
      handle_material(context, line);
      break;
    case CDL_HAIR:
      handle_hair(context, line);
      break;
    default:
      break;
  }
}

// Resolves the input ids of brain nodes read in this read to node references.
void resolve_brain_inputs(Context& context) {
  for (PendingInputs& pending : context.pending_inputs) {
    std::vector<BrainNode*> found;
    for (int id : pending.ids)
      if (BrainNode* input = brain_find_node(pending.agent, id)) found.push_back(input);
    if (found.empty()) continue;
    brain_resize_inputs(pending.node, static_cast<int>(found.size()));
    if (pending.node->input_count != static_cast<int>(found.size())) continue;
    for (size_t i = 0; i < found.size(); ++i) pending.node->inputs[i] = found[i];
  }
  context.pending_inputs.clear();
}

// Work done once per agent type after the read: node references, ids, outputs.
void finish_types(Context& context) {
  resolve_brain_inputs(context);
  for (const MadeType& made : context.made) {
    Agent* type = made.type;
    for (BrainNode* node = type->brain; node; node = node->next)
      if (node->parent_id != 0 && node->parent_id != node->id)
        node->owner_macro = brain_find_node(type, node->parent_id);
    brain_validate_ids(type);
    brain_rebuild_macros(type);
    resolve_option_alternatives(type);
    compileOutputs(type);
  }
}

}  // namespace

int read_file(Context& context, const std::string& path) {
  if (!has_agent_file_extension(path)) {
    fprintf(stderr, "cdl or .act\n");
    return 0;
  }
  // A directory opens as a file here but can never be read as one.
  struct stat info;
  const bool directory = stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
  FILE* file = directory ? nullptr : fopen(path.c_str(), "r");
  if (!file) {
    fprintf(stderr, "Couldn't open cdl file \"%s\"\n", path.c_str());
    return 0;
  }
  std::unique_ptr<FILE, int (*)(FILE*)> closer(file, fclose);
  LineSource lines(file);
  std::string saved_path = context.path;
  LineSource* saved_lines = context.lines;
  context.path = path;
  context.lines = &lines;
  context.open_files.push_back(resolved_name(path));
  ++context.include_depth;

  std::string raw;
  while (lines.next(&raw)) {
    if (starts(raw, "# CDL created with trud ") || starts(raw, "# CDL created with hordera v"))
      read_version_header(context, raw);
    if (!raw.empty() && raw[0] == '#') continue;
    size_t start = raw.find_first_not_of(" \t");
    if (start == std::string::npos) continue;
    std::string line = raw.substr(start);
    handle_top_level(context, line);
    handle_section(context, line);
  }

  --context.include_depth;
  context.open_files.pop_back();
  context.path = saved_path;
  context.lines = saved_lines;
  return 1;
}

// "include": reads another file into the current agent type. A relative path is taken from the
// directory of the current agent type's file.
void read_include(Context& context, const std::string& line) {
  std::string target = rest_after(line, "include");
  if (target.empty()) {
    report(context, "include names no file");
    return;
  }
  bool absolute = target[0] == '/' || (target.size() > 1 && target[1] == ':');
  if (!absolute) {
    Agent* agent = context.current();
    std::string directory =
        agent && agent->cdl_directory ? agent->cdl_directory : directory_of(context.top_path);
    target = directory + '/' + target;
  }
  if (context.include_depth >= kMaxIncludeDepth) {
    report(context, "includes nested too deeply, not reading ", target);
    return;
  }
  std::string name = resolved_name(target);
  for (const std::string& open : context.open_files) {
    if (open == name) {
      report(context, "include of a file that is being read, not reading ", target);
      return;
    }
  }
  if (context.included_files >= kMaxIncludedFiles) {
    report(context, "too many included files, not reading ", target);
    return;
  }
  ++context.included_files;
  if (Agent* agent = context.current()) set_text(&agent->include_path, target);
  read_file(context, target);
}

}  // namespace hordera::cdl

using namespace hordera::cdl;

extern "C" int read_cdl_file(const char* path, Agent** object, Segment** segment,
                             BrainNode** brain_node, int* state, int* object_count, Agent* agent,
                             uint32_t* version) {
  if (!path || !object || !segment || !brain_node || !state || !object_count) return 0;
  Context context;
  context.object = object;
  context.segment = segment;
  context.brain_node = brain_node;
  context.state = state;
  context.object_count = object_count;
  context.agent_record = agent;
  context.top_path = path;
  if (*object) context.made.push_back({*object, false});
  int result = 0;
  try {
    result = read_file(context, path);
    if (result) finish_types(context);
  } catch (const std::exception& error) {
    fprintf(stderr, "%s: out of memory while reading the agent file\n", path);
    result = 0;
  }
  if (version) *version = context.version;
  return result;
}

extern "C" Agent* load_agent_type(const char* path) {
  if (!path) return nullptr;
  Agent* object = nullptr;
  Segment* segment = nullptr;
  BrainNode* brain_node = nullptr;
  int state = CDL_TOP;
  int count = 0;
  uint32_t version = 0;
  Agent* before = last_agent_type;
  Agent* saved_current = currentAgent;
  if (!read_cdl_file(path, &object, &segment, &brain_node, &state, &count, nullptr, &version)) {
    currentAgent = saved_current;
    return nullptr;
  }
  currentAgent = saved_current;
  if (last_agent_type == before) {
    fprintf(stderr, "%s: no agent type in the file\n", path);
    return nullptr;
  }
  Agent* type = last_agent_type;
  // "end object" clears the current object: one still open means the file was cut short.
  if (object != nullptr)
    fprintf(stderr, "%s: the file ends inside object \"%s\"\n", path,
            object->name ? object->name : "");
  set_text(&type->cdl_file, path);
  set_text(&type->cdl_directory, directory_of(path));
  if (!type->render_agent) {
    // The agent record made at "end object" is the type's render agent; a file that never
    // closes its object gets one made now.
    for (Agent* agent = root_agent; agent; agent = agent->next)
      if (agent->type == type) type->render_agent = agent;
    if (!type->render_agent) type->render_agent = new_agent_instance(type);
  }
  return type;
}

extern "C" int saveCDL(Agent* /*agent*/, const char* /*path*/, int /*flag*/) {
  return 1;
}
