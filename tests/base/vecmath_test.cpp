// The vector and matrix library: argument order, signs, the irregular conventions that are part of
// the interface, the two inverses and their singular-matrix messages, plane fitting and the ease.
#include "base/vecmath.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <numbers>
#include <string>

#include "tests/support/engine_fixtures.h"

namespace {

using engine_test::expect_matrix_near;
using engine_test::expect_vector_near;

constexpr float kQuarterTurn = std::numbers::pi_v<float> / 2;

// A matrix whose sixteen elements all differ, so that any transposition or swapped index shows.
void distinct(float* m) {
  for (int i = 0; i < 16; ++i) m[i] = 0.5f + static_cast<float>(i) * (i % 2 ? 1.25f : -0.75f);
}

// Expects a * b to be the identity, multiplied out by the full product.
void expect_inverse_pair(const float* a, const float* b) {
  float product[16], identity[16];
  matrix_copy(a, product);
  matrix_mul_full(product, b);
  hordera::matrix_identity(identity);
  expect_matrix_near(product, identity);
}

TEST(Vectors, ArithmeticKeepsOperandOrderAndSigns) {
  Vector a = {1.0f, 2.0f, 3.0f};
  const Vector b = {4.0f, -5.0f, 6.5f};
  expect_vector_near(vec_add(&a, &b), 5.0f, -3.0f, 9.5f);
  expect_vector_near(vec_scalar(&a, -2.0f), -2.0f, -4.0f, -6.0f);
  EXPECT_FLOAT_EQ(vec_dot(&a, &b), 4.0f - 10.0f + 19.5f);

  // Cross product: the right-hand rule, first operand first.
  expect_vector_near(vec_cross(&a, &b), 2.0f * 6.5f - (-5.0f) * 3.0f, 4.0f * 3.0f - 1.0f * 6.5f,
                     1.0f * -5.0f - 4.0f * 2.0f);

  // The first operand of vec_sub receives the difference; the second is left alone.
  const Vector difference = vec_sub(&a, &b);
  expect_vector_near(difference, -3.0f, 7.0f, -3.5f);
  expect_vector_near(a, -3.0f, 7.0f, -3.5f);
  expect_vector_near(b, 4.0f, -5.0f, 6.5f);
}

TEST(Vectors, LengthsDistancesAnglesAndNormalisations) {
  const Vector v = {3.0f, 0.0f, -4.0f};
  const Vector zero = {0.0f, 0.0f, 0.0f};
  EXPECT_FLOAT_EQ(vec_length(&v), 5.0f);
  EXPECT_EQ(vec_length(&zero), 0.0f);
  EXPECT_FLOAT_EQ(hordera::vec_length_double(&v), 5.0f);

  Vector p = {1.0f, 2.0f, 3.0f};
  const Vector q = {4.0f, 6.0f, 3.0f};
  EXPECT_FLOAT_EQ(distance(&p, &q), 5.0f);
  EXPECT_FLOAT_EQ(distance(&q, &p), 5.0f);
  expect_vector_near(p, 1.0f, 2.0f, 3.0f, 0.0f);  // neither argument changes
  EXPECT_EQ(distance(&p, &p), 0.0f);
  EXPECT_FLOAT_EQ(hordera::distance_double(&p, &q), 5.0f);
  EXPECT_EQ(hordera::distance_double(&p, &p), 0.0f);

  const Vector x = {2.0f, 0.0f, 0.0f}, y = {0.0f, 0.5f, 0.0f}, minus_x = {-1.0f, 0.0f, 0.0f};
  EXPECT_FLOAT_EQ(vec_angle(&x, &y), kQuarterTurn);
  EXPECT_FLOAT_EQ(vec_angle(&x, &minus_x), std::numbers::pi_v<float>);
  EXPECT_EQ(vec_angle(&x, &zero), 0.0f);
  EXPECT_EQ(vec_angle(&zero, &x), 0.0f);
  // Parallel vectors whose rounded cosine may leave [-1, 1] still give a finite angle near 0.
  for (float scale : {3.0f, 7.1f, 0.3f, 1e3f}) {
    const Vector a = {0.1f, 0.7f, 0.3f};
    const Vector b = vec_scalar(&a, scale);
    const float angle = vec_angle(&a, &b);
    EXPECT_TRUE(std::isfinite(angle)) << scale;
    EXPECT_NEAR(angle, 0.0f, 1e-3f) << scale;
    const Vector c = vec_scalar(&a, -scale);
    EXPECT_NEAR(vec_angle(&a, &c), std::numbers::pi_v<float>, 1e-3f) << scale;
  }

  // The two normalisations differ only at zero.
  const Vector w = {0.0f, 3.0f, -4.0f};
  expect_vector_near(Normalize(&w), 0.0f, 0.6f, -0.8f);
  expect_vector_near(normalize(&w), 0.0f, 0.6f, -0.8f);
  expect_vector_near(Normalize(&zero), 0.0f, 0.0f, 0.0f, 0.0f);
  const Vector broken = normalize(&zero);
  for (float c : {broken.x, broken.y, broken.z}) EXPECT_FALSE(std::isfinite(c));
}

TEST(Matrices, TransformsUseRowVectorsAndTheTranslationRow) {
  float m[16];
  distinct(m);
  const Vector p = {2.0f, -1.0f, 0.5f};
  const Vector point = transformPoint(&p, m);
  expect_vector_near(point, m[0] * 2 - m[4] + m[8] * 0.5f + m[12],
                     m[1] * 2 - m[5] + m[9] * 0.5f + m[13], m[2] * 2 - m[6] + m[10] * 0.5f + m[14]);
  const Vector direction = transformVector(&p, m);
  expect_vector_near(direction, point.x - m[12], point.y - m[13], point.z - m[14], 1e-4f);

  const float w = m[3] * 2 - m[7] + m[11] * 0.5f + m[15];
  const Vector projected = transform_full(&p, m);
  expect_vector_near(projected, point.x / w, point.y / w, point.z / w);

  // A zero weight is not guarded.
  float flat[16];
  hordera::matrix_identity(flat);
  flat[15] = 0.0f;
  EXPECT_FALSE(std::isfinite(transform_full(&p, flat).x));
}

TEST(Matrices, AffineProductLeavesColumnThreeAndFullProductDoesNot) {
  float a[16], b[16];
  distinct(a);
  for (int i = 0; i < 16; ++i) b[i] = static_cast<float>((i * 7) % 5) - 1.5f;

  // a's rows by b's columns: the product is a * b, not b * a (the two differ for these).
  float expected[16];
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) {
      float sum = 0.0f;
      for (int k = 0; k < 4; ++k) sum += a[i * 4 + k] * b[k * 4 + j];
      expected[i * 4 + j] = sum;
    }
  }
  float full[16];
  matrix_copy(a, full);
  matrix_mul_full(full, b);
  expect_matrix_near(full, expected, 1e-4f);

  // Affine: rows 0-2 ignore b's translation row; row 3 adds it; column 3 keeps a's values.
  float affine[16];
  matrix_copy(a, affine);
  matrix_mul(affine, b);
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 3; ++j) {
      float sum = 0.0f;
      for (int k = 0; k < 3; ++k) sum += a[i * 4 + k] * b[k * 4 + j];
      if (i == 3) sum += b[12 + j];
      EXPECT_NEAR(affine[i * 4 + j], sum, 1e-4f) << i << "," << j;
    }
    EXPECT_EQ(affine[i * 4 + 3], a[i * 4 + 3]) << "row " << i;
  }

  // Multiplying a matrix by itself reads the original values throughout.
  float square[16];
  matrix_copy(a, square);
  matrix_mul_full(square, square);
  float reference[16];
  matrix_copy(a, reference);
  matrix_mul_full(reference, a);
  expect_matrix_near(square, reference, 0.0f);
}

