// Hair strands from guide curves, as three-sided tubes.
#include "motion/hair_geometry.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "agent/mesh.h"
#include "agent/nodes.h"

namespace hordera {

namespace {

using Curve3 = std::vector<Vector>;

Vector operator+(Vector a, Vector b) {
  return {a.x + b.x, a.y + b.y, a.z + b.z};
}
Vector operator-(Vector a, Vector b) {
  return {a.x - b.x, a.y - b.y, a.z - b.z};
}
Vector operator*(Vector a, float s) {
  return {a.x * s, a.y * s, a.z * s};
}
float dot(Vector a, Vector b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}
Vector cross(Vector a, Vector b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
float length(Vector a) {
  return std::sqrt(dot(a, a));
}
Vector normalised(Vector a, Vector fallback) {
  float l = length(a);
  return l > 1e-12f ? a * (1.0f / l) : fallback;
}

// `count` points spaced evenly along the curve's length.
Curve3 resample(const Curve3& curve, size_t count) {
  std::vector<float> along(curve.size(), 0.0f);
  for (size_t i = 1; i < curve.size(); ++i)
    along[i] = along[i - 1] + length(curve[i] - curve[i - 1]);
  const float total = along.back();
  Curve3 out(count);
  size_t segment = 1;
  for (size_t k = 0; k < count; ++k) {
    float target = count > 1 ? total * static_cast<float>(k) / (count - 1) : 0.0f;
    while (segment + 1 < curve.size() && along[segment] < target) ++segment;
    float span = along[segment] - along[segment - 1];
    float t = span > 0 ? std::clamp((target - along[segment - 1]) / span, 0.0f, 1.0f) : 1.0f;
    out[k] = curve[segment - 1] + (curve[segment] - curve[segment - 1]) * t;
  }
  return out;
}

// Appends the tube of one strand: three points per strand point around it (a frame carried
// along the strand so the tube does not twist), three quads per strand segment.
void add_tube(const Curve3& strand, float root_radius, float tip_radius,
              std::vector<Vector>& points, std::vector<int32_t>& corners) {
  const size_t n = strand.size();
  const int32_t base = static_cast<int32_t>(points.size());
  Vector side{};
  for (size_t i = 0; i < n; ++i) {
    Vector tangent =
        normalised(strand[std::min(i + 1, n - 1)] - strand[i > 0 ? i - 1 : 0], Vector{0, 1, 0});
    if (i == 0) {
      Vector reference = std::fabs(tangent.y) < 0.9f ? Vector{0, 1, 0} : Vector{1, 0, 0};
      side = normalised(cross(tangent, reference), Vector{1, 0, 0});
    } else {
      side = normalised(side - tangent * dot(side, tangent), side);
    }
    Vector up = cross(tangent, side);
    float s = n > 1 ? static_cast<float>(i) / (n - 1) : 0.0f;
    float radius = root_radius + (tip_radius - root_radius) * s;
    for (int k = 0; k < 3; ++k) {
      float angle = 2.0943951f * k;  // 120 degrees apart
      points.push_back(strand[i] + (side * std::cos(angle) + up * std::sin(angle)) * radius);
    }
  }
  for (size_t i = 0; i + 1 < n; ++i)
    for (int k = 0; k < 3; ++k) {
      int32_t a = base + static_cast<int32_t>(i * 3) + k;
      int32_t b = base + static_cast<int32_t>(i * 3) + (k + 1) % 3;
      corners.insert(corners.end(), {a, b, b + 3, a + 3});
    }
}

}  // namespace

Mesh* build_hair_mesh(const CacheFrame& guides, const HairNode& node) {
  std::vector<Curve3> curves;
  size_t at = 0;
  for (uint32_t count : guides.curves) {
    if (at + count > guides.points.size()) break;
    if (count >= 2)
      curves.emplace_back(guides.points.begin() + static_cast<long>(at),
                          guides.points.begin() + static_cast<long>(at + count));
    at += count;
  }
  if (curves.empty()) return nullptr;
  const int strands =
      std::clamp(static_cast<int>(std::lround(std::isfinite(node.density) ? node.density : 1)), 1,
                 kMaxStrandsPerGuide);
  const float clump =
      std::isfinite(node.clump_ratio) ? std::clamp(node.clump_ratio, 0.0f, 1.0f) : 0.0f;
  const float rate = std::isfinite(node.clump_rate) && node.clump_rate > 0 ? node.clump_rate : 1;
  const float root_radius = std::isfinite(node.root_radius) ? node.root_radius : 0;
  const float tip_radius = std::isfinite(node.tip_radius) ? node.tip_radius : 0;
  std::vector<Vector> points;
  std::vector<int32_t> corners;
  for (size_t g = 0; g < curves.size(); ++g) {
    size_t vertices = node.vertices_number >= 2
                          ? static_cast<size_t>(std::min(node.vertices_number, 4096))
                          : curves[g].size();
    Curve3 guide = resample(curves[g], vertices);
    Curve3 next = resample(curves[(g + 1) % curves.size()], vertices);
    for (int k = 0; k < strands; ++k) {
      Curve3 strand = guide;
      float spread = static_cast<float>(k) / strands;
      for (size_t i = 0; i < vertices && k > 0; ++i) {
        float s = vertices > 1 ? static_cast<float>(i) / (vertices - 1) : 0.0f;
        float pull = clump * std::pow(s, rate);
        strand[i] = guide[i] + (next[i] - guide[i]) * (spread * (1 - pull));
      }
      add_tube(strand, root_radius, tip_radius, points, corners);
    }
  }
  const int32_t quads = static_cast<int32_t>(corners.size() / 4);
  Mesh* mesh = mesh_new();
  if (!mesh || !mesh_allocate(mesh, static_cast<int32_t>(points.size()), quads,
                              static_cast<int32_t>(corners.size()), 0)) {
    mesh_free(mesh);
    return nullptr;
  }
  std::copy(points.begin(), points.end(), mesh->points);
  std::copy(corners.begin(), corners.end(), mesh->corners);
  for (int32_t q = 0; q < quads; ++q) {
    mesh->polygons[q].first_corner = q * 4;
    mesh->polygons[q].corner_count = 4;
  }
  refresh_polygons(mesh, 0, false);
  return mesh;
}

}  // namespace hordera
