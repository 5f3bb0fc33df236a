// The variation update: two agents of one type with different variables get different segment
// factors (and so different skin matrices), selector choices and expression-driven transforms.
#include "sim/variation.h"

#include <gtest/gtest.h>

#include <string>

#include "agent/agent.h"
#include "agent/geometry.h"
#include "agent/nodes.h"
#include "agent/skinning.h"
#include "cdl/cdl.h"
#include "tests/support/scratch_files.h"

namespace {

using VariationTest = scratch::FolderTest;

// Segment "body" scales by "height" and thickens by "girth" (a definition only, default 1.5);
// segment "head" names an unknown variable. One selector follows "outfit", one an expression, one
// is manual; geometry "coat" scales x by a backquoted expression with blanks.
const char kAgentFile[] =
    "# CDL created with hordera v1.0.0\nobject walker\n"
    "variables\nheight 1\noutfit 0\nend variables\nvariable girth 1.5 1 2\n"
    "segment body\nscale_var height\nthick_var girth\n"
    "segment head\nparent body\nscale_var nobody\nbone body\n"
    "geometry coat\nscale `height * 2` 1 1\ngeometry shirt\n"
    "option clothes\nvar outfit\ngeo coat\ngeo shirt\n"
    "option by_expression\nvar `outfit + height`\ngeo coat\ngeo shirt\n"
    "option fixed\nmanual 1\ngeo coat\ngeo shirt\nend object\n";

TEST_F(VariationTest, EachAgentGetsItsOwnFactorsSelectorsAndTransforms) {
  Agent* type = load_agent_type(write("walker.cdl", kAgentFile).c_str());
  ASSERT_NE(type, nullptr);
  OptionNode* clothes = type->option_nodes;
  ASSERT_NE(clothes, nullptr);
  OptionNode* by_expression = clothes->next;
  ASSERT_NE(by_expression, nullptr);
  OptionNode* fixed = by_expression->next;
  ASSERT_NE(fixed, nullptr);
  GeometryTransform* coat_scale = type->geometry_nodes->transforms;
  ASSERT_NE(coat_scale, nullptr);
  EXPECT_FLOAT_EQ(coat_scale->value[0], 2.0f) << "the expression is read whole, not cut at blanks";

  Agent* tall = new_agent_instance(type);
  Agent* short_one = new_agent_instance(type);
  ASSERT_TRUE(tall && short_one);
  find_userVar(tall, "height")->value = 2;
  find_userVar(tall, "outfit")->value = 1;
  find_userVar(short_one, "height")->value = 0.5f;
  new_userVar(short_one, "girth")->value = 3;
  fixed->value = 0;  // something else moved the manual selector

  agent_update_variation(tall);
  Segment* body = findSegment(tall, "body");
  Segment* head = findSegment(tall, "head");
  ASSERT_TRUE(body && head);
  EXPECT_FLOAT_EQ(body->scale_factor, 2.0f);
  EXPECT_FLOAT_EQ(body->thickness_factor, 1.5f) << "the definition's default";
  EXPECT_FLOAT_EQ(head->scale_factor, 1.0f) << "an unknown variable leaves the factor 1";
  EXPECT_FLOAT_EQ(head->thickness_factor, 1.0f);
  EXPECT_EQ(option_choice(clothes), 1);
  EXPECT_FLOAT_EQ(by_expression->value, 3.0f);
  EXPECT_FLOAT_EQ(fixed->value, 1.0f);
  EXPECT_FLOAT_EQ(coat_scale->value[0], 4.0f);

  // The body bone's bind matrix is the identity and the segment sits at the origin, so the skin
  // matrix is the scale matrix alone: diag(s*t, s, s*t) = (3, 2, 3).
  float matrix[16];
  ASSERT_EQ(skin_bone_matrices(tall, matrix, 1), 1);
  EXPECT_FLOAT_EQ(matrix[0], 3.0f);
  EXPECT_FLOAT_EQ(matrix[5], 2.0f);
  EXPECT_FLOAT_EQ(matrix[10], 3.0f);

  agent_update_variation(short_one);
  body = findSegment(short_one, "body");
  EXPECT_FLOAT_EQ(body->scale_factor, 0.5f);
  EXPECT_FLOAT_EQ(body->thickness_factor, 3.0f) << "the agent's own value over the default";
  EXPECT_EQ(option_choice(clothes), 0);
  EXPECT_FLOAT_EQ(coat_scale->value[0], 1.0f);
  ASSERT_EQ(skin_bone_matrices(short_one, matrix, 1), 1);
  EXPECT_FLOAT_EQ(matrix[0], 1.5f);
  EXPECT_FLOAT_EQ(matrix[5], 0.5f);
  EXPECT_FLOAT_EQ(matrix[10], 1.5f);
  // The first agent's segments keep their own factors.
  EXPECT_FLOAT_EQ(findSegment(tall, "body")->scale_factor, 2.0f);

  agent_update_variation(nullptr);
}

}  // namespace
