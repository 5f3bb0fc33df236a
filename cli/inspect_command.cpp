// `hordera inspect SCENE`: loads the crowd plug-in as a renderer would, drives it through every
// render of the scene and prints what it did: the instances read, the assemblies declared with
// their boxes, and the plug-in's messages by level.

#include <cstdio>
#include <map>
#include <string>

#include "cli/commands.h"
#include "cli/scene_and_plugin.h"
#include "host/memory.h"
#include "host/messages.h"
#include "host/plugin.h"
#include "host/render_session.h"
#include "host/scene_reader.h"

namespace {

struct InspectOptions {
  std::string scene;
  std::string plugin;
  int verbosity = 0;
  int threads = default_thread_count();
};

void print_vector(const miVector& v) {
  std::printf("(%.9g %.9g %.9g)", v.x, v.y, v.z);
}

int run_inspect(const InspectOptions& options) {
  host::set_verbosity(options.verbosity);
  cli::SceneAndPlugin loaded;
  if (!cli::load_scene_and_plugin(options.scene, options.plugin, &loaded)) return 1;
  const host::Scene& scene = loaded.scene;
  const host::Plugin* plugin = loaded.plugin.get();
  std::string error;
  host::RenderSession session(*plugin);
  session.set_threads(options.threads);
  if (!session.start(&error)) {
    std::fprintf(stderr, "error: %s\n", error.c_str());
    return 1;
  }

  std::printf("scene: %s\n", options.scene.c_str());
  std::printf("plug-in: %s\n", loaded.plugin_path.c_str());
  std::printf("instances read: %zu", scene.instances.size());
  if (scene.other_instances > 0)
    std::printf(" (%d other instances skipped)", scene.other_instances);
  std::printf("\n");
  const int renders = scene.render_statements > 0 ? scene.render_statements : 1;
  for (int render = 1; render <= renders; ++render) {
    const host::RenderReport report = session.render(scene);
    std::printf("render %d: %d geometry-shader calls, %zu assemblies\n", render,
                report.geometry_calls, report.assemblies.size());
    for (const host::AssemblyRun& run : report.assemblies) {
      std::printf("  assembly \"%s\" box ", run.name.c_str());
      print_vector(run.bbox_min);
      std::printf(" ");
      print_vector(run.bbox_max);
      std::printf(" from instance \"%s\"%s%s\n", run.instance.c_str(),
                  run.executed ? ", built" : ", never built", run.freed ? ", freed" : "");
    }
  }

  const std::vector<host::Message> messages = host::messages();
  std::map<host::Level, int> counts;
  for (const host::Message& message : messages) ++counts[message.level];
  std::printf("messages:");
  if (messages.empty()) std::printf(" none");
  for (const auto& [level, count] : counts) std::printf(" %d %s", count, host::level_name(level));
  std::printf("\n");
  for (const host::Message& message : messages) {
    std::string text = message.text;
    if (!text.empty() && text.back() == '\n') text.pop_back();
    std::printf("  %s: %s\n", host::level_name(message.level), text.c_str());
  }

  const std::vector<host::MemoryBlock> held = host::memory_in_use();
  for (const host::MemoryBlock& block : held)
    std::fprintf(stderr, "error: renderer memory from %s:%d (%zu bytes) is never released\n",
                 block.file.c_str(), block.line, block.size);
  std::fflush(stdout);
  const bool clean = scene.errors.empty() && counts[host::Level::error] == 0 && held.empty() &&
                     host::memory_release_faults() == 0;
  return clean ? 0 : 1;
}

}  // namespace

void add_inspect_command(CLI::App& app) {
  auto options = std::make_shared<InspectOptions>();
  CLI::App* command = app.add_subcommand(
      "inspect",
      "Load the crowd plug-in as a renderer would, run every render of SCENE through it and "
      "print the instances read, the assemblies declared and the plug-in's messages. Exit code 0 "
      "only when the scene reads cleanly and the plug-in reports no error.");
  command->add_option("scene", options->scene, "Scene file written by the crowd exporter (.mi)")
      ->required();
  command->add_option("--plugin", options->plugin,
                      "Plug-in to load (default: hordera.so beside this program, else in "
                      "../lib/hordera/ from it, else the one of the build tree)");
  command
      ->add_option("--verbose", options->verbosity,
                   "Also print the plug-in's messages on standard error as they come, up to "
                   "this level (0 none, 1 errors, 2 warnings, 3 info, 5 debug)")
      ->check(CLI::Range(0, 6));
  command
      ->add_option("--threads", options->threads,
                   "Render threads that build assemblies at once (default: the machine's cores)")
      ->check(CLI::Range(1, 1024));
  command->callback([options] { command_exit_status = run_inspect(*options); });
}
