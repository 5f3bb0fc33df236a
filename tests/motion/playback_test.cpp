// The playback table and the action channels that brains read from it.
#include "motion/playback.h"

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <utility>

#include "agent/agent.h"
#include "motion/action.h"
#include "motion/curve.h"
#include "tests/support/scratch_files.h"

namespace {

// An agent type with named actions, and one instance of it with a playback table.
class PlaybackTest : public ::testing::Test {
 protected:
  void TearDown() override {
    if (agent_ != nullptr) {
      playback_free_table(agent_);
      delete_agent_instance(agent_);
    }
  }

  Action* add_action(const char* name, float loop_start = 0.0f, float loop_end = 1.0f,
                     int track = 0) {
    Action* action = newAction(&type_->actions);
    action_set_name(action, name);
    action->loop[0] = loop_start;
    action->loop[1] = loop_end;
    action->track = static_cast<uint8_t>(track);
    return action;
  }

  // Gives the action a latch curve with the given (time, value) keys.
  void add_latch(Action* action, std::initializer_list<std::pair<float, float>> keys) {
    Curve* curve = newCurve(&action->curves);
    curve_allocate_points(curve, static_cast<int>(keys.size()));
    int i = 0;
    for (const auto& [time, value] : keys) {
      curve->points->time[i] = time;
      curve->points->value[i] = value;
      ++i;
    }
    action->latch = curve;
  }

  void make_agent() {
    agent_ = new_agent_instance(type_);
    create_playbacks(agent_);
  }

  PlaybackSlot& play(int slot, Action* action, float phase, float weight, uint32_t state = 1) {
    PlaybackSlot& entry = agent_->playbacks[slot];
    entry.action = action;
    entry.phase = phase;
    entry.previous_phase = phase;
    entry.weight = weight;
    entry.state = state;
    return entry;
  }

  // The answer of an action channel, or NAN when it is not answered.
  float query(const char* name) {
    float value = -1.0f;
    const int answered = action_channel_query(agent_, name, &value);
    return answered ? value : NAN;
  }

