// Pose-cache files: the pose of every agent of the scene for one frame, as plain text (or gzip),
// one block per agent. The simulation writes one file per frame; a replaying simulation reads it
// back instead of simulating.
#pragma once

#include <cstddef>
#include <cstdint>

struct Agent;

extern "C" {

// A named set of values of an agent, written to pose caches as a "#:" line.
struct ValueSet {
  char* name;
  int32_t count;   // number of members
  char** members;  // `count` member names
  float* values;   // `count` values, allocated on first read, or null
  ValueSet* next;
};

// Output switches of the writer, all off by default: "sound" lines, "#:" value-set lines and
// "#v" variable lines.
extern int32_t apf_sound_output;
extern int32_t apf_value_set_output;
extern int32_t apf_variable_output;

// Entries of an agent's simulation value table: 4, 5 and 6 hold its position; user variable i
// (0-based position in the agent's variable list) is entry kSimValueFirstVariable + i.
constexpr int kSimValuePositionX = 4;
constexpr int kSimValueFirstVariable = 7;

// Longest line the readers take at once, in bytes including the terminating NUL; longer lines
// come back in pieces and each piece is read as a line of its own.
constexpr int kApfLineBytes = 8192;

// Formats the cache file name of `frame` in `directory` into `out` (`size` bytes):
// "<dir>/frame.<frame>.apf", with ".gz" appended when `compressed` is non-zero. Returns the length
// the full name needs, as snprintf does.
int apf_file_name(char* out, size_t size, const char* directory, int frame, int compressed);

// The name under which an agent is written to a cache: its name without the final ".<id>" when
// the name ends so, else its whole name. Writes at most `size` bytes to `out`.
void apf_agent_base_name(const Agent* agent, char* out, size_t size);

// Writes the file of `frame` for every active agent of the scene. Returns 1, or 0 after
// "ERROR: Couldn't write to %s\n" when the file cannot be opened.
int apf_write(const char* directory, int frame, int compressed);
// The motion-blur write: the file of `frame - 1` from each segment's previous-frame channel
// values (no sound, value-set or variable lines), then the file of `frame` in full. Returns 1
// when both files were written.
int apf_write_motion_blur(const char* directory, int frame, int compressed);

// Reads the file of `frame` onto the scene's agents. With `create`, agents named by "#spawn"
// lines may be created and every agent is updated; without it only agents marked for cache
// input are. Returns 1 when the file was opened, else 0 after one warning per affected agent.
int apf_read(const char* directory, int frame, int create, int compressed);

// The root rotation of a world matrix as written to a cache: Euler angles in the segment
// order's rotation order, reduced to the flatter equivalent triple, in degrees.
void apf_root_rotations(const float* world, int32_t order, float degrees[3]);

}  // extern "C"

namespace hordera {

// Groups belong to the simulation, a layer above the pose caches. It lends the reader and writer
// what they need of groups through these hooks, installed when its first group is made; until
// then no agent has a group, so no "#spawn" line is written or acted upon.
struct ApfGroupHooks {
  // The name of the agent's group, or null when it has none (or the group has no name).
  const char* (*group_name)(const Agent* agent);
  // The name a group's agents are named after, or null when no group has the name `group`.
  const char* (*agent_name)(const char* group);
  // Creates the agent numbered `id` in the group named `group`; null when it cannot.
  Agent* (*create_agent)(const char* group, int id);
};
extern ApfGroupHooks apf_group_hooks;

}  // namespace hordera
