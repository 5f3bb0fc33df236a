// The RenderMan "DynamicLoad" procedural: ConvertParameters takes an agent's parameter string
// apart, Subdivide builds and emits the agent, Free releases the record.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "motion/apf_cache.h"
#include "mray/procedural_parameters.h"
#include "mray/procedural_state.h"
#include "mray/procedural_subdivide.h"
#include "sim/application.h"
#include "sim/scene_setup.h"

namespace mray {
namespace {

// The build the banner names.
constexpr const char* build_stamp = "Windows  11:57 20/06/12";

}  // namespace

ProceduralState& procedural_state() {
  static ProceduralState state;
  return state;
}

void start_procedural_engine() {
  ProceduralState& state = procedural_state();
  if (state.engine_started) return;
  static char program[] = "hordera_dso";
  static char no_windows[] = "-gui";
  static char polygons[] = "-geo";
  char* words[] = {program, no_windows, polygons, nullptr};
  application_start(nullptr, 3, words);
  state.motion_blur = true;
  read_rib_environment(&state.options);
  std::fprintf(stderr, "hordera %s initialised\nBuild: %s\n", HORDERA_ENGINE_VERSION, build_stamp);
  state.engine_started = true;
}

}  // namespace mray

extern "C" {

RtPointer ConvertParameters(RtString paramstr) {
  mray::ProceduralState& state = mray::procedural_state();
  std::lock_guard<std::mutex> hold(state.engine_mutex);
  mray::start_procedural_engine();
  apf_cache_init();
  const std::string previous_pass = state.options.pass_name;
  const bool had_pass = state.options.has_pass_name;
  ProceduralRecord* record =
      mray::parse_procedural_parameters(paramstr, &state.options, &state.motion_blur);
  // A pass named by the options becomes this path's current render record.
  if (state.options.has_pass_name &&
      (!had_pass || state.options.pass_name != previous_pass || state.render == nullptr)) {
    RenderRecord* render = new_render_record();
    if (render != nullptr) {
      render->pass_name = strdup(state.options.pass_name.c_str());
      // Passes are matched by name and kind, and the scene setup gives every pass of an agent
      // file the one kind it knows.
      render->renderer = RENDERER_MENTAL_RAY;
      state.render = render;
    }
  }
  return record;
}

RtVoid Subdivide(RtPointer data, RtFloat detail) {
  (void)detail;
  mray::ProceduralState& state = mray::procedural_state();
  std::lock_guard<std::mutex> hold(state.engine_mutex);
  mray::subdivide_agent(static_cast<ProceduralRecord*>(data), &state);
}

RtVoid Free(RtPointer data) {
  mray::free_procedural_record(static_cast<ProceduralRecord*>(data));
}

}  // extern "C"
