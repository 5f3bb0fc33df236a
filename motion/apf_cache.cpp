// The render-time cache of parsed pose-cache files: each file is parsed once into one record of
// floats per agent id, and at most two parsed files are kept, oldest freed first.
#include "motion/apf_cache.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <list>
#include <memory>
#include <new>
#include <string>
#include <unordered_map>
#include <vector>

#include "agent/agent.h"
#include "agent/skeleton.h"
#include "base/file_buffer.h"
#include "base/number_scan.h"
#include "motion/apf.h"

namespace {

// Entries of the pose reader's shared line buffer.
constexpr size_t kSharedLineEntries = 6000;
// Initial size of the parser's work buffer, in floats; it doubles when a line holds more words.
constexpr size_t kInitialWorkFloats = 2048;
// Parsed files kept at once.
constexpr size_t kMaxCachedFiles = 2;

// One parsed file: a record of floats per agent id (record i belongs to id i + 1). Only the
// records that some block fills are stored, so a huge id on a "BEGIN" line costs nothing; every
// other id up to the record count has an empty record.
struct ApfCacheFile {
  std::string path;
  long record_count = 0;
  std::unordered_map<long, std::vector<float>> records;  // by agent id
};

bool g_cache_initialised = false;
float* g_shared_line_buffer = nullptr;
std::list<std::unique_ptr<ApfCacheFile>> g_files;
size_t g_file_count = 0;

// A file whose name ends in ".gz" is read as a gzip stream.
bool is_compressed_name(const std::string& path) {
  return path.ends_with(".gz");
}

bool starts_with_begin(const char* line) {
  return std::strncmp(line, "BEGIN", 5) == 0;
}

// The id of a "BEGIN <base>_<id>" line: the number after the last "_", or 0.
long begin_line_id(const char* line) {
  const char* underscore = std::strrchr(line, '_');
  if (!underscore) return 0;
  return std::strtol(underscore + 1, nullptr, 10);
}

size_t count_words(const char* text) {
  size_t words = 0;
  bool in_word = false;
  for (; *text; ++text) {
    bool space = std::isspace(static_cast<unsigned char>(*text));
    if (!space && !in_word) ++words;
    in_word = !space;
  }
  return words;
}

bool is_c_space(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// Parses `file->path` in one pass over the file held in memory. Lines of a block have their
// first word (the segment name) skipped and their numbers appended to the block's record up to
// the first word that is not a number; lines whose first word begins with "#" (value sets,
// variables) are skipped whole. The record count is the largest id of any "BEGIN" line; every
// id from 1 up is below it by definition, so blocks are stored as they come. A file that cannot
// be opened leaves the entry without records.
void parse_file(ApfCacheFile* file) {
  static hordera::FileBuffer buffer;
  if (!buffer.load(file->path.c_str(), is_compressed_name(file->path))) {
    std::fprintf(stderr, "Failed to open file '%s' for caching\n", file->path.c_str());
    return;
  }
  if (buffer.damaged())
    std::fprintf(stderr, "%s: compressed data end early; the blocks before are kept\n",
                 file->path.c_str());
  char line[kApfLineBytes];
  long record_count = 0;
  size_t work_size = kInitialWorkFloats;
  std::vector<float>* record = nullptr;
  const std::vector<float>* last_record = nullptr;  // the record of the last block begun
  for (size_t position = 0; buffer.next_line(position, line, sizeof line);) {
    if (starts_with_begin(line)) {
      long id = begin_line_id(line);
      if (id > record_count) record_count = id;
      // Agents of one file mostly share a type: room for as many values as the last block had
      // saves growing each record step by step.
      const size_t last_size = last_record ? last_record->size() : 0;
      record = id >= 1 ? &file->records[id] : nullptr;
      if (record && record->empty()) record->reserve(last_size);
      if (record) last_record = record;
      continue;
    }
    const char* text = line;
    while (*text == ' ' || *text == '\t') ++text;
    if (*text == '\n' || *text == '\r' || *text == '\0') {
      // An empty line ends the block; blank lines inside are simply skipped.
      if (line[0] == '\n' || line[0] == '\0') record = nullptr;
      continue;
    }
    if (!record || *text == '#') continue;
    // A line of n bytes holds at most (n + 1) / 2 words: only lines that long can outgrow the
    // work buffer, and only they are counted.
    const size_t length = std::strlen(text);
    if ((length + 1) / 2 > work_size) {
      const size_t words = count_words(text);
      while (words > work_size) {
        std::fprintf(stderr, "Buffer reallocation required for file '%s'\n", file->path.c_str());
        work_size *= 2;
      }
    }
    const char* line_end = text + length;
    while (*text && !is_c_space(*text)) ++text;
    // The numbers are appended straight to the record; there are never more than the work
    // buffer holds, since it has room for every word of the line.
    for (size_t count = 0; count < work_size; ++count) {
      const char* end = nullptr;
      const float value = hordera::scan_float(text, line_end, &end);
      if (end == text) break;
      record->push_back(value);
      text = end;
    }
  }
  file->record_count = record_count;
}

ApfCacheFile* find_or_parse(const char* path) {
  for (auto& file : g_files)
    if (file->path == path) return file.get();
  auto file = std::unique_ptr<ApfCacheFile>(new (std::nothrow) ApfCacheFile);
  if (!file) {
    std::fprintf(stderr, "apf_cache_read(): Out of memory allocating ApfCacheFile.\n");
    return nullptr;
  }
  file->path = path;
  // An unreadable file is kept too (without records): it is reported once, and later reads of
  // that name fail quietly until it leaves the cache.
  parse_file(file.get());
  g_files.push_back(std::move(file));
  ++g_file_count;
  return g_files.back().get();
}

// Applies one record to an agent: six channels per segment in order position, then the six
// cached motion values (first two swapped), then blend weights.
void apply_record(Agent* agent, const float* record, size_t total) {
  size_t next = 0;
  for (Segment* segment = agent->segments; segment && next < total; segment = segment->next) {
    int entries[6];
    order_unpack(segment->order, entries);
    for (int k = 0; k < 6 && next < total; ++k, ++next) {
      if (entries[k] >= ORDER_TX && entries[k] <= ORDER_RZ)
        segment->channels[entries[k] - 1] = record[next];
    }
  }
  if (next < total) {
    static constexpr int kMotionSlot[6] = {1, 0, 2, 3, 4, 5};
    for (int k = 0; k < 6 && next < total; ++k, ++next)
      agent->motion[kMotionSlot[k]] = record[next];
  }
  if (next < total) apf_apply_blend_weights(agent, record + next, total - next);
  agent_pose_from_channels(agent);
}

}  // namespace

extern "C" void apf_cache_init(void) {
  if (g_cache_initialised) return;
  g_cache_initialised = true;
  g_files.clear();
  g_file_count = 0;
  g_shared_line_buffer = static_cast<float*>(std::calloc(kSharedLineEntries, sizeof(float)));
}

extern "C" int apf_cache_read(const char* path, Agent* agent) {
  if (!agent || !path) return 0;
  ApfCacheFile* file = nullptr;
  try {
    file = find_or_parse(path);
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "apf_cache_read(): Out of memory allocating ApfCacheFile.\n");
    return 0;
  }
  if (!file) return 0;
  if (agent->id < 1 || agent->id > file->record_count) return 0;
  auto found = file->records.find(agent->id);
  if (found == file->records.end())
    apply_record(agent, nullptr, 0);
  else
    apply_record(agent, found->second.data(), found->second.size());
  while (g_file_count > kMaxCachedFiles) {
    g_files.pop_front();
    --g_file_count;
  }
  return 1;
}

extern "C" int apf_cache_file_count(void) {
  return static_cast<int>(g_file_count);
}

extern "C" int apf_cache_holds(const char* path) {
  for (auto& file : g_files)
    if (file->path == path) return 1;
  return 0;
}
