// Curve records: creation, the single key block and its rebuilds, type changes, freeing, and the
// curve lists that actions own.
#include "motion/curve.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "motion/action.h"
#include "motion/id_list.h"

namespace {

// Floats stored per key: time and value, plus four tangent components for the spline layout.
int floats_per_key(bool tangents) {
  return tangents ? 6 : 2;
}

// Points the six array pointers into `block`, each `count` floats after the previous one.
void point_arrays(CurvePoints* points, float* block, int count, bool tangents) {
  points->time = block;
  points->value = block ? block + count : nullptr;
  if (tangents && block) {
    points->in_x = block + 2 * count;
    points->in_y = block + 3 * count;
    points->out_x = block + 4 * count;
    points->out_y = block + 5 * count;
  } else {
    points->in_x = points->in_y = points->out_x = points->out_y = nullptr;
  }
}

void report_out_of_memory() {
  std::fputs("Out of memory allocating curve points.\n", stderr);
}

char* copy_text(const char* text) {
  if (!text) return nullptr;
  size_t length = std::strlen(text) + 1;
  char* copy = static_cast<char*>(std::malloc(length));
  if (copy) std::memcpy(copy, text, length);
  return copy;
}

void free_points(CurvePoints* points) {
  if (!points) return;
  std::free(points->time);
  std::free(points->channel);
  std::free(points);
}

}  // namespace

namespace hordera {

bool curve_type_is_spline(int type) {
  return type == CURVE_SPLINE1D || type == CURVE_SPLINE2D;
}

bool curve_rebuild_storage(CurvePoints* points, int count, bool tangents) {
  if (!points) return false;
  count = std::max(count, 0);
  float* block = nullptr;
  if (count > 0) {
    // Refuse blocks whose float count does not fit the record's 32-bit count arithmetic.
    if (count > INT_MAX / floats_per_key(tangents)) {
      report_out_of_memory();
      return false;
    }
    size_t floats = static_cast<size_t>(count) * floats_per_key(tangents);
    block = static_cast<float*>(std::calloc(floats, sizeof(float)));
    if (!block) {
      report_out_of_memory();
      return false;
    }
  }
  CurvePoints fresh = *points;
  point_arrays(&fresh, block, count, tangents);
  int kept = std::min(std::max(points->count, 0), count);
  if (kept > 0 && points->time) {
    std::memcpy(fresh.time, points->time, kept * sizeof(float));
    std::memcpy(fresh.value, points->value, kept * sizeof(float));
    if (tangents && points->in_x) {
      std::memcpy(fresh.in_x, points->in_x, kept * sizeof(float));
      std::memcpy(fresh.in_y, points->in_y, kept * sizeof(float));
      std::memcpy(fresh.out_x, points->out_x, kept * sizeof(float));
      std::memcpy(fresh.out_y, points->out_y, kept * sizeof(float));
    }
  }
  std::free(points->time);
  fresh.count = count;
  *points = fresh;
  return true;
}

void curve_set_channel(Curve* curve, const char* channel) {
  if (!curve || !curve->points) return;
  char* copy = copy_text(channel);
  if (channel && !copy) return;
  std::free(curve->points->channel);
  curve->points->channel = copy;
}

Curve* curve_copy(const Curve* curve) {
  if (!curve) return nullptr;
  Curve* copy = static_cast<Curve*>(std::calloc(1, sizeof(Curve)));
  if (!copy) return nullptr;
  copy->kind = curve->kind;
  copy->id = curve->id;
  copy->channel_index = curve->channel_index;
  const CurvePoints* points = curve->points;
  if (!points) return copy;
  copy->points = static_cast<CurvePoints*>(std::calloc(1, sizeof(CurvePoints)));
  if (!copy->points) return copy;
  copy->points->type = points->type;
  copy->points->spare = points->spare;
  copy->points->channel = copy_text(points->channel);
  bool tangents = points->in_x != nullptr;
  if (points->count > 0 && curve_rebuild_storage(copy->points, points->count, tangents)) {
    size_t floats = static_cast<size_t>(points->count) * floats_per_key(tangents);
    // Both blocks share the packed layout, so one copy carries every array.
    std::memcpy(copy->points->time, points->time, floats * sizeof(float));
  }
  return copy;
}

}  // namespace hordera

extern "C" {

Curve* newCurve(Curve** list) {
  Curve* curve = static_cast<Curve*>(std::calloc(1, sizeof(Curve)));
  if (!curve) return nullptr;
  curve->channel_index = -1;
  if (!list) return curve;
  hordera::append_with_next_id(list, curve);
  return curve;
}

void curve_allocate_points(Curve* curve, int n) {
  if (!curve) return;
  CurvePoints* points = static_cast<CurvePoints*>(std::calloc(1, sizeof(CurvePoints)));
  if (!points) {
    report_out_of_memory();
    return;
  }
  points->type = CURVE_LINEAR;
  if (!hordera::curve_rebuild_storage(points, n, false)) {
    std::free(points);
    return;
  }
  free_points(curve->points);
  curve->points = points;
}

void curve_reallocate_points(Curve* curve, int n) {
  if (!curve || !curve->points || n == curve->points->count) return;
  CurvePoints* points = curve->points;
  hordera::curve_rebuild_storage(points, n, points->in_x != nullptr);
}

void curve_set_type(Curve* curve, int type) {
  if (!curve || !curve->points) return;
  CurvePoints* points = curve->points;
  if (type == points->type) return;
  bool to_spline = hordera::curve_type_is_spline(type);
  bool has_tangents = points->in_x != nullptr;
  if (to_spline != has_tangents &&
      !hordera::curve_rebuild_storage(points, points->count, to_spline))
    return;
  points->type = static_cast<uint8_t>(type);
  if (to_spline) hordera::curve_auto_tangents(curve);
}

void curve_delete_point(Curve* curve, int index) {
  if (!curve || !curve->points) return;
  CurvePoints* points = curve->points;
  int count = points->count;
  if (index < 0 || index >= count) return;
  float* arrays[] = {points->time, points->value, points->in_x,
                     points->in_y, points->out_x, points->out_y};
  for (float* array : arrays) {
    if (array) std::memmove(array + index, array + index + 1, (count - index - 1) * sizeof(float));
  }
  hordera::curve_rebuild_storage(points, count - 1, points->in_x != nullptr);
}

void curve_free(Curve* curve) {
  if (!curve) return;
  free_points(curve->points);
  std::free(curve);
}

Curve* findCurve(Action* action, const char* channel) {
  if (!action || !channel) return nullptr;
  for (Curve* curve = action->curves; curve; curve = curve->next) {
    if (curve->points && curve->points->channel &&
        std::strcmp(curve->points->channel, channel) == 0)
      return curve;
  }
  return nullptr;
}

void deleteCurve(Action* action, Curve* curve) {
  if (!action || !curve) return;
  if (curve->prev)
    curve->prev->next = curve->next;
  else if (action->curves == curve)
    action->curves = curve->next;
  if (curve->next) curve->next->prev = curve->prev;
  if (action->transition == curve) action->transition = nullptr;
  if (action->latch == curve) action->latch = nullptr;
  curve_free(curve);
}

}  // extern "C"