TEST(Matrices, TranslateScaleAndCopyArgumentOrder) {
  float m[16];
  distinct(m);
  float before[16];
  std::memcpy(before, m, sizeof m);
  const Vector t = {1.0f, -2.0f, 3.0f};
  matrix_translate(m, &t);
  for (int i = 0; i < 12; ++i) EXPECT_EQ(m[i], before[i]);
  EXPECT_EQ(m[12], before[12] + 1.0f);
  EXPECT_EQ(m[13], before[13] - 2.0f);
  EXPECT_EQ(m[14], before[14] + 3.0f);
  EXPECT_EQ(m[15], before[15]);

  // Source first, destination second.
  float destination[16] = {};
  matrix_copy(m, destination);
  EXPECT_EQ(std::memcmp(destination, m, sizeof m), 0);
  float source[16];
  hordera::matrix_identity(source);
  matrix_copy(source, m);
  EXPECT_EQ(std::memcmp(source, m, sizeof m), 0);

  // Scale: a unit scale multiplies nothing; a zero component means "unscaled".
  distinct(m);
  std::memcpy(before, m, sizeof m);
  Vector unit = {1.0f, 1.0f, 1.0f};
  m[5] = NAN;  // would stay NaN either way; shows that nothing is multiplied
  before[5] = NAN;
  matrix_scale(m, &unit);
  EXPECT_EQ(std::memcmp(m, before, sizeof m), 0);
  distinct(m);
  std::memcpy(before, m, sizeof m);

  // The caller's vector is changed to say the zero component is unscaled.
  Vector s = {2.0f, 0.0f, 1.0f};
  matrix_scale(m, &s);
  expect_vector_near(s, 2.0f, 1.0f, 1.0f, 0.0f);
  // S * m: the x axis row doubles, column 3 included; the other rows and translation stay.
  for (int j = 0; j < 4; ++j) EXPECT_EQ(m[j], before[j] * 2.0f) << j;
  for (int i = 4; i < 16; ++i) EXPECT_EQ(m[i], before[i]) << i;

  // Scale acts in the object's own frame: a scaled, translated point keeps the translation.
  float placed[16];
  hordera::matrix_identity(placed);
  const Vector along_x = {10.0f, 0.0f, 0.0f};
  matrix_translate(placed, &along_x);
  Vector triple = {3.0f, 3.0f, 3.0f};
  matrix_scale(placed, &triple);
  const Vector p = {1.0f, 1.0f, 1.0f};
  expect_vector_near(transformPoint(&p, placed), 13.0f, 3.0f, 3.0f);
}

