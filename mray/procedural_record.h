// The record a RenderMan "DynamicLoad" procedural carries from ConvertParameters to Subdivide
// and Free: one agent's parameter string, taken apart.
#pragma once

#include <cstdint>

#include "mray/shader_arguments.h"

extern "C" {

// Bits of ProceduralRecord::flags.
enum : uint32_t { PROCEDURAL_PARSED = 1 };

// One agent of the procedural path (engine memory, zero-filled; Free releases it).
struct ProceduralRecord {
  int32_t id;          // the agent's id, the first number word; -1 until read
  char* cdl_file;      // the agent file, or null
  char* motion_file;   // the motion file when the word after the agent file is not a pose cache
  char* apf_file;      // the pose-cache file, or null
  int32_t frame;       // 1 until read
  int32_t pair_count;  // number of records in `pairs`
  MrayPair* pairs;     // name/value pairs (strings are engine memory), or null
  uint32_t flags;      // PROCEDURAL_PARSED once the string has been read
};

}  // extern "C"
