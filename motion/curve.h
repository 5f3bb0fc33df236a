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

struct Action;
struct Stream;

// Text styles of a curve block: inside compressed action data, and inside plain text files.
enum CurveTextStyle { CURVE_TEXT_ACTION = 0, CURVE_TEXT_PLAIN = 1 };

// Creates an empty curve appended at the tail of `*list` (id one past the largest in the list);
// with a null list a free-standing curve with id 0.
Curve* newCurve(Curve** list);
// Fresh storage for `n` keys of type linear, no channel name; any old storage is released.
void curve_allocate_points(Curve* curve, int n);
// Changes the key count to `n`, keeping the first min(old, n) keys of every array.
void curve_reallocate_points(Curve* curve, int n);
// Changes the curve type, rebuilding storage and computing automatic tangents as needed.
void curve_set_type(Curve* curve, int type);
// Removes key `index`.
void curve_delete_point(Curve* curve, int index);
// Value at phase `t`.
float curve_evaluate(Curve* curve, float t);
// Inserts a key at `t` holding the curve's value there; returns its index.
int curve_insert_key(Curve* curve, float t);
// Key setters.
void curve_set_key_time(Curve* curve, int index, float time);
void curve_set_key_value(Curve* curve, int index, float value);
void curve_set_in_tangent(Curve* curve, int index, float x, float y);
void curve_set_out_tangent(Curve* curve, int index, float x, float y);
// Sorts keys by time; tangent arrays stay where they are.
void curve_sort_keys(Curve* curve);
void curve_value_range(Curve* curve, float* lo, float* hi);
void curve_time_range(Curve* curve, float* lo, float* hi);
void curve_unwrap_angles(Curve* curve);
float curve_filter_value(Curve* curve, int centre, const float* weights, int width, int cyclic);
// Frees a curve with its points and channel name (not unlinked).
void curve_free(Curve* curve);
// The first curve of the action whose points carry exactly this channel name.
Curve* findCurve(Action* action, const char* channel);
void deleteCurve(Action* action, Curve* curve);
// Writes a curve block (nothing for a curve without points).
void curve_write_text(Stream* stream, Curve* curve, int style);
// Reads a curve block body (the line after "curve"); returns 1 when the block ended with its
// "end curve" line, 0 otherwise. A line that belongs to no curve block ends the reading and sets
// the input position back to where it stood on entry; the keys read up to then are kept.
int curve_read_text(Stream* stream, Curve* curve);

}  // extern "C"

// Engine-internal helpers shared by the curve and action sources (not exported).
namespace hordera {
// True for the types that store in and out tangents (spline1d, spline2d).
bool curve_type_is_spline(int type);
// The keyword of a curve type as curve blocks write it; "null" for unknown numbers.
const char* curve_type_keyword(int type);
// The first type keyword found anywhere in `line`, in table order; 0 when none.
int curve_type_from_text(const char* line);
// Rebuilds the single key block for `count` keys with (`tangents`) or without tangent arrays,
// keeping the first min(old, count) keys of every array both layouts share; new entries are 0.
// On allocation failure prints "Out of memory allocating curve points.\n" and returns false with
// the storage unchanged. A negative count counts as 0.
bool curve_rebuild_storage(CurvePoints* points, int count, bool tangents);
// Replaces the channel name of the curve's points with a copy of `channel` (null clears it).
void curve_set_channel(Curve* curve, const char* channel);
// Gives every key the automatic tangents of its neighbours (needs tangent arrays and at least
// two keys; otherwise nothing changes).
void curve_auto_tangents(Curve* curve);
// A copy of the curve with its points, not linked into any list; null when memory runs out.
Curve* curve_copy(const Curve* curve);
}  // namespace hordera
