// The sample crowd: a humanoid agent type with its meshes, weights, materials, hats, actions and
// brain, a scene setup placing a few hundred of them, simulated into pose caches, and the
// renderer scene files the exporter writes for those frames. Everything is made here, by code,
// and depends only on the seed.
#pragma once

#include <cstdint>
#include <string>

namespace examples {

struct SampleCrowdOptions {
  std::string directory;       // where everything is written (created when missing)
  uint32_t seed = 1;           // varies placement, headings, goals, hats and colours
  int frames = 24;             // frames simulated and cached, from 1
  int agents_per_group = 100;  // three groups
  bool gzip = false;           // pose caches as frame.N.apf.gz
  bool progress = true;        // progress bar on standard error
};

// Writes the agent files and the scene setup, simulates, and writes the pose caches and the
// scene files. Returns 0 on success, else the number of faults (each reported on standard
// error).
int write_sample_crowd(const SampleCrowdOptions& options);

// The parts written before simulating, for callers that simulate themselves: the agent file
// "walker.cdl" with its meshes, weights and "walker.act", and the scene setup "crowd.scene".
// Returns false (with `*error`) when a file cannot be written.
bool write_sample_agent(const std::string& directory, std::string* error);
bool write_sample_scene_setup(const std::string& directory, uint32_t seed, int agents_per_group,
                              std::string* error);

}  // namespace examples
