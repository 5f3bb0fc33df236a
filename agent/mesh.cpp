// Polygon mesh records: allocation, copies, transforms and the per-polygon refresh.
#include "agent/mesh.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

template <typename T>
T* allocate_zeroed(int64_t count) {
  if (count <= 0) return nullptr;
  return static_cast<T*>(std::calloc(static_cast<size_t>(count), sizeof(T)));
}

template <typename T>
T* duplicate(const T* source, int64_t count) {
  if (source == nullptr || count <= 0) return nullptr;
  T* copy = static_cast<T*>(std::malloc(static_cast<size_t>(count) * sizeof(T)));
  if (copy != nullptr) std::memcpy(copy, source, static_cast<size_t>(count) * sizeof(T));
  return copy;
}

void release_arrays(Mesh* mesh) {
  std::free(mesh->points);
  std::free(mesh->normals);
  std::free(mesh->polygons);
  std::free(mesh->corners);
  std::free(mesh->texture);
  mesh->points = nullptr;
  mesh->normals = nullptr;
  mesh->polygons = nullptr;
  mesh->corners = nullptr;
  mesh->texture = nullptr;
  mesh->point_count = mesh->polygon_count = mesh->corner_count = 0;
  mesh->flags = 0;
}

}  // namespace

extern "C" {

Mesh* mesh_new(void) {
  return static_cast<Mesh*>(std::calloc(1, sizeof(Mesh)));
}

int mesh_allocate(Mesh* mesh, int32_t point_count, int32_t polygon_count, int32_t corner_count,
                  uint32_t flags) {
  if (mesh == nullptr) return 0;
  release_arrays(mesh);
  if (point_count < 0 || polygon_count < 0 || corner_count < 0) return 0;
  mesh->points = allocate_zeroed<Vector>(point_count);
  if (flags & MESH_HAS_NORMALS) mesh->normals = allocate_zeroed<Vector>(point_count);
  mesh->polygons = allocate_zeroed<MeshPolygon>(polygon_count);
  mesh->corners = allocate_zeroed<int32_t>(corner_count);
  if (flags & MESH_HAS_TEXTURE) mesh->texture = allocate_zeroed<Vector>(corner_count);
  const bool failed = (point_count > 0 && mesh->points == nullptr) ||
                      (point_count > 0 && (flags & MESH_HAS_NORMALS) && !mesh->normals) ||
                      (polygon_count > 0 && mesh->polygons == nullptr) ||
                      (corner_count > 0 && mesh->corners == nullptr) ||
                      (corner_count > 0 && (flags & MESH_HAS_TEXTURE) && !mesh->texture);
  if (failed) {
    release_arrays(mesh);
    return 0;
  }
  mesh->point_count = point_count;
  mesh->polygon_count = polygon_count;
  mesh->corner_count = corner_count;
  mesh->flags = flags & (MESH_HAS_NORMALS | MESH_HAS_TEXTURE);
  return 1;
}

void mesh_free(Mesh* mesh) {
  if (mesh == nullptr) return;
  release_arrays(mesh);
  std::free(mesh);
}

Mesh* mesh_copy(const Mesh* source) {
  if (source == nullptr) return nullptr;
  Mesh* copy = mesh_new();
  if (copy == nullptr) return nullptr;
  if (!mesh_allocate(copy, source->point_count, source->polygon_count, source->corner_count,
                     source->flags)) {
    mesh_free(copy);
    return nullptr;
  }
  copy->kind = source->kind;
  copy->orientation = source->orientation;
  auto copy_array = [](auto* target, const auto* from, int32_t count) {
    if (target != nullptr && from != nullptr && count > 0)
      std::memcpy(target, from, static_cast<size_t>(count) * sizeof(*target));
  };
  copy_array(copy->points, source->points, source->point_count);
  copy_array(copy->normals, source->normals, source->point_count);
  copy_array(copy->polygons, source->polygons, source->polygon_count);
  copy_array(copy->corners, source->corners, source->corner_count);
  copy_array(copy->texture, source->texture, source->corner_count);
  return copy;
}

int mesh_copy_points(const Mesh* source, Mesh* target) {
  if (source == nullptr || target == nullptr || source->point_count != target->point_count)
    return 0;
  if (source->point_count == 0) return 1;
  std::memcpy(target->points, source->points,
              static_cast<size_t>(source->point_count) * sizeof(Vector));
  if (source->normals != nullptr && target->normals != nullptr)
    std::memcpy(target->normals, source->normals,
                static_cast<size_t>(source->point_count) * sizeof(Vector));
  return 1;
}

void mesh_transform(Mesh* mesh, const float* m) {
  if (mesh == nullptr || m == nullptr) return;
  for (int32_t i = 0; i < mesh->point_count; ++i) {
    const Vector p = mesh->points[i];
    mesh->points[i] = {p.x * m[0] + p.y * m[4] + p.z * m[8] + m[12],
                       p.x * m[1] + p.y * m[5] + p.z * m[9] + m[13],
                       p.x * m[2] + p.y * m[6] + p.z * m[10] + m[14]};
  }
  if (mesh->normals == nullptr) return;
  // Normals go through the cofactor matrix of the 3x3 block, which is the inverse transpose
  // scaled by the determinant; its sign is restored so mirrored transforms keep normals facing
  // the same side of the surface, and the length is normalised away.
  const double a = m[0], b = m[1], c = m[2], d = m[4], e = m[5], f = m[6], g = m[8], h = m[9],
               k = m[10];
  double cof[9] = {e * k - f * h, f * g - d * k, d * h - e * g,  //
                   c * h - b * k, a * k - c * g, b * g - a * h,  //
                   b * f - c * e, c * d - a * f, a * e - b * d};
  const double det = a * cof[0] + b * cof[1] + c * cof[2];
  if (det < 0)
    for (double& v : cof) v = -v;
  for (int32_t i = 0; i < mesh->point_count; ++i) {
    const Vector n = mesh->normals[i];
    // n' = n * cof^T in row-vector form, i.e. n'_j = sum_i n_i cof[j][i].
    const double x = n.x * cof[0] + n.y * cof[1] + n.z * cof[2];
    const double y = n.x * cof[3] + n.y * cof[4] + n.z * cof[5];
    const double z = n.x * cof[6] + n.y * cof[7] + n.z * cof[8];
    const double length = std::sqrt(x * x + y * y + z * z);
    mesh->normals[i] = length > 0 ? Vector{float(x / length), float(y / length), float(z / length)}
                                  : Vector{0, 0, 0};
  }
}

int mesh_refresh(Mesh* mesh, int orientation) {
  return hordera::refresh_polygons(mesh, orientation, true);
}

}  // extern "C"

