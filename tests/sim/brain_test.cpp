// Brain nodes: creation with per-kind defaults, input lists, macros, fuzz curves, ids and the
// binding of outputs for agent types and agents.
#include "sim/brain.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "agent/agent.h"

namespace {

std::vector<BrainNode*> brain_list(Agent* agent) {
  std::vector<BrainNode*> nodes;
  BrainNode* previous = nullptr;
  for (BrainNode* node = agent->brain; node != nullptr; node = node->next) {
    EXPECT_EQ(node->prev, previous);
    nodes.push_back(node);
    previous = node;
  }
  return nodes;
}

void set_channel(BrainNode* node, const char* channel) {
  std::free(node->channel);
  node->channel = channel != nullptr ? strdup(channel) : nullptr;
}

TEST(BrainTest, NodesAppendInOrderWithKindDefaults) {
  Agent* type = new_agent_type("brainy");
  BrainNode* input = brain_new_node(type, BRAIN_INPUT);
  BrainNode* timer = brain_new_node(type, BRAIN_TIMER);
  BrainNode* noise = brain_new_node(type, BRAIN_NOISE);
  BrainNode* rule = brain_new_node(type, BRAIN_AND);
  BrainNode* either = brain_new_node(type, BRAIN_OR);
  BrainNode* output = brain_new_node(type, BRAIN_OUTPUT);
  EXPECT_EQ(brain_list(type), (std::vector<BrainNode*>{input, timer, noise, rule, either, output}));

  EXPECT_STREQ(input->name, "input");
  EXPECT_EQ(input->options[0], 1);
  EXPECT_EQ(input->options[1], 1);
  EXPECT_FLOAT_EQ(input->range[1], 1.0f);
  EXPECT_EQ(input->inputs, input->inline_inputs);
  EXPECT_STREQ(timer->name, "timer");
  EXPECT_FLOAT_EQ(timer->values[0], 1.0f);
  EXPECT_FLOAT_EQ(timer->values[1], 0.0f);
  EXPECT_FLOAT_EQ(timer->values[2], 1.0f);
  EXPECT_EQ(timer->options[0], 1);
  EXPECT_EQ(timer->options[1], 0);
  EXPECT_EQ(noise->setting, 1);
  EXPECT_FLOAT_EQ(rule->weight, 1.0f);
  EXPECT_EQ(rule->options[1], 0);
  EXPECT_EQ(either->options[1], 1);
  EXPECT_STREQ(output->name, "output");
  EXPECT_EQ(output->channel, nullptr);
  EXPECT_EQ(output->options[0], 1);

  // Reset re-applies the new kind's defaults and name; the node keeps its id and place.
  output->id = 12;
  set_channel(output, "tx");
  brain_reset_node(output, BRAIN_DEFUZZ);
  EXPECT_STREQ(output->name, "defuzz");
  EXPECT_EQ(output->channel, nullptr);
  EXPECT_EQ(output->options[0], 0);
  EXPECT_EQ(output->id, 12);
  EXPECT_EQ(brain_list(type).back(), output);
}

TEST(BrainTest, InputListsMoveOutsideAndBackWithoutLosingReferences) {
  Agent* type = new_agent_type("inputs");
  BrainNode* rule = brain_new_node(type, BRAIN_AND);
  BrainNode* sources[5];
  for (BrainNode*& source : sources) source = brain_new_node(type, BRAIN_INPUT);

  brain_resize_inputs(rule, 2);
  rule->inputs[0] = sources[0];
  rule->inputs[1] = sources[1];
  brain_resize_inputs(rule, 5);
  EXPECT_NE(rule->inputs, rule->inline_inputs);
  EXPECT_EQ(rule->input_count, 5);
  EXPECT_EQ(rule->inputs[1], sources[1]);
  EXPECT_EQ(rule->inputs[4], nullptr);
  for (int i = 0; i < 5; ++i) rule->inputs[i] = sources[i];

  brain_resize_inputs(rule, 4);
  EXPECT_EQ(rule->inputs, rule->inline_inputs);
  EXPECT_EQ(rule->input_count, 4);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(rule->inputs[i], sources[i]) << i;

  brain_resize_inputs(rule, 1);
  brain_resize_inputs(rule, 3);  // growing again leaves the new entries empty
  EXPECT_EQ(rule->inputs[0], sources[0]);
  EXPECT_EQ(rule->inputs[1], nullptr);
  brain_resize_inputs(rule, -1);  // refused
  EXPECT_EQ(rule->input_count, 3);
  brain_resize_inputs(rule, 0);
  EXPECT_EQ(rule->input_count, 0);
}

TEST(BrainTest, FuzzNodesComeBackToTheirDefaultCurve) {
  Agent* type = new_agent_type("fuzzy");
  BrainNode* fuzz = brain_new_node(type, BRAIN_FUZZ);
  const float xs[3] = {0.0f, 0.5f, 1.0f};
  const float ys[3] = {0.0f, 1.0f, 0.0f};
  for (int round = 0; round < 2; ++round) {
    const float points[4] = {0.25f, 0.5f, 0.75f, 0.8f};
    for (int i = 0; i < 4; ++i) EXPECT_FLOAT_EQ(fuzz->points[i], points[i]) << i;
    EXPECT_FLOAT_EQ(fuzz->fuzz_extra[0], 0.0f);
    EXPECT_FLOAT_EQ(fuzz->fuzz_extra[1], 1.0f);
    EXPECT_EQ(fuzz->inference, INFERENCE_LAMBDA);
    EXPECT_EQ(fuzz->wrap, 0);
    EXPECT_EQ(fuzz->user_count, 0);
    EXPECT_EQ(fuzz->user_x, nullptr);

    fuzz->points[0] = 0.1f;
    fuzz->points[3] = 0.9f;
    fuzz->wrap = 1;
    ASSERT_EQ(brain_set_user_curve(fuzz, 3, xs, ys), 1);
    EXPECT_EQ(fuzz->inference, INFERENCE_USER);
    EXPECT_EQ(fuzz->user_y, fuzz->user_x + 3);  // one block for both arrays
    EXPECT_FLOAT_EQ(fuzz->user_y[1], 1.0f);
    brain_reset_node(fuzz, round == 0 ? BRAIN_FUZZ : BRAIN_OUTPUT);
    if (round == 1) brain_reset_node(fuzz, BRAIN_FUZZ);
  }

  ASSERT_EQ(brain_set_user_curve(fuzz, 3, xs, ys), 1);
  brain_set_inference(fuzz, INFERENCE_USER);  // staying on the user kind keeps the curve
  EXPECT_EQ(fuzz->user_count, 3);
  brain_set_inference(fuzz, 9);  // not an inference kind: ignored
  EXPECT_EQ(fuzz->inference, INFERENCE_USER);
  brain_set_inference(fuzz, INFERENCE_PI);
  EXPECT_EQ(fuzz->inference, INFERENCE_PI);
  EXPECT_EQ(fuzz->user_count, 0);
  EXPECT_EQ(fuzz->user_x, nullptr);
}

TEST(BrainTest, MacroMembershipFollowsListOrder) {
  Agent* type = new_agent_type("macros");
  BrainNode* a = brain_new_node(type, BRAIN_INPUT);
  BrainNode* macro = brain_new_node(type, BRAIN_MACRO);
  BrainNode* b = brain_new_node(type, BRAIN_FUZZ);
  BrainNode* other = brain_new_node(type, BRAIN_MACRO2);
  BrainNode* c = brain_new_node(type, BRAIN_OUTPUT);
  EXPECT_STREQ(other->name, "macro");
  c->owner_macro = macro;
  a->owner_macro = macro;
  b->owner_macro = other;
  brain_rebuild_macros(type);
  EXPECT_EQ(macro->first_member, a);
  EXPECT_EQ(a->next_in_macro, c);
  EXPECT_EQ(c->next_in_macro, nullptr);
  EXPECT_EQ(other->first_member, b);
  EXPECT_EQ(b->next_in_macro, nullptr);

  a->owner_macro = nullptr;  // leaving the macro
  brain_rebuild_macros(type);
  EXPECT_EQ(macro->first_member, c);
  EXPECT_EQ(a->next_in_macro, nullptr);

  // Only macros of this list gather members: an owner of another kind, or a macro of another
  // brain, is left untouched and its would-be members stay unchained.
  Agent* stranger = new_agent_type("strangers");
  BrainNode* foreign = brain_new_node(stranger, BRAIN_MACRO);
  a->owner_macro = foreign;
  b->owner_macro = a;
  c->owner_macro = b;
  brain_rebuild_macros(type);
  for (BrainNode* node : {foreign, a, b, macro, other}) EXPECT_EQ(node->first_member, nullptr);
  for (BrainNode* node : {a, b}) EXPECT_EQ(node->next_in_macro, nullptr);
}

TEST(BrainTest, IdsBecomeUniqueAndFindable) {
  Agent* type = new_agent_type("ids");
  const int given[] = {0, 5, 5, 70000, 1, -3};
  std::vector<BrainNode*> nodes;
  for (int id : given) {
    nodes.push_back(brain_new_node(type, BRAIN_INPUT));
    nodes.back()->id = id;
  }
  EXPECT_EQ(brain_smallest_free_id(type), 2);
  brain_validate_ids(type);
  // First holders of valid ids keep them; the rest take the smallest free ids in list order.
  const int expected[] = {2, 5, 3, 4, 1, 6};
  for (size_t i = 0; i < nodes.size(); ++i) EXPECT_EQ(nodes[i]->id, expected[i]) << i;
  EXPECT_EQ(brain_find_node(type, 4), nodes[3]);
  EXPECT_EQ(brain_find_node(type, 7), nullptr);
  EXPECT_EQ(brain_smallest_free_id(type), 7);
  Agent* instance = new_agent_instance(type);
  EXPECT_EQ(brain_find_node(instance, 5), nodes[1]);  // an agent reads its type's brain
  delete_agent_instance(instance);
}

TEST(BrainTest, CompileOutputsBindsTypesAndAgentsSeparately) {
  Agent* type = new_agent_type("walker");
  ASSERT_NE(new_segment(type, "hip"), nullptr);
  brain_new_node(type, BRAIN_INPUT);
  BrainNode* root = brain_new_node(type, BRAIN_OUTPUT);
  BrainNode* hip = brain_new_node(type, BRAIN_OUTPUT);
  // Names that bind nothing: binding still succeeds, and their outputs write nowhere.
  std::vector<BrainNode*> unknown;
  for (const char* channel : {"g(t)", "nosuch", "nosuch:tx", "hip:nosuch", (const char*)nullptr}) {
    unknown.push_back(brain_new_node(type, BRAIN_OUTPUT));
    set_channel(unknown.back(), channel);
  }
  set_channel(root, "tx");
  set_channel(hip, "hip:ty");

  currentAgent = nullptr;
  EXPECT_EQ(compileOutputs(type), 1);
  EXPECT_EQ(root->target, &type->root[3]);
  EXPECT_EQ(hip->target, &findSegment(type, "hip")->channels[1]);
  EXPECT_STREQ(hip->resolved, "hip:ty");
  for (BrainNode* node : unknown) {
    EXPECT_EQ(node->target, nullptr);
    EXPECT_EQ(node->resolved, nullptr);
  }
  EXPECT_EQ(currentAgent, nullptr);  // restored after binding

  Agent* agent = new_agent_instance(type);
  EXPECT_EQ(compileOutputs(agent), 1);
  std::vector<OutputCopy*> copies;
  for (OutputCopy* copy = agent->outputs; copy != nullptr; copy = copy->next)
    copies.push_back(copy);
  ASSERT_EQ(copies.size(), 7u);
  EXPECT_EQ(copies[0]->node, root);
  EXPECT_EQ(copies[1]->prev, copies[0]);
  EXPECT_EQ(copies[0]->target, &agent->root[3]);
  EXPECT_EQ(copies[1]->target, &findSegment(agent, "hip")->channels[1]);
  for (size_t i = 2; i < copies.size(); ++i) {
    EXPECT_EQ(copies[i]->target, nullptr) << i;
    EXPECT_EQ(copies[i]->resolved, nullptr) << i;
  }
  EXPECT_EQ(hip->target, &findSegment(type, "hip")->channels[1]);  // the type's stays
  brain_free_output_copies(agent);
  delete_agent_instance(agent);
  EXPECT_EQ(compileOutputs(nullptr), 0);

  // A brain whose outputs all name nothing still binds, for the type and for its agents.
  Agent* lost = new_agent_type("lost");
  set_channel(brain_new_node(lost, BRAIN_OUTPUT), "nosuch");
  Agent* lone = new_agent_instance(lost);
  EXPECT_EQ(compileOutputs(lost), 1);
  EXPECT_EQ(compileOutputs(lone), 1);
  brain_free_output_copies(lone);
  delete_agent_instance(lone);
}

}  // namespace
