// The scene setup file that `hordera simulate` runs: the agent files to load, the groups that
// place agents of them, and the frame rate. Read by the command, which runs the engine directly.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct Group;

namespace cli {

// A group's seed: varies each of its agents' places, headings and variables.
struct GroupSeed {
  Group* group = nullptr;
  uint32_t seed = 0;
};

// What reading a scene setup file made.
struct SceneSetup {
  bool opened = false;
  std::vector<GroupSeed> seeds;     // one per group with a "seed" word, in file order
  std::vector<std::string> errors;  // "FILE:LINE: what is wrong", in file order
};

// Reads the scene setup file at `path`: sets the frame rate, loads the agent files and action
// files (relative paths against the file's directory; each type's own render agent is made
// inactive, so only group agents take part) and makes the groups, each with an inactive
// prototype agent named after the group. A faulty line is reported and skipped.
SceneSetup read_scene_setup(const std::string& path);

// Varies the agents of seeded groups after the frame-0 placement: each agent moves by up to a
// quarter of the group's spacing in x and z, turns to a heading from 0 to 360 degrees, and takes
// for every variable definition of its type with a range a value in that range. Depends only on
// the seed and the agent's id.
void apply_group_seeds(const SceneSetup& setup);

}  // namespace cli
