// Actions: defaults and list operations, copying, ordering, the binding of curves to an agent's
// segment channels, control curves and user variables, and rotation curves re-expressed in another
// rotation order, key by key.
#include "motion/action.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "agent/agent.h"
#include "agent/skeleton.h"
#include "base/vecmath.h"
#include "tests/support/scratch_files.h"

namespace {

// A linear curve of `values` at times 0, 1/n, 2/n, ... named `channel`, added to the action.
Curve* add_curve(Action* action, const char* channel,
                 std::initializer_list<float> values = {0, 0}) {
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

std::vector<std::string> names(Action* list) {
  std::vector<std::string> out;
  for (Action* a = list; a; a = a->next) {
    out.push_back(a->name);
    if (a->next) {
      EXPECT_EQ(a->next->prev, a);
    }
  }
  return out;
}

TEST(Action, DefaultsIdsNamesAndListOperationsThroughAnInstance) {
  Action* list = nullptr;
  Action* first = newAction(&list);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->id, 1);
  EXPECT_EQ(first->flags, ACTION_NO_RETRIGGER);  // written back as " no_retrigger"
  EXPECT_FLOAT_EQ(first->loop[1], 1);
  first->id = 9;
  Action* second = newAction(&list);
  EXPECT_EQ(second->id, 10);
  EXPECT_EQ(second->prev, first);

  action_set_name(first, "2step");
  EXPECT_STREQ(first->name, "_2step");
  action_set_name(second, "walk2");
  EXPECT_STREQ(second->name, "walk2");
  action_free(first);
  action_free(second);

  Agent* type = new_agent_type("walker");
  Agent* instance = new_agent_instance(type);
  for (const char* name : {"walk", "run", "idle", "jump"})
    action_set_name(newAction(&type->actions), name);

  // An instance finds, sorts and deletes in its type's list.
  Action* run = findAction(instance, "run");
  ASSERT_NE(run, nullptr);
  EXPECT_STREQ(run->name, "run");
  EXPECT_EQ(findAction(instance, "Run"), nullptr);
  EXPECT_EQ(findAction(nullptr, "run"), nullptr);

  sort_actions_by_name(instance);
  EXPECT_EQ(names(type->actions), (std::vector<std::string>{"idle", "jump", "run", "walk"}));
  EXPECT_EQ(type->actions->prev, nullptr);

  deleteAction(type->actions, instance);  // the head
  EXPECT_EQ(names(type->actions), (std::vector<std::string>{"jump", "run", "walk"}));
  EXPECT_EQ(type->actions->prev, nullptr);
  deleteAction(findAction(type, "run"), type);  // the middle
  EXPECT_EQ(names(type->actions), (std::vector<std::string>{"jump", "walk"}));
  deleteAction(findAction(type, "walk"), type);  // the tail
  EXPECT_EQ(names(type->actions), (std::vector<std::string>{"jump"}));
  EXPECT_EQ(type->actions->next, nullptr);
  delete_agent_instance(instance);
}

TEST(Action, CurvesAreCopiedDeeplyDeletedAndFound) {
  Action* action = newAction(nullptr);
  action_set_name(action, "wave");
  action->rate = 0.5f;
  action->track = 3;
  add_curve(action, "arm:rx", {0, 0, 0});
  action->transition = add_curve(action, "transition");
  action->latch = add_curve(action, "latch");
  curve_set_type(action->curves, CURVE_SPLINE2D);

  Action* copy = copyAction(action);
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy->name, action->name);
  EXPECT_STREQ(copy->name, "wave");
  EXPECT_FLOAT_EQ(copy->rate, 0.5f);
  EXPECT_EQ(copy->track, 3);
  EXPECT_EQ(copy->prev, nullptr);
  EXPECT_EQ(copy->next, nullptr);
  ASSERT_NE(copy->curves, nullptr);
  EXPECT_NE(copy->curves, action->curves);
  EXPECT_NE(copy->curves->points->time, action->curves->points->time);
  EXPECT_EQ(copy->curves->points->count, 3);
  EXPECT_FLOAT_EQ(copy->curves->points->in_x[1], action->curves->points->in_x[1]);
  EXPECT_EQ(copy->transition, findCurve(copy, "transition"));
  EXPECT_EQ(copy->latch, findCurve(copy, "latch"));
  EXPECT_NE(copy->latch, action->latch);
  EXPECT_EQ(copy->latch->prev, copy->transition);

