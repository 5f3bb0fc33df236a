// One frame of an AMC motion file into an agent, through a small cache of parsed files.
#include "motion/motion_capture.h"

#include <sys/stat.h>

#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "agent/agent.h"
#include "agent/skeleton.h"
#include "motion/mocap_pose.h"

// 1.0, an action's own default rate, until a pipeline sets another.
float amc_sample_rate = 1.0f;

namespace hordera {

namespace {

// A render reads the same few clips for every agent of a frame and again for the previous
// frame: the last few parsed files are kept, and checked against the file's size and time.
struct CachedAmc {
  std::string path;
  std::string agent_file;  // the skeleton may be found beside the agent file
  long long size;
  long long modified;
  std::shared_ptr<const mocap::LinkedAmc> amc;
};

constexpr size_t kCachedFiles = 8;
std::mutex cache_mutex;
std::vector<CachedAmc> cache;  // most recently used last

std::shared_ptr<const mocap::LinkedAmc> cached_amc(const char* path,
                                                   const std::string& agent_file) {
  struct stat info {};
  if (::stat(path, &info) != 0) return nullptr;
  const long long size = info.st_size;
  const long long modified =
      static_cast<long long>(info.st_mtim.tv_sec) * 1000000000LL + info.st_mtim.tv_nsec;
  std::lock_guard<std::mutex> lock(cache_mutex);
  for (size_t i = 0; i < cache.size(); ++i) {
    if (cache[i].path != path || cache[i].agent_file != agent_file) continue;
    if (cache[i].size == size && cache[i].modified == modified) {
      CachedAmc hit = std::move(cache[i]);
      cache.erase(cache.begin() + static_cast<long>(i));
      cache.push_back(std::move(hit));
      return cache.back().amc;
    }
    cache.erase(cache.begin() + static_cast<long>(i));
    break;
  }
  std::shared_ptr<const mocap::LinkedAmc> amc = mocap::load_linked_amc(path, agent_file);
  if (!amc) return nullptr;
  // Reported once, when the file is read: every agent of a crowd may share the clip.
  if (amc->clip.frames.empty()) std::fprintf(stderr, "%s: no frames\n", path);
  if (cache.size() >= kCachedFiles) cache.erase(cache.begin());
  cache.push_back(CachedAmc{path, agent_file, size, modified, amc});
  return amc;
}

}  // namespace

void amc_cache_clear() {
  std::lock_guard<std::mutex> lock(cache_mutex);
  cache.clear();
}

}  // namespace hordera

extern "C" int amc_read_frame(Agent* agent, const char* path, int frame) {
  if (!agent || !path) return 0;
  Agent* type = agent_type_of(agent);
  std::shared_ptr<const hordera::mocap::LinkedAmc> amc =
      hordera::cached_amc(path, type && type->cdl_file ? type->cdl_file : "");
  if (!amc) {
    std::fprintf(stderr, "AMC file %s could not be opened\n", path);
    return 0;
  }
  int index = amc->clip.find_frame(frame);
  if (index < 0) return 0;
  hordera::mocap::amc_frame_channels(
      *amc, index, agent,
      [](Segment* segment, int channel, float value) { segment->channels[channel] = value; });
  agent_pose_from_channels(agent);
  return 1;
}