int hordera::refresh_polygons(Mesh* mesh, int orientation, bool report_short_polygons) {
  if (mesh == nullptr) return 0;
  mesh->orientation = orientation ? 1 : 0;
  if (mesh->kind != MESH_POLYGONS) return 0;
  int short_polygons = 0;
  for (int32_t index = 0; index < mesh->polygon_count; ++index) {
    MeshPolygon& polygon = mesh->polygons[index];
    polygon.normal = polygon.centre = Vector{0, 0, 0};
    polygon.area = 0;
    const int32_t count = polygon.corner_count;
    if (count < 3) {
      if (report_short_polygons)
        std::fprintf(stderr, "poly %d has only %d points!\n", index, count);
      ++short_polygons;
      continue;
    }
    const int32_t* corners = mesh->corners + polygon.first_corner;
    // Newell's method: the summed cross products give twice the area along the plane normal.
    double nx = 0, ny = 0, nz = 0, cx = 0, cy = 0, cz = 0;
    for (int32_t j = 0; j < count; ++j) {
      const Vector& p = mesh->points[corners[j]];
      const Vector& q = mesh->points[corners[(j + 1) % count]];
      nx += (double(p.y) - q.y) * (double(p.z) + q.z);
      ny += (double(p.z) - q.z) * (double(p.x) + q.x);
      nz += (double(p.x) - q.x) * (double(p.y) + q.y);
      cx += p.x;
      cy += p.y;
      cz += p.z;
    }
    polygon.centre = {float(cx / count), float(cy / count), float(cz / count)};
    const double length = std::sqrt(nx * nx + ny * ny + nz * nz);
    polygon.area = float(length * 0.5);
    if (length > 0) {
      const double sign = orientation ? -1.0 : 1.0;
      polygon.normal = {float(sign * nx / length), float(sign * ny / length),
                        float(sign * nz / length)};
    }
  }
  return short_polygons;
}

int hordera::refresh_polygons_for_render(Mesh* mesh, int orientation) {
  if (mesh == nullptr) return 0;
  mesh->orientation = orientation ? 1 : 0;
  if (mesh->kind != MESH_POLYGONS) return 0;
  int short_polygons = 0;
  const Vector* __restrict points = mesh->points;
  const int32_t* __restrict all_corners = mesh->corners;
  const float sign = orientation ? -1.0f : 1.0f;
  for (int32_t index = 0; index < mesh->polygon_count; ++index) {
    MeshPolygon& polygon = mesh->polygons[index];
    const int32_t count = polygon.corner_count;
    if (count < 3) {
      polygon.normal = polygon.centre = Vector{0, 0, 0};
      polygon.area = 0;
      std::fprintf(stderr, "poly %d has only %d points!\n", index, count);
      ++short_polygons;
      continue;
    }
    const int32_t* corners = all_corners + polygon.first_corner;
    float nx, ny, nz, cx, cy, cz;
    if (count == 4) {
      // Newell's sum for four corners is the cross product of the diagonals.
      const Vector a = points[corners[0]], b = points[corners[1]], c = points[corners[2]],
                   d = points[corners[3]];
      const float ux = c.x - a.x, uy = c.y - a.y, uz = c.z - a.z;
      const float vx = d.x - b.x, vy = d.y - b.y, vz = d.z - b.z;
      nx = uy * vz - uz * vy;
      ny = uz * vx - ux * vz;
      nz = ux * vy - uy * vx;
      cx = (a.x + b.x) + (c.x + d.x);
      cy = (a.y + b.y) + (c.y + d.y);
      cz = (a.z + b.z) + (c.z + d.z);
    } else {
      // Newell's method, each edge from the previous corner to this one.
      nx = ny = nz = cx = cy = cz = 0;
      Vector p = points[corners[count - 1]];
      for (int32_t j = 0; j < count; ++j) {
        const Vector q = points[corners[j]];
        nx += (p.y - q.y) * (p.z + q.z);
        ny += (p.z - q.z) * (p.x + q.x);
        nz += (p.x - q.x) * (p.y + q.y);
        cx += q.x;
        cy += q.y;
        cz += q.z;
        p = q;
      }
    }
    const float inverse_count = 1.0f / float(count);
    polygon.centre = {cx * inverse_count, cy * inverse_count, cz * inverse_count};
    const float length = std::sqrt(nx * nx + ny * ny + nz * nz);
    polygon.area = length * 0.5f;
    if (length > 0) {
      const float scale = sign / length;
      polygon.normal = {nx * scale, ny * scale, nz * scale};
    } else {
      polygon.normal = Vector{0, 0, 0};
    }
  }
  return short_polygons;
}
