// `hordera rib SCENE -o out.rib`: turns an exported scene into a RIB file for a RenderMan-
// compliant renderer, each agent either as a call of the plug-in's "DynamicLoad" procedural with
// an honest bound, or (--expand) as the geometry the procedural emits, written out here.
#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "cli/commands.h"
#include "host/rib_frame.h"
#include "host/rib_writer.h"
#include "host/scene_reader.h"
#include "mray/ri_interface.h"

namespace {

struct RibCommandOptions {
  std::string scene;
  std::string output;
  std::string plugin;
  std::string frames;  // "A-B" or "A": one scene and one RIB per frame, '#' standing for it
  bool expand = false;
};

// `pattern` with every '#' replaced by the frame number.
std::string for_frame(const std::string& pattern, int frame) {
  std::string out;
  for (char c : pattern) {
    if (c == '#')
      out += std::to_string(frame);
    else
      out.push_back(c);
  }
  return out;
}

// Reads "A-B" or "A" into the first and last frame; false for anything else or B before A.
bool read_frame_range(const std::string& text, int* first, int* last) {
  char* end = nullptr;
  const long a = std::strtol(text.c_str(), &end, 10);
  if (end == text.c_str()) return false;
  long b = a;
  if (*end == '-') {
    const char* rest = end + 1;
    b = std::strtol(rest, &end, 10);
    if (end == rest) return false;
  }
  if (*end != '\0' || b < a || a < INT_MIN / 2 || b > INT_MAX / 2) return false;
  *first = static_cast<int>(a);
  *last = static_cast<int>(b);
  return true;
}

// The procedural entry points of a loaded plug-in.
struct Procedural {
  decltype(&::ConvertParameters) convert = nullptr;
  decltype(&::Subdivide) subdivide = nullptr;
  decltype(&::Free) free = nullptr;
};

std::string plugin_path_for(const std::string& given) {
  return given.empty() ? default_plugin_path() : given;
}

bool load_procedural(const std::string& path, Procedural* procedural, std::string* error) {
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    const char* reason = dlerror();
    *error = path + ": cannot load the plug-in: " + (reason ? reason : "unknown reason");
    return false;
  }
  procedural->convert =
      reinterpret_cast<decltype(&::ConvertParameters)>(dlsym(library, "ConvertParameters"));
  procedural->subdivide = reinterpret_cast<decltype(&::Subdivide)>(dlsym(library, "Subdivide"));
  procedural->free = reinterpret_cast<decltype(&::Free)>(dlsym(library, "Free"));
  if (!procedural->convert || !procedural->subdivide || !procedural->free) {
    *error = path +
             ": the plug-in does not export the procedural entry points ConvertParameters, "
             "Subdivide and Free";
    return false;
  }
  return true;
}

// The words after "options" that carry the scene's render options to the procedural.
std::string procedural_options(const host::Scene& scene, bool* motion_blur) {
  *motion_blur = false;  // a scene without the option renders without motion blur
  std::string words = " options";
  auto blur = scene.options.find("motion_blur");
  if (blur != scene.options.end()) *motion_blur = blur->second.boolean || blur->second.integer;
  words += *motion_blur ? " motion_blur 1" : " motion_blur 0";
  auto pass = scene.options.find("render_pass");
  if (pass != scene.options.end() && pass->second.kind == host::OptionValue::Kind::string &&
      !pass->second.text.empty() && pass->second.text.find_first_of(" \t\r\n") == std::string::npos)
    words += " render_pass " + pass->second.text;
  return words;
}

// Runs the procedural for one agent in this process: ConvertParameters, Subdivide, Free.
void expand_agent(const Procedural& procedural, const std::string& parameters) {
  std::vector<char> text(parameters.begin(), parameters.end());
  text.push_back('\0');
  RtPointer data = procedural.convert(text.data());
  if (data == nullptr) return;
  procedural.subdivide(data, 1.0f);
  procedural.free(data);
}

