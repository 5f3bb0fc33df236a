// Running the simulation loop over a range of frames and writing one pose cache per frame, each
// under a temporary name first and renamed when complete.
#pragma once

#include <functional>
#include <string>

#include "host/frame_range.h"

namespace cli {

// Reads "A-B" or "A" as the other frame-range commands do, limited to the frames a simulation
// can write (1 <= A <= B <= 1000000); false with `*error` set otherwise.
bool parse_simulation_frames(const std::string& text, host::FrameRange* range, std::string* error);

struct SimulationRunOptions {
  std::string directory;    // where the pose caches go (created when missing)
  host::FrameRange frames;  // frames written; the run always simulates from frame 1
  bool gzip = false;        // "frame.N.apf.gz" instead of "frame.N.apf"
  bool progress = true;     // a progress bar on standard error
};

// Resets the scene, runs frames 1 to the last of the range with brain evaluation and action
// playback, and writes every frame of the range. `after_reset` (may be empty) runs once after
// the reset placed the groups, before the first frame; `after_frame` after each frame of the
// range is written, with the frame number and whether its cache was written. Returns the
// number of frames that could not be written, each reported on standard error.
int run_simulation(const SimulationRunOptions& options, const std::function<void()>& after_reset,
                   const std::function<void(int frame, bool written)>& after_frame = {});

}  // namespace cli
