// Re-expressing an action's rotation curves in another rotation order, key by key.
#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>

#include "agent/agent.h"
#include "agent/skeleton.h"
#include "base/vecmath.h"
#include "motion/action.h"
#include "motion/curve.h"

namespace {

// A linear curve of `values` at times 0, 1/n, 2/n, ... named `channel`, added to the action.
Curve* hand_made_curve(Action* action, const char* channel, std::initializer_list<float> values) {
  Curve* curve = newCurve(&action->curves);
  curve_allocate_points(curve, static_cast<int>(values.size()));
  hordera::curve_set_channel(curve, channel);
  int i = 0;
  for (float v : values) {
    curve->points->time[i] = static_cast<float>(i) / static_cast<float>(values.size());
    curve->points->value[i++] = v;
  }
  return curve;
}

void free_curves(Action* action) {
  for (Curve* c = action->curves; c;) {
    Curve* next = c->next;
    curve_free(c);
    c = next;
  }
  action->curves = nullptr;
}

void expect_matrix_near(const float* a, const float* b, float tolerance) {
  for (int i = 0; i < 16; ++i) EXPECT_NEAR(a[i], b[i], tolerance) << "element " << i;
}

TEST(ConvertRotationOrder, ReexpressesEveryKeyAndWarnsOnAMismatchedOrder) {
  Agent* type = new_agent_type("convert");
  Segment* neck = new_segment(type, "neck");
  const int32_t xyz = strToOrder("rx ry rz");
  const int32_t zyx = strToOrder("rz ry rx");
  Action action{};
  Curve* rx = hand_made_curve(&action, "neck:rx", {10.0f, -30.0f, 0.0f});
  Curve* ry = hand_made_curve(&action, "neck:ry", {20.0f, 45.0f, 0.0f});
  Curve* rz = hand_made_curve(&action, "neck:rz", {30.0f, 5.0f, 0.0f});
  hand_made_curve(&action, "other:rx", {1.0f});
  const float before[3][3] = {{10, 20, 30}, {-30, 45, 5}, {0, 0, 0}};

  neck->order = xyz;
  testing::internal::CaptureStderr();
  EXPECT_EQ(convertRotationOrder(&action, neck, xyz, zyx), 1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  for (int n = 0; n < 3; ++n) {
    SCOPED_TRACE(n);
    const float d = 57.29578f;
    Matrix original, converted;
    rotation_matrix_from_angles(before[n][0] / d, before[n][1] / d, before[n][2] / d, xyz,
                                original);
    rotation_matrix_from_angles(rx->points->value[n] / d, ry->points->value[n] / d,
                                rz->points->value[n] / d, zyx, converted);
    expect_matrix_near(original, converted, 1e-5f);
  }
  // The first key really changed (the two orders differ for these angles).
  EXPECT_GT(std::fabs(rx->points->value[0] - 10.0f), 0.1f);
  EXPECT_EQ(neck->order, xyz);  // the segment keeps its order

  // Mismatching from-order: warning with the segment name, converted anyway.
  testing::internal::CaptureStderr();
  EXPECT_EQ(convertRotationOrder(&action, neck, zyx, xyz), 1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "WARNING: convertRotationOrder() from_order does not match neck order.\n");
  EXPECT_NEAR(rx->points->value[0], 10.0f, 1e-3f);
  EXPECT_NEAR(ry->points->value[1], 45.0f, 1e-3f);

  // No curves for the segment: nothing converted.
  Segment* tail = new_segment(type, "tail");
  tail->order = xyz;
  EXPECT_EQ(convertRotationOrder(&action, tail, xyz, zyx), 0);
  free_curves(&action);

  // Only ry present: its key count drives the conversion and only it is written.
  Curve* alone = hand_made_curve(&action, "tail:ry", {30.0f, 60.0f});
  EXPECT_EQ(convertRotationOrder(&action, tail, xyz, zyx), 1);
  EXPECT_NEAR(alone->points->value[1], 60.0f, 1e-3f);
  free_curves(&action);

  // rx's key count decides, even when the other curves have more keys: their later keys stay.
  Curve* short_rx = hand_made_curve(&action, "tail:rx", {20.0f});
  Curve* long_ry = hand_made_curve(&action, "tail:ry", {30.0f, 35.0f, -40.0f});
  Curve* long_rz = hand_made_curve(&action, "tail:rz", {40.0f, 50.0f, 60.0f});
  EXPECT_EQ(convertRotationOrder(&action, tail, xyz, zyx), 1);
  EXPECT_GT(std::fabs(short_rx->points->value[0] - 20.0f), 0.1f);
  EXPECT_EQ(long_ry->points->value[1], 35.0f);
  EXPECT_EQ(long_ry->points->value[2], -40.0f);
  EXPECT_EQ(long_rz->points->value[1], 50.0f);
  EXPECT_EQ(long_rz->points->value[2], 60.0f);
  free_curves(&action);
}

}  // namespace
