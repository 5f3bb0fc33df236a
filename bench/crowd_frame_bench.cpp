// A crowd frame through the plug-in: many agents of one type, each a skinned grid of 10,000
// points and 9,801 quads with normals and texture coordinates, rendered with motion blur by the
// real hordera.so through the stand-in host (asm_exec per agent, the host keeping every object in
// its scene database). Reported as agents per second (items per second). A second benchmark runs
// only the plug-in's engine steps for the same agents (agent file lookup, reset, variables, two
// pose-cache reads, two poses and skins, the previous frame kept) with no renderer output, so the
// two together show how the time splits between the engine and the output.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "agent/agent.h"
#include "host/messages.h"
#include "host/plugin.h"
#include "host/render_session.h"
#include "motion/apf_cache.h"
#include "mray/agent_pose.h"
#include "sim/simulation.h"
#include "sim/variation.h"

namespace {

namespace fs = std::filesystem;

constexpr int kGrid = 100;  // points per side
constexpr int kAgents = 32;

// The crowd's files in a temporary directory removed at exit.
struct CrowdFiles {
  fs::path dir;
  std::string cdl, apf;

  CrowdFiles() {
    dir = fs::temp_directory_path() / ("hordera_crowd_bench_" + std::to_string(getpid()));
    fs::create_directories(dir);
    std::ostringstream obj, weights;
    for (int row = 0; row < kGrid; ++row)
      for (int column = 0; column < kGrid; ++column)
        obj << "v " << column * 0.01f << " " << row * 0.02f << " 0\n";
    obj << "vn 0 0 1\n";
    for (int row = 0; row < kGrid; ++row)
      for (int column = 0; column < kGrid; ++column)
        obj << "vt " << column / float(kGrid - 1) << " " << row / float(kGrid - 1) << "\n";
    for (int row = 0; row + 1 < kGrid; ++row)
      for (int column = 0; column + 1 < kGrid; ++column) {
        const int a = row * kGrid + column + 1, b = a + 1, c = a + kGrid + 1, d = a + kGrid;
        obj << "f " << a << "/" << a << "/1 " << b << "/" << b << "/1 " << c << "/" << c << "/1 "
            << d << "/" << d << "/1\n";
      }
    // The lower rows follow the root, the upper ones the arm, blended in between.
    weights << "deformer 0 root\ndeformer 1 arm\n\n";
    for (int row = 0; row < kGrid; ++row)
      for (int column = 0; column < kGrid; ++column) {
        const float arm = row / float(kGrid - 1);
        weights << row * kGrid + column << ": 0 " << 1 - arm << " 1 " << arm << "\n";
      }
    std::ofstream(dir / "grid.obj") << obj.str();
    std::ofstream(dir / "grid.w") << weights.str();
    std::ofstream(dir / "crowd.cdl")
        << "object walker\nvariables\nred 0.5\nend variables\nrender_pass beauty\n"
           "segment root\nsegment arm\nparent root\ntranslate 0 1 0\nbone root\nbone arm\n"
           "material skin\nid 0\ndiffuse hsv 0.1 0.5 0.8\n"
           "geometry grid\nfile grid.obj\nweights_file grid.w\nmaterial 0\nend object\n";
    for (int frame : {1, 2}) {
      std::ofstream apf(dir / ("frame." + std::to_string(frame) + ".apf"));
      for (int id = 1; id <= kAgents; ++id)
        apf << "BEGIN walker_" << id << "\nroot 0 " << id * 3 + frame << " 0 " << id * 2.0f << " 0 "
            << frame * 0.1f << "\narm " << frame * 10 << " 0 " << id << " 0 1 0\n\n";
    }
    cdl = (dir / "crowd.cdl").string();
    apf = (dir / "frame.2.apf").string();
  }
  ~CrowdFiles() {
    std::error_code ignored;
    fs::remove_all(dir, ignored);
  }
  std::string param_str(int id) const {
    return cdl + " " + apf + " 2 red " + std::to_string(0.1 * id);
  }
};

const CrowdFiles& files() {
  static const CrowdFiles made;
  return made;
}

void BM_CrowdFrameThroughThePlugin(benchmark::State& state) {
  std::string error;
  static std::unique_ptr<host::Plugin> plugin = host::load_plugin(HORDERA_PLUGIN_PATH, &error);
  if (!plugin) {
    state.SkipWithError(("plug-in not loaded: " + error).c_str());
    return;
  }
  host::set_verbosity(0);
  host::StringOptions options;
  options["render_pass"].kind = host::OptionValue::Kind::string;
  options["render_pass"].text = "beauty";
  options["motion_blur"].kind = host::OptionValue::Kind::boolean;
  options["motion_blur"].boolean = true;
  for (auto _ : state) {
    state.PauseTiming();
    {
      host::RenderSession session(*plugin);
      if (!session.start(&error)) {
        state.SkipWithError(error.c_str());
        break;
      }
      session.init_shader(&options);
      for (int id = 1; id <= kAgents; ++id) {
        host::SceneInstance instance;
        instance.name = "walker_" + std::to_string(id);
        instance.id = id;
        instance.has_param_str = true;
        instance.param_str = files().param_str(id);
        instance.bbox_min = {-1, -1, -1};
        instance.bbox_max = {1, 3, 1};
        session.call_geometry(instance);
      }
      state.ResumeTiming();
      benchmark::DoNotOptimize(session.run_assemblies());
      state.PauseTiming();
      host::clear_messages();
    }
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kAgents);
}
BENCHMARK(BM_CrowdFrameThroughThePlugin)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_CrowdFrameEngineSteps(benchmark::State& state) {
  apf_cache_init();
  std::string cdl = files().cdl, apf = files().apf;
  MrayPair pair{};
  std::snprintf(pair.name, sizeof pair.name, "red");
  pair.kind = MRAY_PAIR_NUMBER;
  for (auto _ : state) {
    for (int id = 1; id <= kAgents; ++id) {
      Agent* agent = mray::find_render_agent(cdl.c_str());
      if (agent == nullptr) {
        state.SkipWithError("agent file not read");
        return;
      }
      agent->id = id;
      resetAll();
      pair.number = 0.1f * id;
      mray::set_agent_variables(agent, &pair, 1);
      agent_update_variation(agent);
      MrayRenderArgs args{};
      args.id = id;
      args.frame = 2;
      args.cdl_file = cdl.data();
      args.apf_file = apf.data();
      mray::pose_previous_frame(agent, &args);
      mray::pose_current_frame(agent, &args);
      benchmark::DoNotOptimize(args.swept_max[0]);
    }
  }
  state.SetItemsProcessed(state.iterations() * kAgents);
}
BENCHMARK(BM_CrowdFrameEngineSteps)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
