// The exporter's instance blocks and the words of their parameter strings.
#include "mray/exporter.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include "agent/agent.h"
#include "agent/skeleton.h"
#include "motion/apf.h"
#include "sim/scene_setup.h"

namespace {

// The directories one export names its files in.
struct ExportDirectories {
  std::string simulation;  // pose caches or motion files
  int output_kind = 2;
  std::string cloth;  // empty: unset
  std::string hair;   // empty: unset
};

std::string current_directory() {
  char buffer[4096];
  if (!getcwd(buffer, sizeof buffer)) return ".";
  return buffer;
}

// `path` made absolute against `base` (the current directory when `base` is empty).
std::string absolute_against(const std::string& path, std::string base) {
  if (path.empty() || path[0] == '/') return path;
  if (base.empty()) base = current_directory();
  if (base.back() != '/') base += '/';
  return base + path;
}

// A directory of the render record: expanded, made absolute; empty when unset.
std::string render_directory(char* const alternatives[2], int use_alternate) {
  const char* chosen = alternatives[use_alternate ? 1 : 0];
  if (!chosen || !*chosen) return {};
  char* expanded = convert_env_variables(chosen);
  std::string result = expanded ? expanded : chosen;
  std::free(expanded);
  return absolute_against(result, {});
}

// "$TMP/hordera/" with every '\' of TMP turned into '/'.
std::string packaging_directory() {
  const char* tmp = std::getenv("TMP");
  std::string root = tmp ? tmp : "";
  for (char& c : root)
    if (c == '\\') c = '/';
  char buffer[4200];
  std::snprintf(buffer, sizeof buffer, "%s%chordera%c", root.c_str(), '/', '/');
  return buffer;
}

ExportDirectories directories_for(const RenderRecord* render, int packaged) {
  ExportDirectories dirs;
  if (packaged) {
    dirs.simulation = dirs.cloth = dirs.hair = packaging_directory();
    dirs.output_kind = 2;
    return dirs;
  }
  if (!render) return dirs;
  dirs.simulation = render_directory(render->sim_dir, render->use_alternate);
  dirs.output_kind = render->output_kind;
  dirs.cloth = render_directory(render->cloth_dir, render->use_alternate);
  dirs.hair = render_directory(render->hair_dir, render->use_alternate);
  return dirs;
}

std::string format(const char* pattern, auto... values) {
  std::string text(256, '\0');
  int size = std::snprintf(text.data(), text.size(), pattern, values...);
  if (size < 0) return {};
  if (static_cast<size_t>(size) >= text.size()) {
    text.assign(static_cast<size_t>(size) + 1, '\0');
    std::snprintf(text.data(), text.size(), pattern, values...);
  }
  text.resize(static_cast<size_t>(size));
  return text;
}

std::string cdl_word(const Agent* agent, int packaged) {
  const Agent* type = agent->type ? agent->type : agent;
  if (packaged) {
    const char* tmp = std::getenv("TMP");
    std::string root = tmp ? tmp : "";
    for (char& c : root)
      if (c == '\\') c = '/';
    return format("%s%chordera%cagent%d.cdl", root.c_str(), '/', '/', type->number);
  }
  // The agent's path relative to the scene, made absolute against the scene's directory (the
  // current directory); an agent made without one names its type's file as loaded.
  const char* file = agent->cdl_path ? agent->cdl_path : type->cdl_file;
  return absolute_against(file ? file : "", {});
}

std::string motion_word(const Agent* agent, const ExportDirectories& dirs, int frame) {
  const std::string& dir = dirs.simulation;
  bool has_separator = !dir.empty() && dir.back() == '/';
  const char* name = agent->name ? agent->name : "";
  switch (dirs.output_kind) {
    case 2:
      return has_separator ? format(" %sframe.%d.apf", dir.c_str(), frame)
                           : format(" %s%cframe.%d.apf", dir.c_str(), '/', frame);
    case 3:
      return has_separator ? format(" %sframe.%d.apf.gz", dir.c_str(), frame)
                           : format(" %s%cframe.%d.apf.gz", dir.c_str(), '/', frame);
    case 1:
      return has_separator ? format(" %s%s.amc.gz", dir.c_str(), name)
                           : format(" %s%c%s.amc.gz", dir.c_str(), '/', name);
    default:
      return has_separator ? format(" %s%s.amc", dir.c_str(), name)
                           : format(" %s%c%s.amc", dir.c_str(), '/', name);
  }
}

// The agent's own value of a variable of its source agent: its simulation table entry, else its
// own variable of that name, else the source's value.
float variable_value(const Agent* agent, const UserVar* variable) {
  int index = 0;
  for (const UserVar* own = agent->user_vars; own; own = own->next, ++index) {
    if (!own->name || !variable->name || std::strcmp(own->name, variable->name) != 0) continue;
    int slot = kSimValueFirstVariable + index;
    if (agent->sim_values && slot < agent->sim_value_count) return agent->sim_values[slot];
    return own->value;
  }
  return variable->value;
}

std::string parameter_words(const Agent* agent, const ExportDirectories& dirs, int frame,
                            int packaged) {
  std::string words = cdl_word(agent, packaged);
  words += motion_word(agent, dirs, frame);
  words += format(" %d", frame);
  const Agent* source = agent->prototype ? agent->prototype : agent;
  const Agent* source_type = source->type ? source->type : source;
  if (source_type->cloth_nodes && !dirs.cloth.empty())
    words += format(" cloth_path %s", dirs.cloth.c_str());
  if (source_type->hair_nodes && !dirs.hair.empty())
    words += format(" hair_path %s", dirs.hair.c_str());
  for (const UserVar* variable = source->user_vars; variable; variable = variable->next) {
    words += format(" %s %g", variable->name ? variable->name : "",
                    static_cast<double>(variable_value(agent, variable)));
  }
  return words;
}

void write_block(std::FILE* out, const Agent* agent, const std::string& words) {
  float min[3], max[3];
  export_agent_box(agent, min, max);
  std::fprintf(out, "instance \"%s_inst\"\n", agent->name ? agent->name : "");
  std::fprintf(out, "    geometry \"hordera_mray\"(\n");
  std::fprintf(out, "        \"id\" %d,\n", agent->id);
  std::fprintf(out, "        \"paramStr\" \"%s\",\n", words.c_str());
  std::fprintf(out, "        \"bbox_min\" %.6f %.6f %.6f,\n", min[0], min[1], min[2]);
  std::fprintf(out, "        \"bbox_max\" %.6f %.6f %.6f\n", max[0], max[1], max[2]);
  std::fprintf(out, "    )\n");
  std::fprintf(out, "    trace     on\n");
  std::fprintf(out, "    shadow    on\n");
  std::fprintf(out, "    shadowmap on\n");
  std::fprintf(out, "    visible   on\n");
  std::fprintf(out, "end instance\n\n");
}

}  // namespace

