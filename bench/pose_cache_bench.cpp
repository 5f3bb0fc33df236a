// Cost of pose-cache files for a crowd of 300 humanoids of 25 segments: writing one frame, reading
// it back onto the scene with the one-pass reader, and the renderer's cache of parsed files (one
// parse of the frame plus the record of each of the 300 agents, and one agent's record alone).
// Finally the per-agent render step: one agent's record applied and its skin deformed.
// Arguments: 0 plain text files, 1 gzip files.
#include <benchmark/benchmark.h>
#include <fast_float/fast_float.h>
#include <libdeflate.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "agent/agent.h"
#include "agent/skeleton.h"
#include "agent/skinning.h"
#include "base/file_buffer.h"
#include "bench/humanoid.h"
#include "cdl/cdl.h"
#include "motion/apf.h"
#include "motion/apf_cache.h"
#include "sim/simulation.h"

namespace {

constexpr int kAgents = 300;
// The frame the crowd is written to once, for the readers; the writer benchmark writes another.
constexpr int kReadFrame = 1;
constexpr int kWriteFrame = 2;
// Copies of the read frame under different names: the render cache keeps two parsed files, so one
// of three is always unparsed.
constexpr int kCacheCopies = 3;

struct Crowd {
  humanoid::TempDirectory directory{"pose_cache"};
  std::vector<Agent*> agents;
  std::string cache_paths[2][kCacheCopies];  // [compressed][copy]
  std::string error;                         // why the crowd could not be built, or empty
};

std::string frame_path(const Crowd& crowd, int frame, int compressed) {
  char path[4096];
  apf_file_name(path, sizeof path, crowd.directory.path().c_str(), frame, compressed);
  return path;
}

// The humanoid type and 300 instances named "humanoid.<id>" (ids 1 to 300), placed on a grid, each
// segment turned by its own angles and marked animated and for cache input; the frame written
// plain and gzip, and its copies for the render cache benchmarks.
void build_crowd(Crowd& crowd) {
  apf_cache_init();
  Agent* type = load_agent_type(humanoid::write_agent_files(crowd.directory).c_str());
  if (type == nullptr) {
    crowd.error = "agent file not read";
    return;
  }
  // The agent record the reader made for the type is not one of the crowd.
  sim_delete_agent(type->render_agent);
  type->render_agent = nullptr;
  for (int id = 1; id <= kAgents; ++id) {
    Agent* agent = new_agent_instance(type);
    agent->id = id;
    std::free(agent->name);
    agent->name = strdup(("humanoid." + std::to_string(id)).c_str());
    agent->activity = 1;
    agent->cache_input = 1;
    agent->matrix[12] = 2.0f * (id % 20);
    agent->matrix[14] = 2.0f * (id / 20);
    int index = 0;
    for (Segment* segment = agent->segments; segment; segment = segment->next, ++index) {
      segment->animated = 1;
      segment->channels[3] = 12.0f * std::sin(0.9f * index + 0.1f * id);
      segment->channels[4] = 8.0f * std::cos(1.3f * index + 0.2f * id);
      segment->channels[5] = 15.0f * std::sin(0.4f * index + 0.3f * id);
    }
    agent_pose_from_channels(agent);
    crowd.agents.push_back(agent);
  }
  for (int compressed = 0; compressed < 2; ++compressed) {
    if (!apf_write(crowd.directory.path().c_str(), kReadFrame, compressed)) {
      crowd.error = "frame not written";
      return;
    }
    for (int copy = 0; copy < kCacheCopies; ++copy) {
      std::string leaf = "cache" + std::to_string(copy) + (compressed ? ".apf.gz" : ".apf");
      crowd.cache_paths[compressed][copy] = crowd.directory.file(leaf);
      std::filesystem::copy_file(frame_path(crowd, kReadFrame, compressed),
                                 crowd.cache_paths[compressed][copy],
                                 std::filesystem::copy_options::overwrite_existing);
    }
  }
}

// Built once per program: agent types are never freed, and the scene's agent list is the crowd.
Crowd& crowd() {
  static Crowd crowd;
  static const bool built = (build_crowd(crowd), true);
  (void)built;
  return crowd;
}

bool ready(benchmark::State& state) {
  const Crowd& scene = crowd();
  if (!scene.error.empty()) state.SkipWithError(scene.error.c_str());
  return scene.error.empty();
}

void BM_ApfWrite(benchmark::State& state) {
  if (!ready(state)) return;
  const int compressed = static_cast<int>(state.range(0));
  const std::string directory = crowd().directory.path();
  for (auto _ : state) {
    if (!apf_write(directory.c_str(), kWriteFrame, compressed)) {
      state.SkipWithError("frame not written");
      break;
    }
  }
  state.SetItemsProcessed(state.iterations() * kAgents);
  state.counters["file_bytes"] =
      static_cast<double>(std::filesystem::file_size(frame_path(crowd(), kWriteFrame, compressed)));
}
BENCHMARK(BM_ApfWrite)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_ApfRead(benchmark::State& state) {
  if (!ready(state)) return;
  const int compressed = static_cast<int>(state.range(0));
  const std::string directory = crowd().directory.path();
  for (auto _ : state) {
    if (!apf_read(directory.c_str(), kReadFrame, 0, compressed)) {
      state.SkipWithError("frame not read");
      break;
    }
  }
  state.SetItemsProcessed(state.iterations() * kAgents);
}
BENCHMARK(BM_ApfRead)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// A file the cache does not hold, parsed once, then every agent's record applied from it.
void BM_ApfCacheParseAndApplyAll(benchmark::State& state) {
  if (!ready(state)) return;
  const int compressed = static_cast<int>(state.range(0));
  Crowd& scene = crowd();
  for (auto _ : state) {
    // The cache keeps two files, so one of the three copies is always unparsed.
    const char* path = nullptr;
    for (const std::string& copy : scene.cache_paths[compressed])
      if (!apf_cache_holds(copy.c_str())) path = copy.c_str();
    for (Agent* agent : scene.agents) apf_cache_read(path, agent);
  }
  state.SetItemsProcessed(state.iterations() * kAgents);
}
BENCHMARK(BM_ApfCacheParseAndApplyAll)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// Parsing alone: a file the cache does not hold parsed once (one agent's record applied), as
// bytes of plain text per second. With /1 the bytes are those of the inflated text.
void BM_ApfCacheParse(benchmark::State& state) {
  if (!ready(state)) return;
  const int compressed = static_cast<int>(state.range(0));
  Crowd& scene = crowd();
  for (auto _ : state) {
    const char* path = nullptr;
    for (const std::string& copy : scene.cache_paths[compressed])
      if (!apf_cache_holds(copy.c_str())) path = copy.c_str();
    apf_cache_read(path, scene.agents[0]);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(std::filesystem::file_size(
                                                   scene.cache_paths[0][0])));
}
BENCHMARK(BM_ApfCacheParse)->Arg(0)->Arg(1);

// The gzip frame read whole and inflated in memory, as bytes of output per second.
void BM_InflateFrame(benchmark::State& state) {
  if (!ready(state)) return;
  const std::string& path = crowd().cache_paths[1][0];
  hordera::FileBuffer buffer;
  for (auto _ : state) {
    buffer.load(path.c_str(), true);
    benchmark::DoNotOptimize(buffer.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(buffer.size()));
}
BENCHMARK(BM_InflateFrame);

std::string file_bytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The yardsticks, measured in the same run: libdeflate alone inflating the gzip frame already in
// memory into a buffer of the right size (no file read, no size guess), and fast_float alone
// converting every number of the plain frame, words skipped, nothing stored.
void BM_InflateReference(benchmark::State& state) {
  if (!ready(state)) return;
  const std::string in = file_bytes(crowd().cache_paths[1][0]);
  const size_t out_size = file_bytes(crowd().cache_paths[0][0]).size();
  std::vector<char> out(out_size);
  libdeflate_decompressor* d = libdeflate_alloc_decompressor();
  for (auto _ : state) {
    size_t made = 0;
    if (libdeflate_gzip_decompress(d, in.data(), in.size(), out.data(), out.size(), &made) !=
        LIBDEFLATE_SUCCESS)
      state.SkipWithError("not inflated");
    benchmark::DoNotOptimize(out.data());
  }
  libdeflate_free_decompressor(d);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(out_size));
}
BENCHMARK(BM_InflateReference);

void BM_NumbersReference(benchmark::State& state) {
  if (!ready(state)) return;
  const std::string text = file_bytes(crowd().cache_paths[0][0]);
  for (auto _ : state) {
    double sum = 0;
    const char* p = text.data();
    const char* const end = p + text.size();
    while (p < end) {
      while (p < end && (*p == ' ' || *p == '\n' || *p == '\t')) ++p;
      double value;
      const auto [next, error] = fast_float::from_chars(p, end, value);
      if (error == std::errc()) {
        sum += value;
        p = next;
      } else {
        while (p < end && *p != ' ' && *p != '\n' && *p != '\t') ++p;
      }
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}
BENCHMARK(BM_NumbersReference);

// One agent's record from a file the cache holds: the per-agent pose read at render time.
void BM_ApfCacheApply(benchmark::State& state) {
  if (!ready(state)) return;
  Crowd& scene = crowd();
  const char* path = scene.cache_paths[0][0].c_str();
  if (!apf_cache_read(path, scene.agents[0])) {
    state.SkipWithError("record not read");
    return;
  }
  size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(apf_cache_read(path, scene.agents[next]));
    next = next + 1 == scene.agents.size() ? 0 : next + 1;
  }
}
BENCHMARK(BM_ApfCacheApply);

// The per-agent render step after the frame is parsed: one agent's record applied from the held
// file, then its skin deformed through the pose.
void BM_AgentPoseAndDeform(benchmark::State& state) {
  if (!ready(state)) return;
  Crowd& scene = crowd();
  const char* path = scene.cache_paths[0][0].c_str();
  if (!apf_cache_read(path, scene.agents[0])) {
    state.SkipWithError("record not read");
    return;
  }
  agent_deform_geometry(scene.agents[0]);  // loads the type's geometry once
  size_t next = 0;
  for (auto _ : state) {
    apf_cache_read(path, scene.agents[next]);
    agent_deform_geometry(scene.agents[next]);
    benchmark::ClobberMemory();
    next = next + 1 == scene.agents.size() ? 0 : next + 1;
  }
}
BENCHMARK(BM_AgentPoseAndDeform);

}  // namespace
