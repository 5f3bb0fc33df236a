// Single-precision 3-vector arithmetic, with the double-precision length and distance that plane
// fitting relies on.
#include <algorithm>
#include <cmath>

#include "base/vecmath.h"

extern "C" {

Vector vec_add(const Vector* a, const Vector* b) {
  return {a->x + b->x, a->y + b->y, a->z + b->z};
}

Vector vec_sub(Vector* a, const Vector* b) {
  // Part of the interface: the first operand receives the difference.
  a->x -= b->x;
  a->y -= b->y;
  a->z -= b->z;
  return *a;
}

Vector vec_scalar(const Vector* v, float s) {
  return {v->x * s, v->y * s, v->z * s};
}

float vec_dot(const Vector* a, const Vector* b) {
  return a->x * b->x + a->y * b->y + a->z * b->z;
}

Vector vec_cross(const Vector* a, const Vector* b) {
  return {a->y * b->z - b->y * a->z, b->x * a->z - a->x * b->z, a->x * b->y - b->x * a->y};
}

float vec_length(const Vector* v) {
  const float squared = vec_dot(v, v);
  if (squared == 0.0f) return 0.0f;
  return std::sqrt(squared);
}

float distance(const Vector* a, const Vector* b) {
  const Vector d = {a->x - b->x, a->y - b->y, a->z - b->z};
  return vec_length(&d);
}

float vec_angle(const Vector* a, const Vector* b) {
  const float aa = vec_dot(a, a);
  const float bb = vec_dot(b, b);
  if (aa == 0.0f || bb == 0.0f) return 0.0f;
  // Rounding can push the cosine of parallel vectors just outside [-1, 1].
  const float cosine = std::clamp(vec_dot(a, b) / std::sqrt(aa * bb), -1.0f, 1.0f);
  return std::acos(cosine);
}

Vector Normalize(const Vector* v) {
  if (v->x == 0.0f && v->y == 0.0f && v->z == 0.0f) return *v;
  const float length = vec_length(v);
  return {v->x / length, v->y / length, v->z / length};
}

Vector normalize(const Vector* v) {
  // No zero test: a zero vector yields non-finite components.
  const double inverse = 1.0 / std::sqrt(static_cast<double>(vec_dot(v, v)));
  return {static_cast<float>(v->x * inverse), static_cast<float>(v->y * inverse),
          static_cast<float>(v->z * inverse)};
}

}  // extern "C"

namespace hordera {

float vec_length_double(const Vector* v) {
  const double x = v->x, y = v->y, z = v->z;
  return static_cast<float>(std::sqrt(x * x + y * y + z * z));
}

float distance_double(const Vector* a, const Vector* b) {
  const double x = static_cast<double>(a->x) - b->x;
  const double y = static_cast<double>(a->y) - b->y;
  const double z = static_cast<double>(a->z) - b->z;
  const double squared = x * x + y * y + z * z;
  if (squared == 0.0) return 0.0f;
  return static_cast<float>(std::sqrt(squared));
}

}  // namespace hordera
