// 4x4 matrix arithmetic in the row-vector convention: a point p becomes p * M, rows 0..2 are the
// images of the axes and elements 12..14 the translation.
#include <cmath>
#include <cstdio>
#include <cstring>

#include "base/vecmath.h"

namespace {

// Element of row r, column c.
constexpr int at(int r, int c) {
  return r * 4 + c;
}

// Rotation about one axis as an affine matrix: rows (x axis, y axis, z axis, translation).
// The cosine and sine are taken in double and stored as float.
void rotation(float angle, int axis, float* r) {
  const auto c = static_cast<float>(std::cos(static_cast<double>(angle)));
  const auto s = static_cast<float>(std::sin(static_cast<double>(angle)));
  hordera::matrix_identity(r);
  const int i = (axis + 1) % 3;  // the two axes that turn, in right-handed order
  const int j = (axis + 2) % 3;
  r[at(i, i)] = c;
  r[at(i, j)] = s;
  r[at(j, i)] = -s;
  r[at(j, j)] = c;
}

}  // namespace

extern "C" {

Vector transformPoint(const Vector* p, const float* m) {
  return {m[0] * p->x + m[4] * p->y + m[8] * p->z + m[12],
          m[1] * p->x + m[5] * p->y + m[9] * p->z + m[13],
          m[2] * p->x + m[6] * p->y + m[10] * p->z + m[14]};
}

Vector transformVector(const Vector* v, const float* m) {
  return {m[0] * v->x + m[4] * v->y + m[8] * v->z, m[1] * v->x + m[5] * v->y + m[9] * v->z,
          m[2] * v->x + m[6] * v->y + m[10] * v->z};
}

Vector transform_full(const Vector* p, const float* m) {
  // No test for w = 0: a point on the vanishing plane gives non-finite components.
  const float w = m[3] * p->x + m[7] * p->y + m[11] * p->z + m[15];
  const Vector q = transformPoint(p, m);
  return {q.x / w, q.y / w, q.z / w};
}

void matrix_mul(float* m, const float* b) {
  // Copies first, so that m and b may be the same matrix.
  float a[16], c[16];
  std::memcpy(a, m, sizeof a);
  std::memcpy(c, b, sizeof c);
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 3; ++j) {
      float sum = a[at(i, 0)] * c[at(0, j)] + a[at(i, 1)] * c[at(1, j)] + a[at(i, 2)] * c[at(2, j)];
      if (i == 3) sum += c[at(3, j)];
      m[at(i, j)] = sum;
    }
  }
  // Column 3 of m is left as it was: the product treats both matrices as affine.
}

void matrix_mul_full(float* m, const float* b) {
  float a[16], c[16];
  std::memcpy(a, m, sizeof a);
  std::memcpy(c, b, sizeof c);
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) {
      m[at(i, j)] = a[at(i, 0)] * c[at(0, j)] + a[at(i, 1)] * c[at(1, j)] +
                    a[at(i, 2)] * c[at(2, j)] + a[at(i, 3)] * c[at(3, j)];
    }
  }
}

void matrix_translate(float* m, const Vector* t) {
  m[12] += t->x;
  m[13] += t->y;
  m[14] += t->z;
}

void matrix_scale(float* m, Vector* s) {
  if (s->x == 1.0f && s->y == 1.0f && s->z == 1.0f) return;
  // Part of the interface: a zero component means "unscaled", and the caller's vector says so.
  if (s->x == 0.0f) s->x = 1.0f;
  if (s->y == 0.0f) s->y = 1.0f;
  if (s->z == 0.0f) s->z = 1.0f;
  // S * m scales the rows that hold the axes; the translation row is untouched.
  const float factors[3] = {s->x, s->y, s->z};
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 4; ++j) m[at(i, j)] *= factors[i];
  }
}

void x_rotate(float* m, float angle) {
  float r[16];
  rotation(angle, 0, r);
  matrix_mul(m, r);
}

void y_rotate(float* m, float angle) {
  float r[16];
  rotation(angle, 1, r);
  matrix_mul(m, r);
}

void z_rotate(float* m, float angle) {
  float r[16];
  rotation(angle, 2, r);
  matrix_mul(m, r);
}

void matrix_copy(const float* src, float* dst) {
  std::memmove(dst, src, 16 * sizeof(float));
}

void matrix_display(const float* m) {
  for (int i = 0; i < 4; ++i) {
    std::printf("\t%f\t%f\t%f\t%f\n", m[at(i, 0)], m[at(i, 1)], m[at(i, 2)], m[at(i, 3)]);
  }
  std::printf("\n");
}

}  // extern "C"

namespace hordera {

void matrix_identity(float* m) {
  for (int i = 0; i < 16; ++i) m[i] = (i % 5 == 0) ? 1.0f : 0.0f;
}

}  // namespace hordera
