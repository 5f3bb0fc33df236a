// The simulation loop: time after reset, the reset channel, the spawn edge, the delete pass and
// the succession of the current agent, groups, callbacks and the pose-cache output.
#include "sim/simulation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "agent/agent.h"
#include "agent/skeleton.h"
#include "base/vecmath.h"
#include "motion/apf.h"
#include "motion/apf_cache.h"
#include "motion/playback.h"
#include "sim/channels.h"
#include "sim/scene_setup.h"
#include "tests/support/engine_fixtures.h"
#include "tests/support/scratch_files.h"

namespace {

namespace fs = std::filesystem;

class SimulationTest : public scratch::FolderTest {
 protected:
  void SetUp() override {
    scratch::FolderTest::SetUp();
    type_ = new_agent_type("man");
    new_segment(type_, "root");
    new_segment(type_, "hand");
  }
  void TearDown() override {
    while (root_agent) sim_delete_agent(root_agent);
    free_groups();
    sim_hooks = {};
    sim_settings = {};
    reset_request = 0;
    currentAgent = nullptr;
    scratch::FolderTest::TearDown();
  }
  Agent* make_agent(const char* name) {
    Agent* agent = new_agent_instance(type_);
    std::free(agent->name);
    agent->name = strdup(name);
    agent->scale = 1;
    return agent;
  }
  static int count_agents() {
    int count = 0;
    for (Agent* agent = root_agent; agent; agent = agent->next) ++count;
    return count;
  }

  Agent* type_ = nullptr;
};

TEST_F(SimulationTest, TimeAdvancesFromZeroAndResetRequestsRestart) {
  resetAll();
  EXPECT_EQ(simTime, 0);
  EXPECT_EQ(floatTime, 0.0f);
  nextFrame(0);
  nextFrame(0);
  EXPECT_EQ(simTime, 2);
  EXPECT_FLOAT_EQ(floatTime, 2.0f / 24.0f);
  nextFrame(0);
  currentAgent = make_agent("writer");
  set_sim_value("reset", 1.0f);
  EXPECT_GT(reset_request, 0.5f);
  nextFrame(0);
  EXPECT_EQ(simTime, 1);
  EXPECT_FLOAT_EQ(floatTime, 1.0f / 24.0f);
  EXPECT_EQ(reset_request, 0.0f);  // one request, one reset
  nextFrame(0);
  EXPECT_EQ(simTime, 2);
}

TEST_F(SimulationTest, SpawnFiresOnStrictRisingEdges) {
  Group* crowd = new_group("crowd", type_, type_, 0, 1);
  resetAll();
  Agent* parent = make_agent("parent");
  parent->root[3] = 5;  // tx
  Segment* hand = parent->segments->next;
  hand->spawn_group = strdup("crowd");
  hand->channels[1] = 2;  // ty of the hand, local
  const float values[] = {0, 1, 1, 0, 1, 0.5f, 1, 0.4f, 0.6f};
  std::vector<int> counts;
  for (float value : values) {
    hand->spawn = value;
    nextFrame(0);
    counts.push_back(count_agents());
  }
  // 0 -> 1 -> 1 -> 0 -> 1 spawns twice; a previous value of exactly 0.5 is not low; 0.4 is.
  EXPECT_EQ(counts, (std::vector<int>{1, 2, 2, 2, 3, 3, 3, 3, 4}));
  Agent* first = findAgent("man.1");
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->birth_frame, 2);
  EXPECT_EQ(first->spawned, 1);
  EXPECT_EQ(first->group, crowd);
  EXPECT_FLOAT_EQ(first->root[3], 5);  // placed at the hand
  EXPECT_FLOAT_EQ(first->root[4], 2);
  EXPECT_NE(findAgent("man.2"), nullptr);
  EXPECT_EQ(crowd->spawns, 1);
  std::free(hand->spawn_group);
  hand->spawn_group = nullptr;
  // A reset removes the spawned agents.
  resetAll();
  EXPECT_EQ(count_agents(), 1);
}