  // Deleting the original's latch curve clears its reference and leaves the copy alone.
  deleteCurve(action, action->latch);
  EXPECT_EQ(action->latch, nullptr);
  EXPECT_EQ(findCurve(action, "latch"), nullptr);
  EXPECT_NE(findCurve(copy, "latch"), nullptr);
  deleteCurve(action, action->curves);  // the head
  EXPECT_EQ(action->curves, action->transition);
  EXPECT_EQ(action->curves->prev, nullptr);
  action_free(action);
  action_free(copy);

  // findCurve passes over curves without points or without a channel name.
  Action* found = newAction(nullptr);
  newCurve(&found->curves);   // no points
  add_curve(found, nullptr);  // points without a channel name
  Curve* hip = add_curve(found, "hip:ry");
  add_curve(found, "hip:ry");
  EXPECT_EQ(findCurve(found, "hip:ry"), hip);  // the first in list order
  EXPECT_EQ(findCurve(found, "hip:r"), nullptr);
  action_free(found);
}

TEST(Action, ChannelIndicesAndBinding) {
  Agent* type = new_agent_type("bound");
  new_segment(type, "root");
  new_segment(type, "spine");
  new_userVar(type, "mood");
  new_userVar(type, "speed");
  // Segment channels count six per segment in list order; control and variable names their
  // own lists; what resolves to nothing is -1, of the kind its form names.
  const struct {
    const char* channel;
    int index;
    uint8_t kind;
  } channels[] = {{"root:tx", 0, CURVE_KIND_SEGMENT},      {"spine:rz", 6 + 5, CURVE_KIND_SEGMENT},
                  {"spine:ry", 6 + 4, CURVE_KIND_SEGMENT}, {"spine:ik.x", -1, CURVE_KIND_SEGMENT},
                  {"neck:tx", -1, CURVE_KIND_SEGMENT},     {"transition", 0, CURVE_KIND_CONTROL},
                  {"latch", 1, CURVE_KIND_CONTROL},        {"speed", 1, CURVE_KIND_VARIABLE},
                  {"unknown", -1, CURVE_KIND_VARIABLE}};
  uint8_t kind = 99;
  for (const auto& c : channels) {
    EXPECT_EQ(agent_channel_index(type, c.channel, &kind), c.index) << c.channel;
    EXPECT_EQ(kind, c.kind) << c.channel;
  }

  // Binding a variable curve that does not resolve creates the user variable.
  Action* action = newAction(&type->actions);
  Curve* seg = add_curve(action, "spine:tx");
  Curve* var = add_curve(action, "anger");
  Curve* missing = add_curve(action, "tail:rx");
  Curve* latch = add_curve(action, "latch");
  action_reassign_curve_ids(type);
  EXPECT_EQ(seg->kind, CURVE_KIND_SEGMENT);
  EXPECT_EQ(seg->channel_index, 6);
  EXPECT_EQ(var->kind, CURVE_KIND_VARIABLE);
  EXPECT_EQ(var->channel_index, 2);
  ASSERT_NE(find_userVar(type, "anger"), nullptr);
  EXPECT_EQ(missing->channel_index, -1);
  EXPECT_EQ(find_userVar(type, "tail:rx"), nullptr);  // segment channels never make variables
  EXPECT_EQ(latch->kind, CURVE_KIND_CONTROL);
  EXPECT_EQ(latch->channel_index, 1);

  // After the skeleton changes, binding again follows the new positions.
  new_segment(type, "tail");
  action_reassign_curve_ids(type);
  EXPECT_EQ(missing->channel_index, 2 * 6 + 3);
  EXPECT_EQ(file_save_binary_actions(nullptr, type), 1);
}

