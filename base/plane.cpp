// Plane and triangle helpers: triangle area, projection onto a plane, and the best-fit plane of a
// polygon by Newell's method.
#include "base/vecmath.h"

namespace hordera {

float triangle_area(const Vector* a, const Vector* b, const Vector* c) {
  const Vector ab = {b->x - a->x, b->y - a->y, b->z - a->z};
  const Vector ac = {c->x - a->x, c->y - a->y, c->z - a->z};
  const Vector normal = vec_cross(&ab, &ac);
  return vec_length(&normal) / 2.0f;
}

Vector project_onto_plane(const float* plane, const Vector* p) {
  const Vector coefficients = {plane[0], plane[1], plane[2]};
  const Vector unit = Normalize(&coefficients);
  // The signed distance uses the coefficients as stored; callers pass normalised planes.
  const float d = plane[0] * p->x + plane[1] * p->y + plane[2] * p->z + plane[3];
  return {p->x - d * unit.x, p->y - d * unit.y, p->z - d * unit.z};
}

void polygon_plane(const Vector* vertices, int count, float* plane) {
  Vector normal = {0.0f, 0.0f, 0.0f};
  Vector sum = {0.0f, 0.0f, 0.0f};
  for (int i = 0; i < count; ++i) {
    const Vector& v = vertices[i];
    const Vector& w = vertices[(i + 1) % count];
    normal.x += (v.y - w.y) * (v.z + w.z);
    normal.y += (v.z - w.z) * (v.x + w.x);
    normal.z += (v.x - w.x) * (v.y + w.y);
    sum.x += v.x;
    sum.y += v.y;
    sum.z += v.z;
  }
  const float length = vec_length_double(&normal);
  if (length == 0.0f) {
    plane[0] = plane[1] = plane[2] = plane[3] = 0.0f;
    return;
  }
  plane[0] = normal.x / length;
  plane[1] = normal.y / length;
  plane[2] = normal.z / length;
  // Minus the distance of the vertex centroid along the unit normal.
  plane[3] = -vec_dot(&sum, &normal) / (length * static_cast<float>(count));
}

}  // namespace hordera