int run_rib(const RibCommandOptions& options) {
  host::Scene scene;
  if (!host::read_scene_file(options.scene, &scene)) {
    for (const std::string& error : scene.errors)
      std::fprintf(stderr, "error: %s\n", error.c_str());
    return 1;
  }
  for (const std::string& error : scene.errors) std::fprintf(stderr, "error: %s\n", error.c_str());

  const std::string plugin_path = plugin_path_for(options.plugin);
  Procedural procedural;
  std::string error;
  if (!load_procedural(plugin_path, &procedural, &error)) {
    std::fprintf(stderr, "error: %s\n", error.c_str());
    return 1;
  }

  bool motion_blur = false;
  const std::string option_words = procedural_options(scene, &motion_blur);
  struct Agent {
    std::string parameters;
    float bound[6];  // xmin xmax ymin ymax zmin zmax
  };
  std::vector<Agent> agents;
  host::RibFrame frame;
  frame.motion_blur = motion_blur;
  float low[3] = {std::numeric_limits<float>::infinity(), std::numeric_limits<float>::infinity(),
                  std::numeric_limits<float>::infinity()};
  float high[3] = {-low[0], -low[1], -low[2]};
  for (const host::SceneInstance& instance : scene.instances) {
    if (!instance.has_param_str) continue;
    Agent agent;
    agent.parameters = std::to_string(instance.id) + " " + instance.param_str + option_words;
    const float box[6] = {instance.bbox_min.x, instance.bbox_max.x, instance.bbox_min.y,
                          instance.bbox_max.y, instance.bbox_min.z, instance.bbox_max.z};
    std::copy(box, box + 6, agent.bound);
    for (int i = 0; i < 3; ++i) {
      low[i] = std::min(low[i], box[2 * i]);
      high[i] = std::max(high[i], box[2 * i + 1]);
    }
    agents.push_back(std::move(agent));
  }
  if (agents.empty()) {
    std::fprintf(stderr, "error: %s: the scene holds no crowd instance\n", options.scene.c_str());
    return 1;
  }
  // The frame of the first agent's parameter string names the frame.
  {
    const std::string& words = scene.instances.front().param_str;
    size_t at = 0;
    for (int skip = 0; skip < 2 && at != std::string::npos; ++skip) {
      at = words.find_first_of(" \t", words.find_first_not_of(" \t", at));
      if (at != std::string::npos) at = words.find_first_not_of(" \t", at);
    }
    if (at != std::string::npos) frame.frame = std::atoi(words.c_str() + at);
  }
  std::copy(low, low + 3, frame.crowd_min);
  std::copy(high, high + 3, frame.crowd_max);
  const std::filesystem::path output(options.output);
  frame.display = output.stem().string() + ".tif";

  if (!options.expand) {
    // Renderers drop geometry outside a procedural's bound, so each bound is the exported box
    // grown to hold everything the procedural emits, found by running it here once.
    std::ofstream nowhere;
    host::RibWriter measure(nowhere);
    host::RibWriter* previous = host::set_rib_writer(&measure);
    for (Agent& agent : agents) {
      measure.reset_extent();
      expand_agent(procedural, agent.parameters);
      if (measure.extent().empty()) continue;
      for (int i = 0; i < 3; ++i) {
        agent.bound[2 * i] = std::min(agent.bound[2 * i], measure.extent().min[i]);
        agent.bound[2 * i + 1] = std::max(agent.bound[2 * i + 1], measure.extent().max[i]);
      }
    }
    host::set_rib_writer(previous);
    frame.procedural_path =
        std::filesystem::absolute(std::filesystem::path(plugin_path)).parent_path().string();
  }

  const std::string temporary = options.output + ".part";
  std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
  if (!out) {
    std::fprintf(stderr, "error: %s: cannot write the RIB file\n", temporary.c_str());
    return 1;
  }
  host::RibWriter writer(out);
  host::write_rib_frame_begin(writer, frame);
  const std::string plugin_name = std::filesystem::path(plugin_path).filename().string();
  for (const Agent& agent : agents) {
    if (!options.expand) {
      host::write_rib_procedural(writer, plugin_name, agent.parameters, agent.bound);
      continue;
    }
    // A renderer runs a procedural inside an attribute block of its own.
    host::RibWriter* previous = host::set_rib_writer(&writer);
    RiAttributeBegin();
    expand_agent(procedural, agent.parameters);
    RiAttributeEnd();
    host::set_rib_writer(previous);
  }
  host::write_rib_frame_end(writer);
  out.close();
  std::error_code failure;
  if (!out || (std::filesystem::rename(temporary, options.output, failure), failure)) {
    std::fprintf(stderr, "error: %s: cannot write the RIB file\n", options.output.c_str());
    std::filesystem::remove(temporary, failure);
    return 1;
  }
  std::fprintf(stderr, "%s: %zu agents%s\n", options.output.c_str(), agents.size(),
               options.expand ? " written out" : " as procedurals");
  return scene.errors.empty() ? 0 : 1;
}

}  // namespace

void add_rib_command(CLI::App& app) {
  auto options = std::make_shared<RibCommandOptions>();
  CLI::App* command = app.add_subcommand(
      "rib",
      "Write SCENE as a RIB file for a RenderMan-compliant renderer: a camera framed on the "
      "crowd, a light, the frame's Display line, and each agent as a \"DynamicLoad\" procedural "
      "of the plug-in with an honest bound, or with --expand as its geometry.");
  command->add_option("scene", options->scene, "Scene file written by the crowd exporter (.mi)")
      ->required();
  command->add_option("-o,--output", options->output, "RIB file to write")->required();
  command->add_flag("--expand", options->expand,
                    "Run the procedural here and write every agent's geometry into the file");
  command->add_option("--plugin", options->plugin,
                      "Plug-in to use (default: hordera.so beside this program, else the one of "
                      "the build tree)");
  command->add_option("--frames", options->frames,
                      "Frames A-B (or one frame A): SCENE and the output name hold '#' for the "
                      "frame number; each frame gets its own RIB, and the exit code is not 0 "
                      "when any frame failed");
  command->callback([options] {
    if (options->frames.empty()) {
      command_exit_status = run_rib(*options);
      return;
    }
    int first = 0;
    int last = 0;
    if (!read_frame_range(options->frames, &first, &last)) {
      std::fprintf(stderr, "error: --frames %s: expected A-B or A, with A not after B\n",
                   options->frames.c_str());
      command_exit_status = 1;
      return;
    }
    if (options->scene.find('#') == std::string::npos ||
        options->output.find('#') == std::string::npos) {
      std::fprintf(stderr, "error: --frames needs '#' in SCENE and in the output name\n");
      command_exit_status = 1;
      return;
    }
    int status = 0;
    for (int frame = first; frame <= last; ++frame) {
      RibCommandOptions one = *options;
      one.scene = for_frame(options->scene, frame);
      one.output = for_frame(options->output, frame);
      if (run_rib(one) != 0) status = 1;
    }
    command_exit_status = status;
  });
}