TEST(ConvertRotationOrder, ReexpressesEveryKeyAndWarnsOnAMismatchedOrder) {
  Agent* type = new_agent_type("convert");
  Segment* neck = new_segment(type, "neck");
  const int32_t xyz = strToOrder("rx ry rz");
  const int32_t zyx = strToOrder("rz ry rx");
  Action* action = newAction(nullptr);
  Curve* rx = add_curve(action, "neck:rx", {10.0f, -30.0f, 0.0f});
  Curve* ry = add_curve(action, "neck:ry", {20.0f, 45.0f, 0.0f});
  Curve* rz = add_curve(action, "neck:rz", {30.0f, 5.0f, 0.0f});
  add_curve(action, "other:rx", {1.0f});
  const float before[3][3] = {{10, 20, 30}, {-30, 45, 5}, {0, 0, 0}};

  neck->order = xyz;
  EXPECT_EQ(scratch::stderr_of([&] { EXPECT_EQ(convertRotationOrder(action, neck, xyz, zyx), 1); }),
            "");
  for (int n = 0; n < 3; ++n) {
    SCOPED_TRACE(n);
    const float d = 57.29578f;
    Matrix original, converted;
    rotation_matrix_from_angles(before[n][0] / d, before[n][1] / d, before[n][2] / d, xyz,
                                original);
    rotation_matrix_from_angles(rx->points->value[n] / d, ry->points->value[n] / d,
                                rz->points->value[n] / d, zyx, converted);
    for (int i = 0; i < 16; ++i) EXPECT_NEAR(original[i], converted[i], 1e-5f) << i;
  }
  // The first key really changed (the two orders differ for these angles).
  EXPECT_GT(std::fabs(rx->points->value[0] - 10.0f), 0.1f);
  EXPECT_EQ(neck->order, xyz);  // the segment keeps its order

  // Mismatching from-order: warning with the segment name, converted anyway.
  EXPECT_EQ(scratch::stderr_of([&] { EXPECT_EQ(convertRotationOrder(action, neck, zyx, xyz), 1); }),
            "WARNING: convertRotationOrder() from_order does not match neck order.\n");
  EXPECT_NEAR(rx->points->value[0], 10.0f, 1e-3f);
  EXPECT_NEAR(ry->points->value[1], 45.0f, 1e-3f);

  // No curves for the segment: nothing converted.
  Segment* tail = new_segment(type, "tail");
  tail->order = xyz;
  EXPECT_EQ(convertRotationOrder(action, tail, xyz, zyx), 0);

  // Only ry present: its key count drives the conversion and only it is written.
  Action* lone = newAction(nullptr);
  Curve* alone = add_curve(lone, "tail:ry", {30.0f, 60.0f});
  EXPECT_EQ(convertRotationOrder(lone, tail, xyz, zyx), 1);
  EXPECT_NEAR(alone->points->value[1], 60.0f, 1e-3f);

  // rx's key count decides, even when the other curves have more keys: their later keys stay.
  Action* uneven = newAction(nullptr);
  Curve* short_rx = add_curve(uneven, "tail:rx", {20.0f});
  Curve* long_ry = add_curve(uneven, "tail:ry", {30.0f, 35.0f, -40.0f});
  Curve* long_rz = add_curve(uneven, "tail:rz", {40.0f, 50.0f, 60.0f});
  EXPECT_EQ(convertRotationOrder(uneven, tail, xyz, zyx), 1);
  EXPECT_GT(std::fabs(short_rx->points->value[0] - 20.0f), 0.1f);
  EXPECT_EQ(long_ry->points->value[1], 35.0f);
  EXPECT_EQ(long_ry->points->value[2], -40.0f);
  EXPECT_EQ(long_rz->points->value[1], 50.0f);
  EXPECT_EQ(long_rz->points->value[2], 60.0f);
  for (Action* a : {action, lone, uneven}) action_free(a);
}

}  // namespace
