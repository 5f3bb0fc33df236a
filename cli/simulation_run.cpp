// The frames of a simulation run: reset, one nextFrame per frame, a pose cache per frame of the
// range written to a private directory beside the destination and renamed into place.
#include "cli/simulation_run.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "host/progress_bar.h"
#include "motion/apf.h"
#include "sim/evaluators.h"
#include "sim/simulation.h"

namespace cli {

namespace fs = std::filesystem;

bool parse_simulation_frames(const std::string& text, host::FrameRange* range, std::string* error) {
  host::FrameRange read;
  std::string ignored;
  if (!host::parse_frame_range(text, &read, &ignored) || read.first < 1 || read.last > 1000000) {
    *error = "frames \"" + text + "\": give A-B with 1 <= A <= B <= 1000000";
    return false;
  }
  *range = read;
  return true;
}

int run_simulation(const SimulationRunOptions& options, const std::function<void()>& after_reset,
                   const std::function<void(int frame, bool written)>& after_frame) {
  std::error_code code;
  fs::create_directories(options.directory, code);
  fs::path partial = fs::path(options.directory) / (".partial." + std::to_string(getpid()));
  fs::create_directories(partial, code);
  if (code) {
    std::fprintf(stderr, "%s: cannot create the directory: %s\n", partial.c_str(),
                 code.message().c_str());
    return static_cast<int>(options.frames.count());
  }
  sim_use_evaluators();
  sim_settings = {};
  simming = 1;
  resetAll();
  if (after_reset) after_reset();
  int failed = 0;
  host::ProgressBar bar("simulate", options.frames.count(), options.progress);
  for (int frame = 1; frame <= options.frames.last; ++frame) {
    nextFrame(0);
    if (frame < options.frames.first) continue;
    char name[4096];
    apf_file_name(name, sizeof name, partial.c_str(), frame, options.gzip);
    fs::path written(name);
    fs::path final_path = fs::path(options.directory) / written.filename();
    bool ok = apf_write(partial.c_str(), frame, options.gzip) != 0;
    if (ok && std::rename(written.c_str(), final_path.c_str()) != 0) {
      std::fprintf(stderr, "%s: cannot rename into place: %s\n", final_path.c_str(),
                   std::strerror(errno));
      ok = false;
    }
    if (!ok) ++failed;
    if (after_frame) after_frame(frame, ok);
    bar.update(frame - options.frames.first + 1);
  }
  bar.finish();
  simming = 0;
  fs::remove_all(partial, code);
  return failed;
}

}  // namespace cli
