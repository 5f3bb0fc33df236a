// Skinning through a posed skeleton: rigid binding, weighted blends, normals, scale and
// thickness, node transforms driven by variables, blend shapes and geometry selectors.
#include "agent/skinning.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>

#include "agent/agent.h"
#include "agent/geometry.h"
#include "agent/mesh.h"
#include "agent/nodes.h"
#include "base/vecmath.h"
#include "tests/support/engine_fixtures.h"
#include "tests/support/scratch_files.h"

namespace {

using engine_test::expect_vector_near;
using engine_test::translation;
using engine_test::zeroed_record;

constexpr float kQuarterTurn = 1.57079632679f;

// A two-segment skeleton: "root" at (0, 1, 0) and its child "arm" one unit above it, each with a
// bone (deformers 0 and 1). The mesh has three points: p0 = (1, 2, 0) bound to arm, p1 = (1, 2, 0)
// shared 0.25 root / 0.75 arm, p2 = (0, 0.5, 0) bound to root; every normal is (1, 0, 0).
class SkinningTest : public scratch::FolderTest {
 protected:
  void SetUp() override {
    scratch::FolderTest::SetUp();
    write("body.obj", "v 1 2 0\nv 1 2 0\nv 0 0.5 0\nvn 1 0 0\nf 1//1 2//1 3//1\n");
    write("body.w", "deformer 0 root\ndeformer 1 arm\n\n0:  1 1\n1:  0 0.25 1 0.75\n2:  0 1\n");
    write("root.w", "deformer 0 root\n\n0:  0 1\n1:  0 1\n2:  0 1\n");

    type_ = new_agent_type("skinned");
    type_->cdl_directory = strdup(folder_.c_str());
    root_ = new_segment(type_, "root");
    arm_ = new_segment(type_, "arm");
    arm_->parent = root_;
    root_->child = arm_;
    translation(root_->rest_matrix, 0, 1, 0);
    translation(arm_->rest_matrix, 0, 1, 0);
    matrix_copy(root_->rest_matrix, root_->matrix);
    matrix_copy(arm_->rest_matrix, arm_->matrix);
    Bone* root_bone = zeroed_record<Bone>();
    root_bone->segment = root_;
    Bone* arm_bone = zeroed_record<Bone>();
    arm_bone->segment = arm_;
    root_bone->next = arm_bone;
    type_->bones = root_bone;
    node_ = add_node("body", "body.obj", "body.w");
  }
  GeometryNode* add_node(const char* name, const char* file, const char* weights) {
    GeometryNode* node = zeroed_record<GeometryNode>();
    node->name = strdup(name);
    node->file = strdup(file);
    node->weights_file = weights ? strdup(weights) : nullptr;
    node->material = -1;
    GeometryNode** tail = &type_->geometry_nodes;
    while (*tail) tail = &(*tail)->next;
    *tail = node;
    return node;
  }

  // An instance placed at (5, 0, 0), with root moved to (0, 1, 2) and arm turned a quarter
  // about z.
  Agent* posed_instance() {
    Agent* agent = new_agent_instance(type_);
    translation(agent->matrix, 5, 0, 0);
    Segment* root = findSegment(agent, "root");
    Segment* arm = findSegment(agent, "arm");
    translation(root->matrix, 0, 1, 2);
    hordera::matrix_identity(arm->matrix);
    z_rotate(arm->matrix, kQuarterTurn);
    arm->matrix[13] = 1;
    return agent;
  }