extern "C" void export_agent_box(const Agent* agent, float min[3], float max[3]) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  for (int i = 0; i < 3; ++i) {
    min[i] = kInfinity;
    max[i] = -kInfinity;
  }
  auto extend = [&](float x, float y, float z) {
    const float point[3] = {x, y, z};
    for (int i = 0; i < 3; ++i) {
      if (point[i] < min[i]) min[i] = point[i];
      if (point[i] > max[i]) max[i] = point[i];
    }
  };
  for (Segment* segment = agent->segments; segment; segment = segment->next) {
    float x, y, z;
    segmentInWorldSpace(segment, &x, &y, &z);
    extend(x, y, z);
  }
  if (!agent->segments) extend(agent->matrix[12], agent->matrix[13], agent->matrix[14]);
  const Agent* type = agent->type ? agent->type : agent;
  float tolerance = type->bounding_box_tolerance;
  if (tolerance != 0) {
    for (int i = 0; i < 3; ++i) {
      min[i] -= tolerance;
      max[i] += tolerance;
    }
  }
}

extern "C" char* export_parameter_string(const Agent* agent, const RenderRecord* render, int frame,
                                         int packaged) {
  if (!agent) return nullptr;
  try {
    std::string words = parameter_words(agent, directories_for(render, packaged), frame, packaged);
    return strdup(words.c_str());
  } catch (...) {
    return nullptr;
  }
}

extern "C" int export_instances(std::FILE* out, const RenderRecord* render, int frame,
                                int packaged) {
  if (!out) return -1;
  try {
    ExportDirectories dirs = directories_for(render, packaged);
    int written = 0;
    for (const Agent* agent = root_agent; agent; agent = agent->next) {
      if (!agent->active) continue;
      write_block(out, agent, parameter_words(agent, dirs, frame, packaged));
      ++written;
    }
    return written;
  } catch (...) {
    return -1;
  }
}
