// Cloth and hair drawn through hordera.so in the stand-in host, each scenario in a child process,
// the objects read back from the scene database; every expected point is worked out by hand from
// the cache files and the hair recipe of docs/cloth-hair.md.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "host/messages.h"
#include "host/plugin.h"
#include "host/render_session.h"
#include "host/scene_names.h"
#include "host/scene_view.h"
#include "tests/support/files.h"
#include "tests/support/plugin_scenario.h"

namespace {

using plugin_test::list;

using ::testing::HasSubstr;
using ::testing::Not;

using plugin_test::expect_vector;
using plugin_test::man;
using plugin_test::names_of;
using plugin_test::render_agents;
using plugin_test::render_options;
using test_files::write_file;

namespace fs = std::filesystem;

void write_gzip(const fs::path& path, const std::string& text) {
  gzFile out = gzopen(path.c_str(), "wb");
  ASSERT_NE(out, nullptr) << path;
  gzwrite(out, text.data(), static_cast<unsigned>(text.size()));
  gzclose(out);
}

// The cape's six points on frame 12 (a 3 by 2 grid), and its motion from frame 11 to 12: point p
// moved by (0.1 p, 0.2, 0).
const float cape[6][3] = {{0, 1, 0.1f},    {0.5f, 1, 0.2f},    {1, 1, 0.3f},
                          {0, 0.5f, 0.4f}, {0.5f, 0.5f, 0.5f}, {1, 0.5f, 0.6f}};

std::string cape_cache(float shift) {
  std::string text = "# cape of man_1\npoints 6\n";
  for (int p = 0; p < 6; ++p)
    text += std::to_string(cape[p][0] - shift * 0.1f * p) + " " +
            std::to_string(cape[p][1] - shift * 0.2f) + " " + std::to_string(cape[p][2]) + "\n";
  return text + "normals 6\n0 0 2\n0 0 2\n0 0 2\n0 0 2\n0 0 2\n0 0 2\n";
}

// The fur's cache (frame 12's compressed): two guides, the first of four unevenly spaced points
// (resampled to three), the second of two; `z` moves both.
std::string fur_cache(float z) {
  const std::string depth = " " + std::to_string(z) + "\n";
  return "space world\ncurve 4\n0 1" + depth + "0 1.5" + depth + "0 2" + depth + "0 3" + depth +
         "curve 2\n2 1" + depth + "2 3" + depth;
}

// A man of one skinned quad, a selector whose value picks its cloth alternative "alt" (laid on
// the body's OBJ file), a cape on a 3 by 2 grid, a disabled cloth piece and a fur of two strands
// per guide, each resampled to three points, clumped fully at the tip.
fs::path write_agent(const std::string& name) {
  const fs::path dir = fs::path(testing::TempDir()) / name;
  fs::create_directories(dir / "cache");
  write_file(dir / "body.obj", "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nf 1 2 3 4\n");
  write_file(dir / "body.w", "deformer 0 root\n\n0: 0 1\n1: 0 1\n2: 0 1\n3: 0 1\n");
  write_file(dir / "man.cdl",
             "object man\n"
             "render_pass beauty\nrender_pass front 1\n"
             "segment root\nbone root\n"
             "material skin\nid 0\n"
             "geometry body\nfile body.obj\nweights_file body.w\nmaterial 0\n"
             "option pick\nmanual 1.4\ngeo a\ncl alt\n"
             "geometry a\nfile body.obj\n"
             "cloth alt\ngeo body.obj\nmaterial 0\n"
             "cloth cape\ngrid 3 2 1 1\nmaterial 0\n"
             "cloth off\ndisabled\ngrid 2 2 1 1\n"
             "hair fur\ndensity 2\nvertices_number 3\nclump_ratio 1\nclump_rate 1\n"
             "root_radius 0.1\ntip_radius 0\nmaterial 0\n"
             "end object\n");
  // Man 1 is turned 90 degrees about z and walks from x = 2 on frame 11 to x = 3 on frame 12.
  for (const char* frame : {"11", "12"})
    write_file(dir / (std::string("frame.") + frame + ".apf"),
               std::string("BEGIN man_1\nroot 0 0 90 ") + (frame[1] == '1' ? "2" : "3") +
                   " 0 0\n\nBEGIN man_2\nroot 0 0 0 0 0 0\n\n"
                   "BEGIN man_3\nroot 0 0 0 0 0 0\n\nBEGIN man_4\nroot 0 0 0 0 0 0\n");
  const fs::path cache = dir / "cache";
  write_file(cache / "man_1.cape.12.cloth", cape_cache(0));
  write_file(cache / "man_1.cape.11.cloth", cape_cache(1));
  write_file(cache / "man_1.alt.12.cloth",
             "space world\npoints 4\n0 0 5\n1 0 5\n1 1 5\n0 1 5\n"
             "normals 4\n3 0 0\n3 0 0\n0 0 3\n0 0 3\n");
  write_file(cache / "man_1.alt.11.cloth", "points 3\n0 0 0\n1 0 0\n1 1 0\n");
  write_file(cache / "man_1.off.12.cloth", "points 4\n0 0 0\n1 0 0\n1 1 0\n0 1 0\n");
  write_gzip(cache / "man_1.fur.12.hair.gz", fur_cache(0));
  write_file(cache / "man_1.fur.11.hair", fur_cache(-1));
  // Agent 2's cape ends early, its fur has a point that is no number and its alternative's
  // compressed cache is cut short. Agent 3 has no caches.
  write_file(cache / "man_2.cape.12.cloth", "points 6\n0 0 0\n1 0 0\n2 0 0\n");
  const fs::path cut = cache / "man_2.alt.12.cloth.gz";
  write_gzip(cut, "points 4\n0 0 0\n1 0 0\n1 1 0\n0 1 0\n");
  fs::resize_file(cut, fs::file_size(cut) - 12);
  write_file(cache / "man_2.fur.12.hair", "curve 2\n0 1 0\n0 x 0\n");
  return dir;
}

// The fur's strands as the recipe builds them: guide 0 resampled to (0, 1), (0, 2), (0, 3), guide
// 1 to (2, 1), (2, 2), (2, 3) (x, y); strand 1 of each lies half way to the other guide at the
// root, pulled back by s (clump ratio and rate 1): a quarter of the way at s = 0.5, none at the
// tip.
const float strand_centres[4][3][2] = {{{0, 1}, {0, 2}, {0, 3}},
                                       {{1, 1}, {0.5f, 2}, {0, 3}},
                                       {{2, 1}, {2, 2}, {2, 3}},
                                       {{1, 1}, {1.5f, 2}, {2, 3}}};

TEST(ClothHairRender, CapeAlternativeAndFurWithAndWithoutMotionBlur) {
  const fs::path dir = write_agent("clothhair");
  plugin_test::in_render([&](host::Plugin&, host::RenderSession& session) {
    const std::string words = (dir / "man.cdl").string() + " " + (dir / "frame.12.apf").string() +
                              " 12 cloth_path " + (dir / "cache").string() + " hair_path " +
                              (dir / "cache").string();
    testing::internal::CaptureStderr();
    auto agents = render_agents(session, render_options("front", 0), {man(1, words)});
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_THAT(printed, Not(HasSubstr((dir / "cache").string())));
    EXPECT_EQ(plugin_test::message_texts(host::Level::error), std::vector<std::string>{});
    ASSERT_EQ(agents.size(), 1u);
    // The selector's choice (1.4 rounds to its cloth alternative), the cape, the fur; the
    // disabled piece and the selector's alternative are not drawn on their own.
    const auto& objects = agents[0];
    ASSERT_EQ(names_of(objects), (std::vector<std::string>{"body", "alt", "cape", "fur"}));
    const miTag skin = host::view_names().at("mat_1_0");
    for (const host::ObjectData* object : objects) {
      EXPECT_EQ(object->groups.at(0).polygons.at(0).material, skin) << object->name;
      EXPECT_EQ(object->record.visible, 2) << object->name;
      EXPECT_EQ(object->record.shadow, 0) << object->name;
      EXPECT_FALSE(object->record.mbox_explicit) << object->name;
    }

    // The cape: the cache's points in agent space, which follows the root segment: turned
    // ((x, y) -> (-y, x)) and moved to x = 3; its normals made unit length and negated, the
    // grid's texture coordinates per corner.
    const host::GroupData& cloth = objects[2]->groups.at(0);
    ASSERT_EQ(cloth.vectors.size(), 6u + 6u + 8u);
    for (int p = 0; p < 6; ++p) {
      expect_vector(cloth.vectors[p], 3 - cape[p][1], cape[p][0], cape[p][2], "cape point");
      expect_vector(cloth.vectors[6 + p], 0, 0, -1, "cape normal");
    }
    // Second quad: corners (0, 1), (0, 2), (1, 2), (1, 1) of the grid.
    ASSERT_EQ(cloth.polygons.size(), 2u);
    ASSERT_EQ(cloth.vertices.size(), 8u);
    const int second[4] = {1, 2, 5, 4};
    for (int k = 0; k < 4; ++k) EXPECT_EQ(cloth.vertices[4 + k].position, second[k]);
    expect_vector(cloth.vectors[12 + 5], 1, 0, 0, "texture of corner 5");
    expect_vector(cloth.vectors[12 + 6], 1, 1, 0, "texture of corner 6");
    // The alternative on the polygons of its OBJ file: world-space points as they stand, its
    // normals made unit length too.
    const host::GroupData& alternative = objects[1]->groups.at(0);
    ASSERT_EQ(alternative.vectors.size(), 4u + 4u);
    EXPECT_EQ(alternative.vertices.at(3).position, 3);
    expect_vector(alternative.vectors[2], 1, 1, 5, "alternative point 2");
    expect_vector(alternative.vectors[4 + 1], -1, 0, 0, "alternative normal 1");
    expect_vector(alternative.vectors[4 + 2], 0, 0, -1, "alternative normal 2");

    // The fur: 4 strands of 3 points, three tube points each around the strand (their centre is
    // the strand point, their distance the radius, 0.1 at the root to 0 at the tip); 3 quads per
    // strand segment; no normals or texture coordinates.
    const host::GroupData& fur = objects[3]->groups.at(0);
    ASSERT_EQ(fur.vectors.size(), 36u);
    EXPECT_EQ(fur.polygons.size(), 24u);
    EXPECT_EQ(fur.vertices.size(), 96u);
    for (int strand = 0; strand < 4; ++strand)
      for (int i = 0; i < 3; ++i) {
        const miVector* ring = &fur.vectors[strand * 9 + i * 3];
        const std::string what = "strand " + std::to_string(strand) + " point " + std::to_string(i);
        expect_vector(
            {(ring[0].x + ring[1].x + ring[2].x) / 3, (ring[0].y + ring[1].y + ring[2].y) / 3,
             (ring[0].z + ring[1].z + ring[2].z) / 3},
            strand_centres[strand][i][0], strand_centres[strand][i][1], 0, what);
        const float dx = ring[0].x - strand_centres[strand][i][0];
        const float dy = ring[0].y - strand_centres[strand][i][1];
        EXPECT_NEAR(std::sqrt(dx * dx + dy * dy + ring[0].z * ring[0].z), 0.1f - 0.05f * i, 1e-5)
            << what;
      }

    // With motion blur (beauty: visible and casting shadows) the frame before's caches give the
    // motion: the cape's point p moved by (0.1 p, 0.2, 0) in agent space, turned to (-0.2, 0.1 p,
    // 0), plus the root's step of 1 along x; the fur by 1 in z; the alternative's previous cache
    // has 3 points for its 4, so it stands still.
    testing::internal::CaptureStderr();
    agents = render_agents(session, render_options("beauty", 1), {man(1, words)});
    const std::string blurred = testing::internal::GetCapturedStderr();
    EXPECT_THAT(blurred, HasSubstr("man_1.alt.11.cloth: 3 points, the cloth's mesh has 4"));
    ASSERT_EQ(agents.size(), 1u);
    ASSERT_EQ(names_of(agents[0]), (std::vector<std::string>{"body", "alt", "cape", "fur"}));
    for (const host::ObjectData* object : agents[0]) {
      EXPECT_EQ(object->record.shadow, 3) << object->name;
      EXPECT_TRUE(object->record.mbox_explicit) << object->name;
    }
    const host::GroupData& moving = agents[0][2]->groups.at(0);
    ASSERT_EQ(moving.vectors.size(), 6u + 6u + 8u + 6u);
    for (int p = 0; p < 6; ++p)
      expect_vector(moving.vectors[20 + p], 0.8f, 0.1f * p, 0, "cape motion " + std::to_string(p));
    EXPECT_EQ(list(moving.motions(moving.vertices.at(4))), std::vector<int>{20 + 1});
    const host::GroupData& still = agents[0][1]->groups.at(0);
    ASSERT_EQ(still.vectors.size(), 4u + 4u + 4u);
    for (int p = 0; p < 4; ++p) expect_vector(still.vectors[8 + p], 0, 0, 0, "alternative motion");
    const host::GroupData& waving = agents[0][3]->groups.at(0);
    ASSERT_EQ(waving.vectors.size(), 72u);
    for (int p = 0; p < 36; ++p) expect_vector(waving.vectors[36 + p], 0, 0, 1, "fur motion");
    expect_vector(agents[0][3]->record.bbox_min_m, 0, 0, 1, "fur motion box");
  });
}

TEST(ClothHairRender, BrokenOrMissingCachesLeaveTheBodyAndNoOtherAgentsPieces) {
  const fs::path dir = write_agent("broken");
  plugin_test::in_render([&](host::Plugin&, host::RenderSession& session) {
    const std::string cache = (dir / "cache").string();
    const std::string base = (dir / "man.cdl").string() + " " + (dir / "frame.12.apf").string();
    const std::string paths = " 12 cloth_path " + cache + " hair_path " + cache;
    // Agent 1 fills the type's pieces; agent 2's caches are broken, agent 3's missing; agent 4
    // names no cache directory at all. None draws another agent's pieces.
    testing::internal::CaptureStderr();
    const auto agents = render_agents(
        session, render_options("beauty", 0),
        {man(1, base + paths), man(2, base + paths), man(3, base + paths), man(4, base + " 12")});
    const std::string printed = testing::internal::GetCapturedStderr();
    ASSERT_EQ(agents.size(), 4u);
    EXPECT_EQ(names_of(agents[0]), (std::vector<std::string>{"body", "alt", "cape", "fur"}));
    for (int agent = 1; agent < 4; ++agent)
      EXPECT_EQ(names_of(agents[agent]), std::vector<std::string>{"body"}) << agent;
    for (const std::string& expected :
         {cache + "/man_2.cape.12.cloth:4: file ends after 3 of 6 points\n",
          cache + "/man_2.fur.12.hair:3: a point needs three numbers\n",
          cache + "/man_2.alt.12.cloth.gz:4: compressed data end early\n",
          cache + "/man_3.alt.12.cloth: no cloth cache for the frame\n",
          cache + "/man_3.cape.12.cloth: no cloth cache for the frame\n",
          cache + "/man_3.fur.12.hair: no hair cache for the frame\n"})
      EXPECT_THAT(printed, HasSubstr(expected));
    EXPECT_THAT(printed, Not(HasSubstr("man_4")));
  });
}

}  // namespace
