// The playback evaluator: kickoffs, phase advance and loops, fades, latches, the weighted blend
// into channels, and loop_action. Frames are 1/24 s; phases and weights are worked out by hand.
#include "motion/playback_evaluate.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <utility>

#include "agent/agent.h"
#include "motion/action.h"
#include "motion/apf.h"
#include "motion/apf_cache.h"
#include "motion/curve.h"
#include "motion/playback.h"

namespace {

constexpr float kFrame = 1.0f / 24;

class PlaybackEvaluateTest : public testing::Test {
 protected:
  void SetUp() override {
    type_ = new_agent_type("walker");
    new_segment(type_, "root");
    new_segment(type_, "hip");
  }
  void TearDown() override {
    if (agent_ != nullptr) {
      playback_free_table(agent_);
      delete_agent_instance(agent_);
    }
  }

  // An action of the type with its kickoff variable, named after it.
  Action* add_action(const char* name, float rate) {
    new_userVar(type_, name);
    Action* action = newAction(&type_->actions);
    action_set_name(action, name);
    action->rate = action->working_rate = rate;
    return action;
  }
  Curve* add_curve(Action* action, const char* channel, int type,
                   std::initializer_list<std::pair<float, float>> keys) {
    Curve* curve = newCurve(&action->curves);
    curve_allocate_points(curve, static_cast<int>(keys.size()));
    curve->points->type = static_cast<uint8_t>(type);
    hordera::curve_set_channel(curve, channel);
    int i = 0;
    for (const auto& [time, value] : keys) {
      curve->points->time[i] = time;
      curve->points->value[i++] = value;
    }
    if (std::strcmp(channel, "latch") == 0) action->latch = curve;
    if (std::strcmp(channel, "transition") == 0) action->transition = curve;
    action_bind_curve(type_, curve);
    return curve;
  }
  void make_agent() { agent_ = new_agent_instance(type_); }
  void play(int first = 0) { playback_evaluate(agent_, first, kFrame); }
  void trigger(const char* action, float value) { find_userVar(agent_, action)->value = value; }
  float hip_tx() { return agent_->segments->next->channels[0]; }
  PlaybackSlot& slot(int i) { return agent_->playbacks[i]; }