  Agent* type_ = new_agent_type("walker");
  Agent* agent_ = nullptr;
};

TEST_F(PlaybackTest, TableIsMadeOnlyWithActionsReportsSlotsAndHandsOutFreeOnes) {
  EXPECT_EQ(number_of_playbacks(), 32);
  Agent* bare = new_agent_instance(type_);
  create_playbacks(bare);
  EXPECT_EQ(bare->playbacks, nullptr);  // no actions yet
  EXPECT_EQ(getPlaybackInfo(bare, 0, nullptr, nullptr, nullptr), 0u);
  float value = 0.0f;
  EXPECT_EQ(action_channel_query(bare, "phase", &value), 0);  // no table: nothing answered

  // Actions of its own give a table even when its prototype, whose list it plays, has none.
  Agent* prototype = new_agent_instance(type_);
  bare->prototype = prototype;
  Action* own = newAction(&bare->actions);
  create_playbacks(bare);
  EXPECT_NE(bare->playbacks, nullptr);
  EXPECT_EQ(action_channel_query(bare, "phase", &value), 1);
  deleteAction(own, bare);
  bare->actions = nullptr;  // removal goes through the type's list
  playback_free_table(bare);
  delete_agent_instance(bare);
  delete_agent_instance(prototype);

  Action* walk = add_action("walk");
  Action* run = add_action("run");
  make_agent();
  PlaybackSlot* table = agent_->playbacks;
  create_playbacks(agent_);
  EXPECT_EQ(agent_->playbacks, table);  // an existing table is kept
  for (int i = 0; i < 32; ++i) {
    EXPECT_EQ(table[i].state, 0u);
    ASSERT_NE(table[i].data, nullptr);
    EXPECT_EQ(table[i].data[7], 0.0f);
  }

  play(3, walk, 0.25f, 0.6f, 2).alt_weight = 0.1f;
  play(5, walk, 0.5f, 0.6f, 4).alt_weight = 0.1f;
  const char* name = nullptr;
  float weight = 0.0f, phase = 0.0f;
  EXPECT_EQ(getPlaybackInfo(agent_, 3, &name, &weight, &phase), 2u);
  EXPECT_STREQ(name, "walk");
  EXPECT_FLOAT_EQ(weight, 0.6f);
  EXPECT_FLOAT_EQ(phase, 0.25f);
  EXPECT_EQ(getPlaybackInfo(agent_, 5, &name, &weight, &phase), 4u);
  EXPECT_FLOAT_EQ(weight, 0.1f);  // state 4 reports the alternative weight
  EXPECT_EQ(getPlaybackInfo(agent_, 4, &name, &weight, &phase), 0u);
  EXPECT_EQ(getPlaybackInfo(agent_, 32, &name, &weight, &phase), 0u);
  EXPECT_EQ(getPlaybackInfo(agent_, -1, &name, &weight, &phase), 0u);

  play(0, walk, 0.2f, 1.0f);
  play(1, run, 0.2f, 1.0f);
  EXPECT_EQ(playback_free_slot(agent_), &agent_->playbacks[2]);  // the first free one
  // Kickoffs release the slots of actions no longer in the list.
  deleteAction(run, type_);
  create_kickoffs(agent_);
  EXPECT_EQ(agent_->playbacks[0].state, 1u);
  EXPECT_EQ(agent_->playbacks[1].state, 0u);
  EXPECT_EQ(agent_->playbacks[1].action, nullptr);
  EXPECT_EQ(playback_free_slot(agent_), &agent_->playbacks[1]);

  for (int i = 0; i < 32; ++i) play(i, walk, 0.0f, 1.0f);
  EXPECT_EQ(scratch::stderr_of([&] { EXPECT_EQ(playback_free_slot(agent_), nullptr); }),
            " NO SPARE PLAYBACKS\n");
}

TEST_F(PlaybackTest, PhaseTakesHeaviestSlotOfItsTrackNormalisedToItsLoop) {
  Action* walk = add_action("walk", 0.2f, 0.7f);
  Action* side = add_action("side", 0.0f, 1.0f, 1);
  make_agent();
  play(0, walk, 0.3f, 0.3f);  // normalised 0.2
  play(1, walk, 0.6f, 0.7f);  // normalised 0.8
  play(2, side, 0.3f, 0.9f);  // track 1 only
  EXPECT_FLOAT_EQ(query("phase"), 0.8f);
  EXPECT_FLOAT_EQ(query("phase1"), 0.3f);
  EXPECT_FLOAT_EQ(query("phase2"), 0.0f);  // no slot on the track: still answered

  agent_->playbacks[0].weight = 0.7f;  // a tie goes to the earlier slot
  EXPECT_FLOAT_EQ(query("phase"), 0.2f);

  agent_->playbacks[0].weight = -0.1f;  // at or below -0.1 nothing counts
  agent_->playbacks[1].weight = -0.5f;
  EXPECT_FLOAT_EQ(query("phase"), 0.0f);
  agent_->playbacks[1].weight = -0.09f;
  EXPECT_FLOAT_EQ(query("phase"), 0.8f);

  EXPECT_TRUE(std::isnan(query("phase9")));  // not a track: not an action name either

  // A loop that wraps past 1 adds one turn to the quotient.
  Action* wrapped = add_action("wrapped", 0.8f, 0.2f);
  PlaybackSlot& slot = play(0, wrapped, 0.1f, 1.0f);
  agent_->playbacks[1].state = 0;
  EXPECT_NEAR(playback_loop_phase(&slot), -0.75f, 1e-5f);
  slot.phase = 0.9f;
  EXPECT_NEAR(playback_loop_phase(&slot), 0.25f, 1e-5f);
  EXPECT_NEAR(query("phase"), 0.25f, 1e-5f);
}

TEST_F(PlaybackTest, PatternChannelsAnswerOnlyForKnownActions) {
  Action* fast = add_action("run_fast");
  Action* slow = add_action("run_slow");
  add_action("walk");
  make_agent();

  EXPECT_FLOAT_EQ(query("run*:running"), 0.0f);  // known pattern, nothing playing
  EXPECT_TRUE(std::isnan(query("run*:rate")));   // no slot plays it: unanswered
  EXPECT_TRUE(std::isnan(query("jump*:running")));
  EXPECT_TRUE(std::isnan(query("jump")));
  EXPECT_FLOAT_EQ(query("walk"), 0.0f);

  play(4, slow, 0.5f, 0.4f).data[7] = 1.5f;
  play(6, fast, 0.5f, 0.6f).data[7] = 2.5f;
  EXPECT_FLOAT_EQ(query("run*:running"), 1.0f);
  EXPECT_FLOAT_EQ(query("walk:running"), 0.0f);
  EXPECT_FLOAT_EQ(query("run*:active"), 0.6f);
  EXPECT_FLOAT_EQ(query("run_s?ow:active"), 0.4f);
  EXPECT_FLOAT_EQ(query("run_[fx]ast:rate"), 2.5f);
  EXPECT_FLOAT_EQ(query("run*:rate"), 1.5f);  // the first matching slot
  EXPECT_TRUE(std::isnan(query("run*:speed")));
  EXPECT_TRUE(std::isnan(query("run*")));  // bare names must name an action exactly
  EXPECT_FLOAT_EQ(query("run_fast"), 0.6f);

  // A pattern's phase compares each slot's raw phase against the best normalised one so far.
  Action* first = add_action("step_a", 0.0f, 0.4f);
  Action* second = add_action("step_b", 0.0f, 4.0f);
  play(0, first, 0.3f, 1.0f);   // normalised 0.75
  play(1, second, 0.8f, 1.0f);  // raw 0.8 beats 0.75; normalised 0.2
  EXPECT_FLOAT_EQ(query("step_*:phase"), 0.2f);
  agent_->playbacks[1].phase = 0.7f;  // raw 0.7 does not beat 0.75
  EXPECT_FLOAT_EQ(query("step_*:phase"), 0.75f);
}

TEST_F(PlaybackTest, LatchFollowsCrossedKeysIncludingWrapAndSharesItsCounterWithTheKeyScan) {
  Action* grab = add_action("grab");
  add_latch(grab, {{0.0f, 1.0f}, {0.3f, 0.0f}, {0.35f, 1.0f}, {0.6f, 1.0f}});
  make_agent();
  PlaybackSlot& slot = play(0, grab, 0.5f, 1.0f);
  const struct {
    float from, to;
    int latch;
  } steps[] = {
      {0.4f, 0.5f, 1},   // no key crossed, value 1 at the phase
      {0.2f, 0.5f, 0},   // crosses the low key at 0.3
      {0.32f, 0.5f, 0},  // crosses 0.35, whose preceding key is low
      {0.9f, 0.1f, 0},   // wrapped: crosses the key at 0
  };
  for (const auto& step : steps) {
    slot.previous_phase = step.from;
    slot.phase = step.to;
    EXPECT_EQ(playback_latch(agent_, 0), step.latch) << step.from;
    EXPECT_FLOAT_EQ(query("latch"), step.latch) << step.from;
  }
  EXPECT_EQ(playback_latch(agent_, 1), 0);  // no slot on track 1

  slot.state = 3;  // only states 1 and 2 are considered
  slot.previous_phase = 0.4f;
  slot.phase = 0.5f;
  EXPECT_EQ(playback_latch(agent_, 0), 0);

  Action* plain = add_action("plain");
  Action* hold = add_action("hold");
  add_latch(hold, {{0.5f, 1.0f}, {0.6f, 1.0f}});
  play(0, hold, 0.1f, 1.0f).previous_phase = 0.9f;  // wraps, but no key above 0.9 or at most 0.1
  EXPECT_EQ(playback_latch(agent_, 0), 1);
  play(0, plain, 0.1f, 1.0f);
  play(1, hold, 0.1f, 1.0f);
  EXPECT_EQ(playback_latch(agent_, 0), 0);  // the first candidate has no latch curve

  // The count of slots examined is shared with the scan of latch keys.
  agent_->playbacks[0].state = agent_->playbacks[1].state = 0;
  Action* low = add_action("low");
  add_latch(low, {{0.6f, 0.0f}, {0.7f, 0.0f}, {0.8f, 0.0f}});  // three keys, never crossed
  Action* high = add_action("high");
  add_latch(high, {{0.0f, 1.0f}, {0.5f, 1.0f}});
  play(29, high, 0.2f, 1.0f).previous_phase = 0.1f;
  EXPECT_EQ(playback_latch(agent_, 0), 1);  // reached when nothing comes before it

  play(0, low, 0.2f, 1.0f).previous_phase = 0.1f;
  // After the three-key slot the counter restarts at 4 while the position is 1: slots 1 to 28
  // are examined, slot 29 is not.
  EXPECT_EQ(playback_latch(agent_, 0), 0);
  agent_->playbacks[29].state = 0;
  play(28, high, 0.2f, 1.0f).previous_phase = 0.1f;
  EXPECT_EQ(playback_latch(agent_, 0), 1);
}

}  // namespace
