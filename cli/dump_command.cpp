// `hordera dump SCENE`: loads the crowd plug-in as a renderer would, drives it through every
// render of the scene and prints the scene database it built: per assembly the objects with
// their vertices and polygons, then the materials with their shader calls, the named shaders,
// the declarations, the textures and the scene variables.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "cli/commands.h"
#include "cli/scene_and_plugin.h"
#include "host/memory.h"
#include "host/messages.h"
#include "host/output_file.h"
#include "host/plugin.h"
#include "host/render_session.h"
#include "host/scene_dump.h"
#include "host/scene_reader.h"

namespace {

struct DumpOptions {
  std::string scene;
  std::string plugin;
  std::string output;
  int verbosity = 1;
  int threads = default_thread_count();
};

int run_dump(const DumpOptions& options) {
  host::set_verbosity(options.verbosity);
  cli::SceneAndPlugin loaded;
  if (!cli::load_scene_and_plugin(options.scene, options.plugin, &loaded)) return 1;
  const host::Scene& scene = loaded.scene;
  const host::Plugin* plugin = loaded.plugin.get();
  std::string error;
  // A dump to a file is built in memory and written whole through a temporary file, so that
  // the file never holds half a dump.
  char* dump_bytes = nullptr;
  size_t dump_size = 0;
  std::FILE* out = stdout;
  if (!options.output.empty()) {
    out = open_memstream(&dump_bytes, &dump_size);
    if (out == nullptr) {
      std::fprintf(stderr, "error: %s: cannot write the dump\n", options.output.c_str());
      return 1;
    }
  }

  bool clean = scene.errors.empty();
  {
    host::RenderSession session(*plugin);
    session.set_threads(options.threads);
    if (!session.start(&error)) {
      std::fprintf(stderr, "error: %s\n", error.c_str());
      if (out != stdout) std::fclose(out);
      std::free(dump_bytes);
      return 1;
    }
    std::vector<host::RenderReport> renders;
    const int count = scene.render_statements > 0 ? scene.render_statements : 1;
    for (int render = 0; render < count; ++render) renders.push_back(session.render(scene));
    host::write_scene_dump(out, renders);
  }  // the session gives the database back here

  int errors = 0;
  for (const host::Message& message : host::messages())
    errors += message.level == host::Level::error;
  if (errors > 0)
    std::fprintf(stderr, "error: the plug-in reported %d error%s\n", errors,
                 errors == 1 ? "" : "s");
  const std::vector<host::MemoryBlock> held = host::memory_in_use();
  for (const host::MemoryBlock& block : held)
    std::fprintf(stderr, "error: renderer memory from %s:%d (%zu bytes) is never released\n",
                 block.file.c_str(), block.line, block.size);
  clean = clean && errors == 0 && held.empty() && host::memory_release_faults() == 0;
  if (out != stdout) {
    std::string error;
    if (std::fclose(out) != 0 ||
        !host::write_file_atomically(options.output, std::string_view(dump_bytes, dump_size),
                                     &error)) {
      std::fprintf(
          stderr, "error: %s\n",
          error.empty() ? (options.output + ": cannot write the dump").c_str() : error.c_str());
      clean = false;
    }
    std::free(dump_bytes);
  }
  std::fflush(stdout);
  return clean ? 0 : 1;
}

}  // namespace

void add_dump_command(CLI::App& app) {
  auto options = std::make_shared<DumpOptions>();
  CLI::App* command = app.add_subcommand(
      "dump",
      "Load the crowd plug-in as a renderer would, run every render of SCENE through it and "
      "print the scene database it built: objects with vertices and polygons, materials, shader "
      "calls, declarations, textures and scene variables. The text is the same whatever the "
      "number of threads. Exit code 0 only when the scene reads cleanly and the plug-in reports "
      "no error.");
  command->add_option("scene", options->scene, "Scene file written by the crowd exporter (.mi)")
      ->required();
  command->add_option("-o,--output", options->output, "Write the dump to this file, not stdout");
  command->add_option("--plugin", options->plugin,
                      "Plug-in to load (default: hordera.so beside this program, else the one "
                      "of the build tree)");
  command
      ->add_option("--threads", options->threads,
                   "Render threads that build assemblies at once (default: the machine's cores)")
      ->check(CLI::Range(1, 1024));
  command
      ->add_option("--verbose", options->verbosity,
                   "Print the plug-in's messages on standard error as they come, up to this "
                   "level (0 none, 1 errors (default), 2 warnings, 3 info, 5 debug)")
      ->check(CLI::Range(0, 6));
  command->callback([options] { command_exit_status = run_dump(*options); });
}
