// Rotation orders, Euler angles, quaternions, skeleton walks and rotation-order conversion.
#include "agent/skeleton.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include "base/vecmath.h"
#include "tests/support/engine_fixtures.h"

namespace {

using engine_test::expect_matrix_near;
using engine_test::expect_vector_near;
using engine_test::translation;

std::array<int, 6> entries_of(int32_t order) {
  std::array<int, 6> e{};
  order_unpack(order, e.data());
  return e;
}

using Entries = std::array<int, 6>;

TEST(RotationOrder, TextCodesPackingNormalisationAndEulerCodes) {
  EXPECT_EQ(entries_of(154707), (Entries{4, 5, 6, 1, 2, 3}));
  EXPECT_EQ(strToOrder("rx ry rz tx ty tz"), 154707);
  EXPECT_EQ(entries_of(strToOrder("rz ry rx")), (Entries{6, 5, 4, 1, 2, 3}));
  EXPECT_EQ(entries_of(strToOrder("  Rz\tRY   rX ")), (Entries{6, 5, 4, 1, 2, 3}));
  EXPECT_EQ(entries_of(strToOrder("ry")), (Entries{5, 1, 2, 3, 4, 6}));
  // Only blanks and tabs split: "TX\nRY" is one word, which names TX first.
  EXPECT_EQ(entries_of(strToOrder("tx\nry")), (Entries{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(entries_of(strToOrder("")), (Entries{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(entries_of(strToOrder(nullptr)), (Entries{1, 2, 3, 4, 5, 6}));
  // Containment, TX first: "XTXRZ" names TX.
  EXPECT_EQ(entries_of(strToOrder("xtxrz")), (Entries{1, 2, 3, 4, 5, 6}));
  // A word that names no channel takes a slot as 0; normalisation fills it, rotations first.
  const int32_t unknown = strToOrder("foo");
  EXPECT_EQ(entries_of(unknown), (Entries{0, 1, 2, 3, 4, 5}));
  EXPECT_EQ(entries_of(order_normalise(unknown)), (Entries{6, 1, 2, 3, 4, 5}));
  EXPECT_EQ(entries_of(order_normalise(strToOrder("foo bar"))), (Entries{5, 6, 1, 2, 3, 4}));
  const Entries partial{0, 3, 0, 4, 0, 0};
  EXPECT_EQ(entries_of(order_normalise(order_pack(partial.data()))), (Entries{5, 3, 6, 4, 1, 2}));
  // Words past the sixth are ignored.
  EXPECT_EQ(entries_of(strToOrder("tz ty tx rz ry rx tx")), (Entries{3, 2, 1, 6, 5, 4}));
  for (int32_t code : {154707, strToOrder("rz ry rx"), strToOrder("ty rz")})
    EXPECT_EQ(order_pack(entries_of(code).data()), code);

  // Euler codes.
  // "ry" counts the RX and RZ appended after it.
  const std::pair<const char*, int> codes[] = {
      {"rx ry rz", 0},  {"rx rz ry", 4},  {"ry rz rx", 8},          {"ry", 12},
      {"rz rx ry", 16}, {"rz ry rx", 20}, {"tx ty rz ry rx tz", 20}};
  for (auto [text, code] : codes) EXPECT_EQ(order_euler_code(strToOrder(text)), code) << text;
  const Entries two{6, 4, 1, 2, 3, 0};  // Z then X: Y is the missing third axis
  EXPECT_EQ(order_euler_code(order_pack(two.data())), 16);
  const Entries one{1, 5, 2, 3, 0, 0};
  EXPECT_EQ(order_euler_code(order_pack(one.data())), 0);
  const Entries none{1, 2, 3, 0, 0, 0};
  EXPECT_EQ(order_euler_code(order_pack(none.data())), -1);
  const Entries repeated{4, 4, 5, 1, 2, 3};
  EXPECT_EQ(order_euler_code(order_pack(repeated.data())), -1);
}

const char* const kOrders[6] = {"rx ry rz", "rx rz ry", "ry rz rx",
                                "ry rx rz", "rz rx ry", "rz ry rx"};

// The axes (0 x, 1 y, 2 z) of each order of kOrders, first entry first.
const int kOrderAxes[6][3] = {{0, 1, 2}, {0, 2, 1}, {1, 2, 0}, {1, 0, 2}, {2, 0, 1}, {2, 1, 0}};

TEST(EulerAngles, FirstEntryActsFirstAndEveryOrderComesBack) {
  // Order RZ RX: (1, 0, 0) turned 90 degrees about z becomes (0, 1, 0), then about x (0, 0, 1).
  const float quarter = static_cast<float>(M_PI / 2);
  Matrix turned;
  rotation_matrix_from_angles(quarter, 0.0f, quarter, strToOrder("rz rx"), turned);
  const Vector p{1, 0, 0};
  expect_vector_near(transformPoint(&p, turned), 0, 0, 1, 1e-6f);
  // No rotation entry: outputs untouched.
  const Entries none{1, 2, 3, 0, 0, 0};
  Vector untouched{7, 8, 9};
  rotationsFromMatrix(turned, &untouched.x, &untouched.y, &untouched.z, order_pack(none.data()));
  expect_vector_near(untouched, 7, 8, 9, 0);

  for (int o = 0; o < 6; ++o) {
    SCOPED_TRACE(kOrders[o]);
    const int32_t order = strToOrder(kOrders[o]);
    const int first = kOrderAxes[o][0], middle = kOrderAxes[o][1], third = kOrderAxes[o][2];
    // A turn about one axis comes back on that axis alone, whatever the order.
    for (int axis = 0; axis < 3; ++axis) {
      Matrix m;
      hordera::matrix_identity(m);
      (axis == 0 ? x_rotate : axis == 1 ? y_rotate : z_rotate)(m, -0.4f);
      float out[3] = {9, 9, 9};
      rotationsFromMatrix(m, &out[0], &out[1], &out[2], order);
      for (int k = 0; k < 3; ++k) EXPECT_NEAR(out[k], k == axis ? -0.4f : 0.0f, 1e-6f) << k;
    }
    // Angles of both signs, and middle angles up to just short of the lock, come back exactly.
    for (float middle_angle : {-1.2f, -0.1f, 0.7f, quarter - 4e-6f, -(quarter - 4e-6f)}) {
      float in[3];
      in[first] = -2.5f;
      in[middle] = middle_angle;
      in[third] = -0.6f;
      Matrix m;
      rotation_matrix_from_angles(in[0], in[1], in[2], order, m);
      float out[3] = {9, 9, 9};
      rotationsFromMatrix(m, &out[0], &out[1], &out[2], order);
      for (int k = 0; k < 3; ++k) EXPECT_NEAR(out[k], in[k], 2e-5f) << middle_angle << " " << k;
    }
    // At or within 16 float epsilons of the lock (cosine about 1e-6) the third angle is 0 and
    // the first takes the whole turn; past a quarter turn the middle angle folds back. The angles
    // differ from those given, the rotation they make does not.
    for (float middle_angle :
         {quarter, quarter - 1e-6f, -(quarter - 1e-6f), quarter + 0.3f, -2.0f}) {
      float in[3];
      in[first] = 0.5f;
      in[middle] = middle_angle;
      in[third] = -0.3f;
      Matrix m, rebuilt;
      rotation_matrix_from_angles(in[0], in[1], in[2], order, m);
      float out[3] = {9, 9, 9};
      rotationsFromMatrix(m, &out[0], &out[1], &out[2], order);
      if (std::fabs(std::fabs(middle_angle) - quarter) < 1e-5f) {
        EXPECT_EQ(out[third], 0.0f);
      }
      EXPECT_LE(std::fabs(out[middle]), quarter + 1e-6f);
      rotation_matrix_from_angles(out[0], out[1], out[2], order, rebuilt);
      expect_matrix_near(m, rebuilt, 1e-5f);
    }
  }
}

// Rotates p by the unit quaternion q: q p q*.
Vector rotate_by(const float* q, Vector p) {
  const float x = q[0], y = q[1], z = q[2], w = q[3];
  // t = 2 (q.xyz x p); p' = p + w t + q.xyz x t
  const float tx = 2 * (y * p.z - z * p.y), ty = 2 * (z * p.x - x * p.z),
              tz = 2 * (x * p.y - y * p.x);
  return {p.x + w * tx + (y * tz - z * ty), p.y + w * ty + (z * tx - x * tz),
          p.z + w * tz + (x * ty - y * tx)};
}

TEST(Quaternions, RoundTripAndAgreementWithTheMatrix) {
  const float rx = -0.45f, ry = 0.9f, rz = 0.25f;
  for (const char* text : kOrders) {
    SCOPED_TRACE(text);
    const int32_t order = strToOrder(text);
    float q[4];
    angles_to_quaternion(rx, ry, rz, order, q);
    EXPECT_NEAR(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3], 1.0f, 1e-5f);
    Vector angles;
    quaternion_to_angles(q, &angles.x, &angles.y, &angles.z, order);
    expect_vector_near(angles, rx, ry, rz);
    // The quaternion turns a point as the matrix of the same angles does.
    Matrix m;
    rotation_matrix_from_angles(rx, ry, rz, order, m);
    const Vector p{0.3f, -1.2f, 2.0f};
    const Vector by_quaternion = rotate_by(q, p);
    expect_vector_near(transformPoint(&p, m), by_quaternion.x, by_quaternion.y, by_quaternion.z);
  }
  // A scaled quaternion gives the same angles.
  float q[4];
  angles_to_quaternion(rx, ry, rz, 154707, q);
  for (float& c : q) c *= 3.0f;
  Vector angles;
  quaternion_to_angles(q, &angles.x, &angles.y, &angles.z, 154707);
  expect_vector_near(angles, rx, ry, rz);
}

// Where a position walk puts `segment`, compared with (x, y, z).
void expect_place(void (*walk)(Segment*, float*, float*, float*), Segment* segment, float x,
                  float y, float z) {
  Vector v;
  walk(segment, &v.x, &v.y, &v.z);
  expect_vector_near(v, x, y, z, 1e-6f);
}

TEST(Walks, WorldAndAgentSpaceWithParentsAndAttachment) {
  Agent* type = new_agent_type("walk");
  Segment* hip = new_segment(type, "hip");
  Segment* knee = new_segment(type, "knee");
  knee->parent = hip;
  hip->child = knee;
  hordera::matrix_identity(hip->matrix);
  z_rotate(hip->matrix, static_cast<float>(M_PI / 2));  // hip turned 90 degrees about z
  hip->matrix[13] = 1.0f;
  translation(knee->matrix, 1, 0, 0);
  translation(type->matrix, 10, 0, 0);

  // Without a parent: local times agent matrix.
  Matrix world, expected;
  worldSpace(hip, world);
  matrix_copy(hip->matrix, expected);
  matrix_mul(expected, type->matrix);
  expect_matrix_near(world, expected, 1e-6f);

  // The knee's offset along x is turned onto y by the hip.
  expect_place(segmentInAgentSpace, knee, 0, 2, 0);
  expect_place(segmentInWorldSpace, knee, 10, 2, 0);

  // Rest and previous-frame walks read their own matrices.
  translation(knee->rest_matrix, 0, 0, 5);
  translation(type->rest_matrix, 0, 0, 1);
  worldSpaceRest(knee, world);
  EXPECT_NEAR(world[14], 6.0f, 1e-6f);
  agentSpaceRest(knee, world);
  EXPECT_NEAR(world[14], 5.0f, 1e-6f);
  translation(type->last_matrix, 0, -3, 0);
  worldSpaceLast(knee, world);
  EXPECT_NEAR(world[13], -3.0f, 1e-6f);

  // Attachment: a carrier agent's segment continues the chain, unless the weight is 0.
  Agent* carrier = new_agent_type("carrier");
  Segment* hand = new_segment(carrier, "hand");
  translation(hand->matrix, 0, 0, 100);
  translation(hand->last_matrix, 0, 0, 50);
  translation(hand->rest_matrix, 0, 0, 70);
  type->attach_segment = hand;
  type->attach_weight = 0.0f;
  expect_place(segmentInWorldSpace, knee, 10, 2, 0);
  type->attach_weight = 1.0f;
  expect_place(segmentInWorldSpace, knee, 10, 2, 100);
  worldSpaceLast(knee, world);
  EXPECT_NEAR(world[14], 50.0f, 1e-6f);
  worldSpaceRest(knee, world);  // the rest pose is never carried
  EXPECT_NEAR(world[14], 6.0f, 1e-6f);
  expect_place(segmentInAgentSpace, knee, 0, 2, 0);

  // A parent cycle of two translations stops after 10000 parent steps: a itself and 5000 more
  // times each of b and a.
  Agent* ring = new_agent_type("ring");
  Segment* a = new_segment(ring, "a");
  Segment* b = new_segment(ring, "b");
  a->parent = b;
  b->parent = a;
  translation(a->matrix, 1, 0, 0);
  translation(b->matrix, 0, 1, 0);
  expect_place(segmentInWorldSpace, a, 5001, 5000, 0);
  // Two agents carried by each other stop after 64 carriers: 65 unit steps along z.
  Agent* other = new_agent_type("other");
  Segment* c = new_segment(other, "c");
  a->parent = b->parent = nullptr;
  translation(a->matrix, 0, 0, 1);
  translation(c->matrix, 0, 0, 1);
  ring->attach_segment = c;
  other->attach_segment = a;
  ring->attach_weight = other->attach_weight = 1.0f;
  expect_place(segmentInWorldSpace, a, 0, 0, 65);
}

TEST(Walks, LocalMatrixFromChannelsRotatesThenTranslates) {
  Agent* type = new_agent_type("pose");
  Segment* arm = new_segment(type, "arm");
  Segment* leg = new_segment(type, "leg");
  arm->channels[0] = 1.0f;   // tx
  arm->channels[5] = 90.0f;  // rz, degrees
  leg->channels[1] = 2.0f;
  leg->last_channels[2] = -4.0f;
  agent_pose_from_channels(type);
  const Vector p{1, 0, 0};
  expect_vector_near(transformPoint(&p, arm->matrix), 1, 1, 0);
  EXPECT_EQ(arm->matrix[15], 1.0f);
  EXPECT_EQ(leg->matrix[13], 2.0f);
  EXPECT_EQ(leg->last_matrix[14], 0.0f);
  agent_last_pose_from_channels(type);
  EXPECT_EQ(leg->last_matrix[14], -4.0f);
  EXPECT_EQ(leg->matrix[13], 2.0f);
  // The segment's order decides which rotation acts first.
  arm->channels[0] = 0.0f;
  arm->channels[3] = 90.0f;
  arm->order = strToOrder("rz rx");
  segment_pose_from_channels(arm);
  const Vector r = transformPoint(&p, arm->matrix);
  EXPECT_NEAR(r.z, 1.0f, 1e-5f);
}

}  // namespace
