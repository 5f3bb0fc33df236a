// Cloth at render time: a cloth piece's points for a frame from the cloth cache, laid on the
// polygons of the piece's own mesh (its "geo" mesh, or its grid).
#include <cstdlib>
#include <cstring>
#include <string>

#include "agent/agent.h"
#include "agent/geometry.h"
#include "agent/mesh.h"
#include "agent/nodes.h"
#include "agent/obj_reader.h"
#include "motion/cache_files.h"
#include "motion/cloth_hair_cache.h"
#include "motion/line_reader.h"

namespace hordera {

namespace {

// A grid of `columns` by `rows` points, row by row, one quad per cell (corners in the order
// (r, c), (r, c+1), (r+1, c+1), (r+1, c)), with texture coordinates across the grid.
Mesh* grid_mesh(int columns, int rows) {
  if (columns < 2 || rows < 2 || columns > 65536 || rows > 65536 ||
      static_cast<long long>(columns) * rows > 16777216)
    return nullptr;
  const int quads = (columns - 1) * (rows - 1);
  Mesh* mesh = mesh_new();
  if (!mesh || !mesh_allocate(mesh, columns * rows, quads, quads * 4, MESH_HAS_TEXTURE)) {
    mesh_free(mesh);
    return nullptr;
  }
  int corner = 0;
  for (int r = 0; r + 1 < rows; ++r)
    for (int c = 0; c + 1 < columns; ++c) {
      MeshPolygon& polygon = mesh->polygons[r * (columns - 1) + c];
      polygon.first_corner = corner;
      polygon.corner_count = 4;
      const int cells[4][2] = {{r, c}, {r, c + 1}, {r + 1, c + 1}, {r + 1, c}};
      for (const auto& cell : cells) {
        mesh->corners[corner] = cell[0] * columns + cell[1];
        mesh->texture[corner] = Vector{static_cast<float>(cell[1]) / (columns - 1),
                                       static_cast<float>(cell[0]) / (rows - 1), 0.0f};
        ++corner;
      }
    }
  return mesh;
}

// The piece's polygons: its current render mesh when the point count still fits, else its
// "geo" mesh (resolved against the agent file's directory), else its grid.
Mesh* piece_shape(Agent* type, ClothNode* cloth, const char* cache_path) {
  if (cloth->mesh && cloth->mesh->polygon_count > 0) return mesh_copy(cloth->mesh);
  if (cloth->geo && cloth->geo[0]) {
    std::string path = resolve_agent_path(type ? type->cdl_directory : nullptr, cloth->geo);
    if (Mesh* mesh = loadGeometry(path.c_str())) return mesh;
    report_at(cache_path, 0, "the cloth's mesh %s could not be read", path.c_str());
    return nullptr;
  }
  if (Mesh* mesh = grid_mesh(cloth->grid_columns, cloth->grid_rows)) return mesh;
  report_at(cache_path, 0, "the cloth has neither a geo mesh nor a grid of at least 2 by 2");
  return nullptr;
}

// The shape with the cache's points (and normals, when the cache has them; else none).
Mesh* posed_mesh(const Mesh* shape, const CacheFrame& frame) {
  uint32_t flags = shape->flags & MESH_HAS_TEXTURE;
  if (!frame.normals.empty()) flags |= MESH_HAS_NORMALS;
  Mesh* mesh = mesh_new();
  if (!mesh ||
      !mesh_allocate(mesh, shape->point_count, shape->polygon_count, shape->corner_count, flags)) {
    mesh_free(mesh);
    return nullptr;
  }
  mesh->kind = shape->kind;
  std::memcpy(mesh->points, frame.points.data(), sizeof(Vector) * frame.points.size());
  if (!frame.normals.empty())
    std::memcpy(mesh->normals, frame.normals.data(), sizeof(Vector) * frame.normals.size());
  std::memcpy(mesh->polygons, shape->polygons, sizeof(MeshPolygon) * shape->polygon_count);
  std::memcpy(mesh->corners, shape->corners, sizeof(int32_t) * shape->corner_count);
  if (flags & MESH_HAS_TEXTURE)
    std::memcpy(mesh->texture, shape->texture, sizeof(Vector) * shape->corner_count);
  refresh_polygons(mesh, 0, false);
  return mesh;
}

int position_in(ClothNode* list, ClothNode* node) {
  int position = 0;
  for (ClothNode* c = list; c; c = c->next, ++position)
    if (c == node) return position;
  return 0;
}

}  // namespace

void cloth_release(ClothNode* cloth) {
  if (!cloth) return;
  mesh_free(cloth->mesh);
  cloth->mesh = nullptr;
  std::free(cloth->previous_points);
  cloth->previous_points = nullptr;
}

}  // namespace hordera

extern "C" int cloth_load_frame(Agent* agent, ClothNode* cloth, const char* directory, int frame,
                                int motion_blur) {
  using namespace hordera;
  if (!agent || !cloth) return 0;
  Agent* type = agent_type_of(agent);
  // A disabled piece is not drawn; an alternative of a geometry selector is drawn only through
  // its selector. Both are still loaded, so the selector finds the chosen one ready.
  cloth->switched_off = cloth->disabled || cloth->selector ? 1 : 0;
  std::string piece = cache_piece_name(cloth->name, "cloth", position_in(type->cloth_nodes, cloth));
  std::string path = find_cache_file(directory, agent, piece, frame, "cloth");
  CacheFrame current;
  Mesh* shape = nullptr;
  if (path.empty()) {
    report_at((std::string(directory ? directory : ".") + "/" + (agent->name ? agent->name : "") +
               "." + piece + "." + std::to_string(frame) + ".cloth")
                  .c_str(),
              0, "no cloth cache for the frame");
  } else if (read_cache_frame(path, false, current) &&
             (shape = piece_shape(type, cloth, path.c_str())) != nullptr &&
             static_cast<size_t>(shape->point_count) != current.points.size()) {
    report_at(path.c_str(), 0, "%zu points, the cloth's mesh has %d", current.points.size(),
              shape->point_count);
    mesh_free(shape);
    shape = nullptr;
  }
  if (!shape) {
    cloth_release(cloth);
    return 0;
  }
  Matrix placement;
  agent_space_matrix(agent, CacheTime::current, placement);
  cache_to_world(current, placement);
  Mesh* mesh = posed_mesh(shape, current);
  mesh_free(shape);
  cloth_release(cloth);
  if (!mesh) return 0;
  cloth->mesh = mesh;
  if (!motion_blur) return 1;
  // The previous frame's points, from the frame before's cache through the agent's previous
  // matrix; without a usable one the piece does not move during the exposure.
  const size_t count = static_cast<size_t>(mesh->point_count);
  cloth->previous_points = static_cast<Vector*>(std::malloc(sizeof(Vector) * (count ? count : 1)));
  if (!cloth->previous_points) return 1;
  std::memcpy(cloth->previous_points, mesh->points, sizeof(Vector) * count);
  std::string previous_path = find_cache_file(directory, agent, piece, frame - 1, "cloth");
  CacheFrame previous;
  if (!previous_path.empty() && read_cache_frame(previous_path, false, previous)) {
    if (previous.points.size() == count) {
      agent_space_matrix(agent, CacheTime::previous, placement);
      cache_to_world(previous, placement);
      std::memcpy(cloth->previous_points, previous.points.data(), sizeof(Vector) * count);
    } else {
      report_at(previous_path.c_str(), 0, "%zu points, the cloth's mesh has %zu",
                previous.points.size(), count);
    }
  }
  return 1;
}