TEST(Matrices, RotationsPostMultiplyWithTheirSigns) {
  const float c = std::cos(0.3f), s = std::sin(0.3f);
  const float expected[3][16] = {{1, 0, 0, 0, 0, c, s, 0, 0, -s, c, 0, 0, 0, 0, 1},
                                 {c, 0, -s, 0, 0, 1, 0, 0, s, 0, c, 0, 0, 0, 0, 1},
                                 {c, s, 0, 0, -s, c, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}};
  void (*const turns[3])(float*, float) = {x_rotate, y_rotate, z_rotate};
  float m[16];
  for (int axis = 0; axis < 3; ++axis) {
    hordera::matrix_identity(m);
    turns[axis](m, 0.3f);
    expect_matrix_near(m, expected[axis]);
  }

  // Applied after what the matrix already holds: its translation turns too; column 3 stays.
  distinct(m);
  m[12] = 0.0f;
  m[13] = 2.0f;
  m[14] = 0.0f;
  float before[16];
  std::memcpy(before, m, sizeof m);
  z_rotate(m, kQuarterTurn);
  EXPECT_NEAR(m[12], -2.0f, 1e-5f);
  EXPECT_NEAR(m[13], 0.0f, 1e-5f);
  for (int i : {3, 7, 11, 15}) EXPECT_EQ(m[i], before[i]) << i;
}

TEST(Matrices, DisplayPrintsFourTabbedRowsAndABlankLine) {
  float m[16];
  for (int i = 0; i < 16; ++i) m[i] = static_cast<float>(i) - 0.5f;
  testing::internal::CaptureStdout();
  matrix_display(m);
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "\t-0.500000\t0.500000\t1.500000\t2.500000\n"
            "\t3.500000\t4.500000\t5.500000\t6.500000\n"
            "\t7.500000\t8.500000\t9.500000\t10.500000\n"
            "\t11.500000\t12.500000\t13.500000\t14.500000\n"
            "\n");
}

