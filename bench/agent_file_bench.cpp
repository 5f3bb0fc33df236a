// Cost of reading an agent file: the humanoid's file (25 segments with limits, 25 bones, two
// materials, a skinned geometry node and a six-node brain) through load_agent_type, and the same
// followed by loading its geometry (3000-point OBJ mesh, weights file, sparse influences), which
// the renderer does once per agent type.
//
// Agent types are never freed, so every read leaves its type behind: the iteration counts are
// fixed to keep that memory bounded, whatever minimum time is asked for. The agent record each
// read makes for its type and the loaded meshes are released between iterations, untimed.
#include <benchmark/benchmark.h>

#include <string>

#include "agent/agent.h"
#include "agent/geometry.h"
#include "bench/humanoid.h"
#include "cdl/cdl.h"
#include "sim/simulation.h"

namespace {

constexpr int kIterations = 400;

const std::string& agent_file() {
  static humanoid::TempDirectory directory("agent_file");
  static const std::string path = humanoid::write_agent_files(directory);
  return path;
}

// Releases what a read made beyond the type record itself: its render agent and its meshes.
void release(Agent* type) {
  for (GeometryNode* node = type->geometry_nodes; node; node = node->next) geometry_free_data(node);
  sim_delete_agent(type->render_agent);
  type->render_agent = nullptr;
}

void BM_LoadAgentType(benchmark::State& state) {
  const char* path = agent_file().c_str();
  for (auto _ : state) {
    Agent* type = load_agent_type(path);
    state.PauseTiming();
    if (type == nullptr || type->bones == nullptr || type->geometry_nodes == nullptr) {
      state.SkipWithError("agent file not read as written");
      break;
    }
    release(type);
    state.ResumeTiming();
  }
}
BENCHMARK(BM_LoadAgentType)->Iterations(kIterations)->Unit(benchmark::kMicrosecond);

void BM_LoadAgentTypeWithGeometry(benchmark::State& state) {
  const char* path = agent_file().c_str();
  for (auto _ : state) {
    Agent* type = load_agent_type(path);
    int loaded = type ? agent_load_geometry(type) : 0;
    state.PauseTiming();
    if (loaded != 1 || !type->geometry_nodes->bones ||
        type->geometry_nodes->mesh->point_count != humanoid::kPointCount) {
      state.SkipWithError("geometry not loaded and bound");
      break;
    }
    release(type);
    state.ResumeTiming();
  }
}
BENCHMARK(BM_LoadAgentTypeWithGeometry)->Iterations(kIterations)->Unit(benchmark::kMicrosecond);

}  // namespace