TEST_F(SimulationTest, SpawnScalesTheSegmentMatrixAndNeedsAPrototype) {
  resetAll();
  Agent* parent = make_agent("parent");
  Segment* hand = parent->segments->next;
  hand->channels[0] = 3;  // tx of the hand, local
  agent_pose_from_channels(parent);
  // A group whose type has no prototype supplies nothing: no agent, no spawning mark.
  Group* orphans = new_group("orphans", type_, nullptr, 0, 1);
  hand->spawn_group = strdup("orphans");
  EXPECT_EQ(scratch::stderr_of([&] { EXPECT_EQ(spawn(hand), 0); }),
            "ERROR: create_instance(NULL)\n");
  EXPECT_EQ(orphans->spawns, 0);
  EXPECT_EQ(count_agents(), 1);
  // The new agent's scale multiplies the axes of the segment's world matrix, not its position.
  Agent* big = make_agent("big");
  big->scale = 2;
  Group* giants = new_group("giants", type_, big, 0, 1);
  std::free(hand->spawn_group);
  hand->spawn_group = strdup("giants");
  EXPECT_EQ(spawn(hand), 1);
  std::free(hand->spawn_group);
  hand->spawn_group = nullptr;
  EXPECT_EQ(giants->spawns, 1);
  Agent* made = findAgent("big.1");
  ASSERT_NE(made, nullptr);
  EXPECT_FLOAT_EQ(made->matrix[0], 2);
  EXPECT_FLOAT_EQ(made->matrix[10], 2);
  EXPECT_FLOAT_EQ(made->matrix[12], 3);
  EXPECT_FLOAT_EQ(made->root[3], 3);
}

TEST_F(SimulationTest, DeletedAgentIsGoneBeforeTheFrameWorksAndCurrentMovesOn) {
  resetAll();
  Agent* a = make_agent("a");
  Agent* b = make_agent("b");
  Agent* c = make_agent("c");
  a->active = 0;
  currentAgent = b;
  b->delete_value = 1.0f;
  static bool b_seen_during_frame;
  static Agent* current_during_frame;
  b_seen_during_frame = true;
  sim_hooks.evaluate_brains = [] {
    b_seen_during_frame = findAgent("b") != nullptr;
    current_during_frame = currentAgent;
  };
  nextFrame(0);
  EXPECT_FALSE(b_seen_during_frame);
  EXPECT_EQ(current_during_frame, c);  // the inactive first agent is passed over
  EXPECT_EQ(currentAgent, c);

  // With no active agent left, the head of the list becomes current.
  c->delete_value = 2.0f;
  nextFrame(0);
  EXPECT_EQ(currentAgent, a);
  EXPECT_EQ(count_agents(), 1);
  // An agent below 1.0 stays.
  a->delete_value = 0.99f;
  nextFrame(0);
  EXPECT_EQ(count_agents(), 1);
}

TEST_F(SimulationTest, GroupsPlaceAgentsAndNameInstances) {
  Group* group = new_group("crowd", type_, type_, 4, 2.0f);
  resetAll();
  ASSERT_EQ(count_agents(), 4);
  Agent* fourth = findAgent("man.4");
  ASSERT_NE(fourth, nullptr);
  EXPECT_EQ(fourth->id, 4);
  EXPECT_FLOAT_EQ(fourth->matrix[12], 2.0f);  // rows of two along x, then along z
  EXPECT_FLOAT_EQ(fourth->matrix[14], 2.0f);
  EXPECT_EQ(fourth->spawned, 0);
  // A second reset places the same agents again instead of adding more.
  fourth->root[3] = 50;
  resetAll();
  EXPECT_EQ(count_agents(), 4);
  EXPECT_FLOAT_EQ(findAgent("man.4")->root[3], 2.0f);

  nextFrame(0);
  Agent* made = createInstance(group);
  ASSERT_NE(made, nullptr);
  EXPECT_STREQ(made->name, "man.5");
  EXPECT_EQ(made->birth_frame, 1);
  EXPECT_EQ(made->prototype, type_);
  EXPECT_EQ(group->number, 6);

  Group* orphan = new_group("orphans", type_, nullptr, 0, 1);
  testing::internal::CaptureStderr();
  EXPECT_EQ(createInstance(orphan), nullptr);
  EXPECT_EQ(createInstance(nullptr), nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "ERROR: create_instance(NULL)\nERROR: create_instance(NULL)\n");
}

