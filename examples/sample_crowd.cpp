// The sample crowd from start to end: agent files, scene setup, the simulated frames with their
// pose caches, and one renderer scene file per frame as the exporter writes it.
#include "examples/sample_crowd.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "cli/scene_setup_file.h"
#include "cli/simulation_run.h"
#include "mray/exporter.h"
#include "sim/scene_setup.h"
#include "sim/simulation.h"

namespace examples {

namespace fs = std::filesystem;

bool write_sample_scene_setup(const std::string& directory, uint32_t seed, int agents_per_group,
                              std::string* error) {
  std::string path = directory + "/crowd.scene";
  std::ofstream out(path, std::ios::binary);
  out << "# Hordera sample crowd: three groups of walkers, each agent steering to its own goal\n"
      << "fps 24\nagent walker.cdl\nactions walker walker.act\n";
  // Groups side by side; the seeds differ per group and follow the crowd's seed.
  const char* names[] = {"north", "centre", "south"};
  const double origins[][3] = {{-9, 0, -20}, {-9, 0, -5}, {-9, 0, 10}};
  for (int i = 0; i < 3; ++i)
    out << "group " << names[i] << " walker count " << agents_per_group << " spacing 1.6 origin "
        << origins[i][0] << " " << origins[i][1] << " " << origins[i][2] << " seed "
        << (static_cast<uint64_t>(seed) * 3 + static_cast<uint64_t>(i)) % 4294967296ull << "\n";
  if (!out) *error = path + ": cannot write the file";
  return static_cast<bool>(out);
}

namespace {

// The renderer scene file of one frame: the options the plug-in reads, one instance per agent,
// and a render statement.
bool write_renderer_scene(const std::string& path, const RenderRecord& render, int frame) {
  std::FILE* out = std::fopen(path.c_str(), "w");
  if (out == nullptr) return false;
  std::fprintf(out, "# Hordera sample crowd, frame %d\n", frame);
  std::fprintf(out,
               "options \"opt\"\n    \"render_pass\" \"beauty\"\n    \"motion_blur\" off\n"
               "end options\n\n");
  export_instances(out, &render, frame, 0);
  std::fprintf(out, "render \"root\" \"camera\" \"opt\"\n");
  bool ok = std::ferror(out) == 0;
  return std::fclose(out) == 0 && ok;
}

}  // namespace

int write_sample_crowd(const SampleCrowdOptions& options) {
  std::error_code code;
  fs::path directory = fs::absolute(options.directory, code);
  fs::create_directories(directory / "scenes", code);
  if (code) {
    std::fprintf(stderr, "%s: cannot create the directory: %s\n", directory.c_str(),
                 code.message().c_str());
    return 1;
  }
  std::string error;
  if (!write_sample_agent(directory.string(), &error) ||
      !write_sample_scene_setup(directory.string(), options.seed, options.agents_per_group,
                                &error)) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  cli::SceneSetup setup = cli::read_scene_setup((directory / "crowd.scene").string());
  for (const std::string& fault : setup.errors) std::fprintf(stderr, "%s\n", fault.c_str());
  int faults = static_cast<int>(setup.errors.size());
  if (!setup.opened) return faults;

  cli::SimulationRunOptions run;
  run.directory = (directory / "cache").string();
  run.frames = {1, options.frames};
  run.gzip = options.gzip;
  run.progress = options.progress;
  std::string cache = run.directory;
  RenderRecord render = {};
  render.output_kind = options.gzip ? SIM_CACHE_APF_GZIP : SIM_CACHE_APF;
  render.sim_dir[0] = cache.data();
  faults += cli::run_simulation(
      run, [&setup] { cli::apply_group_seeds(setup); },
      [&](int frame, bool written) {
        if (!written) return;
        std::string path = (directory / "scenes" / ("crowd." + std::to_string(frame) + ".mi"));
        if (!write_renderer_scene(path, render, frame)) {
          std::fprintf(stderr, "%s: cannot write the scene file\n", path.c_str());
          ++faults;
        }
      });
  return faults;
}

}  // namespace examples
