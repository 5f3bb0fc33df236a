// Single-precision 3-vectors and 4x4 matrices (row-vector convention) used by the whole engine.
// Argument conventions, including the irregular ones, are part of the plug-in's interface.
#pragma once

#include "base/vector_types.h"

extern "C" {

// a + b.
Vector vec_add(const Vector* a, const Vector* b);
// a - b; `a` itself is overwritten with the difference before it is returned.
Vector vec_sub(Vector* a, const Vector* b);
// v * s.
Vector vec_scalar(const Vector* v, float s);
// Dot product a . b.
float vec_dot(const Vector* a, const Vector* b);
// Right-handed cross product a x b.
Vector vec_cross(const Vector* a, const Vector* b);
// Length; exactly 0 for a zero vector.
float vec_length(const Vector* v);
// Length of a - b; neither argument changes.
float distance(const Vector* a, const Vector* b);
// Angle between two vectors in radians, in [0, pi]; 0 when either has zero length.
float vec_angle(const Vector* a, const Vector* b);
// v / |v|; the zero vector is returned unchanged.
Vector Normalize(const Vector* v);
// v * (1 / |v|) in double precision, without a zero test.
Vector normalize(const Vector* v);

// p * m with translation (points). m: 16 floats, row-vector convention.
Vector transformPoint(const Vector* p, const float* m);
// v * m without translation (directions, normals).
Vector transformVector(const Vector* v, const float* m);
// Full projective transform, divided by w = p * column 3 (no test for w = 0).
Vector transform_full(const Vector* p, const float* m);
// m <- m * b as affine matrices: column 3 of m keeps its old values. m and b may alias.
void matrix_mul(float* m, const float* b);
// m <- m * b over all sixteen elements. m and b may alias.
void matrix_mul_full(float* m, const float* b);
// Adds t to the translation row (elements 12..14): the move applies after m.
void matrix_translate(float* m, const Vector* t);
// m <- S * m (scale in the object's own frame); nothing for exactly (1, 1, 1); zero components of
// the caller's `s` become 1 first.
void matrix_scale(float* m, Vector* s);
// m <- m * R about one axis; angle in radians.
void x_rotate(float* m, float angle);
void y_rotate(float* m, float angle);
void z_rotate(float* m, float angle);
// Copies src into dst (source first).
void matrix_copy(const float* src, float* dst);
// Prints the four rows to standard output as "\t%f\t%f\t%f\t%f\n", then one "\n".
void matrix_display(const float* m);
// Inverse of a rotation-times-uniform-scale-plus-translation matrix into `out` (may alias m);
// 1, or 0 with a message on standard error and `out` untouched when row 0 is zero.
int angle_preserving_matrix4_inverse(const float* m, float* out);

// Gradient noise in roughly [-1, 1], 0 at every integer lattice point, period 256; the same
// values in every run (fixed seed 1984).
float noise1(float x);
float noise2(float x, float y);
float noise3(float x, float y, float z);

}  // extern "C"

// Engine-internal helpers (not exported).
namespace hordera {
// Writes the identity into m.
void matrix_identity(float* m);
// Length computed in double precision.
float vec_length_double(const Vector* v);
// Distance computed in double precision; 0 when a = b exactly.
float distance_double(const Vector* a, const Vector* b);
// General inverse in place by LU decomposition; 1, or 0 when a row is all zeros (message on
// standard error, m printed to standard output and left unchanged).
int matrix_invert(float* m);
// |(b - a) x (c - a)| / 2.
float triangle_area(const Vector* a, const Vector* b, const Vector* c);
// p - d * n^ for the plane (a, b, c, d) of 4 floats; d uses the coefficients as stored.
Vector project_onto_plane(const float* plane, const Vector* p);
// Best-fit plane (a, b, c, d) of a closed polygon of `count` vertices by Newell's method, into
// 4 floats; all zero for a degenerate polygon or count <= 0.
void polygon_plane(const Vector* vertices, int count, float* plane);
// 0 for t <= 0, 1 for t >= 1, else 0.5 - 0.5 cos(pi t) from a table of 4097 entries.
float cosine_ease(float t);
}  // namespace hordera
