// Tubes along the humanoid's bones, assembled into its skin, clothes and hats, and their OBJ and
// weights files.
#include "examples/body_mesh.h"

#include <cmath>
#include <cstdio>
#include <map>
#include <memory>

#include "examples/humanoid_skeleton.h"

namespace examples {

namespace {

Point add(const Point& a, const Point& b) {
  return {a[0] + b[0], a[1] + b[1], a[2] + b[2]};
}
Point scale(const Point& a, double s) {
  return {a[0] * s, a[1] * s, a[2] * s};
}
Point cross(const Point& a, const Point& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
Point normalised(const Point& a) {
  double length = std::sqrt(a[0] * a[0] + a[1] * a[1] + a[2] * a[2]);
  return length > 0 ? scale(a, 1 / length) : Point{0, 1, 0};
}

Point at(const char* segment) {
  return humanoid_rest_position(segment);
}
Point offset(const char* segment, double x, double y, double z) {
  return add(at(segment), {x, y, z});
}

void add_limbs(BodyMesh& mesh, bool skin) {
  for (const char* side : {"l_", "r_"}) {
    auto name = [&](const char* part) { return std::string(side) + part; };
    double x = side[0] == 'l' ? 1 : -1;
    Point shoulder = at(name("upper_arm").c_str()), elbow = at(name("forearm").c_str());
    Point wrist = at(name("hand").c_str());
    Point hip = at(name("thigh").c_str()), knee = at(name("shin").c_str());
    Point ankle = at(name("foot").c_str()), toe = at(name("toe").c_str());
    if (skin) {
      add_tube(mesh, wrist, add(wrist, {0.0, -0.11, 0.01}), 0.035, 0.6, 8, 12, name("hand"),
               name("forearm"));
      continue;
    }
    add_tube(mesh, add(shoulder, {-0.03 * x, 0.02, 0}), elbow, 0.05, 1, 10, 14, name("upper_arm"),
             name("shoulder"));
    add_tube(mesh, elbow, wrist, 0.042, 1, 10, 14, name("forearm"), name("upper_arm"));
    add_tube(mesh, add(hip, {0, 0.05, 0}), knee, 0.075, 1, 10, 14, name("thigh"), "pelvis");
    add_tube(mesh, knee, ankle, 0.055, 1, 10, 14, name("shin"), name("thigh"));
    add_tube(mesh, add(ankle, {0, 0, -0.04}), add(toe, {0, 0.01, 0}), 0.045, 1, 8, 12, name("foot"),
             name("shin"));
    add_tube(mesh, toe, add(toe, {0, 0, 0.07}), 0.035, 1, 6, 12, name("toe"), name("foot"));
  }
}

}  // namespace

void add_tube(BodyMesh& mesh, const Point& from, const Point& to, double radius, double squash,
              int rings, int sides, const std::string& segment, const std::string& parent) {
  Point axis = normalised(add(to, scale(from, -1)));
  // The squash widens the tube along u: across the body (x) for upright tubes, and sideways, not
  // up and down, for tubes lying flat (the cap's peak).
  Point reference = std::fabs(axis[1]) < 0.9 ? Point{0, 1, 0} : Point{0, 0, 1};
  Point u = normalised(cross(axis, reference));
  Point v = cross(axis, u);
  double length = std::sqrt(std::pow(to[0] - from[0], 2) + std::pow(to[1] - from[1], 2) +
                            std::pow(to[2] - from[2], 2));
  auto weights_for = [&](bool joint) {
    std::vector<std::pair<std::string, double>> w;
    if (joint && !parent.empty()) {
      w.emplace_back(parent, 0.5);
      w.emplace_back(segment, 0.5);
    } else {
      w.emplace_back(segment, 1.0);
    }
    return w;
  };
  int base = static_cast<int>(mesh.points.size());
  // The start pole, the rings, the end pole. Rings follow a rounded profile: full radius in the
  // middle, narrowing towards the poles over the last tenth of the length on each side.
  mesh.points.push_back(add(from, scale(axis, -radius * 0.3)));
  mesh.normals.push_back(scale(axis, -1));
  mesh.weights.push_back(weights_for(true));
  for (int ring = 0; ring < rings; ++ring) {
    double t = (ring + 0.5) / rings;
    double profile = std::sin(M_PI * (0.15 + 0.7 * t));
    Point centre = add(from, scale(axis, t * length));
    for (int side = 0; side < sides; ++side) {
      double angle = 2 * M_PI * side / sides;
      Point radial = add(scale(u, std::cos(angle) * squash), scale(v, std::sin(angle)));
      mesh.points.push_back(add(centre, scale(radial, radius * profile)));
      mesh.normals.push_back(normalised(radial));
      mesh.weights.push_back(weights_for(ring == 0));
    }
  }
  mesh.points.push_back(add(to, scale(axis, radius * 0.3)));
  mesh.normals.push_back(axis);
  mesh.weights.push_back(weights_for(false));
  int end_pole = base + 1 + rings * sides;
  auto ring_point = [&](int ring, int side) { return base + 1 + ring * sides + (side % sides); };
  for (int side = 0; side < sides; ++side)
    mesh.polygons.push_back({base, ring_point(0, side + 1), ring_point(0, side)});
  for (int ring = 0; ring + 1 < rings; ++ring)
    for (int side = 0; side < sides; ++side)
      mesh.polygons.push_back({ring_point(ring, side), ring_point(ring, side + 1),
                               ring_point(ring + 1, side + 1), ring_point(ring + 1, side)});
  for (int side = 0; side < sides; ++side)
    mesh.polygons.push_back(
        {end_pole, ring_point(rings - 1, side), ring_point(rings - 1, side + 1)});
}

BodyMesh humanoid_skin() {
  BodyMesh mesh;
  add_tube(mesh, offset("neck", 0, -0.02, 0), at("head"), 0.055, 1, 8, 16, "neck", "chest");
  add_tube(mesh, offset("head", 0, -0.02, 0.01), offset("head", 0, 0.21, 0.01), 0.11, 0.85, 16, 24,
           "head", "neck");
  add_limbs(mesh, true);
  return mesh;
}

BodyMesh humanoid_clothes() {
  BodyMesh mesh;
  add_tube(mesh, offset("pelvis", 0, -0.1, 0), at("spine"), 0.16, 1.15, 10, 24, "pelvis", "");
  add_tube(mesh, at("spine"), at("chest"), 0.15, 1.2, 10, 24, "spine", "pelvis");
  add_tube(mesh, at("chest"), offset("neck", 0, 0.02, 0), 0.17, 1.25, 12, 24, "chest", "spine");
  add_limbs(mesh, false);
  return mesh;
}

BodyMesh humanoid_hat(int which) {
  BodyMesh mesh;
  Point top = offset("head", 0, 0.17, 0.01);
  switch (which) {
    case 0:
      add_tube(mesh, top, add(top, {0, 0.08, 0}), 0.125, 1, 8, 24, "head", "");
      add_tube(mesh, add(top, {0, 0.005, 0.06}), add(top, {0, 0.005, 0.2}), 0.02, 3, 4, 12, "head",
               "");
      break;
    case 1:
      add_tube(mesh, add(top, {0, 0.02, 0}), add(top, {0, 0.26, 0}), 0.1, 1, 12, 24, "head", "");
      break;
    default:
      add_tube(mesh, add(top, {0, 0.02, 0}), add(top, {0, 0.06, 0}), 0.22, 1, 4, 32, "head", "");
      add_tube(mesh, add(top, {0, 0.03, 0}), add(top, {0, 0.14, 0}), 0.1, 1, 8, 24, "head", "");
      break;
  }
  return mesh;
}

bool write_body_mesh(const BodyMesh& mesh, const std::string& obj_path,
                     const std::string& weights_path, const std::vector<std::string>& deformers) {
  auto close = [](std::FILE* f) {
    if (f != nullptr) std::fclose(f);
  };
  std::unique_ptr<std::FILE, decltype(close)> obj(std::fopen(obj_path.c_str(), "w"), close);
  std::unique_ptr<std::FILE, decltype(close)> weights(std::fopen(weights_path.c_str(), "w"), close);
  if (!obj || !weights) return false;
  std::fprintf(obj.get(), "# Hordera sample crowd mesh\n");
  for (const Point& p : mesh.points)
    std::fprintf(obj.get(), "v %.6f %.6f %.6f\n", p[0], p[1], p[2]);
  for (const Point& n : mesh.normals)
    std::fprintf(obj.get(), "vn %.6f %.6f %.6f\n", n[0], n[1], n[2]);
  for (const auto& polygon : mesh.polygons) {
    std::fputc('f', obj.get());
    for (int index : polygon) std::fprintf(obj.get(), " %d//%d", index + 1, index + 1);
    std::fputc('\n', obj.get());
  }
  std::map<std::string, int> number;
  std::fprintf(weights.get(), "# Hordera vertex weights file, written by version %s\n\n",
               HORDERA_ENGINE_VERSION);
  for (size_t i = 0; i < deformers.size(); ++i) {
    number[deformers[i]] = static_cast<int>(i);
    std::fprintf(weights.get(), "deformer %zu %s\n", i, deformers[i].c_str());
  }
  std::fputc('\n', weights.get());
  for (size_t vertex = 0; vertex < mesh.weights.size(); ++vertex) {
    std::fprintf(weights.get(), "%zu: ", vertex);
    for (const auto& [segment, weight] : mesh.weights[vertex])
      std::fprintf(weights.get(), " %d %g", number[segment], weight);
    std::fputc('\n', weights.get());
  }
  return std::ferror(obj.get()) == 0 && std::ferror(weights.get()) == 0;
}

}  // namespace examples
