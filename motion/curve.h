// Curves: one animated channel of an action, a sorted list of typed keys over the action's
// phase (0 to 1, wrapping cyclically).
#pragma once

#include <cstdint>

extern "C" {

// Curve types, numbered as in curve blocks.
enum CurveType : uint8_t {
  CURVE_NULL = 0,
  CURVE_CONSTANT = 1,
  CURVE_LINEAR = 2,
  CURVE_COSINE = 3,
  CURVE_SPLINE1D = 4,
  CURVE_SPLINE2D = 5,
};

// The keys of one curve. All key arrays live in one allocation, each starting `count` floats
// after the previous one: time and value, then for the spline types in_x, in_y, out_x, out_y.
// For the non-spline types the four tangent pointers are null.
struct CurvePoints {
  char* channel;  // channel name, owned, or null
  uint8_t type;   // CurveType; fresh storage is CURVE_LINEAR
  int32_t spare;  // carried along unchanged whenever the storage is rebuilt
  int32_t count;  // number of keys
  float* time;    // start of the single key block
  float* value;
  float* in_x;
  float* in_y;
  float* out_x;
  float* out_y;
};

// One animated channel; an action keeps its curves in a doubly linked list in creation order.
struct Curve {
  uint8_t kind;           // 0 segment channel, 2 variable channel (set when bound)
  int32_t id;             // unique within the owning list
  int32_t channel_index;  // bound agent channel, -1 when unresolved
  CurvePoints* points;    // null for a curve without keys
  Curve* prev;
  Curve* next;
};

}  // extern "C"
