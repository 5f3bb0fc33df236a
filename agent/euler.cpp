// Euler angles of the six static-frame orders, rotation matrices and quaternions, after
// Shoemake's "Euler Angle Conversion" (Graphics Gems IV). The Euler code of an order packs the
// inner axis i and the parity n as (i * 2 + n) * 4: XYZ 0, XZY 4, YZX 8, YXZ 12, ZXY 16, ZYX 20.
//
// The engine's matrices carry row vectors (p' = p * M); the conversion works on the
// column-vector form, which is the transpose: element [r][c] of it is M[c * 4 + r].
#include <cmath>

#include "agent/skeleton.h"
#include "base/vecmath.h"

namespace {

// Below this value of the cosine term the middle angle is at gimbal lock (16 float epsilons).
constexpr double kGimbalThreshold = 1.9073486328125e-6;

// The axes of an Euler code: first (inner) axis i, then j and k, and whether the parity is odd.
struct EulerAxes {
  int i, j, k;
  bool odd;
};

EulerAxes axes_of(int code) {
  static const int kNext[4] = {1, 2, 0, 1};
  const int inner = (code >> 3) & 3;
  const bool odd = (code >> 2) & 1;
  EulerAxes axes;
  axes.i = inner;
  axes.j = kNext[inner + (odd ? 1 : 0)];
  axes.k = kNext[inner + 1 - (odd ? 1 : 0)];
  axes.odd = odd;
  return axes;
}

// The three angles of an order, first axis first, gathered from (rx, ry, rz) by axis.
void angles_by_axis(int code, float rx, float ry, float rz, double out[3]) {
  const EulerAxes axes = axes_of(code);
  const double by_axis[3] = {rx, ry, rz};
  out[0] = by_axis[axes.i];
  out[1] = by_axis[axes.j];
  out[2] = by_axis[axes.k];
}

// Writes the three angles of an order (first axis first) back to rx, ry, rz by axis.
void write_by_axis(int code, const double angles[3], float* rx, float* ry, float* rz) {
  const EulerAxes axes = axes_of(code);
  float* by_axis[3] = {rx, ry, rz};
  if (by_axis[axes.i]) *by_axis[axes.i] = static_cast<float>(angles[0]);
  if (by_axis[axes.j]) *by_axis[axes.j] = static_cast<float>(angles[1]);
  if (by_axis[axes.k]) *by_axis[axes.k] = static_cast<float>(angles[2]);
}

// Angles (first, second, third axis) of a column-vector rotation matrix.
void angles_from_column_matrix(const double m[3][3], int code, double angles[3]) {
  const EulerAxes a = axes_of(code);
  const double cy = std::sqrt(m[a.i][a.i] * m[a.i][a.i] + m[a.j][a.i] * m[a.j][a.i]);
  if (cy > kGimbalThreshold) {
    angles[0] = std::atan2(m[a.k][a.j], m[a.k][a.k]);
    angles[1] = std::atan2(-m[a.k][a.i], cy);
    angles[2] = std::atan2(m[a.j][a.i], m[a.i][a.i]);
  } else {
    angles[0] = std::atan2(-m[a.j][a.k], m[a.j][a.j]);
    angles[1] = std::atan2(-m[a.k][a.i], cy);
    angles[2] = 0.0;
  }
  if (a.odd)
    for (int n = 0; n < 3; ++n) angles[n] = -angles[n];
}

}  // namespace

extern "C" {

void rotation_matrix_from_angles(float rx, float ry, float rz, int32_t order, float* out) {
  if (!out) return;
  hordera::matrix_identity(out);
  int entries[6];
  order_unpack(order, entries);
  for (int e : entries) {
    if (e == ORDER_RX && rx != 0.0f) x_rotate(out, rx);
    if (e == ORDER_RY && ry != 0.0f) y_rotate(out, ry);
    if (e == ORDER_RZ && rz != 0.0f) z_rotate(out, rz);
  }
}

void rotationsFromMatrix(const float* matrix, float* rx, float* ry, float* rz, int32_t order) {
  const int code = order_euler_code(order);
  if (code < 0 || !matrix) return;
  double m[3][3];
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) m[r][c] = matrix[c * 4 + r];
  double angles[3];
  angles_from_column_matrix(m, code, angles);
  write_by_axis(code, angles, rx, ry, rz);
}

void angles_to_quaternion(float rx, float ry, float rz, int32_t order, float* quaternion) {
  if (!quaternion) return;
  const int code = order_euler_code(order);
  if (code < 0) {
    quaternion[0] = quaternion[1] = quaternion[2] = 0.0f;
    quaternion[3] = 1.0f;
    return;
  }
  const EulerAxes axes = axes_of(code);
  double angles[3];
  angles_by_axis(code, rx, ry, rz, angles);
  if (axes.odd) angles[1] = -angles[1];
  const double ci = std::cos(angles[0] * 0.5), si = std::sin(angles[0] * 0.5);
  const double cj = std::cos(angles[1] * 0.5), sj = std::sin(angles[1] * 0.5);
  const double ch = std::cos(angles[2] * 0.5), sh = std::sin(angles[2] * 0.5);
  const double cc = ci * ch, cs = ci * sh, sc = si * ch, ss = si * sh;
  double v[3];
  v[axes.i] = cj * sc - sj * cs;
  v[axes.j] = cj * ss + sj * cc;
  v[axes.k] = cj * cs - sj * sc;
  if (axes.odd) v[axes.j] = -v[axes.j];
  quaternion[0] = static_cast<float>(v[0]);
  quaternion[1] = static_cast<float>(v[1]);
  quaternion[2] = static_cast<float>(v[2]);
  quaternion[3] = static_cast<float>(cj * cc + sj * ss);
}

void quaternion_to_angles(const float* quaternion, float* rx, float* ry, float* rz, int32_t order) {
  const int code = order_euler_code(order);
  if (code < 0 || !quaternion) return;
  const double x = quaternion[0], y = quaternion[1], z = quaternion[2], w = quaternion[3];
  const double norm = x * x + y * y + z * z + w * w;
  const double s = norm > 0.0 ? 2.0 / norm : 0.0;
  const double xs = x * s, ys = y * s, zs = z * s;
  const double wx = w * xs, wy = w * ys, wz = w * zs;
  const double xx = x * xs, xy = x * ys, xz = x * zs;
  const double yy = y * ys, yz = y * zs, zz = z * zs;
  const double m[3][3] = {{1.0 - (yy + zz), xy - wz, xz + wy},
                          {xy + wz, 1.0 - (xx + zz), yz - wx},
                          {xz - wy, yz + wx, 1.0 - (xx + yy)}};
  double angles[3];
  angles_from_column_matrix(m, code, angles);
  write_by_axis(code, angles, rx, ry, rz);
}

}  // extern "C"
