// Running the simulation loop over a range of frames and writing one pose cache per frame, each
// under a temporary name first and renamed when complete.
#pragma once

#include <functional>
#include <string>

namespace cli {

struct FrameRange {
  int first = 1;
  int last = 1;
};

// Parses "A-B" or "A" (whole frames, 1 <= A <= B <= 1000000); false with `*error` set otherwise.
bool parse_frame_range(const std::string& text, FrameRange* range, std::string* error);

struct SimulationRunOptions {
  std::string directory;  // where the pose caches go (created when missing)
  FrameRange frames;      // frames written; the run always simulates from frame 1
  bool gzip = false;      // "frame.N.apf.gz" instead of "frame.N.apf"
  bool progress = true;   // a progress bar on standard error
};

// Resets the scene, runs frames 1 to the last of the range with brain evaluation and action
// playback, and writes every frame of the range. `after_reset` (may be empty) runs once after
// the reset placed the groups, before the first frame; `after_frame` after each frame of the
// range is written, with the frame number and whether its cache was written. Returns the
// number of frames that could not be written, each reported on standard error.
int run_simulation(const SimulationRunOptions& options, const std::function<void()>& after_reset,
                   const std::function<void(int frame, bool written)>& after_frame = {});

}  // namespace cli
