// The per-frame cloth and hair cache files: their names in the cache directory and their
// points, read through the Stream layer (".gz" files through gzip).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/vector_types.h"

struct Agent;

namespace hordera {

// One frame of one piece as the cache file gives it.
struct CacheFrame {
  bool world = false;            // "space world": points already in world space
  std::vector<Vector> points;    // cloth: "points N" block; hair: every curve's points in turn
  std::vector<Vector> normals;   // cloth only: the "normals N" block, or empty
  std::vector<uint32_t> curves;  // hair only: the point count of each "curve N" block
};

// The piece's name in file names: its node name with blanks and '/' turned into '_', or
// `kind` followed by its position in the agent type's list (from 0) when it has none.
std::string cache_piece_name(const char* node_name, const char* kind, int position);

// The cache file of `piece` of `agent` for `frame` in `directory`:
// "<directory>/<agent name>.<piece>.<frame>.<extension>", or the same with ".gz" when only that
// exists. Empty when neither exists.
std::string find_cache_file(const char* directory, const Agent* agent, const std::string& piece,
                            int frame, const char* extension);

// Reads a cache file. Problems are reported as "file:line: what is wrong"; returns false when
// the file cannot be used at all (nothing usable is kept then).
bool read_cache_frame(const std::string& path, bool hair, CacheFrame& frame);

// Which frame's transforms place an agent-space cache.
enum class CacheTime { current, previous };

// The matrix that takes agent-space cache points into world space: the world transform of the
// agent's root segment (the first segment without a parent) for the frame, so that the points
// follow the agent wherever its pose puts it, in a simulation (where the agent's matrix closes
// the chain) and at render time (where the root segment carries the placement) alike. An agent
// without segments uses its own matrix.
void agent_space_matrix(Agent* agent, CacheTime time, float* out);

// Moves agent-space points (and normals) into world space by `matrix` (16 floats, row vectors).
void cache_to_world(CacheFrame& frame, const float* matrix);

}  // namespace hordera
