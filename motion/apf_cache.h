// The render-time cache of parsed pose-cache files: each file is parsed once, as one record of
// floats per agent id, and at most two parsed files are kept.
#pragma once

struct Agent;

extern "C" {

// Empties the list of cached files and allocates the pose reader's shared line buffer, once per
// process; later calls do nothing.
void apf_cache_init(void);
// Applies the record of `agent`'s id from the parsed file `path` to the agent; 1 on success, 0
// when the file cannot be read or holds fewer records than the id.
int apf_cache_read(const char* path, Agent* agent);

}  // extern "C"
