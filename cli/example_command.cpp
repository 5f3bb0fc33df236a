// `hordera example DIR`: writes the sample crowd (agent files, meshes, weights, actions, scene
// setup), simulates it into pose caches and writes the renderer scene file of every frame.
#include <cstdint>
#include <memory>

#include "cli/commands.h"
#include "examples/sample_crowd.h"

void add_example_command(CLI::App& app) {
  auto options = std::make_shared<examples::SampleCrowdOptions>();
  auto quiet = std::make_shared<bool>(false);
  CLI::App* command = app.add_subcommand(
      "example", "Writes the sample crowd into a directory and simulates it into pose caches.");
  command->add_option("directory", options->directory, "Directory to write into")->required();
  command->add_option("--seed", options->seed, "Seed of placement, goals, hats and colours");
  command->add_option("--frames", options->frames, "Frames simulated, from 1")
      ->check(CLI::Range(1, 100000));
  command->add_option("--agents", options->agents_per_group, "Agents in each of the three groups")
      ->check(CLI::Range(1, 100000));
  command->add_flag("--gzip", options->gzip, "Write the pose caches as frame.N.apf.gz");
  command->add_flag("-q,--quiet", *quiet, "No progress bar");
  command->callback([options, quiet] {
    options->progress = !*quiet;
    command_exit_status = examples::write_sample_crowd(*options) == 0 ? 0 : 1;
  });
}
