// Cost per agent of reading one pose-cache frame onto crowds of 1,000, 10,000 and 100,000 agents
// (`apf_read`, plain text): the same for every size when finding an agent costs the same.
// Agents have a two-segment type, so the figure is dominated by the per-agent work of the reader.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "agent/agent.h"
#include "bench/humanoid.h"
#include "motion/apf.h"

namespace {

constexpr int kFrame = 1;

// The scene's agent list is made directly (instances created one at a time on an empty list and
// chained here), since appending each to a long list would cost the setup its square.
void make_crowd(int count) {
  while (root_agent) delete_agent_instance(root_agent);
  static Agent* type = [] {
    Agent* t = new_agent_type("walker");
    new_segment(t, "root");
    new_segment(t, "arm")->animated = 1;
    return t;
  }();
  Agent* head = nullptr;
  Agent* tail = nullptr;
  for (int id = 1; id <= count; ++id) {
    root_agent = nullptr;
    Agent* agent = new_agent_instance(type);
    std::free(agent->name);
    agent->name = strdup(("walker." + std::to_string(id)).c_str());
    agent->id = id;
    agent->activity = 1;
    agent->cache_input = 1;
    agent->segments->next->channels[3] = 0.5f * static_cast<float>(id % 90);
    agent->matrix[12] = static_cast<float>(id);
    agent->prev = tail;
    if (tail)
      tail->next = agent;
    else
      head = agent;
    tail = agent;
  }
  root_agent = head;
}

void BM_ApfReadPerAgent(benchmark::State& state) {
  static humanoid::TempDirectory directory("pose_cache_scale");
  const int count = static_cast<int>(state.range(0));
  make_crowd(count);
  if (!apf_write(directory.path().c_str(), kFrame, 0)) {
    state.SkipWithError("frame not written");
    return;
  }
  for (auto _ : state) {
    if (!apf_read(directory.path().c_str(), kFrame, 0, 0)) {
      state.SkipWithError("frame not read");
      break;
    }
  }
  state.SetItemsProcessed(state.iterations() * count);
  while (root_agent) delete_agent_instance(root_agent);
}
BENCHMARK(BM_ApfReadPerAgent)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace
