// Reading channels by name and binding output names to agent, segment and world storage.
#include "sim/channels.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "agent/agent.h"
#include "motion/action.h"
#include "motion/playback.h"
#include "sim/simulation.h"

namespace {

class ChannelsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    type_ = new_agent_type("biped");
    ASSERT_NE(type_, nullptr);
    type_->angle_unit = 1;
    ASSERT_NE(new_segment(type_, "hip"), nullptr);
    first_ = new_agent_instance(type_);
    second_ = new_agent_instance(type_);
    ASSERT_NE(first_, nullptr);
    ASSERT_NE(second_, nullptr);
    currentAgent = first_;
  }
  void TearDown() override {
    wind_x = wind_y = wind_z = wind_a = wind_f = 0.0f;
    reset_request = 0.0f;
    currentAgent = nullptr;
    for (Agent* agent : {first_, second_}) {
      playback_free_table(agent);
      delete_agent_instance(agent);
    }
  }

  float read(const char* name, int* kind = nullptr) {
    int ignored = -1;
    return getSimValueF(name, 0, kind != nullptr ? kind : &ignored);
  }

  Agent* type_ = nullptr;
  Agent* first_ = nullptr;
  Agent* second_ = nullptr;
};

TEST_F(ChannelsTest, WindIsSharedWhileAgentAndSegmentChannelsAreSeparate) {
  // Wind written by one agent is seen by all.
  set_sim_value("wind.x", 3.5f);
  set_sim_value("wind.f", 0.25f);
  currentAgent = second_;
  int kind = -1;
  EXPECT_FLOAT_EQ(read("wind.x", &kind), 3.5f);
  EXPECT_EQ(kind, SIM_RESULT_WORLD);
  EXPECT_FLOAT_EQ(read("hip:wind.x"), 3.5f);
  EXPECT_FLOAT_EQ(read("wind.f"), 0.25f);
  char* resolved = nullptr;
  EXPECT_EQ(bind_output("wind.x", first_, &resolved), bind_output("wind.x", second_, &resolved));
  EXPECT_STREQ(resolved, "wind.x");
  std::free(resolved);

  currentAgent = first_;
  Segment* hip = findSegment(first_, "hip");
  ASSERT_NE(hip, nullptr);
  set_sim_value("tx", 1.0f);
  set_sim_value("hip:tx", 2.0f);
  set_sim_value("ry", 30.0f);
  set_sim_value("hip:rz", 45.0f);
  EXPECT_FLOAT_EQ(first_->root[3], 1.0f);
  EXPECT_FLOAT_EQ(first_->root[1], 30.0f);
  EXPECT_FLOAT_EQ(hip->channels[0], 2.0f);
  EXPECT_FLOAT_EQ(hip->channels[5], 45.0f);
  EXPECT_FLOAT_EQ(findSegment(second_, "hip")->channels[0], 0.0f);  // the other agent's own
  EXPECT_FLOAT_EQ(second_->root[3], 0.0f);

  EXPECT_FLOAT_EQ(read("tx", &kind), 1.0f);
  EXPECT_EQ(kind, SIM_RESULT_AGENT);
  EXPECT_FLOAT_EQ(read("hip:tx", &kind), 2.0f);
  EXPECT_EQ(kind, SIM_RESULT_SEGMENT);
  EXPECT_FLOAT_EQ(read("ry"), 30.0f);
  EXPECT_FLOAT_EQ(read("heading"), 30.0f);

  // Angular channels go through the type's angle factor: radians, and revolutions read 0.
  type_->angle_unit = 2;
  EXPECT_NEAR(read("ry"), 30.0f * 0.017453292f, 1e-6f);
  EXPECT_NEAR(read("hip:rz"), 45.0f * 0.017453292f, 1e-6f);
  EXPECT_FLOAT_EQ(read("tx"), 1.0f);
  type_->angle_unit = 0;
  EXPECT_FLOAT_EQ(read("ry"), 0.0f);
}

TEST_F(ChannelsTest, WritableChannelsBindToTheirStorageAndUnknownOnesNever) {
  ASSERT_NE(new_userVar(first_, "f(x)"), nullptr);
  char* resolved = static_cast<char*>(std::malloc(8));  // freed by the first bind
  std::strcpy(resolved, "stale");
  for (const char* name : {"f(x)", "hip:f(x)", "hip:tx(1)", "nosuch", "nosuch:tx", "hip:nosuch",
                           "sound.nosuch", ":tx", "", "tx:"}) {
    EXPECT_EQ(bind_output(name, first_, &resolved), nullptr) << name;
    EXPECT_EQ(resolved, nullptr) << name;
  }
  EXPECT_EQ(bind_output(nullptr, first_, &resolved), nullptr);

  const float before = first_->root[3];
  set_sim_value("nosuch", 9.0f);
  set_sim_value("f(x)", 9.0f);
  set_sim_value(nullptr, 9.0f);
  EXPECT_FLOAT_EQ(first_->root[3], before);
  EXPECT_FLOAT_EQ(find_userVar(first_, "f(x)")->value, 0.0f);

  int kind = -1;
  EXPECT_FLOAT_EQ(read("nosuch", &kind), 0.0f);
  EXPECT_EQ(kind, SIM_RESULT_NONE);
  EXPECT_FLOAT_EQ(read("nosuch:tx", &kind), 0.0f);
  EXPECT_EQ(kind, SIM_RESULT_NONE);

  // Writable channels reach their storage and read back.
  UserVar* speed = new_userVar(first_, "speed");
  UserVar* shadow = new_userVar(first_, "tz");  // a user variable comes before the root channel
  Segment* hip = findSegment(first_, "hip");
  const struct {
    const char* name;
    float* storage;
  } cases[] = {
      {"speed", &speed->value},           {"tz", &shadow->value},
      {"colour", &first_->colour_value},  {"delete", &first_->delete_value},
      {"parent", &first_->parent_value},  {"polygonize", &first_->polygonize},
      {"active", &first_->active_value},  {"sprite", &first_->sprite},
      {"reset", &reset_request},          {"sound.volume", &first_->sound[1]},
      {"hip:force", &hip->force[0]},      {"hip:force.pz", &hip->force[6]},
      {"hip:colour", &hip->colour},       {"hip:spawn", &hip->spawn},
      {"hip:paint.size", &hip->paint[4]}, {"hip:ik.y", &hip->ik[2]},
      {"hip:ik.rz", &hip->ik[11]},        {"hip:rc.z", &hip->rc[3]},
  };
  float value = 1.0f;
  for (const auto& entry : cases) {
    char* bound = nullptr;
    EXPECT_EQ(bind_output(entry.name, first_, &bound), entry.storage) << entry.name;
    EXPECT_STREQ(bound, entry.name);
    std::free(bound);
    set_sim_value(entry.name, value);
    EXPECT_FLOAT_EQ(*entry.storage, value) << entry.name;
    EXPECT_FLOAT_EQ(read(entry.name), value) << entry.name;
    value += 1.0f;
  }
  EXPECT_FLOAT_EQ(first_->root[5], 0.0f);
}

TEST_F(ChannelsTest, ReadingVocabularyOfAgentAndWorld) {
  first_->id = 17;
  first_->matrix[12] = 1.0f;
  first_->matrix[13] = 2.0f;
  first_->matrix[14] = 3.0f;
  first_->last_matrix[12] = 1.0f;
  first_->last_matrix[13] = 2.0f;
  first_->last_matrix[14] = 2.5f;  // moved 0.5 along its z axis in one frame
  simTime = 48;
  inc_per_sec = 24.0f;
  keyboard_code = 65;
  const struct {
    const char* name;
    float value;
    int kind;
  } cases[] = {
      {"id", 17.0f, SIM_RESULT_AGENT},
      {"time", 2.0f, SIM_RESULT_WORLD},
      {"fps", 24.0f, SIM_RESULT_WORLD},
      {"keyboard", 65.0f, SIM_RESULT_WORLD},
      {"x", 1.0f, SIM_RESULT_AGENT},
      {"y", 2.0f, SIM_RESULT_AGENT},
      {"altitude", 2.0f, SIM_RESULT_AGENT},
      {"lz", 12.0f, SIM_RESULT_AGENT},
      {"lx", 0.0f, SIM_RESULT_AGENT},
      {"ground", 0.0f, SIM_RESULT_SENSED},
      {"ground.dx", 0.0f, SIM_RESULT_SENSED},
      {"collide.vx", 0.0f, SIM_RESULT_SENSED},
      {"controller.joy1.x", 0.0f, SIM_RESULT_SENSED},
      {"hip:y", 2.0f, SIM_RESULT_SEGMENT},
      {"hip:h", 2.0f, SIM_RESULT_SEGMENT},
      {"G.z", 3.0f, SIM_RESULT_AGENT},
      {"collided", 0.0f, SIM_RESULT_NONE},
      // A segment senses ground and collisions, but controllers, balance and IK goals are
      // channels of the agent only.
      {"hip:ground.dz", 0.0f, SIM_RESULT_SENSED},
      {"hip:collide.v", 0.0f, SIM_RESULT_SENSED},
      {"balance.x", 0.0f, SIM_RESULT_SENSED},
      {"hip:balance.x", 0.0f, SIM_RESULT_NONE},
      {"hip:controller.slider", 0.0f, SIM_RESULT_NONE},
      {"hip:ik_goal.y", 0.0f, SIM_RESULT_NONE},
  };
  for (const auto& entry : cases) {
    int kind = -1;
    EXPECT_NEAR(read(entry.name, &kind), entry.value, 1e-4f) << entry.name;
    EXPECT_EQ(kind, entry.kind) << entry.name;
  }
  keyboard_code = 0;
  simTime = 0;

  // Without a current agent only process-wide values answer.
  currentAgent = nullptr;
  int kind = -1;
  EXPECT_FLOAT_EQ(read("fps", &kind), 24.0f);
  EXPECT_EQ(kind, SIM_RESULT_WORLD);
  EXPECT_FLOAT_EQ(read("id", &kind), 0.0f);
  EXPECT_EQ(kind, SIM_RESULT_NONE);
}

TEST_F(ChannelsTest, ActionChannelsAndVariableDefaultsComeFirst) {
  Action* action = newAction(&type_->actions);
  std::free(action->name);
  action->name = strdup("tx");  // an action named like a root channel
  create_playbacks(first_);
  ASSERT_NE(first_->playbacks, nullptr);
  first_->playbacks[0].action = action;
  first_->playbacks[0].state = 1;
  first_->playbacks[0].weight = 0.4f;
  first_->root[3] = 7.0f;
  int kind = -1;
  EXPECT_FLOAT_EQ(read("tx", &kind), 0.4f);
  EXPECT_EQ(kind, SIM_RESULT_ACTION);
  currentAgent = second_;  // no playback table: the root channel answers
  EXPECT_FLOAT_EQ(read("tx", &kind), 0.0f);
  EXPECT_EQ(kind, SIM_RESULT_AGENT);

  new_variable_def(type_, "stride", 0.8f, 0.0f, 1.0f, nullptr);
  EXPECT_FLOAT_EQ(read("stride", &kind), 0.8f);
  EXPECT_EQ(kind, SIM_RESULT_AGENT);
  new_userVar(second_, "stride")->value = 0.3f;  // the agent's own value wins
  EXPECT_FLOAT_EQ(read("stride"), 0.3f);
}

}  // namespace
