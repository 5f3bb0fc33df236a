// Before a frame is rendered: the files its crowd agents are posed from (the pose cache or motion
// file their parameter strings name) must be there. The plug-in, as renderers expect, draws an
// agent whose pose cache is missing in whatever pose it was left in and only warns; for a
// sequence rendered on a farm that is a wrong picture under a good name, so the frame fails
// instead and the scheduler can retry it.
#pragma once

#include <string>
#include <vector>

#include "host/scene_reader.h"

namespace host {

// The pose files the scene's instances name (the second word of a parameter string when it ends
// in ".apf", ".apf.gz", ".amc", ".amc.gz" or ".bvh") that cannot be opened for reading, each once,
// in the order first named, as "PATH: cannot read the pose cache (REASON)".
std::vector<std::string> unreadable_pose_sources(const Scene& scene);

}  // namespace host