TEST(Inverses, AnglePreservingInverseUndoesRotationScaleAndTranslation) {
  float m[16];
  hordera::matrix_identity(m);
  Vector scale = {2.0f, 2.0f, 2.0f};
  matrix_scale(m, &scale);
  x_rotate(m, 0.4f);
  y_rotate(m, -1.1f);
  z_rotate(m, 2.5f);
  const Vector t = {3.0f, -7.0f, 0.25f};
  matrix_translate(m, &t);

  float inverse[16];
  ASSERT_EQ(angle_preserving_matrix4_inverse(m, inverse), 1);
  for (int i : {3, 7, 11, 15}) EXPECT_EQ(inverse[i], i == 15 ? 1.0f : 0.0f) << i;
  expect_inverse_pair(m, inverse);
  const Vector p = {1.0f, 2.0f, 3.0f};
  const Vector there = transformPoint(&p, m);
  expect_vector_near(transformPoint(&there, inverse), 1.0f, 2.0f, 3.0f);

  // A zero x axis: the fixed message, 0, and the output left as it was.
  float singular[16] = {};
  singular[5] = 1.0f;
  float untouched[16];
  for (float& value : untouched) value = 42.0f;
  testing::internal::CaptureStderr();
  EXPECT_EQ(angle_preserving_matrix4_inverse(singular, untouched), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "angle_preserving_matrix4_inverse: singular matrix\n");
  for (float value : untouched) EXPECT_EQ(value, 42.0f);
}

TEST(Inverses, GeneralInverseHandlesProjectiveMatricesAndReportsZeroRows) {
  // Needs row swaps (zero leading pivot) and has a projective column.
  float m[16] = {0.0f, 2.0f, 1.0f, 0.5f,  3.0f, 1.0f,  0.0f, 0.0f,
                 1.0f, 0.0f, 4.0f, 0.25f, 2.0f, -1.0f, 3.0f, 1.0f};
  float original[16];
  matrix_copy(m, original);
  ASSERT_EQ(hordera::matrix_invert(m), 1);
  expect_inverse_pair(original, m);

  // Inverting twice gives the matrix back.
  ASSERT_EQ(hordera::matrix_invert(m), 1);
  expect_matrix_near(m, original, 1e-4f);

  // A row of zeros: message on standard error, the matrix printed, unchanged, and 0.
  float singular[16];
  matrix_copy(original, singular);
  singular[8] = singular[9] = singular[10] = singular[11] = 0.0f;
  float copy[16];
  matrix_copy(singular, copy);
  testing::internal::CaptureStderr();
  testing::internal::CaptureStdout();
  EXPECT_EQ(hordera::matrix_invert(singular), 0);
  std::fflush(stdout);
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Singular matrix in routine LUDCMP\n");
  EXPECT_EQ(printed.substr(0, 41), "\t0.000000\t2.000000\t1.000000\t0.500000\n\t3.0");
  EXPECT_EQ(std::memcmp(singular, copy, sizeof copy), 0);

  // Singular without a zero row still returns (with huge values) rather than failing.
  float rank_two[16] = {1, 2, 3, 0, 2, 4, 6, 0, 0, 0, 1, 0, 0, 0, 0, 1};
  EXPECT_EQ(hordera::matrix_invert(rank_two), 1);
  // Rows 0 and 1 tie for the first pivot and rows 1 to 3 tie at zero for the second: the later
  // row wins each tie, and the zero pivot becomes 1e-20. Those choices show in the result.
  EXPECT_FLOAT_EQ(rank_two[3], -2e20f);
  EXPECT_FLOAT_EQ(rank_two[7], 1e20f);
  EXPECT_FLOAT_EQ(rank_two[12], 1e20f);
  EXPECT_FLOAT_EQ(rank_two[13], -5e19f);
  EXPECT_EQ(rank_two[15], 0.0f);
  EXPECT_FLOAT_EQ(rank_two[2], -3.0f);
  EXPECT_EQ(rank_two[10], 1.0f);
}

