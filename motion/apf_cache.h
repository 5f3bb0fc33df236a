// The render-time cache of parsed pose-cache files: each file is parsed once, as one record of
// floats per agent id, and at most two parsed files are kept.
#pragma once

#include <cstddef>

struct Agent;

extern "C" {

// Empties the list of cached files and allocates the pose reader's shared line buffer, once per
// process; later calls do nothing.
void apf_cache_init(void);
// Applies the record of `agent`'s id from the parsed file `path` to the agent; 1 on success, 0
// when the file cannot be read or holds fewer records than the id.
int apf_cache_read(const char* path, Agent* agent);
// Stores `count` values into the blend weights of the agent type's geometry nodes in list order,
// one per blend shape in blend order; a node governed by a geometry selector takes values only
// when it is the selector's chosen alternative. Returns how many values were used.
size_t apf_apply_blend_weights(Agent* agent, const float* values, size_t count);
// Number of parsed files held (at most two after a successful read).
int apf_cache_file_count(void);
// 1 when the parsed file of this name is held.
int apf_cache_holds(const char* path);

}  // extern "C"
