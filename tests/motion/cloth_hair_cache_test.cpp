// Cloth and hair caches loaded onto pieces of a test agent (agent and world space, normals, blur
// from the frame before), render geometry grown from hair guides, and broken or missing caches,
// which leave the piece without geometry and say why.
#include "motion/cloth_hair_cache.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "agent/agent.h"
#include "agent/mesh.h"
#include "agent/nodes.h"
#include "tests/support/scratch_files.h"

namespace {

using scratch::stderr_of;
using scratch::write_file;
using testing::HasSubstr;

std::string temp_dir(const std::string& name) {
  std::string dir = testing::TempDir() + "cache_" + name + "/";
  std::filesystem::create_directories(dir);
  return dir;
}

// An agent named as the render driver names it, standing at (10, 0, 0) this frame and at
// (9, 0, 0) the frame before.
Agent* make_agent(const char* type_name) {
  Agent* agent = new_agent_instance(new_agent_type(type_name));
  std::free(agent->name);
  agent->name = strdup("walker_7");
  agent->matrix[12] = 10;
  agent->last_matrix[12] = 9;
  return agent;
}

ClothNode* add_cloth(Agent* type, const char* name) {
  auto* cloth = static_cast<ClothNode*>(std::calloc(1, sizeof(ClothNode)));
  cloth->name = name ? strdup(name) : nullptr;
  ClothNode** slot = &type->cloth_nodes;
  while (*slot) slot = &(*slot)->next;
  *slot = cloth;
  return cloth;
}

void expect_point(const Vector& p, float x, float y, float z, const char* what) {
  EXPECT_NEAR(p.x, x, 1e-5) << what;
  EXPECT_NEAR(p.y, y, 1e-5) << what;
  EXPECT_NEAR(p.z, z, 1e-5) << what;
}

TEST(ClothCache, GridPieceTakesTheFramesPointsAndThePreviousFrameForBlur) {
  std::string dir = temp_dir("grid");
  Agent* agent = make_agent("caped");
  ClothNode* cape = add_cloth(agent->type, "cape");
  cape->grid_columns = 3;
  cape->grid_rows = 2;
  // Frame 5 in agent space with normals; frame 4 already in world space.
  write_file(dir + "walker_7.cape.5.cloth",
             "# cape, frame 5\nspace agent\npoints 6\n"
             "0 0 0\n1 0 0\n2 0 0\n0 1 0\n1 1 0\n2 1 0\n"
             "normals 6\n0 0 1\n0 0 1\n0 0 1\n0 0 1\n0 0 1\n0 0 1\n");
  write_file(dir + "walker_7.cape.4.cloth",
             "space world\npoints 6\n0 0 5\n1 0 5\n2 0 5\n0 1 5\n1 1 5\n2 1 5\n");

  ASSERT_EQ(cloth_load_frame(agent, cape, dir.c_str(), 5, 1), 1);
  ASSERT_NE(cape->mesh, nullptr);
  EXPECT_EQ(cape->switched_off, 0);
  ASSERT_EQ(cape->mesh->point_count, 6);
  expect_point(cape->mesh->points[4], 11, 1, 0, "agent space moved by the agent's matrix");
  ASSERT_TRUE(cape->mesh->flags & MESH_HAS_NORMALS);
  expect_point(cape->mesh->normals[2], 0, 0, 1, "normal");
  // Two quads, row by row: (0, 1, 4, 3) and (1, 2, 5, 4).
  ASSERT_EQ(cape->mesh->polygon_count, 2);
  const int expected[8] = {0, 1, 4, 3, 1, 2, 5, 4};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(cape->mesh->corners[i], expected[i]) << i;
  ASSERT_NE(cape->previous_points, nullptr);
  expect_point(cape->previous_points[5], 2, 1, 5, "world space taken as it stands");

  // Frame 4 has no frame before: without blur nothing is kept for it, with blur the piece
  // stands still (its previous points are its current ones).
  ASSERT_EQ(cloth_load_frame(agent, cape, dir.c_str(), 4, 0), 1);
  EXPECT_EQ(cape->previous_points, nullptr);
  EXPECT_FALSE(cape->mesh->flags & MESH_HAS_NORMALS);
  ASSERT_EQ(cloth_load_frame(agent, cape, dir.c_str(), 4, 1), 1);
  expect_point(cape->previous_points[1], 1, 0, 5, "no frame before");

  // Disabled pieces and selector alternatives load but are switched off.
  cape->disabled = 1;
  ASSERT_EQ(cloth_load_frame(agent, cape, dir.c_str(), 5, 0), 1);
  EXPECT_EQ(cape->switched_off, 1);
  hordera::cloth_release(cape);
  delete_agent_instance(agent);
}

TEST(ClothCache, MeshPiecesAndBrokenCaches) {
  std::string dir = temp_dir("broken");
  Agent* agent = make_agent("skirted");
  agent->type->cdl_directory = strdup(dir.c_str());
  add_cloth(agent->type, "unused");
  ClothNode* skirt = add_cloth(agent->type, nullptr);  // second piece, no name: "cloth1"
  skirt->geo = strdup("skirt.obj");
  write_file(dir + "skirt.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 1 1 0\nf 1 2 4 3\n");
  // A gzip cache is found when there is no plain one.
  scratch::write_stream(dir + "walker_7.cloth1.2.cloth.gz",
                        "space world\npoints 4\n0 0 1\n1 0 1\n0 1 1\n1 1 1\n", 1);
  ASSERT_EQ(cloth_load_frame(agent, skirt, dir.c_str(), 2, 0), 1);
  ASSERT_NE(skirt->mesh, nullptr);
  EXPECT_EQ(skirt->mesh->polygon_count, 1);
  expect_point(skirt->mesh->points[3], 1, 1, 1, "gzip cache");

  struct Case {
    const char* text;
    const char* message;
  } cases[] = {
      {"points 3\n0 0 0\n1 0 0\n0 1 0\n", ": 3 points, the cloth's mesh has 4"},
      {"points 1000000000\n0 0 0\n1 0 0\n", ":3: file ends after 2 of 1000000000 points"},
      {"points 4\n0 0 0\nnan 0 0\n", ":3: a point needs three numbers"},
      {"points 4\n0 0 0\n1 0\n", ":3: a point needs three numbers"},
  };
  for (const Case& c : cases) {
    write_file(dir + "walker_7.cloth1.3.cloth", c.text);
    EXPECT_THAT(stderr_of([&] { EXPECT_EQ(cloth_load_frame(agent, skirt, dir.c_str(), 3, 0), 0); }),
                HasSubstr("walker_7.cloth1.3.cloth" + std::string(c.message)));
    EXPECT_EQ(skirt->mesh, nullptr) << "a broken cache leaves the piece without geometry";
  }
  EXPECT_THAT(stderr_of([&] { EXPECT_EQ(cloth_load_frame(agent, skirt, dir.c_str(), 9, 1), 0); }),
              HasSubstr("walker_7.cloth1.9.cloth: no cloth cache for the frame"));
  hordera::cloth_release(skirt);
  delete_agent_instance(agent);
}

HairNode* add_hair(Agent* type, const char* name) {
  auto* hair = static_cast<HairNode*>(std::calloc(1, sizeof(HairNode)));
  hair->name = strdup(name);
  hair->next = type->hair_nodes;
  type->hair_nodes = hair;
  return hair;
}

// The centre of ring `ring` (three points) of the mesh.
Vector ring_centre(const Mesh* mesh, int ring) {
  const Vector* p = mesh->points + ring * 3;
  return {(p[0].x + p[1].x + p[2].x) / 3, (p[0].y + p[1].y + p[2].y) / 3,
          (p[0].z + p[1].z + p[2].z) / 3};
}

TEST(HairCache, GuidesGrowTaperedStrandsInAgentSpaceWithBlur) {
  std::string dir = temp_dir("hair");
  Agent* agent = make_agent("hairy");
  HairNode* hair = add_hair(agent->type, "mane");
  hair->root_radius = 0.1f;
  hair->tip_radius = 0;
  hair->vertices_number = 3;
  hair->density = 1;
  // Two guides in agent space: a straight one of three points and one of two, both 2 long.
  write_file(dir + "walker_7.mane.8.hair", "curve 3\n0 0 0\n0 1 0\n0 2 0\ncurve 2\n1 0 0\n1 2 0\n");
  write_file(dir + "walker_7.mane.7.hair",
             "space world\ncurve 3\n0 1 0\n0 2 0\n0 3 0\ncurve 2\n1 1 0\n1 3 0\n");

  ASSERT_EQ(hair_load_frame(agent, hair, dir.c_str(), 8, 1), 1);
  ASSERT_EQ(hair_build_render_geometry(agent, hair), 1);
  const Mesh* mesh = hair->mesh;
  ASSERT_NE(mesh, nullptr);
  // Two strands of three rings of three points; two segments of three quads each.
  ASSERT_EQ(mesh->point_count, 18);
  ASSERT_EQ(mesh->polygon_count, 12);
  expect_point(ring_centre(mesh, 0), 10, 0, 0, "root of the first guide");
  expect_point(ring_centre(mesh, 4), 11, 1, 0, "the second guide resampled at its middle");
  for (int k = 0; k < 3; ++k) {
    Vector p = mesh->points[k];
    EXPECT_NEAR(std::hypot(p.x - 10, p.y, p.z), 0.1, 1e-5) << "root radius";
    expect_point(mesh->points[6 + k], 10, 2, 0, "tip radius 0");
  }
  ASSERT_NE(hair->previous_points, nullptr);
  // The frame before, in world space, lies one unit higher and was not moved by the agent.
  EXPECT_NEAR(hair->previous_points[0].y - mesh->points[0].y, 1, 1e-5);
  EXPECT_NEAR(hair->previous_points[0].x - mesh->points[0].x, -10, 1e-5);

  // A curve block cut short keeps the curves before it; no cache or no load builds nothing.
  write_file(dir + "walker_7.mane.9.hair", "curve 2\n0 0 0\n0 1 0\ncurve 4\n0 0 0\n");
  EXPECT_THAT(stderr_of([&] { EXPECT_EQ(hair_load_frame(agent, hair, dir.c_str(), 9, 0), 1); }),
              HasSubstr("walker_7.mane.9.hair:5: file ends after 1 of 4 points"));
  ASSERT_EQ(hair_build_render_geometry(agent, hair), 1);
  EXPECT_EQ(hair->mesh->point_count, 3 * 3);  // one guide of three rings of three points
  EXPECT_EQ(hair->previous_points, nullptr);
  EXPECT_THAT(stderr_of([&] { EXPECT_EQ(hair_load_frame(agent, hair, dir.c_str(), 10, 1), 0); }),
              HasSubstr("no hair cache for the frame"));
  EXPECT_EQ(hair_build_render_geometry(agent, hair), 0);
  EXPECT_EQ(hair->mesh, nullptr);
  hordera::hair_release(hair);
  delete_agent_instance(agent);
}

}  // namespace