TEST(Planes, NewellPlaneAreaAndProjection) {
  // Counter-clockwise seen from +z: the normal points up and d places the plane at z = 5.
  const Vector square[4] = {{0, 0, 5}, {2, 0, 5}, {2, 2, 5}, {0, 2, 5}};
  float plane[4];
  hordera::polygon_plane(square, 4, plane);
  const float up[4] = {0, 0, 1, -5};
  for (int i = 0; i < 4; ++i) EXPECT_NEAR(plane[i], up[i], 1e-5f) << i;
  // Reversed winding flips the normal and the sign of d.
  const Vector reversed[4] = {square[3], square[2], square[1], square[0]};
  hordera::polygon_plane(reversed, 4, plane);
  EXPECT_NEAR(plane[2], -1.0f, 1e-6f);
  EXPECT_NEAR(plane[3], 5.0f, 1e-5f);
  // A tilted triangle: every vertex lies on the fitted plane.
  const Vector tilted[3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  hordera::polygon_plane(tilted, 3, plane);
  for (const Vector& v : tilted) {
    EXPECT_NEAR(plane[0] * v.x + plane[1] * v.y + plane[2] * v.z + plane[3], 0.0f, 1e-6f);
  }
  EXPECT_NEAR(plane[0], 1.0f / std::sqrt(3.0f), 1e-6f);
  // Degenerate polygons give the all-zero plane.
  const Vector line[3] = {{0, 0, 0}, {1, 1, 1}, {2, 2, 2}};
  hordera::polygon_plane(line, 3, plane);
  for (float value : plane) EXPECT_EQ(value, 0.0f);
  hordera::polygon_plane(square, 0, plane);
  for (float value : plane) EXPECT_EQ(value, 0.0f);

  const Vector a = {1, 1, 0}, b = {3, 1, 0}, c = {1, 4, 0};
  EXPECT_FLOAT_EQ(hordera::triangle_area(&a, &b, &c), 3.0f);
  EXPECT_FLOAT_EQ(hordera::triangle_area(&a, &c, &b), 3.0f);
  EXPECT_EQ(hordera::triangle_area(&a, &a, &b), 0.0f);

  const float floor[4] = {0.0f, 0.0f, 1.0f, -5.0f};
  const Vector above = {1.0f, 2.0f, 8.0f}, below = {-1.0f, 0.5f, 1.0f};
  expect_vector_near(hordera::project_onto_plane(floor, &above), 1.0f, 2.0f, 5.0f);
  expect_vector_near(hordera::project_onto_plane(floor, &below), -1.0f, 0.5f, 5.0f);
}

TEST(Ease, CosineTableWithoutInterpolation) {
  for (float t : {0.0f, -3.0f, NAN}) EXPECT_EQ(hordera::cosine_ease(t), 0.0f) << t;
  for (float t : {1.0f, 7.5f}) EXPECT_EQ(hordera::cosine_ease(t), 1.0f) << t;
  EXPECT_FLOAT_EQ(hordera::cosine_ease(0.5f), 0.5f);
  // Entry trunc(t * 4096): values inside one step are equal, the next step is larger.
  const float step = 1.0f / 4096.0f;
  const double at_1024 = 0.5 - 0.5 * std::cos(std::numbers::pi * 1024 / 4096);
  EXPECT_EQ(hordera::cosine_ease(0.25f), static_cast<float>(at_1024));
  EXPECT_EQ(hordera::cosine_ease(0.25f + 0.9f * step), static_cast<float>(at_1024));
  EXPECT_GT(hordera::cosine_ease(0.25f + step), hordera::cosine_ease(0.25f));
  EXPECT_EQ(hordera::cosine_ease(0.5f * step), 0.0f);
  EXPECT_LT(hordera::cosine_ease(1.0f - step / 2), 1.0f);
  EXPECT_FLOAT_EQ(hordera::cosine_ease(0.1f),
                  0.5f - 0.5f * std::cos(std::numbers::pi_v<float> * 409.0f / 4096.0f));
}

}  // namespace
