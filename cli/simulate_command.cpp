// `hordera simulate SCENE --frames A-B -o DIR`: runs the engine's simulation loop over a scene
// setup file, with brains and actions, and writes one pose cache per frame.
#include <cstdio>
#include <memory>
#include <string>

#include "cli/commands.h"
#include "cli/scene_setup_file.h"
#include "cli/simulation_run.h"

namespace {

struct SimulateArguments {
  std::string scene;
  std::string frames = "1-24";
  std::string directory;
  bool gzip = false;
  bool quiet = false;
};

int run(const SimulateArguments& arguments) {
  cli::SimulationRunOptions options;
  std::string error;
  if (!cli::parse_simulation_frames(arguments.frames, &options.frames, &error)) {
    std::fprintf(stderr, "hordera simulate: %s\n", error.c_str());
    return 2;
  }
  cli::SceneSetup setup = cli::read_scene_setup(arguments.scene);
  for (const std::string& fault : setup.errors) std::fprintf(stderr, "%s\n", fault.c_str());
  if (!setup.opened) return 1;
  options.directory = arguments.directory;
  options.gzip = arguments.gzip;
  options.progress = !arguments.quiet;
  int failed = cli::run_simulation(options, [&setup] { cli::apply_group_seeds(setup); });
  if (failed > 0) std::fprintf(stderr, "hordera simulate: %d frame(s) failed\n", failed);
  return failed > 0 || !setup.errors.empty() ? 1 : 0;
}

}  // namespace

void add_simulate_command(CLI::App& app) {
  auto arguments = std::make_shared<SimulateArguments>();
  CLI::App* command = app.add_subcommand(
      "simulate",
      "Runs a scene setup's agents (brains and actions) and writes a pose cache per frame.");
  command->add_option("scene", arguments->scene, "Scene setup file (fps, agent and group lines)")
      ->required();
  command->add_option("--frames", arguments->frames, "Frames written, A-B (the run starts at 1)");
  command->add_option("-o,--output", arguments->directory, "Directory of the pose caches")
      ->required();
  command->add_flag("--gzip", arguments->gzip, "Write frame.N.apf.gz instead of frame.N.apf");
  command->add_flag("-q,--quiet", arguments->quiet, "No progress bar");
  command->callback([arguments] { command_exit_status = run(*arguments); });
}