// Ids name the renderer's assemblies and select pose-cache records, so two groups must not both
// start at 1: agent 1 of the second group would read the first group's record with its own
// appended, and the second root's world place would land on another segment.
TEST_F(SimulationTest, GroupsNumberAgentsAcrossTheSceneSoPoseCacheRecordsStaySeparate) {
  Group* north = new_group("north", type_, make_agent("north"), 2, 1.6f);
  Group* south = new_group("south", type_, make_agent("south"), 2, 1.6f);
  north->origin[2] = -20;
  south->origin[2] = 10;
  resetAll();
  // Placed agents in scene order, with their ids and names worked out by hand.
  std::vector<Agent*> placed;
  for (Agent* agent = root_agent; agent; agent = agent->next)
    if (agent->group != nullptr) placed.push_back(agent);
  ASSERT_EQ(placed.size(), 4u);
  const char* names[] = {"north.1", "north.2", "south.3", "south.4"};
  const float expected_z[] = {-20, -20, 10, 10};
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(placed[i]->id, i + 1);
    EXPECT_STREQ(placed[i]->name, names[i]);
  }
  const fs::path dir = folder_;
  ASSERT_EQ(apf_write(dir.string().c_str(), 1, 0), 1);
  apf_cache_init();
  Agent* reader = new_agent_instance(type_);
  for (int i = 0; i < 4; ++i) {
    reader->id = placed[i]->id;
    ASSERT_EQ(apf_cache_read((dir / "frame.1.apf").string().c_str(), reader), 1);
    EXPECT_FLOAT_EQ(reader->segments->channels[2], expected_z[i]) << "root tz of " << names[i];
    EXPECT_FLOAT_EQ(reader->segments->next->channels[2], 0) << "hand tz of " << names[i];
  }
  // An agent made later in the first group takes the next id of the whole scene.
  EXPECT_EQ(createInstance(north)->id, 5);
}

TEST_F(SimulationTest, CallbacksRunForActiveScaledAgentsInOrder) {
  resetAll();
  Agent* a = make_agent("a");
  Agent* b = make_agent("b");
  Agent* hidden = make_agent("hidden");
  hidden->scale = 0;
  static std::vector<std::string> calls;
  calls.clear();
  auto record = [](Agent* agent, int32_t frame, FrameCallback* self) {
    calls.push_back(std::string(agent->name) + "@" + std::to_string(frame) + ":" +
                    static_cast<const char*>(self->data));
  };
  add_frame_callback(a, record, const_cast<char*>("x"));
  add_frame_callback(a, record, const_cast<char*>("y"));
  add_frame_callback(b, record, const_cast<char*>("z"));
  add_frame_callback(hidden, record, const_cast<char*>("never"));
  nextFrame(0);
  EXPECT_EQ(calls, (std::vector<std::string>{"a@1:x", "a@1:y", "b@1:z"}));
  resetAll();  // callbacks are per-run state
  nextFrame(0);
  EXPECT_EQ(calls.size(), 3u);
}

