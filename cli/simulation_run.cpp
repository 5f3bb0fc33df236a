// The frames of a simulation run: reset, one nextFrame per frame, a pose cache per frame of the
// range written to a private directory beside the destination and renamed into place.
#include "cli/simulation_run.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "motion/apf.h"
#include "sim/evaluators.h"
#include "sim/simulation.h"

namespace cli {

namespace {

namespace fs = std::filesystem;

void show_progress(int done, int total) {
  constexpr int kWidth = 30;
  int filled = total > 0 ? done * kWidth / total : kWidth;
  std::fprintf(stderr, "\rsimulating [%.*s%*s] %d/%d frames", filled,
               "##############################", kWidth - filled, "", done, total);
  if (done == total) std::fputc('\n', stderr);
  std::fflush(stderr);
}

}  // namespace

bool parse_frame_range(const std::string& text, FrameRange* range, std::string* error) {
  int first = 0, last = 0, used = 0;
  const char* s = text.c_str();
  bool ok = false;
  if (std::sscanf(s, "%d-%d%n", &first, &last, &used) == 2 && s[used] == '\0') {
    ok = true;
  } else if (std::sscanf(s, "%d%n", &first, &used) == 1 && s[used] == '\0') {
    last = first;
    ok = true;
  }
  if (!ok || first < 1 || last < first || last > 1000000) {
    *error = "frames \"" + text + "\": give A-B with 1 <= A <= B <= 1000000";
    return false;
  }
  range->first = first;
  range->last = last;
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
    return options.frames.last - options.frames.first + 1;
  }
  sim_use_evaluators();
  sim_settings = {};
  simming = 1;
  resetAll();
  if (after_reset) after_reset();
  int failed = 0;
  int total = options.frames.last - options.frames.first + 1;
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
    if (options.progress) show_progress(frame - options.frames.first + 1, total);
  }
  simming = 0;
  fs::remove_all(partial, code);
  return failed;
}

}  // namespace cli
