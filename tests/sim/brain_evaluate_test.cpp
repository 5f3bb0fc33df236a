// Brain evaluation: memberships of every inference kind, rules, defuzzification, the temporal
// behaviour of timers, noise and outputs, evaluation order, and bad brains. Expected values are
// worked out by hand from the curve points and the frame rate (24 frames per second).
#include "sim/brain_evaluate.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "agent/agent.h"
#include "cdl/cdl.h"
#include "sim/brain.h"
#include "sim/simulation.h"

namespace {

class BrainEvaluateTest : public testing::Test {
 protected:
  void SetUp() override {
    brain_reset_state();
    simTime = 0;
    type_ = new_agent_type("walker");
    for (const char* name : {"in", "in2", "out"}) new_userVar(type_, name);
  }
  void TearDown() override {
    if (agent_ != nullptr) sim_delete_agent(agent_);
    brain_reset_state();
    simTime = 0;
  }

  // A node of `kind` named `name`, reading `inputs`, with the keyword `flags` set.
  BrainNode* add(int kind, const char* name, std::vector<BrainNode*> inputs = {},
                 uint32_t flags = 0) {
    BrainNode* node = brain_new_node(type_, kind);
    node->keyword_flags |= flags;
    std::free(node->name);
    node->name = strdup(name);
    brain_resize_inputs(node, static_cast<int>(inputs.size()));
    for (size_t i = 0; i < inputs.size(); ++i) node->inputs[i] = inputs[i];
    return node;
  }
  // An input reading the user variable `variable` over the range lo..hi.
  BrainNode* input(const char* variable, float lo = 0, float hi = 1) {
    BrainNode* node = add(BRAIN_INPUT, variable);
    node->channel = strdup(variable);
    node->range[0] = lo;
    node->range[1] = hi;
    return node;
  }
  BrainNode* constant(const char* name, float value) {
    BrainNode* node = add(BRAIN_INPUT, name, {}, BRAIN_KEYWORD_MANUAL);
    node->value = value;
    return node;
  }
  // A fuzz node passing its input's normalised value straight through (an S from 0 to 1).
  BrainNode* ramp(const char* name, std::vector<BrainNode*> inputs = {}, uint32_t flags = 0) {
    BrainNode* node = add(BRAIN_FUZZ, name, std::move(inputs), flags);
    brain_set_inference(node, INFERENCE_S);
    node->points[0] = 0;
    node->points[1] = 1;
    node->interpolation = 1;
    return node;
  }
  BrainNode* output(std::vector<BrainNode*> inputs, float lo = 0, float hi = 1,
                    const char* channel = "out") {
    BrainNode* node = add(BRAIN_OUTPUT, "result", std::move(inputs));
    if (channel != nullptr) node->channel = strdup(channel);
    node->range[0] = lo;
    node->range[1] = hi;
    return node;
  }
  // Makes the agent once the brain is complete.
  void finish() {
    brain_validate_ids(type_);
    agent_ = new_agent_instance(type_);
    agent_->id = 7;
    compileOutputs(agent_);
  }
  void set(const char* variable, float value) { find_userVar(agent_, variable)->value = value; }
  float get(const char* variable) { return find_userVar(agent_, variable)->value; }
  float step() {
    ++simTime;
    brain_evaluate_agent(agent_);
    return get("out");
  }