  Agent* type_ = nullptr;
  Agent* agent_ = nullptr;
};

TEST_F(PlaybackEvaluateTest, KickoffStartsAnActionThatAdvancesFadesAndLoops) {
  Action* walk = add_action("walk", 2);  // two cycles per second: 1/12 per frame
  add_curve(walk, "hip:tx", CURVE_LINEAR, {{0, 0}, {1, 24}});
  make_agent();
  play(1);
  EXPECT_EQ(slot(0).state, 0u);  // not triggered: nothing plays
  trigger("walk", 1);
  play();
  EXPECT_EQ(slot(0).action, walk);
  EXPECT_EQ(slot(0).state, 1u);
  EXPECT_FLOAT_EQ(slot(0).phase, 0);
  EXPECT_NEAR(slot(0).weight, 1.0f / 6, 1e-6);  // fades in over 0.25 s, 6 frames
  EXPECT_FLOAT_EQ(slot(0).data[kPlaybackDataRate], 2);
  for (int frame = 0; frame < 6; ++frame) play();
  EXPECT_NEAR(slot(0).phase, 0.5f, 1e-6);
  EXPECT_FLOAT_EQ(slot(0).weight, 1);
  EXPECT_NEAR(hip_tx(), 12, 1e-4);
  EXPECT_EQ(agent_->segments->next->animated, 1);
  // 15 frames after the start: 1.25 cycles, the loop 0..1 leaves 0.25.
  for (int frame = 0; frame < 9; ++frame) play();
  EXPECT_NEAR(slot(0).phase, 0.25f, 1e-5);
  EXPECT_NEAR(slot(0).previous_phase, 1.0f / 6, 1e-5);

  // Dropping the kickoff fades the slot out over 6 frames, then frees it.
  trigger("walk", 0);
  play();
  EXPECT_EQ(slot(0).state, 2u);
  EXPECT_NEAR(slot(0).weight, 5.0f / 6, 1e-6);
  for (int frame = 0; frame < 5; ++frame) play();
  EXPECT_EQ(slot(0).state, 0u);
  EXPECT_EQ(slot(0).action, nullptr);

  // The first frame of a run starts at full weight.
  trigger("walk", 1);
  play(1);
  EXPECT_FLOAT_EQ(slot(0).weight, 1);
}

TEST_F(PlaybackEvaluateTest, SlotsBlendByWeight) {
  Action* walk = add_action("walk", 1);
  add_curve(walk, "hip:tx", CURVE_CONSTANT, {{0, 10}});
  add_curve(walk, "mood", CURVE_CONSTANT, {{0, 1}});
  Action* run = add_action("run", 1);
  add_curve(run, "hip:tx", CURVE_CONSTANT, {{0, 30}});
  make_agent();
  trigger("walk", 1);
  trigger("run", 1);
  play(1);
  EXPECT_FLOAT_EQ(hip_tx(), 20);
  EXPECT_FLOAT_EQ(find_userVar(agent_, "mood")->value, 1);  // only walk drives it
  // Walk fades out by 1/6 a frame: after three frames it weighs 0.5 against run's 1.
  trigger("walk", 0);
  for (int frame = 0; frame < 3; ++frame) play();
  EXPECT_NEAR(slot(0).weight, 0.5f, 1e-6);
  EXPECT_NEAR(hip_tx(), (0.5f * 10 + 30) / 1.5f, 1e-4);
}

TEST_F(PlaybackEvaluateTest, LoopsOneShotsLatchesTransitionsAndDefaults) {
  Action* inner = add_action("inner", 6);  // a quarter cycle per frame, looping 0.25..0.75
  inner->loop[0] = 0.25f;
  inner->loop[1] = 0.75f;
  Action* once = add_action("once", 6);
  once->flags |= ACTION_ONE_SHOT;
  Action* latched = add_action("latched", 6);
  add_curve(latched, "latch", CURVE_CONSTANT, {{0, 0}, {0.75f, 1}});
  Action* quick = add_action("quick", 6);
  add_curve(quick, "transition", CURVE_CONSTANT, {{0, 0}});  // no blend time
  make_agent();
  for (const char* name : {"inner", "once", "latched", "quick"}) trigger(name, 1);
  const float inner_phases[] = {0, 0.25f, 0.5f, 0.25f, 0.5f};
  const float once_phases[] = {0, 0.25f, 0.5f, 0.75f, 1};
  for (int frame = 0; frame < 5; ++frame) {
    play(frame == 0);
    EXPECT_FLOAT_EQ(slot(0).phase, inner_phases[frame]) << frame;
    EXPECT_FLOAT_EQ(slot(1).phase, once_phases[frame]) << frame;
  }
  EXPECT_EQ(slot(1).state, 2u);  // the one-shot ended and fades out
  // "latched" moves on to phase 0.25 and 0.5, where its latch curve is 0: it keeps its weight
  // until the phase reaches 0.75. "quick" leaves at once.
  trigger("latched", 0);
  trigger("quick", 0);
  play();
  EXPECT_EQ(slot(3).state, 0u);
  EXPECT_FLOAT_EQ(slot(2).weight, 1);
  play();
  EXPECT_FLOAT_EQ(slot(2).weight, 1);
  play();
  EXPECT_NEAR(slot(2).weight, 5.0f / 6, 1e-6);  // phase 0.75: leaving is allowed

  // Without kickoff channels the type's default action plays, from the first frame on.
  Agent* plain = new_agent_type("plain");
  Action* idle = newAction(&plain->actions);
  action_set_name(idle, "idle");
  Action* wave = newAction(&plain->actions);
  action_set_name(wave, "wave");
  plain->default_actions[0].action = strdup("wave");
  Agent* agent = new_agent_instance(plain);
  playback_evaluate(agent, 1, kFrame);
  EXPECT_EQ(agent->playbacks[0].action, wave);
  EXPECT_EQ(agent->playbacks[1].state, 0u);
  playback_free_table(agent);
  delete_agent_instance(agent);

  // loop_action makes a one-shot cyclic and closes curves that span the cycle.
  Curve* curve = add_curve(once, "hip:tx", CURVE_LINEAR, {{0, 1}, {0.5f, 3}, {1, 5}});
  Curve* partial = add_curve(once, "hip:ty", CURVE_LINEAR, {{0.1f, 1}, {1, 5}});
  once->loop[1] = 0.5f;
  loop_action(once);
  EXPECT_EQ(once->flags & ACTION_ONE_SHOT, 0);
  EXPECT_EQ(once->loop[0], 0);
  EXPECT_EQ(once->loop[1], 1);
  EXPECT_EQ(curve->points->value[2], 1);
  EXPECT_EQ(partial->points->value[1], 5);
}

TEST_F(PlaybackEvaluateTest, HostileActionsKeepChannelsFinite) {
  const float nan = std::nanf(""), inf = INFINITY;
  Action* wild = add_action("wild", nan);
  wild->loop[0] = inf;
  wild->loop[1] = nan;
  add_curve(wild, "hip:tx", CURVE_LINEAR, {{0, nan}, {0.5f, inf}});
  add_curve(wild, "transition", CURVE_CONSTANT, {{0, nan}});
  add_curve(wild, "latch", CURVE_CONSTANT, {{0, nan}});
  Action* fast = add_action("fast", 1e30f);
  fast->loop[0] = 0.9f;
  fast->loop[1] = 0.1f;
  add_curve(fast, "hip:ty", CURVE_LINEAR, {{0, 1}, {1, 2}});
  add_curve(fast, "nowhere:tz", CURVE_LINEAR, {{0, 1}});
  make_agent();
  trigger("wild", nan);  // not a number: counts as 0
  trigger("fast", 1);
  for (int frame = 0; frame < 10; ++frame) {
    play(frame == 0);
    if (frame == 3) trigger("wild", 1);
    for (int i = 0; i < 6; ++i) EXPECT_TRUE(std::isfinite(agent_->segments->next->channels[i]));
    for (int i = 0; i < kPlaybackSlots; ++i) {
      EXPECT_GE(slot(i).phase, 0.0f);
      EXPECT_LE(slot(i).phase, 1.0f);
      EXPECT_TRUE(std::isfinite(slot(i).weight));
    }
  }
}

// A walk that turns only the knee: the renderer's cache gives six values to each segment in
// list order, so the written cache must carry the hip too, or the knee's turn lands on the hip.
TEST_F(PlaybackEvaluateTest, SparseCurvesDoNotShiftChannelsInTheRenderersPoseCache) {
  new_segment(type_, "knee");
  Action* walk = add_action("walk", 1);
  add_curve(walk, "knee:rx", CURVE_LINEAR, {{0, 30}, {1, 30}});
  make_agent();
  agent_->id = 1;
  agent_->activity = 1;
  agent_->birth_frame = -1;
  trigger("walk", 1);
  play(1);
  play();

  const auto directory = std::filesystem::path(testing::TempDir()) / "sparse_curves_cache";
  std::filesystem::create_directories(directory);
  ASSERT_EQ(apf_write(directory.string().c_str(), 5, 0), 1);
  Agent* reader = new_agent_instance(type_);
  reader->id = 1;
  apf_cache_init();
  ASSERT_EQ(apf_cache_read((directory / "frame.5.apf").string().c_str(), reader), 1);
  Segment* hip = reader->segments->next;
  for (float channel : hip->channels) EXPECT_FLOAT_EQ(channel, 0);
  EXPECT_FLOAT_EQ(hip->next->channels[3], 30);  // rx
  delete_agent_instance(reader);
  std::filesystem::remove_all(directory);
}

}  // namespace
