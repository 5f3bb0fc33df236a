// The records that carry one agent from the geometry shader to the assembly callbacks: the
// shader's argument record, and the render arguments parsed from its parameter string.
#pragma once

#include <cstdint>

extern "C" {

// What `hordera_mray` hands to the assembly callbacks (renderer memory; asm_free_args frees it).
struct MrayArgs {
  int32_t id;         // the agent's id (shader parameter "id")
  char* param_str;    // copy of the shader parameter "paramStr" (renderer memory)
  float bbox_min[3];  // shader parameter "bbox_min"
  float bbox_max[3];  // shader parameter "bbox_max"
};

// Kinds of a name/value pair.
enum : uint8_t { MRAY_PAIR_UNSET = 0, MRAY_PAIR_NUMBER = 1, MRAY_PAIR_STRING = 2 };

// Longest pair name kept, in characters (the buffer holds one more for the NUL).
enum : int { MRAY_PAIR_NAME_MAX = 202 };

// One name/value pair of the parameter string.
struct MrayPair {
  uint8_t kind;                       // MRAY_PAIR_UNSET, MRAY_PAIR_NUMBER or MRAY_PAIR_STRING
  char name[MRAY_PAIR_NAME_MAX + 1];  // NUL-terminated
  float number;                       // the value of a number pair
  char* string;                       // the value of a string pair (renderer memory), or null
};

// The parameter string of one agent, taken apart for one asm_exec call (renderer memory).
struct MrayRenderArgs {
  int32_t id;          // -1 until set from the argument record
  int32_t frame;       // third word; 1 when absent
  int32_t pair_count;  // number of pair records in `pairs`
  char* cdl_file;      // first word, or null
  char* motion_file;   // second word when it is not a pose-cache file name, or null
  char* apf_file;      // second word when it is a pose-cache file name, or null
  MrayPair* pairs;     // pair_count records, or null
  float bbox_min[3];   // the box given to the shader
  float bbox_max[3];
  float swept_min[3];  // the box swept over the previous frame (motion blur), set by the driver
  float swept_max[3];
};

}  // extern "C"
