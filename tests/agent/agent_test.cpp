// Agent types, segments, user variables and agent instances.
#include "agent/agent.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>

namespace {

std::string take(char* text) {
  std::string s = text ? text : "(null)";
  free(text);
  return s;
}

TEST(AgentTypes, NumberedInCreationOrderAndDoublyLinked) {
  Agent* before = last_agent_type;
  Agent* a = new_agent_type("man");
  Agent* b = new_agent_type(nullptr);
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(a->number, before ? before->number + 1 : 1);
  EXPECT_EQ(b->number, a->number + 1);
  EXPECT_EQ(a->prev, before);
  EXPECT_EQ(a->next, b);
  EXPECT_EQ(b->prev, a);
  EXPECT_EQ(last_agent_type, b);
  EXPECT_NE(first_agent_type, nullptr);
  EXPECT_EQ(first_agent_type->prev, nullptr);
  EXPECT_EQ(first_agent_type->number, 1);
  EXPECT_STREQ(a->name, "man");
  EXPECT_EQ(b->name, nullptr);
  EXPECT_EQ(agent_type_of(a), a);
}

TEST(UserVariables, SameNameUpdatesOneRecordAndNewOnesGoAtTheTail) {
  Agent* type = new_agent_type("vars");
  UserVar* height = new_userVar(type, "height");
  ASSERT_NE(height, nullptr);
  EXPECT_EQ(height->value, 0.0f);
  EXPECT_EQ(height->defined, 0);
  // First "variables" block.
  height->value = 1.8f;
  height->defined = 1;
  UserVar* colour = new_userVar(type, "colour");
  // Second block naming the same variable.
  UserVar* again = new_userVar(type, "height");
  EXPECT_EQ(again, height);
  again->value = 2.0f;
  EXPECT_EQ(type->user_vars, height);
  EXPECT_EQ(height->next, colour);
  EXPECT_EQ(colour->next, nullptr);
  EXPECT_EQ(find_userVar(type, "height")->value, 2.0f);
  // Names are case-sensitive: a differently cased name is another variable.
  UserVar* upper = new_userVar(type, "Height");
  EXPECT_NE(upper, height);
  EXPECT_EQ(colour->next, upper);
  EXPECT_EQ(find_userVar(type, "width"), nullptr);
  EXPECT_EQ(new_userVar(type, nullptr), nullptr);
  EXPECT_EQ(new_userVar(nullptr, "x"), nullptr);
}

TEST(Segments, DefaultsListLinksAndFind) {
  Agent* type = new_agent_type("segs");
  Segment* hip = new_segment(type, "hip");
  Segment* spine = new_segment(type, "spine");
  ASSERT_NE(hip, nullptr);
  ASSERT_NE(spine, nullptr);
  EXPECT_EQ(type->segments, hip);
  EXPECT_EQ(hip->next, spine);
  EXPECT_EQ(spine->prev, hip);
  EXPECT_EQ(hip->agent, type);
  EXPECT_EQ(hip->dof, 63);
  EXPECT_EQ(hip->order, 154707);
  EXPECT_EQ(hip->primitive, 4);
  for (const ChannelLimits& limit : hip->limits) {
    EXPECT_TRUE(std::isinf(limit.values[0]) && limit.values[0] < 0);
    EXPECT_TRUE(std::isinf(limit.values[1]) && limit.values[1] < 0);
    EXPECT_TRUE(std::isinf(limit.values[2]) && limit.values[2] > 0);
    EXPECT_TRUE(std::isinf(limit.values[3]) && limit.values[3] > 0);
    EXPECT_EQ(limit.soft, 0.0f);
  }
  for (int i = 0; i < 16; ++i) EXPECT_EQ(hip->rest_matrix[i], (i % 5 == 0) ? 1.0f : 0.0f);
  // Standins are a separate list of the same layout.
  Segment* standin = new_standin(type, "low");
  EXPECT_EQ(type->standins, standin);
  EXPECT_EQ(spine->next, nullptr);
  EXPECT_EQ(findSegment(type, "low"), nullptr);

  // Find is exact, case-sensitive and takes the first of a name in list order.
  Segment* first = new_segment(type, "Head");
  new_segment(type, "Head");  // a second of the name, never found
  new_segment(type, "neck");
  EXPECT_EQ(findSegment(type, "Head"), first);
  EXPECT_EQ(findSegment(type, "head"), nullptr);
  EXPECT_EQ(findSegment(type, "Hea"), nullptr);
  EXPECT_EQ(findSegment(type, "neck "), nullptr);
  EXPECT_EQ(findSegment(type, nullptr), nullptr);
  EXPECT_EQ(findSegment(nullptr, "Head"), nullptr);
}

// Links a child under a parent as the last child, as the reader's "parent" lines do.
void adopt(Segment* parent, Segment* child) {
  child->parent = parent;
  Segment** slot = &parent->child;
  while (*slot) slot = &(*slot)->sibling;
  *slot = child;
}

TEST(Instances, OwnCopiesKeepTheTreeAndJoinTheSceneList) {
  Agent* type = new_agent_type("walker");
  Segment* root = new_segment(type, "root");
  Segment* left = new_segment(type, "left");
  Segment* right = new_segment(type, "right");
  Segment* foot = new_segment(type, "foot");
  adopt(root, left);
  adopt(root, right);
  adopt(left, foot);
  left->channels[3] = 45.0f;
  left->matrix[12] = 3.0f;
  UserVar* size = new_userVar(type, "size");
  size->value = 1.5f;

  Agent* tail_before = root_agent;
  while (tail_before && tail_before->next) tail_before = tail_before->next;
  Agent* one = new_agent_instance(type);
  Agent* two = new_agent_instance(type);
  ASSERT_NE(one, nullptr);
  ASSERT_NE(two, nullptr);
  EXPECT_EQ(one->prev, tail_before);
  EXPECT_EQ(one->next, two);
  EXPECT_EQ(two->prev, one);
  EXPECT_EQ(one->type, type);
  EXPECT_EQ(agent_type_of(one), type);
  EXPECT_EQ(one->type_number, type->number);
  EXPECT_STREQ(one->name, "walker");
  EXPECT_NE(one->name, type->name);
  EXPECT_EQ(one->active, 1);

  Segment* r = findSegment(one, "root");
  Segment* l = findSegment(one, "left");
  Segment* rt = findSegment(one, "right");
  Segment* f = findSegment(one, "foot");
  ASSERT_TRUE(r && l && rt && f);
  EXPECT_NE(r, root);
  EXPECT_EQ(one->segments, r);
  EXPECT_EQ(r->next, l);
  EXPECT_EQ(f->prev, rt);
  EXPECT_EQ(r->parent, nullptr);
  EXPECT_EQ(r->child, l);
  EXPECT_EQ(l->sibling, rt);
  EXPECT_EQ(rt->sibling, nullptr);
  EXPECT_EQ(l->parent, r);
  EXPECT_EQ(rt->parent, r);
  EXPECT_EQ(l->child, f);
  EXPECT_EQ(f->parent, l);
  EXPECT_EQ(l->source, left);
  EXPECT_EQ(l->agent, one);
  EXPECT_EQ(l->channels[3], 45.0f);
  EXPECT_EQ(l->matrix[12], 3.0f);
  EXPECT_NE(l->name, left->name);
  // Two instances do not share segments.
  EXPECT_NE(findSegment(two, "left"), l);

  UserVar* own = find_userVar(one, "size");
  ASSERT_NE(own, nullptr);
  EXPECT_NE(own, size);
  EXPECT_EQ(own->value, 1.5f);
  own->value = 3.0f;
  EXPECT_EQ(size->value, 1.5f);

  EXPECT_EQ(findAgent("walker"), one);  // first in scene order
  EXPECT_EQ(findAgent("Walker"), nullptr);
  free(two->name);
  two->name = strdup("walker.2");
  EXPECT_EQ(findAgent("walker.2"), two);

  currentAgent = two;
  delete_agent_instance(two);
  EXPECT_EQ(currentAgent, nullptr);
  EXPECT_EQ(one->next, nullptr);
  EXPECT_EQ(findAgent("walker.2"), nullptr);
  delete_agent_instance(one);
  if (tail_before)
    EXPECT_EQ(tail_before->next, nullptr);
  else
    EXPECT_EQ(root_agent, nullptr);
  // Agent types are never freed through this path.
  delete_agent_instance(type);
  EXPECT_EQ(findSegment(type, "root"), root);
}

TEST(RelativePaths, BelowTheBaseOnlyAtDirectoryBoundaries) {
  EXPECT_EQ(take(get_relative_pathname("/scene/agents/man.cdl", "/scene")), "agents/man.cdl");
  EXPECT_EQ(take(get_relative_pathname("/scene/agents/man.cdl", "/scene/")), "agents/man.cdl");
  EXPECT_EQ(take(get_relative_pathname("/scenery/man.cdl", "/scene")), "/scenery/man.cdl");
  EXPECT_EQ(take(get_relative_pathname("/other/man.cdl", "/scene")), "/other/man.cdl");
  EXPECT_EQ(take(get_relative_pathname("C:\\job\\man.cdl", "C:\\job")), "man.cdl");
  EXPECT_EQ(take(get_relative_pathname("/scene", "/scene")), ".");
  EXPECT_EQ(take(get_relative_pathname("man.cdl", nullptr)), "man.cdl");
  EXPECT_EQ(get_relative_pathname(nullptr, "/scene"), nullptr);
}

}  // namespace