  Agent* type_ = nullptr;
  Agent* agent_ = nullptr;
};

// The membership of x (the input's value normalised by its range 0..10) in a fuzz node, which
// a lone output passes through unchanged.
struct Membership {
  int inference;
  std::vector<float> points;
  float x;
  float expected;
  bool cosine = false;
  bool wrap = false;
  bool limit = false;
};

TEST_F(BrainEvaluateTest, InferenceKindsGiveTheirMemberships) {
  BrainNode* in = input("in", 0, 10);
  BrainNode* fuzz = add(BRAIN_FUZZ, "fuzz", {in});
  output({fuzz});
  finish();
  const float user_x[] = {0, 0.5f, 1}, user_y[] = {0, 1, 0.2f};
  const std::vector<Membership> cases = {
      {INFERENCE_Z, {0.2f, 0.6f}, 0.1f, 1},
      {INFERENCE_Z, {0.2f, 0.6f}, 0.4f, 0.5f},
      {INFERENCE_Z, {0.2f, 0.6f}, 0.7f, 0},
      {INFERENCE_S, {0.2f, 0.6f}, 0.4f, 0.5f},
      {INFERENCE_S, {0.2f, 0.6f}, 0.3f, 0.1464466f, true},  // (1 - cos(pi / 4)) / 2
      {INFERENCE_S, {0.2f, 0.6f}, 0.9f, 1},
      {INFERENCE_LAMBDA, {0.2f, 0.5f, 0.8f}, 0.35f, 0.5f},
      {INFERENCE_LAMBDA, {0.2f, 0.5f, 0.8f}, 0.5f, 1},
      {INFERENCE_LAMBDA, {0.2f, 0.5f, 0.8f}, 0.65f, 0.5f},
      {INFERENCE_LAMBDA, {0.2f, 0.5f, 0.8f}, 0.9f, 0},
      {INFERENCE_LAMBDA, {0.2f, 0.5f, 0.8f}, 1.35f, 0.5f, false, true},  // wraps to 0.35
      {INFERENCE_PI, {0.1f, 0.3f, 0.6f, 0.9f}, 0.2f, 0.5f},
      {INFERENCE_PI, {0.1f, 0.3f, 0.6f, 0.9f}, 0.45f, 1},
      {INFERENCE_PI, {0.1f, 0.3f, 0.6f, 0.9f}, 0.75f, 0.5f},
      {INFERENCE_SINGLETON, {0.5f}, 0.5f, 1},
      {INFERENCE_SINGLETON, {0.5f}, 0.52f, 0},
      {INFERENCE_SINGLETON, {1.0f}, 1.7f, 1, false, false, true},  // limited to 1
      {INFERENCE_SINGLETON, {1.0f}, 1.7f, 0},
      {INFERENCE_USER, {}, 0.25f, 0.5f},
      {INFERENCE_USER, {}, 0.75f, 0.6f},
      {INFERENCE_USER, {}, 2.0f, 0.2f},  // the last membership beyond the last point
      {INFERENCE_USER, {}, -1.0f, 0},
  };
  for (const Membership& c : cases) {
    if (c.inference == INFERENCE_USER) {
      brain_set_user_curve(fuzz, 3, user_x, user_y);
    } else {
      brain_set_inference(fuzz, c.inference);
      for (size_t i = 0; i < c.points.size(); ++i) fuzz->points[i] = c.points[i];
    }
    fuzz->interpolation = c.cosine ? 0 : 1;
    fuzz->wrap = c.wrap;
    fuzz->limit = c.limit;
    set("in", c.x * 10);
    EXPECT_NEAR(step(), c.expected, 1e-5) << "inference " << c.inference << " at " << c.x;
  }
}

TEST_F(BrainEvaluateTest, RulesAndDefuzzMethods) {
  BrainNode* a = constant("a", 0.3f);
  BrainNode* b = constant("b", 0.8f);
  BrainNode* both = add(BRAIN_AND, "both", {a, b});
  BrainNode* product = add(BRAIN_AND, "product", {a, b}, BRAIN_KEYWORD_PRODUCT);
  BrainNode* either = add(BRAIN_OR, "either", {a, b});
  BrainNode* sum = add(BRAIN_OR, "sum", {a, b}, BRAIN_KEYWORD_PRODUCT);
  BrainNode* half = add(BRAIN_AND, "half", {a});
  half->weight = 0.5f;
  BrainNode* negated = add(BRAIN_AND, "negated", {a}, BRAIN_KEYWORD_FALSE);
  BrainNode* otherwise = add(BRAIN_AND, "otherwise", {}, BRAIN_KEYWORD_ELSE);
  BrainNode* average = add(BRAIN_DEFUZZ, "average", {a, b});
  BrainNode* largest = add(BRAIN_DEFUZZ, "largest", {a, b}, BRAIN_KEYWORD_OR);
  BrainNode* multiplied = add(BRAIN_DEFUZZ, "multiplied", {a, b}, BRAIN_KEYWORD_PRODUCT);
  // "otherwise" is read beside "both" and "either": it is true as far as the larger (0.8) is not.
  BrainNode* collect = add(BRAIN_DEFUZZ, "collect", {both, either, otherwise});

  // Two defuzz nodes standing for 0 and 1 with activations 0.3 and 0.4.
  BrainNode* left = add(BRAIN_DEFUZZ, "left", {constant("l", 0.3f)}, BRAIN_KEYWORD_MANUAL);
  left->value = 0;
  BrainNode* right = add(BRAIN_DEFUZZ, "right", {constant("r", 0.4f)}, BRAIN_KEYWORD_MANUAL);
  right->value = 1;
  BrainNode* blended = output({left, right}, -10, 10, "in");
  BrainNode* centroid = output({left, right}, 0, 1, "in2");
  centroid->keyword_flags |= BRAIN_KEYWORD_DEFUZZ;
  BrainNode* maximum = output({left, right});
  maximum->keyword_flags |= BRAIN_KEYWORD_OR;
  finish();
  step();

  auto value = [&](BrainNode* node) { return brain_node_value(agent_, node); };
  EXPECT_FLOAT_EQ(value(both), 0.3f);
  EXPECT_FLOAT_EQ(value(product), 0.24f);
  EXPECT_FLOAT_EQ(value(either), 0.8f);
  EXPECT_FLOAT_EQ(value(sum), 0.86f);  // 1 - 0.7 * 0.2
  EXPECT_FLOAT_EQ(value(half), 0.15f);
  EXPECT_FLOAT_EQ(value(negated), 0.7f);
  EXPECT_FLOAT_EQ(value(otherwise), 0.2f);
  EXPECT_FLOAT_EQ(value(average), 0.55f);
  EXPECT_FLOAT_EQ(value(largest), 0.8f);
  EXPECT_FLOAT_EQ(value(multiplied), 0.24f);
  EXPECT_FLOAT_EQ(value(collect), (0.3f + 0.8f + 0.2f) / 3);
  // Blend: 0.4 / max(1, 0.7) = 0.4 over -10..10; centroid 0.4 / 0.7; maximum: the 0.4 one's 1.
  EXPECT_FLOAT_EQ(get("in"), -2.0f);
  EXPECT_FLOAT_EQ(get("in2"), 0.4f / 0.7f);
  EXPECT_FLOAT_EQ(get("out"), 1.0f);
  EXPECT_FLOAT_EQ(value(blended), -2.0f);
  EXPECT_FLOAT_EQ(value(maximum), 1.0f);
}

TEST_F(BrainEvaluateTest, OutputsOverSeveralFrames) {
  // One output per behaviour, each writing its own variable; "in" drives them all (range 0..10
  // read and written as is).
  BrainNode* in = input("in", 0, 10);
  struct Case {
    const char* name;
    float start;                  // the variable before the first frame
    std::vector<float> inputs;    // "in" per frame
    std::vector<float> expected;  // the variable after each frame
  };
  std::vector<Case> cases = {
      {"rate", 0, {0, 10, 10, 10}, {0, 1, 2, 3}},  // 24 units/s: 1 per frame
      {"filter", 0, {0, 8, 8, 8}, {0, 4, 6, 7}},   // half the change each frame
      {"delay", 0, {0, 1, 2, 3}, {0, 0, 0, 1}},    // two frames late
      {"velocity", 0, {6, 6, 6}, {0.25f, 0.5f, 0.75f}},
      {"acceleration", 0, {4.8f, 4.8f, 4.8f}, {0.2f / 24, 0.6f / 24, 1.2f / 24}},
      {"wrap", 110, {10, 10, 10}, {115, 0, 5}},  // 120/s within 0..120: 5 per frame
      {"limit", 110, {10, 10, 10}, {115, 120, 120}},
      {"latch", 0, {5, 0, 0}, {5, 5, 5}},  // nothing active: keeps its value
      {"plain", 0, {5, 0, 0}, {5, 0, 0}},
      {"heading", 0, {9, 1, 1}, {9, 0, 0.5}},  // filtered the short way round 0..10
  };
  std::vector<BrainNode*> outputs;
  for (const Case& c : cases) {
    new_userVar(type_, c.name);
    outputs.push_back(output({ramp("ramp", {in})}, 0, 10, c.name));
  }
  outputs[0]->rate = 24;
  outputs[1]->keyword_flags |= BRAIN_KEYWORD_FILTER;
  outputs[2]->delay = 2.0f / 24;
  outputs[3]->integrate = 2;
  outputs[4]->integrate = 3;
  for (int i : {5, 6}) {
    outputs[i]->integrate = 2;
    outputs[i]->range[1] = 120;
  }
  outputs[5]->wrap = 1;
  outputs[6]->limit = 1;
  outputs[7]->keyword_flags |= BRAIN_KEYWORD_LATCH;
  outputs[9]->keyword_flags |= BRAIN_KEYWORD_FILTER;
  outputs[9]->wrap = 1;
  finish();
  for (const Case& c : cases) {
    brain_reset_state();
    set(c.name, c.start);
    for (size_t frame = 0; frame < c.inputs.size(); ++frame) {
      set("in", c.inputs[frame]);
      step();
      EXPECT_NEAR(get(c.name), c.expected[frame], 1e-4) << c.name << " frame " << frame + 1;
    }
  }
}

TEST_F(BrainEvaluateTest, TimersAndNoise) {
  BrainNode* timer = add(BRAIN_TIMER, "timer");
  timer->values[0] = 6;  // a quarter of a cycle per frame
  BrainNode* gate = input("in2");
  BrainNode* gated = add(BRAIN_TIMER, "gated", {gate});
  gated->values[0] = 6;
  gated->options[0] = 0;  // holds at the end
  BrainNode* noise = add(BRAIN_NOISE, "noise");
  noise->seed = 3;
  BrainNode* slow = add(BRAIN_NOISE, "slow");
  slow->values[0] = 1;
  output({timer});
  finish();
  std::vector<float> timer_values, gated_values;
  const float gates[] = {1, 1, 1, 1, 1, 1, 0, 1};
  for (float g : gates) {
    set("in2", g);
    timer_values.push_back(step());
    gated_values.push_back(brain_node_value(agent_, gated));
  }
  EXPECT_EQ(timer_values, (std::vector<float>{0, 0.25f, 0.5f, 0.75f, 0, 0.25f, 0.5f, 0.75f}));
  // The gated timer runs while its input is above 0.5, holds at 1 and restarts on a new rise.
  EXPECT_EQ(gated_values, (std::vector<float>{0, 0.25f, 0.5f, 0.75f, 1, 1, 0, 0}));

  // Noise depends on the frame, the agent and the seed only: frame 5 again gives the same value,
  // another agent another one, and a slow noise changes little between frames.
  simTime = 4;
  step();
  float at_five = brain_node_value(agent_, noise);
  float slow_at_five = brain_node_value(agent_, slow);
  step();
  float slow_at_six = brain_node_value(agent_, slow);
  brain_reset_state();
  simTime = 4;
  step();
  EXPECT_EQ(brain_node_value(agent_, noise), at_five);
  agent_->id = 8;
  simTime = 4;
  step();
  EXPECT_NE(brain_node_value(agent_, noise), at_five);
  EXPECT_GE(at_five, 0.0f);
  EXPECT_LE(at_five, 1.0f);
  EXPECT_LT(std::fabs(slow_at_six - slow_at_five), 0.2f);
}

TEST_F(BrainEvaluateTest, OrderFollowsTheGraphAndMacrosGiveTheirPorts) {
  // The output comes first in the file and the input last: the first frame already sees the
  // input's value.
  BrainNode* out = output({});
  BrainNode* rule = add(BRAIN_AND, "rule");
  BrainNode* in = input("in", 0, 10);
  brain_resize_inputs(out, 1);
  out->inputs[0] = rule;
  brain_resize_inputs(rule, 1);
  rule->inputs[0] = in;
  // A macro: its "io" member reads the macro's input, its "output" member is the macro's value.
  BrainNode* macro = add(BRAIN_MACRO, "macro", {in});
  BrainNode* port_in = ramp("port_in", {}, BRAIN_KEYWORD_IO);
  BrainNode* port_out = add(BRAIN_AND, "port_out", {port_in}, BRAIN_KEYWORD_OUTPUT);
  port_out->weight = 0.5f;
  port_in->owner_macro = port_out->owner_macro = macro;
  brain_rebuild_macros(type_);
  new_userVar(type_, "from_macro");
  output({macro}, 0, 1, "from_macro");
  BrainNode* off = add(BRAIN_AND, "off", {in});
  off->disabled = 1;
  finish();
  set("in", 4);
  EXPECT_FLOAT_EQ(step(), 0.4f);
  EXPECT_FLOAT_EQ(get("from_macro"), 0.2f);
  EXPECT_EQ(brain_node_value(agent_, off), 0.0f);
}

TEST_F(BrainEvaluateTest, BadBrainsGiveDefinedValuesAndOneMessageEach) {
  Agent* other = new_agent_type("other");
  BrainNode* stranger = brain_new_node(other, BRAIN_INPUT);
  BrainNode* first = add(BRAIN_AND, "first");
  BrainNode* second = add(BRAIN_OR, "second", {first});
  brain_resize_inputs(first, 1);
  first->inputs[0] = second;  // a cycle of two rules
  BrainNode* dangling = add(BRAIN_OR, "dangling", {stranger, nullptr});
  BrainNode* empty = add(BRAIN_AND, "empty");
  BrainNode* unknown = add(BRAIN_INPUT, "unknown");
  unknown->channel = strdup("no_such_channel");
  BrainNode* nan_in = input("in", 0, 1);
  BrainNode* flat = input("in2", 5, 5);
  output({second, dangling, empty, unknown, nan_in, flat});
  BrainNode* huge = output({constant("one", 1)}, 0, FLT_MAX, "in2");
  huge->integrate = 2;
  BrainNode* nowhere = output({nan_in}, 0, 1, "f(x)");
  finish();
  set("in", NAN);
  testing::internal::CaptureStderr();
  for (int frame = 0; frame < 30; ++frame) {
    step();
    EXPECT_TRUE(std::isfinite(get("out")));
    EXPECT_TRUE(std::isfinite(get("in2")));
  }
  std::string messages = testing::internal::GetCapturedStderr();
  // Reported while ordering the nodes (dangling inputs, the cycle), then while evaluating them.
  EXPECT_EQ(messages,
            "brain of walker: node dangling (id 3): input 1 is not a node of this brain; it is "
            "ignored\n"
            "brain of walker: node dangling (id 3): input 2 is not a node of this brain; it is "
            "ignored\n"
            "brain of walker: node first (id 1): node is on a cycle of inputs; it is evaluated "
            "first and reads the previous frame's values of the inputs not yet evaluated\n"
            "brain of walker: node empty (id 4): rule has no inputs; it gives 0\n"
            "brain of walker: node unknown (id 5): channel \"no_such_channel\" is unknown; it "
            "reads 0\n"
            "brain of walker: node in (id 6): channel \"in\" is not a number; it reads 0\n"
            "brain of walker: node in2 (id 7): range 5.000000 to 5.000000 is unusable; the input "
            "reads 0\n"
            "brain of walker: node result (id 11): channel \"f(x)\" is unknown; the output writes "
            "nowhere\n"
            "brain of walker: node result (id 10): value is beyond the float range; it is "
            "clamped\n");
  EXPECT_EQ(get("in2"), FLT_MAX);
  EXPECT_EQ(nowhere->target, nullptr);
}

}  // namespace
