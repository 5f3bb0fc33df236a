// Curves: key storage and its rebuilds, evaluation of every type, key editing and the spline
// constraints, ranges, unwrapping and filtering.
#include "motion/curve.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <initializer_list>
#include <utility>

#include "tests/support/scratch_files.h"

namespace {

// A free-standing curve of `type` with the given (time, value) keys.
Curve* make_curve(int type, std::initializer_list<std::pair<float, float>> keys) {
  Curve* curve = newCurve(nullptr);
  curve_allocate_points(curve, static_cast<int>(keys.size()));
  int i = 0;
  for (auto [t, v] : keys) {
    curve->points->time[i] = t;
    curve->points->value[i] = v;
    ++i;
  }
  curve_set_type(curve, type);
  return curve;
}

TEST(CurveStorage, ListsIdsAndRepackedBlock) {
  Curve* list = nullptr;
  Curve* a = newCurve(&list);
  Curve* b = newCurve(&list);
  b->id = 7;
  Curve* c = newCurve(&list);
  EXPECT_EQ(list, a);
  EXPECT_EQ(a->id, 1);
  EXPECT_EQ(c->id, 8);  // one past the largest id, not the count
  EXPECT_EQ(c->prev, b);
  EXPECT_EQ(b->next, c);
  EXPECT_EQ(a->channel_index, -1);
  Curve* alone = newCurve(nullptr);
  EXPECT_EQ(alone->id, 0);
  EXPECT_EQ(alone->prev, nullptr);
  EXPECT_EQ(alone->points, nullptr);
  curve_free(alone);

  curve_allocate_points(a, 3);
  ASSERT_NE(a->points, nullptr);
  EXPECT_EQ(a->points->type, CURVE_LINEAR);
  EXPECT_EQ(a->points->channel, nullptr);
  EXPECT_EQ(a->points->value, a->points->time + 3);
  EXPECT_EQ(a->points->in_x, nullptr);
  for (int i = 0; i < 3; ++i) a->points->time[i] = i, a->points->value[i] = 10 * i;
  a->points->spare = 12345;

  // To a spline type: six arrays in one block, each count floats after the previous one.
  curve_set_type(a, CURVE_SPLINE1D);
  CurvePoints* k = a->points;
  const float* arrays[] = {k->time, k->value, k->in_x, k->in_y, k->out_x, k->out_y};
  for (int i = 1; i < 6; ++i) ASSERT_EQ(arrays[i], k->time + 3 * i) << i;
  EXPECT_EQ(k->spare, 12345);
  EXPECT_FLOAT_EQ(k->value[2], 20);

  // Growing keeps the old keys, tangents included; the new key is zero.
  float tangent = k->out_y[1];
  curve_reallocate_points(a, 4);
  EXPECT_EQ(k->count, 4);
  EXPECT_EQ(k->out_y, k->time + 20);
  EXPECT_FLOAT_EQ(k->out_y[1], tangent);
  EXPECT_FLOAT_EQ(k->time[2], 2);
  EXPECT_FLOAT_EQ(k->time[3], 0);
  curve_reallocate_points(a, 2);
  EXPECT_EQ(k->count, 2);
  EXPECT_FLOAT_EQ(k->value[1], 10);
  EXPECT_EQ(k->spare, 12345);

  // Back to a non-spline type drops the tangents.
  curve_set_type(a, CURVE_COSINE);
  EXPECT_EQ(k->in_x, nullptr);
  EXPECT_EQ(k->type, CURVE_COSINE);
  EXPECT_FLOAT_EQ(k->value[1], 10);

  // Deleting closes the gap in every array.
  curve_allocate_points(b, 3);
  for (int i = 0; i < 3; ++i) b->points->time[i] = 0.1f * i, b->points->value[i] = i;
  curve_set_type(b, CURVE_SPLINE2D);
  float last_in_y = b->points->in_y[2];
  curve_delete_point(b, 1);
  EXPECT_EQ(b->points->count, 2);
  EXPECT_FLOAT_EQ(b->points->time[1], 0.2f);
  EXPECT_FLOAT_EQ(b->points->in_y[1], last_in_y);
  curve_delete_point(b, 5);  // out of range: nothing
  EXPECT_EQ(b->points->count, 2);

  // Operations on a curve without points do nothing.
  curve_set_type(c, CURVE_SPLINE1D);
  curve_reallocate_points(c, 3);
  curve_delete_point(c, 0);
  EXPECT_EQ(c->points, nullptr);
  EXPECT_EQ(curve_insert_key(c, 0.5f), -1);
  EXPECT_FLOAT_EQ(curve_evaluate(c, 0.5f), 0);
  for (Curve* curve : {a, b, c}) curve_free(curve);
}

TEST(CurveStorage, TypeChangesRecomputeTangentsOnlyOnRealChangesOrNotAtAllWithoutMemory) {
  Curve* curve = make_curve(CURVE_SPLINE1D, {{0, 0}, {0.5f, 1}, {1, 0}});
  CurvePoints* k = curve->points;
  k->out_x[0] = 42;
  curve_set_type(curve, CURVE_SPLINE1D);  // the same type: nothing at all
  EXPECT_FLOAT_EQ(k->out_x[0], 42);
  curve_set_type(curve, CURVE_SPLINE2D);  // spline to spline: storage kept, tangents recomputed
  EXPECT_FLOAT_EQ(k->out_x[0], 0.5f);
  EXPECT_FLOAT_EQ(k->out_y[0], 1);
  EXPECT_FLOAT_EQ(k->in_x[1], 0.5f);  // interior: half the span of the neighbours
  EXPECT_FLOAT_EQ(k->in_y[1], 0);
  curve_free(curve);

  // A lone key has no neighbours to take tangents from: fresh storage keeps zeros, and a change
  // between spline types keeps what the key had.
  Curve* lone = make_curve(CURVE_SPLINE1D, {{0.3f, 9}});
  k = lone->points;
  EXPECT_FLOAT_EQ(k->in_x[0], 0);
  EXPECT_FLOAT_EQ(k->out_x[0], 0);
  k->out_x[0] = 0.25f;
  k->out_y[0] = 2;
  curve_set_type(lone, CURVE_SPLINE2D);
  EXPECT_FLOAT_EQ(k->out_x[0], 0.25f);
  EXPECT_FLOAT_EQ(k->out_y[0], 2);
  curve_free(lone);

  // A block too large to build leaves the curve as it was.
  curve = make_curve(CURVE_LINEAR, {{0, 1}, {1, 2}});
  k = curve->points;
  float* block = k->time;
  k->count = INT_MAX;
  EXPECT_EQ(scratch::stderr_of([&] { curve_set_type(curve, CURVE_SPLINE1D); }),
            "Out of memory allocating curve points.\n");
  EXPECT_EQ(k->type, CURVE_LINEAR);
  EXPECT_EQ(k->time, block);
  EXPECT_EQ(k->in_x, nullptr);
  k->count = 2;
  EXPECT_FLOAT_EQ(curve_evaluate(curve, 0.5f), 1.5f);
  curve_free(curve);
}

TEST(CurveEvaluate, WrapSpanTypesCloseKeysAndSplines) {
  Curve* linear = make_curve(CURVE_LINEAR, {{0.25f, 0}, {0.75f, 1}});
  EXPECT_NEAR(curve_evaluate(linear, 0.9f), 0.7f, 1e-6);  // wraps through the phase boundary
  EXPECT_NEAR(curve_evaluate(linear, 0.1f), 0.3f, 1e-6);
  EXPECT_NEAR(curve_evaluate(linear, 0.5f), 0.5f, 1e-6);
  EXPECT_FLOAT_EQ(curve_evaluate(linear, 0.75f), 1);

  // Constant and spline curves hold the end values outside the keys.
  for (int type : {CURVE_CONSTANT, CURVE_SPLINE1D, CURVE_SPLINE2D}) {
    Curve* held = make_curve(type, {{0.25f, 0}, {0.75f, 1}});
    EXPECT_FLOAT_EQ(curve_evaluate(held, 0.1f), 0) << type;
    EXPECT_FLOAT_EQ(curve_evaluate(held, 0.9f), 1) << type;
    curve_free(held);
  }
  Curve* constant = make_curve(CURVE_CONSTANT, {{0, 3}, {0.5f, 4}, {1, 5}});
  EXPECT_FLOAT_EQ(curve_evaluate(constant, 0.49f), 3);
  EXPECT_FLOAT_EQ(curve_evaluate(constant, 0.5f), 4);
  EXPECT_FLOAT_EQ(curve_evaluate(constant, 0.99f), 4);
  EXPECT_FLOAT_EQ(curve_evaluate(constant, 1), 5);

  // Keys spanning the whole cycle leave no wrap span: the first value.
  Curve* full = make_curve(CURVE_LINEAR, {{0, 2}, {1, 6}});
  EXPECT_FLOAT_EQ(curve_evaluate(full, 1.5f), 2);
  EXPECT_FLOAT_EQ(curve_evaluate(full, 0.25f), 3);

  Curve* single = make_curve(CURVE_SPLINE2D, {{0.3f, 9}});
  for (float t : {-1.0f, 0.0f, 0.3f, 0.7f, 2.0f}) EXPECT_FLOAT_EQ(curve_evaluate(single, t), 9);

  // The null type yields 0 between keys; an empty curve yields 0.
  Curve* null_type = make_curve(CURVE_NULL, {{0, 1}, {1, 2}});
  EXPECT_FLOAT_EQ(curve_evaluate(null_type, 0.5f), 0);
  Curve* empty = make_curve(CURVE_LINEAR, {});
  EXPECT_FLOAT_EQ(curve_evaluate(empty, 0.5f), 0);

  // The cosine ease applies to the interpolated value, clamped to 0..1.
  Curve* high = make_curve(CURVE_COSINE, {{0, 2.5f}, {1, 2.5f}});
  Curve* low = make_curve(CURVE_COSINE, {{0, -3}, {1, -3}});
  EXPECT_FLOAT_EQ(curve_evaluate(high, 0.5f), 1);
  EXPECT_FLOAT_EQ(curve_evaluate(low, 0.5f), 0);
  // The ease acts on the interpolated value: halfway between 0 and 1 the linear value is 0.5.
  Curve* ramp = make_curve(CURVE_COSINE, {{0, 0}, {1, 1}});
  EXPECT_NEAR(curve_evaluate(ramp, 0.5f), 0.5f, 1e-3);
  EXPECT_NEAR(curve_evaluate(ramp, 0.25f), 0.5f - 0.5f * std::cos(M_PI * 0.25), 1e-3);
  // In the wrap span too.
  Curve* wrap = make_curve(CURVE_COSINE, {{0.25f, 0}, {0.75f, 1}});
  EXPECT_NEAR(curve_evaluate(wrap, 0.9f), 0.5f - 0.5f * std::cos(M_PI * 0.7), 1e-3);

  Curve* close = make_curve(CURVE_LINEAR, {{0, 0}, {0.5f, 1}, {0.5000005f, 9}, {1, 9}});
  EXPECT_FLOAT_EQ(curve_evaluate(close, 0.5000002f), 1);  // the earlier key's value

  // Automatic tangents of two keys make both splines a straight line.
  Curve* s1 = make_curve(CURVE_SPLINE1D, {{0, 0}, {1, 1}});
  Curve* s2 = make_curve(CURVE_SPLINE2D, {{0, 0}, {1, 1}});
  for (float t : {0.1f, 0.3f, 0.8f}) {
    EXPECT_NEAR(curve_evaluate(s1, t), t, 1e-5);
    EXPECT_NEAR(curve_evaluate(s2, t), t, 1e-3);
  }
  // A level end tangent makes the curve arrive flat, above the straight line: at s = 0.5 the
  // Hermite gives p1 / 2 + m0 / 8.
  curve_set_in_tangent(s1, 1, 1, 0);
  EXPECT_NEAR(curve_evaluate(s1, 0.5f), 0.5f + 0.125f, 1e-5);

  // Slopes are per unit of time, so over a key interval of 0.5 they enter the Hermite halved:
  // slope 2 out of (0, 0), flat into (0.5, 1); at t = 0.25 (s = 0.5) the value is
  // 1/2 + (2 * 0.5) / 8 = 0.625 (unscaled it would be 0.75).
  Curve* half = make_curve(CURVE_SPLINE1D, {{0, 0}, {0.5f, 1}});
  curve_set_out_tangent(half, 0, 1, 2);
  curve_set_in_tangent(half, 1, 1, 0);
  EXPECT_NEAR(curve_evaluate(half, 0.25f), 0.625f, 1e-5);

  // spline2d solves its time Hermite: flat time tangents make x(p) = 3p^2 - 2p^3, which is
  // 0.15625 at p = 0.25; value tangents of 1 make the value Hermite v(p) = p. So t = 0.15625
  // gives 0.25, where taking p = s would give 0.15625.
  CurvePoints* k = s2->points;
  k->out_x[0] = k->in_x[1] = 0;
  k->out_y[0] = k->in_y[1] = 1;
  EXPECT_NEAR(curve_evaluate(s2, 0.15625f), 0.25f, 2e-4);
  for (Curve* c : {linear, constant, full, single, null_type, empty, high, low, ramp, wrap, close,
                   s1, s2, half})
    curve_free(c);
}

TEST(CurveEdit, InsertKeys) {
  Curve* curve = make_curve(CURVE_LINEAR, {{0.2f, 0}, {0.6f, 4}});
  EXPECT_EQ(curve_insert_key(curve, 0.6f), 1);  // existing time: nothing changes
  EXPECT_EQ(curve->points->count, 2);
  EXPECT_EQ(curve_insert_key(curve, 0.4f), 1);
  EXPECT_EQ(curve->points->count, 3);
  EXPECT_FLOAT_EQ(curve->points->value[1], 2);
  EXPECT_FLOAT_EQ(curve->points->time[2], 0.6f);
  EXPECT_EQ(curve_insert_key(curve, 0.0f), 0);  // in the wrap span: the wrapped value
  EXPECT_NEAR(curve->points->value[0], 4 - (0.4f / 0.6f) * 4, 1e-5);
  EXPECT_EQ(curve_insert_key(curve, 0.9f), 4);
  EXPECT_FLOAT_EQ(curve->points->time[4], 0.9f);
  curve_free(curve);

  Curve* spline = make_curve(CURVE_SPLINE2D, {{0, 0}, {0.5f, 1}, {1, 0}});
  int index = curve_insert_key(spline, 0.25f);
  ASSERT_EQ(index, 1);
  CurvePoints* k = spline->points;
  EXPECT_EQ(k->count, 4);
  EXPECT_FLOAT_EQ(k->in_x[1], 0.25f);  // half the span of the neighbours 0 and 0.5
  EXPECT_FLOAT_EQ(k->out_x[1], 0.25f);
  EXPECT_FLOAT_EQ(k->in_y[1], 0.5f);
  EXPECT_FLOAT_EQ(k->time[2], 0.5f);
  EXPECT_FLOAT_EQ(k->in_x[3], 0.5f);  // the old last key's tangent moved up with it
  curve_free(spline);
}

TEST(CurveEdit, TangentConstraints) {
  Curve* s1 = make_curve(CURVE_SPLINE1D, {{0, 0}, {1, 1}});
  curve_set_in_tangent(s1, 1, 2, 2);
  EXPECT_NEAR(s1->points->in_x[1], std::sqrt(0.5), 1e-6);
  EXPECT_NEAR(s1->points->in_y[1], std::sqrt(0.5), 1e-6);
  curve_set_in_tangent(s1, 1, -2, 2);  // the slope's angle: time stays positive
  EXPECT_NEAR(s1->points->in_x[1], std::sqrt(0.5), 1e-6);
  EXPECT_NEAR(s1->points->in_y[1], -std::sqrt(0.5), 1e-6);
  float before = s1->points->in_x[0];
  curve_set_in_tangent(s1, 0, 5, 5);  // key 0 has no in-tangent
  curve_set_in_tangent(s1, 2, 5, 5);  // out of range
  EXPECT_FLOAT_EQ(s1->points->in_x[0], before);
  curve_free(s1);

  // spline2d: with the previous out-tangent time m = 1 over a span of 1 the in-tangent time is
  // bounded by sqrt(3 - 3/4) + 3 - 1/2 = 4, scaled along its direction.
  Curve* s2 = make_curve(CURVE_SPLINE2D, {{0, 0}, {1, 1}});
  CurvePoints* k = s2->points;
  curve_set_out_tangent(s2, 0, 1, 1);
  curve_set_in_tangent(s2, 1, 10, 5);
  EXPECT_NEAR(k->in_x[1], 3.9999f, 1e-5);
  EXPECT_NEAR(k->in_y[1], 5 * 3.9999f / 10, 1e-5);
  curve_set_in_tangent(s2, 1, 3, 2);  // within the bound: kept
  EXPECT_FLOAT_EQ(k->in_x[1], 3);
  // The out-tangent mirrors it against the next key's in-tangent: m = 3, bound
  // sqrt(9 - 27/4) + 3 - 3/2 = 3.
  curve_set_out_tangent(s2, 0, 6, 6);
  EXPECT_NEAR(k->out_x[0], 2.9999f, 1e-5);
  EXPECT_NEAR(k->out_y[0], 2.9999f, 1e-5);
  // The last key has no out-tangent to constrain.
  curve_set_out_tangent(s2, 1, 7, 7);
  EXPECT_FLOAT_EQ(k->out_x[1], 1);
  // Non-spline curves ignore tangent setters.
  Curve* linear = make_curve(CURVE_LINEAR, {{0, 0}, {1, 1}});
  curve_set_in_tangent(linear, 1, 1, 1);
  EXPECT_EQ(linear->points->in_x, nullptr);
  curve_free(s2);
  curve_free(linear);
}

TEST(CurveEdit, KeyTimeClampOnSpline2dAndSorting) {
  Curve* curve = make_curve(CURVE_SPLINE2D, {{0, 0}, {0.5f, 1}, {1, 0}});
  CurvePoints* k = curve->points;
  k->out_x[0] = k->in_x[1] = 0.3f;
  k->out_x[1] = k->in_x[2] = 0.3f;
  curve_set_key_time(curve, 1, 0.0f);
  EXPECT_NEAR(k->time[1], (0.3f + 0.3f - 0.3f) / 3 + 0.0001f, 1e-6);
  curve_set_key_time(curve, 1, 2.0f);
  EXPECT_NEAR(k->time[1], 1 - 0.1f - 0.0001f, 1e-6);
  curve_set_key_value(curve, 1, 7);
  EXPECT_FLOAT_EQ(k->value[1], 7);
  Curve* linear = make_curve(CURVE_LINEAR, {{0, 0}, {0.5f, 1}, {1, 0}});
  curve_set_key_time(linear, 1, 2.0f);  // no clamp for other types
  EXPECT_FLOAT_EQ(linear->points->time[1], 2);
  curve_free(curve);
  curve_free(linear);

  // Sorting moves only times and values; the tangents stay where they were.
  curve = make_curve(CURVE_SPLINE1D, {{0, 0}, {0.5f, 1}, {1, 2}});
  k = curve->points;
  k->time[0] = 0.9f;
  k->time[2] = 0.1f;
  for (int i = 0; i < 3; ++i) k->in_x[i] = 10.0f + i;
  curve_sort_keys(curve);
  EXPECT_FLOAT_EQ(k->time[0], 0.1f);
  EXPECT_FLOAT_EQ(k->value[0], 2);
  EXPECT_FLOAT_EQ(k->time[2], 0.9f);
  EXPECT_FLOAT_EQ(k->value[2], 0);
  for (int i = 0; i < 3; ++i) EXPECT_FLOAT_EQ(k->in_x[i], 10.0f + i);
  curve_free(curve);
}

TEST(CurveEdit, RangesUnwrapAndFilter) {
  // A spline that overshoots between keys widens the value range beyond the key values.
  Curve* spline = make_curve(CURVE_SPLINE1D, {{0, 0}, {0.5f, 1}, {1, 0}});
  curve_set_out_tangent(spline, 1, 1, 4);
  float lo, hi;
  curve_value_range(spline, &lo, &hi);
  EXPECT_FLOAT_EQ(lo, 0);
  EXPECT_GT(hi, 1.1f);
  Curve* linear = make_curve(CURVE_LINEAR, {{0.2f, 3}, {0.7f, -1}});
  curve_value_range(linear, &lo, &hi);
  EXPECT_FLOAT_EQ(lo, -1);
  EXPECT_FLOAT_EQ(hi, 3);
  curve_time_range(linear, &lo, &hi);
  EXPECT_FLOAT_EQ(lo, 0.2f);
  EXPECT_FLOAT_EQ(hi, 0.7f);
  Curve* bare = newCurve(nullptr);
  curve_value_range(bare, &lo, &hi);
  EXPECT_EQ(lo, 0);
  EXPECT_EQ(hi, 0);

  Curve* angles = make_curve(CURVE_LINEAR, {{0, 170}, {0.25f, -170}, {0.5f, 170}, {0.75f, 0}});
  curve_unwrap_angles(angles);
  EXPECT_FLOAT_EQ(angles->points->value[1], 190);  // against the corrected previous value
  EXPECT_FLOAT_EQ(angles->points->value[2], 170);
  EXPECT_FLOAT_EQ(angles->points->value[3], 0);

  Curve* cyclic =
      make_curve(CURVE_LINEAR, {{0, 10}, {0.25f, 20}, {0.5f, 30}, {0.75f, 40}, {1, 10}});
  const float ones[] = {1, 1, 1};
  // Past either end the index wraps by n - 1: before key 0 comes key 3, after key 4 key 1.
  EXPECT_FLOAT_EQ(curve_filter_value(cyclic, 0, ones, 3, 1), 40 + 10 + 20);
  EXPECT_FLOAT_EQ(curve_filter_value(cyclic, 4, ones, 3, 1), 40 + 10 + 20);
  EXPECT_FLOAT_EQ(curve_filter_value(cyclic, 0, ones, 3, 0), 10 + 10 + 20);
  EXPECT_FLOAT_EQ(curve_filter_value(cyclic, 4, ones, 3, 0), 40 + 10 + 10);
  const float weights[] = {0.25f, 0.5f, 0.25f, 1};
  EXPECT_FLOAT_EQ(curve_filter_value(cyclic, 2, weights, 4, 0), 2.5f + 10 + 7.5f + 40);
  EXPECT_FLOAT_EQ(curve_filter_value(cyclic, 2, ones, 0, 1), 0);
  for (Curve* c : {spline, linear, bare, angles, cyclic}) curve_free(c);
}

}  // namespace
