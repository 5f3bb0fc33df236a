// Bringing up the crowd engine in the renderer's process, once.
#include "mray/engine_start.h"

#include <atomic>
#include <cstdio>

#include "mray/render_options.h"
#include "sim/application.h"

namespace mray {
namespace {

std::atomic<bool> started{false};

// The build the banner names, and the renderer release the front-end was written against.
constexpr const char* build_stamp = "Windows  11:57 20/06/12";
constexpr const char* renderer_release = "mray-3.7.52.13";

}  // namespace

void start_engine() {
  if (!started.load()) {
    static char program[] = "hordera_dso";
    static char no_windows[] = "-gui";
    static char polygons[] = "-geo";
    char* words[] = {program, no_windows, polygons, nullptr};
    application_start(nullptr, 3, words);
    motion_blur = true;
    std::fprintf(stderr, "hordera %s initialised\nBuild: %s\n", HORDERA_ENGINE_VERSION,
                 build_stamp);
    std::fprintf(stderr, "linked against mental ray version: %s\n", renderer_release);
  }
  started.store(true);
}

bool engine_started() {
  return started.load();
}

}  // namespace mray