TEST_F(SimulationTest, ResetClearsPlaybacksVariablesPoseAndCachedMotion) {
  new_userVar(type_, "speed")->value = 1.5f;
  Agent* agent = make_agent("walker");
  find_userVar(agent, "speed")->value = 9;
  new_userVar(agent, "own")->value = 4;  // a variable the type does not have
  agent->changed = 1;
  agent->playbacks = static_cast<PlaybackSlot*>(std::calloc(
      kPlaybackSlots * sizeof(PlaybackSlot) + kPlaybackSlots * kPlaybackDataFloats * sizeof(float),
      1));
  float* records = reinterpret_cast<float*>(agent->playbacks + kPlaybackSlots);
  for (int i = 0; i < kPlaybackSlots; ++i)
    agent->playbacks[i].data = records + i * kPlaybackDataFloats;
  PlaybackSlot& slot = agent->playbacks[3];
  slot.state = 1;
  slot.phase = 0.4f;
  slot.weight = 1;
  slot.data[kPlaybackDataRate] = 2;
  Segment* hand = findSegment(agent, "hand");
  hand->rest_matrix[13] = 0.5f;
  hand->channels[4] = 30;
  hand->matrix[12] = 7;
  agent->root_rates[3] = 2;
  agent->motion[0] = 3;

  resetAll();
  EXPECT_FLOAT_EQ(find_userVar(agent, "speed")->value, 1.5f);
  EXPECT_FLOAT_EQ(find_userVar(agent, "own")->value, 0.0f);
  EXPECT_EQ(agent->changed, 0);
  EXPECT_EQ(slot.state, 0u);
  EXPECT_EQ(slot.phase, 0.0f);
  EXPECT_EQ(slot.weight, 0.0f);
  EXPECT_EQ(slot.data, records + 3 * kPlaybackDataFloats);
  EXPECT_EQ(slot.data[kPlaybackDataRate], 0.0f);
  EXPECT_EQ(hand->channels[4], 0.0f);
  EXPECT_EQ(hand->matrix[12], 0.0f);
  EXPECT_EQ(hand->matrix[13], 0.5f);
  EXPECT_EQ(agent->root_rates[3], 0.0f);
  EXPECT_EQ(agent->motion[0], 0.0f);
}

TEST_F(SimulationTest, RootIsRotatedXThenYThenZThenTranslatedWithoutScale) {
  Agent* agent = make_agent("turning");
  agent->scale = 2;
  const float root[6] = {90, 90, 0, 1, 2, 3};
  std::copy(root, root + 6, agent->root);
  sim_build_root_matrix(agent);
  // (0, 1, 0) turned a quarter about x lies on z; a quarter about y takes z onto x. Turned about
  // y first it would stay on y and then go to z. Unscaled, then moved by (1, 2, 3).
  const Vector up{0, 1, 0};
  engine_test::expect_vector_near(transformPoint(&up, agent->matrix), 2, 2, 3);
}

TEST_F(SimulationTest, WritesPoseCachesFromTheStartFrame) {
  const fs::path dir = folder_;
  ::setenv("HORDERA_SIM_TEST_DIR", dir.c_str(), 1);
  resetAll();
  Agent* agent = make_agent("man.1");
  agent->id = 1;
  sim_settings.output_kind = SIM_CACHE_APF;
  sim_settings.output_directory = const_cast<char*>("${HORDERA_SIM_TEST_DIR}");
  sim_settings.start_frame = 2;
  nextFrame(0);
  nextFrame(0);
  EXPECT_FALSE(fs::exists(dir / "frame.1.apf"));
  EXPECT_TRUE(fs::exists(dir / "frame.2.apf"));
}

TEST(EnvironmentVariables, ExpandNamesAndKeepStrayDollars) {
  ::setenv("HORDERA_ENV_A", "/data", 1);
  ::unsetenv("HORDERA_ENV_UNSET");
  const std::pair<const char*, const char*> cases[] = {
      {"$HORDERA_ENV_A/sim", "/data/sim"},
      {"${HORDERA_ENV_A}x/$HORDERA_ENV_UNSET/y", "/datax//y"},
      {"cost$ 5 ${open", "cost$ 5 ${open"},
      {"", ""},
  };
  for (const auto& [input, expected] : cases) {
    char* result = convert_env_variables(input);
    EXPECT_STREQ(result, expected) << input;
    std::free(result);
  }
  EXPECT_EQ(convert_env_variables(nullptr), nullptr);
}

}  // namespace