  Agent* type_ = nullptr;
  Segment* root_ = nullptr;
  Segment* arm_ = nullptr;
  GeometryNode* node_ = nullptr;
};

TEST_F(SkinningTest, BindPoseReproducesRestMeshAndPosedBonesCarryPoints) {
  Agent* agent = new_agent_instance(type_);
  agent_deform_geometry(agent);
  ASSERT_NE(node_->mesh, nullptr);
  EXPECT_EQ(node_->bones, 1);
  EXPECT_EQ(node_->influence_count, 4);
  expect_vector_near(node_->mesh->points[0], 1, 2, 0, 1e-4f, "rest p0");
  expect_vector_near(node_->mesh->points[1], 1, 2, 0, 1e-4f, "rest p1");
  expect_vector_near(node_->mesh->points[2], 0, 0.5f, 0, 1e-4f, "rest p2");

  agent = posed_instance();
  agent_deform_geometry(agent);
  const Mesh* mesh = node_->mesh;
  // p0 in arm space is (1, 0, 0): turned to (0, 1, 0), then arm, root and agent translations.
  expect_vector_near(mesh->points[0], 5, 3, 2, 1e-4f, "rigid p0");
  // Weighted sum: 0.25 * root's image (6, 2, 2) + 0.75 * arm's image (5, 3, 2).
  expect_vector_near(mesh->points[1], 5.25f, 2.75f, 2, 1e-4f, "blended p1");
  expect_vector_near(mesh->points[2], 5, 0.5f, 2, 1e-4f, "rigid p2");
  // Normals turn with their bones but take no translation, and are not renormalised.
  expect_vector_near(mesh->normals[0], 0, 1, 0, 1e-4f, "normal 0");
  expect_vector_near(mesh->normals[1], 0.25f, 0.75f, 0, 1e-4f, "normal 1");
  expect_vector_near(mesh->normals[2], 1, 0, 0, 1e-4f, "normal 2");
  // The rest mesh the skin reads is untouched by deformation.
  expect_vector_near(node_->rest_mesh->points[0], 1, 2, 0, 1e-4f, "rest mesh");
  expect_vector_near(mesh->polygons[0].centre, (5 + 5.25f + 5) / 3, (3 + 2.75f + 0.5f) / 3, 2,
                     1e-4f, "refreshed centre");

  // Scale 2 and thickness 3 on the arm scale its x and z axes by 6 and y by 2, in bone space.
  Segment* arm = findSegment(agent, "arm");
  arm->scale_factor = 2;
  arm->thickness_factor = 3;
  agent_deform_geometry(agent);
  expect_vector_near(mesh->points[0], 5, 8, 2, 1e-4f, "scaled p0");
}

TEST_F(SkinningTest, TransformOperationsFollowListOrderAxisWordsAndVariables) {
  // Rotations in the order of the axis word: x then z, or z then x.
  GeometryNode probe{};
  GeometryTransform rotate{};
  rotate.kind = GEOMETRY_ROTATE;
  rotate.value[0] = 90;
  rotate.value[2] = 90;
  probe.transforms = &rotate;
  Matrix m;
  const Vector up{0, 1, 0};
  rotate.axis_order = AXIS_ORDER_XYZ;
  geometry_transform_matrix(nullptr, &probe, m);
  Vector p = transformPoint(&up, m);
  expect_vector_near(p, 0, 0, 1, 1e-4f, "xyz");
  rotate.axis_order = AXIS_ORDER_ZYX;
  geometry_transform_matrix(nullptr, &probe, m);
  p = transformPoint(&up, m);
  expect_vector_near(p, -1, 0, 0, 1e-4f, "zyx");

  // A skinned node whose rest mesh is its file moved by (1, 0, 5) and then scaled along x by the
  // variable "width" (a definition with default 2; this agent's own value 3).
  GeometryNode* node = add_node("moved", "body.obj", "root.w");
  GeometryTransform* translate = zeroed_record<GeometryTransform>();
  translate->kind = GEOMETRY_TRANSLATE;
  translate->value[0] = 1;
  translate->value[2] = 5;
  GeometryTransform* scale = zeroed_record<GeometryTransform>();
  scale->kind = GEOMETRY_SCALE;
  scale->value[0] = 1;
  scale->variable[0] = strdup("width");
  scale->value[1] = scale->value[2] = 1;
  translate->next = scale;
  node->transforms = translate;
  new_variable_def(type_, "width", 2, 0, 10, nullptr);

  ASSERT_EQ(geometry_load(type_, node), 1);
  expect_vector_near(node->rest_mesh->points[0], 4, 2, 5, 1e-4f,
                     "rest with the definition's default");

  Agent* agent = new_agent_instance(type_);
  new_userVar(agent, "width")->value = 3;
  agent_deform_geometry(agent);
  expect_vector_near(node->rest_mesh->points[0], 6, 2, 5, 1e-4f, "rest with the agent's value");
  expect_vector_near(node->mesh->points[0], 6, 2, 5, 1e-4f,
                     "deformed from the transformed rest mesh");
  expect_vector_near(node->reference_mesh->points[0], 1, 2, 0, 1e-4f,
                     "reference keeps the file's points");

  // The same rest mesh follows the posed root: moved by (0, 0, 2) and the agent's (5, 0, 0).
  Agent* posed = posed_instance();
  new_userVar(posed, "width")->value = 3;
  agent_deform_geometry(posed);
  expect_vector_near(node->mesh->points[0], 11, 2, 7, 1e-4f, "posed");
}

TEST_F(SkinningTest, BlendShapesEnterBeforeSkinning) {
  write("smile.obj", "v 1 2 2\nv 1 2 0\nv 0 0.5 0\n");
  write("short.obj", "v 0 0 0\n");
  BlendShape* smile = zeroed_record<BlendShape>();
  smile->target = strdup("smile");
  smile->file = strdup("smile.obj");
  smile->mode = BLEND_LINEAR;
  BlendShape* bad = zeroed_record<BlendShape>();
  bad->target = strdup("frown");
  bad->file = strdup("short.obj");
  bad->mode = BLEND_LINEAR;
  smile->next = bad;
  node_->blends = smile;

  EXPECT_EQ(scratch::stderr_of([&] { EXPECT_EQ(geometry_load(type_, node_), 1); }),
            "Mismatched number of vertices in blend shape 'frown'.\n");
  ASSERT_NE(smile->data, nullptr);
  EXPECT_EQ(bad->data, nullptr);
  EXPECT_FLOAT_EQ(smile->data[2], 2.0f);
  EXPECT_FLOAT_EQ(smile->data[5], 0.0f);

  // Half the smile lifts p0 by one unit in rest space; the arm then turns it with the rest.
  smile->weight = 0.5f;
  bad->weight = 1;
  agent_deform_geometry(posed_instance());
  expect_vector_near(node_->mesh->points[0], 5, 3, 3, 1e-4f, "blended then skinned");
  expect_vector_near(node_->rest_mesh->points[0], 1, 2, 0, 1e-4f, "rest mesh unchanged by blends");
}

TEST_F(SkinningTest, SelectorDeformsItsChosenDisabledAlternative) {
  GeometryNode* first = add_node("first", "body.obj", "root.w");
  GeometryNode* second = add_node("second", "body.obj", "root.w");
  first->disabled = second->disabled = 1;
  OptionNode* selector = zeroed_record<OptionNode>();
  selector->alternative_count = 2;
  selector->alternatives =
      static_cast<OptionAlternative*>(std::calloc(2, sizeof(OptionAlternative)));
  selector->alternatives[0] = {OPTION_GEOMETRY, strdup("first"), first, nullptr};
  selector->alternatives[1] = {OPTION_GEOMETRY, strdup("second"), second, nullptr};
  type_->option_nodes = selector;

  Agent* agent = new_agent_instance(type_);
  translation(agent->matrix, 5, 0, 0);
  selector->value = 7;  // past the end: the last alternative
  agent_deform_geometry(agent);
  expect_vector_near(second->mesh->points[2], 5, 0.5f, 0, 1e-4f, "chosen");
  expect_vector_near(first->mesh->points[2], 0, 0.5f, 0, 1e-4f, "not chosen");
  selector->value = -0.7f;  // negative: the first
  agent_deform_geometry(agent);
  expect_vector_near(first->mesh->points[2], 5, 0.5f, 0, 1e-4f, "chosen");

  // Just below one half, where the rounding depends on the precision of the addition: the
  // alternative deformed is the one the render output draws.
  translation(agent->matrix, 7, 0, 0);
  selector->value = 0.49999997f;
  agent_deform_geometry(agent);
  GeometryNode* drawn = option_choice(selector) == 0 ? first : second;
  expect_vector_near(drawn->mesh->points[2], 7, 0.5f, 0, 1e-4f, "the alternative drawn");
}

TEST_F(SkinningTest, SegmentAttachedTwiceSkinsOnce) {
  // Attach list arm, root, arm: the repeated arm gets the arm's weights again, and its bone
  // still moves each vertex once.
  node_->attach_count = 3;
  node_->attach_segments = static_cast<Segment**>(std::calloc(3, sizeof(Segment*)));
  node_->attach_segments[0] = node_->attach_segments[2] = arm_;
  node_->attach_segments[1] = root_;
  agent_deform_geometry(posed_instance());
  ASSERT_EQ(node_->weight_array_count, 3);
  EXPECT_FLOAT_EQ(node_->weights[2][0], 1.0f);
  EXPECT_FLOAT_EQ(node_->weights[2][1], 0.75f);
  EXPECT_EQ(node_->influence_count, 4);
  expect_vector_near(node_->mesh->points[0], 5, 3, 2, 1e-4f, "rigid p0");
  expect_vector_near(node_->mesh->points[1], 5.25f, 2.75f, 2, 1e-4f, "blended p1");
}

}  // namespace
