// Running a command over the frames of a sequence: the scene and output names of each frame,
// posing each frame's crowd, writing its output, and carrying on after a failed frame.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/frame_geometry.h"

namespace host {

struct SequenceOptions {
  std::string scene;     // the scene file, or with --frames a pattern ("crowd.%04d.mi")
  std::string output;    // the output file, or with --frames a pattern ("frame.%04d.png")
  std::string frames;    // "A-B" or "A"; empty: one frame, names taken as they stand
  std::string plugin;    // the crowd plug-in to load
  std::string label;     // what the progress bar says ("render", "bake")
  bool progress = true;  // show a progress bar over the frames of a sequence
  int threads = 0;       // threads building each frame's agents and meshes (0: every core)
};

// Writes frame `number`'s output: false with `*error` set when it failed.
using FrameWriter =
    std::function<bool(int number, const FrameGeometry& frame, const std::string& output,
                       std::string* error, std::vector<std::string>* warnings)>;

// Poses every frame and hands it to `write`, printing warnings ("warning: ...") and failures
// on standard error. Returns the command's exit status: 0 only when every frame was written.
int run_sequence(const SequenceOptions& options, const FrameWriter& write);

}  // namespace host
